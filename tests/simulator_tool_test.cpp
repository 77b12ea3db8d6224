/// cri-simulator as a process: what clients see of a playing, and what is left of a run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "BusConnection.h"
#include "MainLoop.h"
#include "Program.h"
#include "RecognitionService.h"
#include "Recording.h"
#include "TestSupport.h"
#include "vconf.h"

namespace {

using cri_sim::RecognitionService;
using cri_test::Outcome;
using cri_test::Program;
using cri_test::RunToEnd;
using cri_test::TextOf;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

const std::string kTool = CRI_SIMULATOR;
const std::string kMessages = "/run/user/5001/";

/// A client of the recognition service that prints what it gets.
class Client {
  public:
    Client() {
        m_bus.RoundTrip();
        g_dbus_connection_signal_subscribe(m_bus.Raw(), nullptr, RecognitionService::kInterface,
                                           nullptr, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                           OnSignal, this, nullptr);
        m_bus.RoundTrip();
    }

    /// The answer, or the name of the error.
    std::string Ask(const char* method, const char* arguments = "()", int limitMillis = 5000) {
        GError* error = nullptr;
        const cri_sim::Owned<GVariant> reply(g_dbus_connection_call_sync(
            m_bus.Raw(), RecognitionService::kName, RecognitionService::kPath,
            RecognitionService::kInterface, method, cri_sim::ParseBody(arguments).get(), nullptr,
            G_DBUS_CALL_FLAGS_NONE, limitMillis, nullptr, &error));
        return reply ? cri_sim::PrintBody(reply.get(), false) : Named(error);
    }

    bool WaitForService(bool present) {
        return cri_test::RunUntil(
            [&] { return m_bus.SeesOwnerOf(RecognitionService::kName) == present; });
    }

    bool WaitForSignals(std::size_t count) {
        return cri_test::RunUntil([&] { return signals.size() >= count; });
    }

    std::vector<std::string> signals;

  private:
    static std::string Named(GError* error) {
        gchar* name = g_dbus_error_get_remote_error(error);
        std::string text = name ? name : "no answer";
        g_free(name);
        g_error_free(error);
        return text;
    }

    static void OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                         const gchar* name, GVariant* body, gpointer self) {
        static_cast<Client*>(self)->signals.push_back(std::string(name) + " " +
                                                      cri_sim::PrintBody(body, false));
    }

    cri_sim::BusConnection m_bus;
};

/// A simulator whose lines are typed by the test.
class Desk {
  public:
    Desk() : m_program({kTool, "play", "--json", "-"}) {
        // The first request seen is the last of its making.
        if (!m_client.WaitForService(true)) throw std::runtime_error(m_program.Errors());
    }

    Client& TheClient() { return m_client; }
    Program& TheProgram() { return m_program; }

    /// Types the lines and returns when they have been played: the barrier behind them has come.
    void Play(const std::vector<std::string>& lines) {
        for (const std::string& line : lines) m_program.Type(line + "\n");
        const std::string barrier =
            "CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS (" + std::to_string(++m_barriers) + ",)";
        m_program.Type(R"({"kind":"video_play","status":)" + std::to_string(m_barriers) + "}\n");
        const auto come = [&] {
            return !m_client.signals.empty() && m_client.signals.back() == barrier;
        };
        if (!cri_test::RunUntil(come)) throw std::runtime_error(m_program.Errors());
        m_client.signals.pop_back();
    }

    void PlayFault(const std::string& members) { Play({R"({"kind":"fault",)" + members + "}"}); }

  private:
    Program m_program;
    Client m_client;
    int m_barriers = 1000;
};

ino_t NumberOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

std::string FileWith(const std::string& name, const std::string& text) {
    const std::string path = kMessages + name;
    std::ofstream(path) << text;
    return path;
}

TEST(SimulatorToolTest, ShowsWhatIsTypedToQueriesSignalsAndMessageFiles) {
    Desk desk;
    desk.Play(
        {R"({"kind":"state","channel_name":"Kestrel \"Nine\"","channel_number":"9-1",)"
         R"("screen_status":4,"scrolling":true,"recognition_status":3,)"
         R"("black_screen_period_ms":250,"channel_info":{"number":"9-1","first_value":1,)"
         R"("second_text":"x","second_value":-2,"flag":true}})",
         R"({"kind":"event","event":"CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED","status":7})",
         R"({"kind":"content_area","mode":1,"x":2,"y":3,"width":4,"height":5})",
         R"({"kind":"black_screen","is_solid":true,"solid_prob":0.1,"red":255,"green":0,)"
         R"("blue":1,"is_real_black":false})",
         R"({"kind":"ui_start_stop","start_stop":1,"hdmi_port":2,"is_stb":3,)"
         R"("adaptive_sound":4,"multiview":5})",
         R"({"kind":"vision_data","app_name":"a","contents_status":"b","title_name":"c",)"
         R"("logos":[{"left":1,"top":2,"right":3,"bottom":4,"score":0.5,"class_id":6}],)"
         R"("text_region":{"left":7,"top":8,"right":9,"bottom":10}})",
         R"({"kind":"ui_detection","elements":[],"pip":{"centerx":1,"centery":2,"on_off":1}})"});
    Client& client = desk.TheClient();
    EXPECT_EQ(client.Ask("GetChannelName"), "('Kestrel \"Nine\"',)");
    EXPECT_EQ(client.Ask("GetChannelNumberWithInfo"), "('9-1', 1, 'x', -2, 1)");
    EXPECT_EQ(client.Ask("GetScreenStatus"), "(4,)");
    EXPECT_EQ(client.Ask("GetChannelScrollStatus"), "(1,)");
    EXPECT_EQ(client.Ask("GetBlackScreenPeriodMillis"), "(250,)");
    EXPECT_EQ(client.Ask("GetProgramTitle"), "('The Long Harbour',)") << "was not to change";
    int recognition = 0;
    vconf_get_int("db/Canalysis-service/recognition_status", &recognition);
    EXPECT_EQ(recognition, 3);
    EXPECT_THAT(client.signals,
                ElementsAre("CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED (10, 7)",
                            "CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS (1, 2, 3, 4, 5)",
                            StartsWith("BlackScreenInfo (1, 0.1"),
                            "CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP (1, 2, 3, 4, 5)"));
    EXPECT_THAT(TextOf(kMessages + "vdrs_s2c_msg"),
                AllOf(StartsWith("vdrs_method_ld_callback\n"),
                      HasSubstr(R"("bbox":{"bottom":4,"left":1,"right":3,"top":2})"),
                      HasSubstr(R"("text_roi":{"bottom":10,"left":7,"right":9,"top":8})")));
    EXPECT_THAT(TextOf(kMessages + "cuds_s2c_msg"), HasSubstr(R"("centerx":1,"centery":2)"));
}

TEST(SimulatorToolTest, LogsRequestsOfAllPeersAsARecording) {
    Desk desk;
    desk.TheClient().Ask("SMServiceSetResolutionWH", "(1, 1920, 1080)");
    Program& program = desk.TheProgram();
    std::ofstream(kMessages + "vdrs_c2s_msg") << "vdrs_method_ld_change\n4\n";
    cri_sim::RecordingParser parser("log", cri_sim::RecordingParser::Source::kRecorded,
                                    [](const std::string& warning) { ADD_FAILURE() << warning; });
    EXPECT_FALSE(parser.Take(program.ReadLine().value_or("")));
    std::vector<cri_sim::ClientRequest> requests;
    for (int i = 0; i < 2; ++i) {
        const auto line = parser.Take(program.ReadLine().value_or(""));
        ASSERT_TRUE(line);
        requests.push_back(std::get<cri_sim::ClientRequest>(line->content));
    }
    using cri_sim::Peer;
    const std::vector<std::string> words{"4"};
    EXPECT_THAT(requests,
                ElementsAre(
                    cri_sim::ClientRequest{
                        Peer::kRecognition, "SMServiceSetResolutionWH", "(1, 1920, 1080)", {}},
                    cri_sim::ClientRequest{Peer::kVisionData, "vdrs_method_ld_change", words, {}}));
}

TEST(SimulatorToolTest, DisturbsAnswersUntilItIsToldToAnswerNormally) {
    Desk desk;
    Client& client = desk.TheClient();
    desk.Play(
        {R"({"kind":"state","channel_name":"Kestrel Two"})",
         R"({"kind":"fault","fault":"no_answer","method":"GetChannelName"})",
         R"({"kind":"fault","fault":"late_answer","method":"GetProgramTitle","millis":300})",
         R"x({"kind":"fault","fault":"wrong_type","method":"GetScreenStatus","body":"('x',)"})x",
         R"({"kind":"fault","fault":"error_answer","method":"GetContentsInfo",)"
         R"("name":"org.olvex.Broken","message":"m"})"});
    EXPECT_EQ(client.Ask("GetChannelName", "()", 200), "no answer");
    EXPECT_EQ(client.Ask("GetScreenStatus"), "('x',)");
    EXPECT_EQ(client.Ask("GetContentsInfo"), "org.olvex.Broken");
    EXPECT_EQ(client.Ask("GetProgramTitle", "()", 150), "no answer");
    EXPECT_EQ(client.Ask("GetProgramTitle"), "('The Long Harbour',)");
    for (const char* method :
         {"GetChannelName", "GetProgramTitle", "GetScreenStatus", "GetContentsInfo"})
        desk.PlayFault(R"("fault":"answer_normally","method":")" + std::string(method) + "\"");
    EXPECT_EQ(client.Ask("GetChannelName", "()", 2000), "('Kestrel Two',)") << "as it was told";
    EXPECT_EQ(client.Ask("GetScreenStatus"), "(1,)");
    EXPECT_EQ(client.Ask("GetContentsInfo"), "('linear-channel',)");
    EXPECT_EQ(client.Ask("GetProgramTitle", "()", 250), "('The Long Harbour',)");
}

TEST(SimulatorToolTest, SpoilsMessageFilesAsItIsTold) {
    Desk desk;
    const std::string vision = kMessages + "vdrs_s2c_msg";
    const std::string ui = kMessages + "cuds_s2c_msg";
    desk.PlayFault(R"("fault":"malformed_message","channel":"ui_detection","text":"{oops")");
    EXPECT_THAT(TextOf(ui), StartsWith("cuds_detected_result_callback\n{oops\n"));
    desk.PlayFault(R"("fault":"torn_message","channel":"vision_data","document":"{}","split":5)");
    EXPECT_EQ(TextOf(vision), "vdrs_method_ld_callback\n{}\n");
    const ino_t before = NumberOf(ui);
    desk.PlayFault(R"("fault":"replace_message_file","channel":"ui_detection")");
    EXPECT_NE(NumberOf(ui), before);
    EXPECT_NE(NumberOf(ui), 0U);
    desk.PlayFault(R"("fault":"delete_message_file","channel":"vision_data")");
    EXPECT_EQ(NumberOf(vision), 0U);
    desk.PlayFault(R"("fault":"oversized_message","channel":"vision_data","bytes":50000)");
    EXPECT_THAT(TextOf(vision), SizeIs(50000 + sizeof "vdrs_method_ld_callback" + 1));
    EXPECT_THAT(TextOf(vision), EndsWith("\"type\":\"AnalyzeResult\"}\n"));
}

TEST(SimulatorToolTest, LeavesTheBusAndReturnsWithItsState) {
    Desk desk;
    Client& client = desk.TheClient();
    desk.Play({R"({"kind":"state","channel_name":"Kestrel Two"})"});
    desk.TheProgram().Type("{\"kind\":\"fault\",\"fault\":\"leave\"}\n");
    EXPECT_TRUE(client.WaitForService(false));
    desk.TheProgram().Type(
        "{\"kind\":\"video_play\",\"status\":1}\n{\"kind\":\"service\",\"present\":true}\n");
    EXPECT_TRUE(client.WaitForService(true));
    EXPECT_EQ(client.Ask("GetChannelName"), "('Kestrel Two',)");
    EXPECT_THAT(desk.TheProgram().Errors(), HasSubstr("not played: the service has left the bus"));
}

TEST(SimulatorToolTest, StormsAtTheRateAskedFor) {
    Desk desk;
    const auto start = std::chrono::steady_clock::now();
    desk.PlayFault(R"("fault":"storm","rate":200,"seconds":0.5,"line":{"kind":"content_area",)"
                   R"("mode":0,"x":0,"y":0,"width":1,"height":1})");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_LE(desk.TheClient().signals.size(), 100U);
    EXPECT_GE(desk.TheClient().signals.size(), 20U) << "however busy the machine is";
}

TEST(SimulatorToolTest, PrintsTheSeedOfRandomFaultsAndIsWellAfterThem) {
    Desk desk;
    desk.PlayFault(R"("fault":"random","seed":42,"count":60)");
    EXPECT_THAT(desk.TheProgram().Errors(), HasSubstr("60 random faults from seed 42"));
    EXPECT_EQ(desk.TheClient().Ask("GetChannelName"), "('Kestrel One',)");
    desk.PlayFault(R"("fault":"random","count":0)");
    EXPECT_THAT(desk.TheProgram().Errors(), HasSubstr("0 random faults from seed "));
}

TEST(SimulatorToolTest, KillsOnlyThePrivateBus) {
    Desk desk;
    const cri_test::ProcessWatch bus(std::stoi(getenv("CRI_WORLD_BUS_PID")));
    Program elsewhere({kTool, "play", "--bus", "unix:path=/nowhere", "-"});
    EXPECT_EQ(elsewhere.Wait(), 4);
    desk.TheProgram().Type(
        "{\"kind\":\"fault\",\"fault\":\"kill_bus\"}\n"
        "{\"kind\":\"fault\",\"fault\":\"kill_bus\"}\n");
    EXPECT_TRUE(bus.WaitForEnd());
    desk.TheProgram().CloseInput();
    EXPECT_EQ(desk.TheProgram().Wait(), 0);
}

TEST(SimulatorToolTest, PlaysInTimeFasterInALoopAndUntilItIsToEnd) {
    const std::string path =
        FileWith("evening.jsonl", cri_sim::RecordingHeader() +
                                      "\n{\"time\":0,\"kind\":\"video_play\",\"status\":1}\n"
                                      "{\"time\":2,\"kind\":\"video_play\",\"status\":2}\n");
    Client client;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(RunToEnd({kTool, "play", "--speed", "10", path}).status, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
    EXPECT_TRUE(client.WaitForSignals(2));
    EXPECT_EQ(RunToEnd({kTool, "play", "--speed", "100", "--loop", "--until", "0.5", path}).status,
              0);
    EXPECT_TRUE(client.WaitForSignals(6)) << "at least two rounds more";
}

TEST(SimulatorToolTest, EndsWithTheDocumentedStatus) {
    const std::string bad = FileWith("bad.jsonl", cri_sim::RecordingHeader() + "\n{\"time\":0}\n");
    const std::string still = FileWith("still.jsonl", cri_sim::RecordingHeader() + "\n");
    struct {
        std::vector<std::string> words;
        int status;
        std::string says;
    } const cases[] = {
        {{}, 2, "subcommand"},
        {{"play", "--wrong"}, 2, "--wrong"},
        {{"play", "--speed", "0"}, 2, "speed"},
        {{"play", "--", "true"}, 2, "no program"},
        {{"run"}, 2, "needs a program"},
        {{"run", "-", "--", "true"}, 2, "standard input"},
        {{"play", bad}, 3, "bad.jsonl:2: \"kind\" is missing"},
        {{"run", bad, "--", "true"}, 3, "bad.jsonl:2: "},
        {{"play", "/nowhere.jsonl"}, 3, "/nowhere.jsonl: "},
        {{"play", "--loop", "-"}, 2, "typed"},
        {{"play", "--loop", still}, 3, "still.jsonl: takes no time"},
        {{"run", "--loop", still, "--", "true"}, 3, "still.jsonl: takes no time"},
        {{"play", "--bus", "unix:path=/nowhere"}, 4, "/nowhere"},
        {{"play", "--directory", "/nowhere"}, 4, "/nowhere/"},
        {{"run", "--", "/nowhere/program"}, 127, "cannot run /nowhere/program"},
        {{"run", "--", "/bin/sh", "-c", "exit 3"}, 3, ""},
        {{"run", "--", "/bin/sh", "-c", "kill -9 $$"}, 137, ""},
        {{"--help"}, 0, ""},
    };
    for (const auto& each : cases) {
        std::vector<std::string> command{kTool};
        command.insert(command.end(), each.words.begin(), each.words.end());
        const Outcome outcome = RunToEnd(command);
        EXPECT_EQ(outcome.status, each.status) << testing::PrintToString(each.words);
        EXPECT_THAT(outcome.errors, HasSubstr(each.says)) << testing::PrintToString(each.words);
    }
    const Outcome typed = RunToEnd({kTool, "play", "-"}, "{\"kind\":\"service\"}\n");
    EXPECT_EQ(typed.status, 3);
    EXPECT_THAT(typed.errors, HasSubstr("standard input:1: \"present\" is missing"));
}

TEST(SimulatorToolTest, EndsQuietlyOnCtrlCAndWhenNobodyReadsItsOutput) {
    Desk stopped;
    stopped.TheProgram().Signal(SIGINT);
    EXPECT_EQ(stopped.TheProgram().Wait(), 0);
    EXPECT_EQ(stopped.TheProgram().Errors(), "");
    EXPECT_TRUE(stopped.TheClient().WaitForService(false));
    Desk unread;
    unread.TheProgram().CloseOutput();
    EXPECT_EQ(unread.TheProgram().Wait(), 0);
    EXPECT_EQ(unread.TheProgram().Errors(), "");
}

TEST(SimulatorToolTest, MentionsWhatAProgramLeftRunning) {
    const auto outcomeOf = [](const std::string& calls) {
        return RunToEnd({kTool, "run", "--", "/bin/sh", "-c",
                         "ask() { gdbus call --system -d kestrum.olvex.CrsApi -o "
                         "/kestrum/olvex/CrsApi -m kestrum.olvex.CrsApi.$* >&2; }; " +
                             calls});
    };
    const Outcome leaky = outcomeOf("ask SM_CADServiceStart 1; ask BlackScreenIncreaseReference");
    EXPECT_EQ(leaky.status, 0);
    EXPECT_THAT(leaky.errors, AllOf(HasSubstr("the content-area detector runs"),
                                    HasSubstr("the black-screen engine is referenced 1 times")));
    const Outcome tidy = outcomeOf("ask SM_CADServiceStart 1; ask SM_CADServiceStop");
    EXPECT_THAT(tidy.errors, testing::Not(HasSubstr("at the end")));
}

TEST(SimulatorToolTest, GivesAProgramAWorldOfItsOwn) {
    const std::string own = FileWith("mine", "");
    const std::string log = kMessages + "requests.jsonl";
    const Outcome outcome =
        RunToEnd({kTool, "run", "--json", "--log", log, "--", "/bin/sh", "-c",
                  "ls /run/user/5001; touch /run/user/5001/trace; echo $DBUS_SYSTEM_BUS_ADDRESS; "
                  "gdbus call --system -d kestrum.olvex.CrsApi -o /kestrum/olvex/CrsApi "
                  "-m kestrum.olvex.CrsApi.GetChannelName; cat"},
                 "typed\n");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, AllOf(StartsWith("cuds_s2c_msg\nvdrs_s2c_msg\nunix:"),
                                      EndsWith("('Kestrel One',)\ntyped\n")));
    EXPECT_THAT(outcome.output, testing::Not(HasSubstr(getenv("DBUS_SYSTEM_BUS_ADDRESS"))));
    EXPECT_FALSE(std::filesystem::exists(kMessages + "trace"));
    EXPECT_THAT(TextOf(log), AllOf(StartsWith(cri_sim::RecordingHeader()),
                                   HasSubstr("\"method\":\"GetChannelName\"")));
}

/// A run of "echo started" on a terminal of its own.
class Terminal {
  public:
    Terminal() {
        m_id = forkpty(&m_master, nullptr, nullptr, nullptr);
        if (m_id != 0) return;
        execl(kTool.c_str(), kTool.c_str(), "run", "--", "/bin/echo", "started", nullptr);
        _exit(127);
    }
    ~Terminal() { close(m_master); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Type(const std::string& text) { EXPECT_GT(write(m_master, text.data(), text.size()), 0); }

    /// Returns when `text` has been shown, or when nothing more comes.
    void ReadUntil(const std::string& text) {
        std::array<char, 256> chunk;
        pollfd shown{m_master, POLLIN, 0};
        while (m_shown.find(text) == std::string::npos && poll(&shown, 1, kLimitMillis) > 0) {
            const ssize_t length = read(m_master, chunk.data(), chunk.size());
            if (length <= 0) return;
            m_shown.append(chunk.data(), static_cast<std::size_t>(length));
        }
    }

    const std::string& Shown() const { return m_shown; }

    int Wait() const {
        if (!cri_test::ProcessWatch(m_id).WaitForEnd()) kill(m_id, SIGKILL);
        int status = 0;
        EXPECT_EQ(waitpid(m_id, &status, 0), m_id);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    static constexpr int kLimitMillis = 10000;

    int m_master = -1;
    pid_t m_id = 0;
    std::string m_shown;
};

TEST(SimulatorToolTest, RunsNothingAfterACtrlCWhileItMakesTheWorld) {
    const std::string directory = "/run/user/early";  // where the new world finds it too
    const std::string bus = directory + "/dbus-daemon";
    std::filesystem::create_directory(directory);
    std::ofstream(bus)
        << "#!/bin/sh\necho making\nwhile [ ! -e " + directory +
               "/go ]; do sleep 0.01; done\nPATH=${PATH#*:} exec dbus-daemon \"$@\"\n";
    chmod(bus.c_str(), 0755);
    setenv("PATH", (directory + ":" + getenv("PATH")).c_str(), 1);
    Terminal terminal;
    terminal.ReadUntil("making");
    terminal.Type("\x03");
    terminal.ReadUntil("^C");  // shown when the signal has been sent
    std::ofstream(directory + "/go") << "";
    terminal.ReadUntil("started");
    EXPECT_THAT(terminal.Shown(), testing::Not(HasSubstr("started")));
    EXPECT_EQ(terminal.Wait(), 130);
}

/// A run whose program has started another one that nobody waits for.
struct RunningProgram {
    Program program{{kTool, "run", "--", "/bin/sh", "-c", "sleep 600 & echo up; exec sleep 600"}};
    const bool isUp = program.ReadLine() == "up";
    const pid_t first = cri_test::ChildrenOf(program.Id()).at(0);
    const std::vector<pid_t> inside = cri_test::ChildrenOf(first);  ///< bus, simulator and program
};

TEST(SimulatorToolTest, LeavesNothingOfARunWhateverEndsIt) {
    struct {
        pid_t (*victim)(const RunningProgram&);
        int signal;
        int status;
    } const ends[] = {
        {[](const RunningProgram& run) { return run.program.Id(); }, SIGKILL, 137},
        {[](const RunningProgram& run) { return run.first; }, SIGKILL, 137},
        {[](const RunningProgram& run) { return run.inside.at(2); }, SIGKILL, 137},
        {[](const RunningProgram& run) { return run.program.Id(); }, SIGINT, 130},
    };
    for (const auto& end : ends) {
        SCOPED_TRACE(&end - ends);
        RunningProgram run;
        ASSERT_TRUE(run.isUp);
        kill(end.victim(run), end.signal);
        EXPECT_EQ(run.program.Wait(), end.status);
        EXPECT_TRUE(run.program.OutputEnds());
    }
}

TEST(SimulatorToolTest, LetsTheProgramOfARunGoOnWithoutBusAndSimulator) {
    RunningProgram run;
    ASSERT_THAT(run.inside, SizeIs(3));
    kill(run.inside[0], SIGKILL);
    kill(run.inside[1], SIGKILL);
    EXPECT_TRUE(cri_test::ProcessWatch(run.inside[0]).WaitForEnd());
    EXPECT_THAT(cri_test::ChildrenOf(run.first), Contains(run.inside[2]));
    run.program.Signal(SIGTERM);
    EXPECT_EQ(run.program.Wait(), 143);
    EXPECT_TRUE(run.program.OutputEnds());
}

}  // namespace
