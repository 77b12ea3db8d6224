/// The fake peers themselves: the service on its bus, and the world that they live in.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "BusConnection.h"
#include "RecognitionService.h"
#include "TestSupport.h"

namespace {

using cri_sim::Answer;
using cri_sim::BusConnection;
using cri_sim::RecognitionService;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// Calls the service without the library; gives the reply's text, or the name of the error.
std::string Ask(const BusConnection& client, const std::string& method,
                GVariant* arguments = nullptr, milliseconds timeout = seconds(5),
                const char* interface = RecognitionService::kInterface) {
    GError* error = nullptr;
    const cri_sim::Owned<GVariant> reply(g_dbus_connection_call_sync(
        client.Raw(), RecognitionService::kName, RecognitionService::kPath, interface,
        method.c_str(), arguments, nullptr, G_DBUS_CALL_FLAGS_NONE,
        static_cast<int>(timeout.count()), nullptr, &error));
    gchar* text =
        reply ? g_variant_print(reply.get(), FALSE) : g_dbus_error_get_remote_error(error);
    std::string answer = text ? text : error->message;
    g_free(text);
    g_clear_error(&error);
    return answer;
}

TEST(RecognitionServiceTest, ShowsAChannelAndRecordsWhoAsked) {
    RecognitionService service;
    const BusConnection client;
    EXPECT_EQ(Ask(client, "GetChannelName"), "('Kestrel One',)");
    EXPECT_EQ(Ask(client, "GetChannelNumberWithInfo"), "('7-1', 2, 'Kestrel One', 7, 1)");
    ASSERT_TRUE(service.WaitForCalls("GetChannelName", 1));
    const auto calls = service.Calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].method, "GetChannelName");
    EXPECT_EQ(calls[0].arguments, "()");
    EXPECT_EQ(calls[0].sender, client.UniqueName());
}

TEST(RecognitionServiceTest, RefusesWhatARealServiceWouldRefuse) {
    RecognitionService service;
    const BusConnection client;
    EXPECT_EQ(Ask(client, "GetEverything"), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(Ask(client, "GetChannelName", g_variant_new("(i)", 3)),
              "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(Ask(client, "GetAll", g_variant_new("(s)", RecognitionService::kInterface),
                  seconds(5), "org.freedesktop.DBus.Properties"),
              "({},)");
    EXPECT_THROW(RecognitionService{}, std::runtime_error) << "the name is taken";
}

TEST(RecognitionServiceTest, FollowsItsScript) {
    RecognitionService service;
    const BusConnection client;
    service.SetAnswer("GetScreenStatus", Answer::Reply("('no number', 4)"));
    service.AnswerOnce("GetScreenStatus", Answer::Error("org.olvex.Error.Busy", "not now"));
    service.AnswerOnce("GetScreenStatus", Answer::Reply("(9,)"));
    EXPECT_EQ(Ask(client, "GetScreenStatus"), "org.olvex.Error.Busy");
    EXPECT_EQ(Ask(client, "GetScreenStatus"), "(9,)");
    EXPECT_EQ(Ask(client, "GetScreenStatus"), "('no number', 4)");
    EXPECT_THROW(Answer::Reply("7"), std::invalid_argument);
}

TEST(RecognitionServiceTest, AnswersOthersWhileItIsSilentOrSlow) {
    RecognitionService service;
    const BusConnection client;
    service.SetAnswer("GetChannelName", Answer::Silence());
    service.SetAnswer("GetProgramTitle", Answer::Reply("('late',)").After(milliseconds(80)));
    std::thread slow([&] { EXPECT_EQ(Ask(client, "GetProgramTitle"), "('late',)"); });
    EXPECT_EQ(Ask(client, "GetChannelName", nullptr, milliseconds(40)), "Timeout was reached");
    EXPECT_EQ(Ask(client, "GetScreenStatus"), "(1,)");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Ask(client, "GetProgramTitle"), "('late',)");
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(80));
    slow.join();
}

TEST(RecognitionServiceTest, CountsTheReferencesOnItsBlackScreenEngine) {
    RecognitionService service;
    const BusConnection client;
    EXPECT_EQ(Ask(client, "BlackScreenDecreaseReference"), "(-1,)");
    EXPECT_EQ(Ask(client, "BlackScreenIncreaseReference"), "(1,)");
    EXPECT_EQ(Ask(client, "BlackScreenIncreaseReference"), "(0,)");
    EXPECT_EQ(service.BlackScreenReferences(), 2);
    EXPECT_EQ(Ask(client, "BlackScreenDecreaseReference"), "(0,)");
    EXPECT_EQ(Ask(client, "BlackScreenDecreaseReference"), "(1,)");
    EXPECT_EQ(service.BlackScreenReferences(), 0);
}

TEST(RecognitionServiceTest, LeavesAndComesBackUnderAnotherUniqueNameWithNothingStarted) {
    RecognitionService service;
    const BusConnection client;
    EXPECT_EQ(Ask(client, "BlackScreenIncreaseReference"), "(1,)");
    service.Leave();
    EXPECT_FALSE(client.SeesOwnerOf(RecognitionService::kName));
    EXPECT_EQ(Ask(client, "GetChannelName"), "org.freedesktop.DBus.Error.ServiceUnknown");
    EXPECT_THROW(service.Emit("BlackScreenInfo", "(1,)"), std::runtime_error);
    service.Return();
    EXPECT_EQ(Ask(client, "BlackScreenIncreaseReference"), "(1,)");
}

/// Keeps what a subscription delivers, on a private main context.
struct Signals {
    std::vector<std::string> bodies, senders;

    static void Keep(GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                     const gchar*, GVariant* body, gpointer self) {
        gchar* text = g_variant_print(body, FALSE);
        static_cast<Signals*>(self)->bodies.emplace_back(text);
        static_cast<Signals*>(self)->senders.emplace_back(sender);
        g_free(text);
    }
};

TEST(RecognitionServiceTest, EmitsAnySignalInItsOwnNameAndInAStrangersName) {
    RecognitionService service;
    const BusConnection client;
    Signals got;
    g_dbus_connection_signal_subscribe(client.Raw(), nullptr, RecognitionService::kInterface,
                                       nullptr, RecognitionService::kPath, nullptr,
                                       G_DBUS_SIGNAL_FLAGS_NONE, Signals::Keep, &got, nullptr);
    client.RoundTrip();
    service.Emit("CONTENTS_RECOGNITION_EVENT_OTT", "(2, 7)");
    service.EmitFromStranger("CONTENTS_RECOGNITION_EVENT_OTT", "('noise',)");
    service.Settle();
    client.RoundTrip();  // what the bus has passed on is here, before the answer to this
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    ASSERT_EQ(got.bodies, (std::vector<std::string>{"(2, 7)", "('noise',)"}));
    EXPECT_NE(got.senders[0], got.senders[1]);
}

TEST(RecognitionServiceTest, EndsCleanlyWhenTheBusIsGone) {
    RecognitionService service;
    const BusConnection client;
    cri_test::DropBus();
    EXPECT_THROW(service.Settle(), std::runtime_error);
    EXPECT_THROW(service.Return(), std::runtime_error);
}

/// A shell in a world inside this one, and what it printed.
class Launcher {
  public:
    explicit Launcher(const std::string& script, const std::string& option = {}) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        m_process = fork();
        if (m_process == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            if (option.empty())
                execl(CRI_WORLD_PROGRAM, "cri-world", "--", "sh", "-c", script.c_str(), nullptr);
            else
                execl(CRI_WORLD_PROGRAM, "cri-world", option.c_str(), "--", "sh", "-c",
                      script.c_str(), nullptr);
            _exit(99);
        }
        close(ends[1]);
        m_output = fdopen(ends[0], "r");
    }
    ~Launcher() {
        if (m_process > 0) Wait();
        fclose(m_output);
    }
    Launcher(const Launcher&) = delete;
    Launcher& operator=(const Launcher&) = delete;

    pid_t Process() const { return m_process; }

    std::string ReadLine() {
        char line[256] = "";
        if (!fgets(line, sizeof line, m_output)) return {};
        std::string text = line;
        if (!text.empty() && text.back() == '\n') text.pop_back();
        return text;
    }

    /// @return the wait status
    int Wait() {
        int status = -1;
        waitpid(m_process, &status, 0);
        m_process = 0;
        return status;
    }

  private:
    pid_t m_process = -1;
    FILE* m_output = nullptr;
};

int ExitStatusOf(const std::string& script) {
    const int status = Launcher(script).Wait();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(PrivateWorldTest, HasAnEmptyMessageDirectoryOfTheUsersOwn) {
    EXPECT_TRUE(std::filesystem::is_empty("/run/user/5001"));
    struct stat directory {};
    ASSERT_EQ(stat("/run/user/5001", &directory), 0);
    EXPECT_EQ(directory.st_uid, geteuid());
    const cri_test::MessageFile file("some_msg", "text");
    EXPECT_EQ(file.Read(), "text");
    Launcher inner("ls -A /run/user/5001; touch /run/user/5001/inner_msg; echo end");
    EXPECT_EQ(inner.ReadLine(), "end") << "the inner world shows a file of the outer one";
    inner.Wait();
    EXPECT_FALSE(std::filesystem::exists("/run/user/5001/inner_msg"));
}

TEST(PrivateWorldTest, KeepsWhatElseStandsInTheCoveredDirectory) {
    std::filesystem::create_directory("/run/user/other");
    std::ofstream("/run/user/other/file") << "kept\n";
    std::ofstream("/run/user/plain") << "kept too\n";
    std::filesystem::create_symlink("plain", "/run/user/link");
    Launcher inner("cat /run/user/other/file /run/user/link");
    EXPECT_EQ(inner.ReadLine(), "kept");
    EXPECT_EQ(inner.ReadLine(), "kept too");
}

TEST(PrivateWorldTest, PassesOnTheExitStatus) {
    EXPECT_EQ(ExitStatusOf("exit 0"), 0);
    EXPECT_EQ(ExitStatusOf("exit 7"), 7);
    EXPECT_EQ(ExitStatusOf("kill -TERM $$"), 128 + SIGTERM);
    EXPECT_EQ(ExitStatusOf("exec /no/such/program 2>&-"), 127);
}

TEST(PrivateWorldTest, PassesOnARequestToStop) {
    Launcher inner("echo ready; exec sleep 50");
    ASSERT_EQ(inner.ReadLine(), "ready");
    kill(inner.Process(), SIGTERM);
    const int status = inner.Wait();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGTERM);
}

TEST(PrivateWorldTest, HasABusOnlyWhenItIsToHaveOne) {
    const std::string show =
        "echo $CRI_WORLD_BUS_PID; ls ${DBUS_SYSTEM_BUS_ADDRESS#unix:path=} 2>&1";
    Launcher without(show, "--no-bus");
    EXPECT_EQ(without.ReadLine(), "0");
    EXPECT_NE(without.ReadLine().find("No such file"), std::string::npos);
    EXPECT_NO_THROW(BusConnection{});
    cri_test::DropBus();
    EXPECT_THROW(BusConnection{}, std::runtime_error);
}

TEST(PrivateWorldTest, EndsItsBusWithTheProgram) {
    Launcher inner("echo $CRI_WORLD_BUS_PID");
    const cri_test::ProcessWatch bus(std::stoi(inner.ReadLine()));
    inner.Wait();
    EXPECT_TRUE(bus.WaitForEnd());
}

TEST(PrivateWorldTest, LeavesNothingBehindWhenItsLauncherIsKilled) {
    Launcher inner("echo $CRI_WORLD_BUS_PID; echo $$; exec sleep 50");
    const cri_test::ProcessWatch bus(std::stoi(inner.ReadLine()));
    const cri_test::ProcessWatch program(std::stoi(inner.ReadLine()));
    EXPECT_FALSE(bus.WaitForEnd(milliseconds(0)));
    EXPECT_FALSE(program.WaitForEnd(milliseconds(0)));
    kill(inner.Process(), SIGKILL);
    inner.Wait();
    EXPECT_TRUE(bus.WaitForEnd());
    EXPECT_TRUE(program.WaitForEnd());
}

}  // namespace
