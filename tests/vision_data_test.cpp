/// The vision-data client: control of the analysis, its marker and utilities, and its documents.
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <locale>
#include <thread>
#include <type_traits>

#include "Channels.h"
#include "HomeDataControlAPI.h"
#include "LogCapture.h"
#include "VisionDataRecognitionAPI.h"

namespace {

const char* s_missing = nullptr;  ///< a path that is not there when it is asked for

}  // namespace

/// In the place of the C library's.
extern "C" int access(const char* path, int mode) noexcept {
    if (s_missing && strcmp(path, s_missing) == 0) {
        errno = ENOENT;
        return -1;
    }
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

namespace {

using namespace cri_test;
using testing::ElementsAre;

constexpr char kMarker[] = "/run/user/5001/org.olvex.contents-recognition-api.busy";

class VisionDataTest : public testing::Test {
  protected:
    VisionDataRecognitionAPI& Api() { return *VisionDataRecognitionAPI::GetInstance(); }

    /// What the last request was, and nothing of it left behind.
    std::string TakeRequest() {
        const std::string request = m_requests.Read();
        m_requests.Write("");
        return request;
    }

    static bool Exists(const char* path) {
        struct stat status;
        return lstat(path, &status) == 0;
    }

    const MessageFile m_results{"vdrs_s2c_msg"};
    const MessageFile m_requests{"vdrs_c2s_msg"};
};

TEST_F(VisionDataTest, StartsPausesResumesChangesAndStops) {
    EXPECT_FALSE(Api().ChangeAnalyze(1));
    EXPECT_FALSE(Api().StopAnalyze("vdrs_method_ld_pause"));
    EXPECT_EQ(TakeRequest(), "");
    EXPECT_TRUE(Api().StartAnalyze("vdrs_method_ld_start", 1));
    EXPECT_EQ(TakeRequest(), "vdrs_method_ld_start\n0 -1 0 unknown 5 \n");
    EXPECT_TRUE(Exists(kMarker));
    EXPECT_TRUE(bLDInit && bLDStart);
    EXPECT_FALSE(Api().StartAnalyze("vdrs_method_ld_start", 1));
    EXPECT_EQ(TakeRequest(), "");
    EXPECT_TRUE(Api().ChangeAnalyze(10001));
    EXPECT_EQ(TakeRequest(), "vdrs_method_ld_change\n3\n");
    EXPECT_TRUE(Api().StopAnalyze("vdrs_method_ld_pause"));
    EXPECT_EQ(TakeRequest(), "vdrs_method_ld_pause\n");
    EXPECT_FALSE(Exists(kMarker));
    EXPECT_TRUE(Api().StartAnalyze("vdrs_method_ld_resume", 7));
    EXPECT_EQ(TakeRequest(), "vdrs_method_ld_resume\n0 -1 0 unknown 7 \n");
    EXPECT_TRUE(Api().StopAnalyze("vdrs_method_ld_stop"));
    EXPECT_TRUE(Api().StopAnalyze("vdrs_method_ld_stop"));
    EXPECT_EQ(TakeRequest(), "vdrs_method_ld_stop\n");
    EXPECT_FALSE(Exists(kMarker) || bLDStart);
}

TEST_F(VisionDataTest, MapsCaptureTypesAndSendsTheAgreement) {
    CHomeDataControlAPI* const home = CHomeDataControlAPI::GetInstance();
    ASSERT_EQ(home->SetDisclaimerItemAgreement("viewing", 1, "TV"), 0);
    const auto start = [this](int captureType) {
        EXPECT_TRUE(Api().StartAnalyze("vdrs_method_ld_start", captureType));
        const std::string request = TakeRequest();
        EXPECT_TRUE(Api().StopAnalyze("vdrs_method_ld_stop"));
        TakeRequest();
        return request;
    };
    EXPECT_EQ(start(10000), "vdrs_method_ld_start\n1 -1 0 unknown 5 \n");
    EXPECT_EQ(start(2), "vdrs_method_ld_start\n1 -1 0 unknown 3 \n");
    EXPECT_EQ(start(-9), "vdrs_method_ld_start\n1 -1 0 unknown -9 \n");
    ASSERT_EQ(home->SetDisclaimerItemAgreement("service", 0, "standin"), 0);
    EXPECT_EQ(start(1), "vdrs_method_ld_start\n0 -1 0 unknown 5 \n");
    EXPECT_EQ(CountLogLines("CHomeDataControlAPI Get API instance fail!\n\n"), 1U);
}

TEST_F(VisionDataTest, LeavesAMarkerAloneAndNeverFollowsALink) {
    const MessageFile marker("org.olvex.contents-recognition-api.busy", "mine");
    EXPECT_TRUE(Api().StartAnalyze("vdrs_method_ld_start", 1));
    EXPECT_EQ(marker.Read(), "mine");
    EXPECT_TRUE(Api().StopAnalyze("vdrs_method_ld_stop"));
    TakeRequest();
    const MessageFile elsewhere("elsewhere", "untouched");
    for (const char* target : {"/run/user/5001/elsewhere", "/run/user/5001/dangling"}) {
        ASSERT_EQ(symlink(target, kMarker), 0);
        EXPECT_FALSE(Api().StartAnalyze("vdrs_method_ld_start", 1));
        EXPECT_EQ(TakeRequest(), "");
        EXPECT_FALSE(bLDStart);
        EXPECT_TRUE(Exists(kMarker));
        ASSERT_EQ(unlink(kMarker), 0);
    }
    EXPECT_EQ(elsewhere.Read(), "untouched");
    EXPECT_FALSE(Exists("/run/user/5001/dangling"));
    EXPECT_EQ(CountLogLines(std::string("File ") + kMarker + " is symbolic link\n"), 1U);
    EXPECT_EQ(CountLogLines(std::string("file open error ") + kMarker + "\n"), 1U);
}

TEST_F(VisionDataTest, StartsWhenAnotherProcessIsQuickerToMakeTheMarker) {
    const MessageFile marker("org.olvex.contents-recognition-api.busy", "theirs");
    s_missing = kMarker;  // as it was a moment ago
    EXPECT_TRUE(Api().StartAnalyze("vdrs_method_ld_start", 1));
    s_missing = nullptr;
    EXPECT_EQ(marker.Read(), "theirs");
    EXPECT_EQ(TakeRequest(), "vdrs_method_ld_start\n0 -1 0 unknown 5 \n");
    EXPECT_TRUE(Api().StopAnalyze("vdrs_method_ld_stop"));
}

TEST_F(VisionDataTest, CountsAsStartedAlsoWhenTheRequestCannotBeWritten) {
    ASSERT_EQ(unlink(m_requests.Path().c_str()), 0);
    ASSERT_EQ(mkdir(m_requests.Path().c_str(), 0700), 0);
    EXPECT_FALSE(Api().StartAnalyze("vdrs_method_ld_start", 1));
    EXPECT_TRUE(bLDStart && Exists(kMarker));
    EXPECT_FALSE(Api().StopAnalyze("vdrs_method_ld_stop"));
    EXPECT_FALSE(bLDStart || Exists(kMarker));
    std::string unchanged = "unchanged";
    EXPECT_TRUE(Api().Request(unchanged, nullptr));
    EXPECT_EQ(unchanged, "unchanged");
    ASSERT_EQ(rmdir(m_requests.Path().c_str()), 0);
    EXPECT_TRUE(Api().Request(unchanged, "what is on"));
    EXPECT_EQ(m_requests.Read(), "vdrs_method_ld_request\n");
    EXPECT_FALSE(Api().StartAnalyze(nullptr, 1));
    EXPECT_FALSE(Api().StopAnalyze(nullptr));
}

TEST_F(VisionDataTest, LetsOneOfManyStartsThrough) {
    std::atomic<int> started{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < 8; ++i)
        callers.emplace_back(
            [&] { started += Api().StartAnalyze("vdrs_method_ld_start", 1) ? 1 : 0; });
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(started, 1);
    EXPECT_EQ(CountLogLines("VDRS_Client_Inotify_Connect Success\n"), 1U);
    EXPECT_TRUE(Api().StopAnalyze("vdrs_method_ld_stop"));
}

TEST_F(VisionDataTest, DeletesWhatItIsToldAndRefusesACommandThatDoesNotFit) {
    const MessageFile file("to-delete", "x"), cut(std::string(190, 'c'), "x");
    std::string path = file.Path();
    EXPECT_EQ(FileExist(path.data()), 1);
    EXPECT_EQ(DelFiles(path.data()), 1);
    EXPECT_EQ(FileExist(path.data()), 0);
    // The first 511 characters of this command would delete another file.
    std::string longPath = cut.Path() + std::string(511 - 7 - cut.Path().size(), ' ') + "/tail";
    EXPECT_EQ(DelFiles(longPath.data()), 1);
    EXPECT_TRUE(Exists(cut.Path().c_str()));
    EXPECT_EQ(DelFiles(nullptr), 1);
    EXPECT_EQ(CountLogLines("Delete Files error"), 2U);
    EXPECT_EQ(FileExist(nullptr), 0);
    EXPECT_EQ(m_ExecuteShell(nullptr), -1);
}

TEST_F(VisionDataTest, ConvertsALockerAndGivesAProviderThatWasTakenAwayAnew) {
    static_assert(std::is_convertible_v<VDRLocker&, AutoLock>);
    static const VDRAPIProvider* const s_first = VDRAPIProvider::GetInstance();
    EXPECT_EQ(VDRAPIProvider::GetInstance(), s_first);
    VDRAPIProvider::m_pInstance = nullptr;
    VDRLocker locker;
    for (int i = 0; i < 2; ++i) AutoLock lock(locker);  // hangs unless the first one unlocks
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i)
        callers.emplace_back([] {
            VDRAPIProvider* const given = VDRAPIProvider::GetInstance();
            EXPECT_TRUE(given && given == VDRAPIProvider::m_pInstance);
        });
    for (auto& caller : callers) caller.join();
}

TEST(ShellTest, GivesTheWaitStatusWhateverTheHostDoesWithSignals) {
    static std::atomic<int> s_elsewhere;
    static const pid_t s_self = getpid();
    struct sigaction action = {};
    action.sa_handler = [](int) {
        if (getpid() != s_self) ++s_elsewhere;  // shared memory: seen here when it ran in the child
    };
    sigaction(SIGURG, &action, nullptr);
    ASSERT_EQ(setpgid(0, 0), 0);
    std::atomic<bool> signalling{true};
    // To the shell as well, from its very first moment.
    std::thread sender([&] {
        while (signalling) kill(0, SIGURG);
    });
    for (int i = 0; i < 50; ++i) {
        const int status = m_ExecuteShell("exit 7");
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_EQ(WEXITSTATUS(status), 7);
    }
    signalling = false;
    sender.join();
    EXPECT_EQ(s_elsewhere, 0);
    EXPECT_TRUE(WIFSIGNALED(m_ExecuteShell("kill -9 $$")));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);  // nobody is left to wait for
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(m_ExecuteShell("exit 0"), -1);
}

/// On the notification thread, which takes none of the host's signals itself.
TEST_F(VisionDataTest, LeavesFaultsAndProgramsOfACallbackToTheirSignals) {
    Latch done;
    bool takesFaults = false, takesRequests = true;
    int status = 0;
    Api().SubscribeLogoIconInfo([&](const MOBILE_USAGE&) {
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        takesFaults = sigismember(&blocked, SIGSEGV) == 0 && sigismember(&blocked, SIGFPE) == 0;
        takesRequests = sigismember(&blocked, SIGTERM) == 0;
        status = m_ExecuteShell("kill -TERM $$; sleep 5");
        done.CountDown();
    });
    m_results.Write(
        "vdrs_method_ld_callback\n"
        R"({"type":"AnalyzeResult","analyze_result":{"mobile_usage_analysis":{}}})"
        "\n");
    ASSERT_TRUE(done.WaitForOpen());
    EXPECT_TRUE(takesFaults);
    EXPECT_FALSE(takesRequests);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_TRUE(Api().Finalize());
}

/// A host whose numbers have decimal commas.
struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

class VisionDataDocument : public VisionDataTest {
  protected:
    VisionDataDocument() {
        Api().SubscribeLogoIconInfo(
            [this](const MOBILE_USAGE& usage) { m_usages.push_back(usage); });
        Api().Finalize();  // the test reads the file itself
    }

    /// The records that a document gives.
    std::vector<MOBILE_USAGE> Read(const std::string& document) {
        m_usages.clear();
        m_results.Write("vdrs_method_ld_callback\n" + document + "\n");
        EXPECT_EQ(VDRS_Client_Notification_Process(), 1);
        return m_usages;
    }

    MOBILE_USAGE ReadAnalysis(const std::string& analysis) {
        const auto usages =
            Read(R"({"type":"AnalyzeResult","analyze_result":{"mobile_usage_analysis":)" +
                 analysis + "}}");
        EXPECT_EQ(usages.size(), 1U) << analysis;
        return usages.empty() ? MOBILE_USAGE() : usages.front();
    }

    LogoIconInfo ReadIcon(const std::string& icon) {
        const auto icons = ReadAnalysis(R"({"logo_icon":[)" + icon + "]}").logo_icon;
        EXPECT_EQ(icons.size(), 1U) << icon;
        return icons.empty() ? LogoIconInfo() : icons.front();
    }

    std::vector<MOBILE_USAGE> m_usages;
};

TEST_F(VisionDataDocument, BecomesARecordWithAllItsValues) {
    const MOBILE_USAGE usage = ReadAnalysis(
        R"({"AppName":"Live TV","ContentsStatus":"playing","TitleName":"The Long Harbour","logo_icon":)"
        R"([{"bbox":{"left":1,"top":2,"right":3,"bottom":4},"score":0.93,"class_id":12},7,{}],)"
        R"("text_roi":{"left":5,"top":6,"right":7,"bottom":8}})");
    EXPECT_EQ(usage.AppName + usage.ContentsStatus + usage.TitleName,
              "Live TVplayingThe Long Harbour");
    ASSERT_EQ(usage.logo_icon.size(), 2U);
    const LogoIconInfo& icon = usage.logo_icon.front();
    EXPECT_THAT((std::vector{icon.left, icon.top, icon.right, icon.bottom, icon.class_id}),
                ElementsAre(1, 2, 3, 4, 12));
    EXPECT_EQ(icon.score, 0.93F);
    EXPECT_EQ(usage.logo_icon.back().class_id, 0U);
    EXPECT_THAT((std::vector{usage.text_roi.left, usage.text_roi.top, usage.text_roi.right,
                             usage.text_roi.bottom}),
                ElementsAre(5, 6, 7, 8));
    EXPECT_EQ(CountLogLines("[TEXT_ROI] Result: 5, 6, 7, 8\n"), 1U);
}

TEST_F(VisionDataDocument, MayBeginWithOneByteOrderMark) {
    const std::string kMark = "\xEF\xBB\xBF";
    EXPECT_THAT(Read(kMark + kMark + R"({"type":"AnalyzeResult"})"), testing::IsEmpty());
    EXPECT_EQ(CountLogLines("Unknown Data\n"), 1U);
    const auto usages = Read(
        kMark + R"({"type":"AnalyzeResult","analyze_result":{"mobile_usage_analysis":{"logo_icon":)"
                R"([{"class_id":12,"score":0.93}]}}})");
    ASSERT_EQ(usages.size(), 1U);
    ASSERT_EQ(usages.front().logo_icon.size(), 1U);
    EXPECT_EQ(usages.front().logo_icon.front().class_id, 12U);
    EXPECT_EQ(usages.front().logo_icon.front().score, 0.93F);
}

TEST_F(VisionDataDocument, IsDroppedWhenItIsNone) {
    for (const std::string& document :
         {std::string("not JSON"), std::string("7"), std::string("[]"), std::string("{}"),
          std::string(R"({"type":7})"), std::string(R"({"type":"analyzeresult"})"),
          std::string(1900, '['), "{\"a\":" + std::string(1800, '[')})
        EXPECT_THAT(Read(document), testing::IsEmpty()) << document;
    EXPECT_EQ(CountLogLines("Unknown Data\n"), 8U);
    EXPECT_THAT(Read(R"({"type":"AnalyzeResult","analyze_result":[]})"), testing::IsEmpty());
    EXPECT_EQ(CountLogLines("There is no analyze result\n"), 1U);
    EXPECT_THAT(Read(R"({"type":"AnalyzeResult","analyze_result":{"logo_icon":{}}})"),
                testing::IsEmpty());
    EXPECT_EQ(CountLogLines("Parse Analyze Result 1 1\n"), 1U);
    EXPECT_EQ(CountLogLines("There is no solid result\n"), 1U);
}

TEST_F(VisionDataDocument, IsDeliveredWithTheMissingValueWhereOneCannotBeConverted) {
    for (const char* analysis : {"{}", "null", "7", "[]", R"({"AppName":[],"text_roi":7})",
                                 R"({"logo_icon":3,"TitleName":{}})"}) {
        const MOBILE_USAGE usage = ReadAnalysis(analysis);
        EXPECT_TRUE(usage.AppName.empty() && usage.TitleName.empty() && usage.logo_icon.empty());
        EXPECT_EQ(usage.text_roi.left, 0U);
    }
    EXPECT_EQ(CountLogLines("[TEXT_ROI] is null\n"), 6U);
    EXPECT_EQ(ReadIcon(R"({"class_id":-1,"score":0.5})").class_id, 0U);
    EXPECT_EQ(ReadIcon(R"({"class_id":-1,"score":0.5})").score, 0.5F);
    EXPECT_EQ(ReadIcon(R"({"class_id":4294967296})").class_id, 0U);
    EXPECT_EQ(ReadIcon(R"({"class_id":true})").class_id, 1U);
    EXPECT_EQ(ReadIcon(R"({"class_id":"12","score":"1"})").score, 0.0F);
    EXPECT_EQ(ReadIcon(R"({"bbox":[1,2],"class_id":3})").class_id, 3U);
    EXPECT_EQ(ReadIcon(R"({"bbox":{"left":2.9}})").left, 2U);
    EXPECT_EQ(ReadAnalysis(R"({"AppName":true})").AppName, "true");
}

TEST_F(VisionDataDocument, ReadsNumbersTheSameWhateverTheHostsLocale) {
    std::locale::global(std::locale(std::locale(), new Comma));
    EXPECT_EQ(ReadIcon(R"({"score":0.93})").score, 0.93F);
    EXPECT_EQ(ReadIcon(R"({"score":0.123,"class_id":7})").score, 0.123F);
    EXPECT_EQ(ReadIcon(R"({"score":-1.5e-3})").score, -1.5e-3F);
    EXPECT_EQ(ReadIcon(R"({"score":2E+2})").score, 200.0F);
    EXPECT_EQ(ReadIcon(R"({"score":1e-999})").score, 0.0F);
    EXPECT_EQ(ReadAnalysis(R"({"AppName":"1.5, \"2.5\" -3.5"})").AppName, "1.5, \"2.5\" -3.5");
    EXPECT_EQ(ReadIcon(R"({"score":-.5})").score, -0.5F);
    EXPECT_EQ(ReadIcon(R"({"score":12.50e-1})").score, 1.25F);
    EXPECT_EQ(ReadIcon(R"({"score":0.5e-99999999999999999999})").score, 0.0F);
    for (const char* score : {"1.5.5", "0-1.9", "1.5e5e5", "1.e", "1.5e+-3", "1e999", "0x1.8"})
        EXPECT_THAT(Read(R"({"type":"AnalyzeResult","score":)" + std::string(score) + "}"),
                    testing::IsEmpty());
    EXPECT_EQ(CountLogLines("Unknown Data\n"), 7U);
    ReadAnalysis(R"({"text_roi":{"left":1.5/* 1.5 */}})");
    EXPECT_EQ(CountLogLines("[TEXT_ROI_API] 2 {\n\t\"left\" : 1.5 /* 1.5 */\n}\n"), 1U);
}

}  // namespace
