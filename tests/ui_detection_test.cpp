/// The UI-detection client: control, preparation of its files, and its documents.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <type_traits>

#include "Channels.h"
#include "ContentsUIDetectionAPI.h"
#include "LogCapture.h"

namespace {

using namespace cri_test;
using testing::ElementsAre;

static_assert(!std::is_copy_constructible_v<ContentsUIDetectionAPI> &&
              !std::is_copy_assignable_v<ContentsUIDetectionAPI>);

constexpr char kTestLine[] = "cuds_method_ld_test\n";

ContentsUIDetectionAPI& Api() {
    return *ContentsUIDetectionAPI::GetInstance();
}

TEST(UiDetectionControlTest, WritesItsRequestsAndSaysTrueAlsoWhenItCannot) {
    const MessageFile requests("cuds_c2s_msg");
    EXPECT_TRUE(Api().StartAnalyze(2, 1, 0, 1));
    EXPECT_EQ(requests.Read(), "cuds_method_engine_start\n2 1 0 1 \n");
    requests.Write("");
    EXPECT_TRUE(Api().StopAnalyze(-1, 0, 3, 4));
    EXPECT_EQ(requests.Read(), "cuds_method_engine_stop\n-1 0 3 4 \n");
    requests.Write("");
    EXPECT_TRUE(Api().SetAdaptiveSoundOnOffChange(1));
    EXPECT_EQ(requests.Read(), "cuds_adaptivesound_onoff_change\n-1 -1 1 -1 \n");
    ASSERT_EQ(unlink(requests.Path().c_str()), 0);
    ASSERT_EQ(mkdir(requests.Path().c_str(), 0700), 0);
    EXPECT_TRUE(Api().StartAnalyze(2, 1, 0, 1));
    EXPECT_EQ(CountLogLines("CUDSClientEngineStart : -3\n"), 1U);
    EXPECT_FALSE(Api().Initialize());
    EXPECT_EQ(CountLogLines("cuds_c2s_msg Inotify init failed\n"), 1U);
    ASSERT_EQ(rmdir(requests.Path().c_str()), 0);
    EXPECT_TRUE(Api().Initialize());
    EXPECT_TRUE(Api().Finalize());
    EXPECT_TRUE(Api().Finalize());
    EXPECT_EQ(CountLogLines("CUDSClientInotifyDisconnect Already Disconnected\n"), 1U);
}

TEST(PreparationTest, WritesTheTestLineIntoBothFiles) {
    const MessageFile results("cuds_s2c_msg", "a longer text than the test line has"),
        requests("cuds_c2s_msg");
    ASSERT_EQ(unlink(requests.Path().c_str()), 0);
    EXPECT_EQ(CUDSClientInotifyConnect(), 1);
    EXPECT_EQ(results.Read(), kTestLine);
    EXPECT_EQ(requests.Read(), kTestLine);
    EXPECT_EQ(CountLogLines("[WN] \"" + requests.Path() + "\" does not exist need to make it\n\n"),
              1U);
    EXPECT_EQ(CUDSClientInotifyDisconnect(), 1);
}

TEST(PreparationTest, FailsWhenAFileCanBeOpenedAndNotWritten) {
    const MessageFile results("cuds_s2c_msg");
    signal(SIGXFSZ, SIG_IGN);
    const rlimit before{RLIM_INFINITY, RLIM_INFINITY}, none{0, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    const int connected = CUDSClientInotifyConnect();
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(connected, -2);
    EXPECT_EQ(CountLogLines("file open error"), 0U);
    EXPECT_EQ(CountLogLines("cuds_s2c_msg Inotify init failed\n"), 1U);
}

TEST(PreparationTest, LeavesAFileBehindALinkAloneInAnyWorkingDirectory) {
    const MessageFile elsewhere("elsewhere", "untouched");
    const std::string link = "/run/user/5001/cuds_s2c_msg";
    ASSERT_EQ(symlink(elsewhere.Path().c_str(), link.c_str()), 0);
    std::string deep = "/run/user/5001/";
    for (int i = 0; i < 3; ++i) deep += std::string(200, 'd') + "/";
    std::filesystem::create_directories(deep);
    const std::string nearly = "/run/user/5001/" + std::string(200, 'd') + "/";
    for (const std::string& directory : {std::string("/"), std::string("/tmp"), nearly, deep}) {
        ASSERT_EQ(chdir(directory.c_str()), 0);
        EXPECT_EQ(CUDSInotifyInit("cuds_s2c_msg"), 1);
        EXPECT_EQ(elsewhere.Read(), "untouched");
    }
    const std::string gone = "/run/user/5001/gone";
    std::filesystem::create_directory(gone);
    ASSERT_EQ(chdir(gone.c_str()), 0);
    ASSERT_EQ(rmdir(gone.c_str()), 0);
    EXPECT_EQ(CUDSClientInotifyConnect(), 1);
    EXPECT_EQ(CUDSClientInotifyDisconnect(), 1);
    EXPECT_EQ(elsewhere.Read(), "untouched");
    ASSERT_EQ(unlink(link.c_str()), 0);
    ASSERT_EQ(symlink(link.c_str(), link.c_str()), 0);
    EXPECT_EQ(CUDSInotifyInit("cuds_s2c_msg"), -2);
    EXPECT_EQ(CountLogLines("CUDSInotifyInit realpath error\n"), 1U);
}

class UiDetectionDocument : public testing::Test {
  protected:
    UiDetectionDocument() {
        Api().SubscribeDetectedCallback([this](const std::vector<_DETECTED_RESULT>& list) {
            m_lists.push_back(list);
            m_order += 'l';
        });
        Api().SubscribePipModeCallback([this](const _PIP_MODE_RESULT& mode) {
            m_modes.push_back(mode);
            m_order += 'm';
        });
        Api().Finalize();  // the test reads the file itself
    }

    /// Whether a document is delivered, to both kinds of subscriber.
    bool Read(const std::string& document) {
        m_lists.clear();
        m_modes.clear();
        m_results.Write("cuds_detected_result_callback\n" + document + "\n");
        EXPECT_EQ(CUDSClientNotificationProcess(), 1);
        EXPECT_EQ(m_lists.size(), m_modes.size());
        return m_lists.size() == 1;
    }

    bool ReadResult(const std::string& result) {
        return Read(R"({"type":"ContentsUIdetection","result":)" + result + "}");
    }

    const MessageFile m_results{"cuds_s2c_msg"};
    std::vector<std::vector<_DETECTED_RESULT>> m_lists;
    std::vector<_PIP_MODE_RESULT> m_modes;
    std::string m_order;
};

TEST_F(UiDetectionDocument, BecomesAListAndThenAMode) {
    ASSERT_TRUE(ReadResult(
        R"({"detected_list":[{"bbox":{"left":10,"top":20.5,"right":110,"bottom":60},"score":0.93,)"
        R"("class_id":3},5,{"score":1}],"pip_mode":{"centerx":7,"centery":-8.9,"on_off":true}})"));
    ASSERT_EQ(m_lists[0].size(), 2U);
    const _DETECTED_RESULT& first = m_lists[0][0];
    EXPECT_THAT((std::vector{first.left, first.top, first.right, first.bottom, first.score}),
                ElementsAre(10, 20.5F, 110, 60, 0.93F));
    EXPECT_EQ(first.class_id, 3U);
    EXPECT_EQ(m_lists[0][1].left, 0.0F);
    EXPECT_THAT((std::vector{m_modes[0].centerx, m_modes[0].centery, m_modes[0].on_off}),
                ElementsAre(7, -8, 1));
    EXPECT_EQ(m_order, "lm");
}

TEST_F(UiDetectionDocument, MayGiveItsElementsAsMembersInTheOrderOfTheKeys) {
    ASSERT_TRUE(ReadResult(R"({"detected_list":{"b":{"class_id":2},"a":{"class_id":1},"c":3}})"));
    ASSERT_EQ(m_lists[0].size(), 2U);
    EXPECT_EQ(m_lists[0][0].class_id, 1U);
    EXPECT_EQ(m_lists[0][1].class_id, 2U);
}

TEST_F(UiDetectionDocument, IsDeliveredWithZerosWhereAValueCannotBeConverted) {
    for (const char* result :
         {"{}", R"({"detected_list":null,"pip_mode":null})", R"({"detected_list":7,"pip_mode":[]})",
          R"({"detected_list":"x","pip_mode":{"centerx":"7","centery":1e99,"on_off":{}}})"}) {
        ASSERT_TRUE(ReadResult(result)) << result;
        EXPECT_TRUE(m_lists[0].empty());
        EXPECT_EQ(m_modes[0].centerx | m_modes[0].centery | m_modes[0].on_off, 0);
    }
    ASSERT_TRUE(ReadResult(R"({"detected_list":[{"class_id":-1,"score":[],"bbox":7}]})"));
    EXPECT_EQ(m_lists[0][0].class_id, 0U);
}

TEST_F(UiDetectionDocument, IsDroppedWhenItIsNone) {
    for (const char* document :
         {"", "not JSON", "7", "[]", "{}", R"({"type":["ContentsUIdetection"],"result":{}})",
          R"({"type":"contentsUIdetection","result":{}})", R"({"type":"ContentsUIdetection"})",
          R"({"type":"ContentsUIdetection","result":[]})"})
        EXPECT_FALSE(Read(document)) << document;
    EXPECT_EQ(CountLogLines("There is no analyze result\n"), 9U);
}

TEST(SmallStackTest, ReadsTheLongestAndDeepestDocumentsWhereTheHostHasSmallStacks) {
    pthread_attr_t small;  // what a process gets that was started under a small limit
    pthread_attr_init(&small);
    pthread_attr_setstacksize(&small, 256 * 1024);
    ASSERT_EQ(pthread_setattr_default_np(&small), 0);
    const MessageFile results("cuds_s2c_msg");
    Latch deep, last;
    Api().SubscribeDetectedCallback([&](const std::vector<_DETECTED_RESULT>& list) {
        (list.size() == 1 ? deep : last).CountDown();
    });
    const std::string start = R"({"type":"ContentsUIdetection","result":{"detected_list":[)";
    std::string nested = R"({"deep":)" + std::string(990, '[') + std::string(990, ']') + "}]";
    nested = start + nested + R"(,"pad":")";
    nested += std::string(19996 - nested.size() - 3, 'p') + "\"}}";
    results.Write("cuds_detected_result_callback\n" + nested + "\n");
    EXPECT_TRUE(deep.WaitForOpen());
    results.Write("cuds_detected_result_callback\n" + std::string(19998, '[') + "\n" +
                  "cuds_detected_result_callback\n" + start + "]}}\n");
    EXPECT_TRUE(last.WaitForOpen());
}

}  // namespace
