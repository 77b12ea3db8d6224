/// cri-monitor as a process: what it shows and records of a simulated set, and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

#include "BuiltInRecording.h"
#include "MainLoop.h"
#include "Player.h"
#include "Program.h"
#include "RecognitionService.h"
#include "Recording.h"
#include "SimulatedSet.h"
#include "TestSupport.h"

namespace {

using namespace cri_sim;
using cri_test::Outcome;
using cri_test::Program;
using cri_test::RunToEnd;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kOtt = "CONTENTS_RECOGNITION_EVENT_OTT";

/// The monitor, with arguments that stand in one line.
std::vector<std::string> Command(const std::string& line) {
    return {"/bin/sh", "-c", "exec " CRI_MONITOR " " + line};
}

/// A simulated set on which a test makes things happen.
class Desk {
  public:
    void Play(const LineContent& content) { m_player.Play(content); }
    RecognitionService& Service() { return m_set.Recognition(); }
    std::vector<std::string> LeftBehind() const { return m_set.LeftBehind(); }
    /// Message files are read some time after they are written.
    bool WaitForMessages(std::size_t toVisionData, std::size_t toUiDetection) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        return m_set.PeerOf(cri_sim::Channel::kVisionData)
                   .WaitForRequests(toVisionData, deadline) &&
               m_set.PeerOf(cri_sim::Channel::kUiDetection)
                   .WaitForRequests(toUiDetection, deadline);
    }

  private:
    SimulatedSet m_set{{}};
    Player m_player{m_set,
                    [](Player::Clock::time_point time) {
                        std::this_thread::sleep_until(time);
                        return true;
                    },
                    [](const std::string&) {}};
};

/// A monitor that records. It listens to everything as soon as it has written its first line.
class Recorder {
  public:
    explicit Recorder(const std::string& options = {})
        : m_program(Command("watch --json " + options)) {
        Next();
    }

    Program& TheProgram() { return m_program; }

    /// The next line; nothing at the end of the output or when it does not come.
    std::optional<RecordingLine> Next() {
        while (const auto text = m_program.ReadLine())
            if (auto line = m_parser.Take(*text)) {
                m_lines.push_back(*line);
                return line;
            }
        return std::nullopt;
    }

    /// Reads until a line equals `content`.
    bool WaitFor(const LineContent& content) {
        while (const auto line = Next())
            if (line->content == content) return true;
        return false;
    }

    const std::vector<RecordingLine>& Lines() const { return m_lines; }

  private:
    Program m_program;
    RecordingParser m_parser{"monitor", RecordingParser::Source::kRecorded,
                             [](const std::string& warning) { ADD_FAILURE() << warning; }};
    std::vector<RecordingLine> m_lines;
};

std::vector<LineContent> Contents(const std::vector<RecordingLine>& lines) {
    std::vector<LineContent> contents;
    for (const RecordingLine& line : lines) contents.push_back(line.content);
    return contents;
}

std::vector<RecordingLine> Television() {
    std::istringstream text{std::string(BuiltInRecording())};
    return ReadRecording(text, "built-in", [](const std::string&) {});
}

/// Plays the lines one after another, each when the monitor has recorded the one before. A change
/// of the state shows with the next line.
std::vector<LineContent> Recorded(const std::vector<LineContent>& lines) {
    Desk desk;
    desk.Play(lines.front());
    Recorder recorder;
    for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
        desk.Play(*line);
        if (std::holds_alternative<StateChange>(*line)) continue;
        EXPECT_TRUE(recorder.WaitFor(*line)) << FormatLine({std::nullopt, *line});
    }
    return Contents(recorder.Lines());
}

TEST(MonitorTest, RecordsTheReplayOfItsRecordingAsTheSameRecording) {
    std::vector<LineContent> played = Contents(Television());
    StateChange meanwhile;
    meanwhile.programTitle = "Back \"again\" \u263a";
    const std::vector<LineContent> absence{Service{false}, meanwhile, Service{true}};
    played.insert(played.end(), absence.begin(), absence.end());

    const std::vector<LineContent> first = Recorded(played);
    const std::vector<LineContent> second = Recorded(first);

    EXPECT_EQ(first, second);
    std::set<std::size_t> kinds;
    for (const LineContent& line : first) kinds.insert(line.index());
    EXPECT_EQ(kinds, (std::set<std::size_t>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(MonitorTest, WritesTheChangedStateBeforeTheEventThatTellsOfIt) {
    Desk desk;
    Recorder recorder;
    StateChange change;
    change.channelName = "Kestrel Two";
    desk.Play(change);
    desk.Play(Event{kOtt, 3});
    ASSERT_TRUE(recorder.WaitFor(Event{kOtt, 3}));
    const auto& lines = recorder.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1].content, LineContent(change));
    EXPECT_EQ(lines[1].time, lines[2].time);
}

TEST(MonitorTest, KeepsOrderAndTimesWhileTheServiceKeepsSilent) {
    Desk desk;
    Recorder recorder;
    desk.Play(NoAnswer{"GetChannelName"});
    desk.Play(Event{kOtt, 3});
    desk.Play(VideoPlay{7});
    ASSERT_TRUE(recorder.WaitFor(VideoPlay{7}));
    const auto& lines = recorder.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1].content, LineContent(Event{kOtt, 3}));
    EXPECT_LT(*lines[2].time - *lines[1].time, std::chrono::seconds(1));
}

TEST(MonitorTest, GoesOnWatchingWhenTheServiceReturnsAndWhenTheBusIsGone) {
    Desk desk;
    Recorder recorder;
    desk.Play(Service{false});
    EXPECT_TRUE(recorder.WaitFor(Service{false}));
    desk.Play(Service{true});
    EXPECT_TRUE(recorder.WaitFor(Service{true}));
    desk.Play(VideoPlay{1});
    EXPECT_TRUE(recorder.WaitFor(VideoPlay{1}));
    desk.Play(KillBus{});
    EXPECT_TRUE(recorder.WaitFor(Service{false}));
    const VisionData data{"Live TV", "playing", "Night Ferry", {}, {}};
    desk.Play(data);
    EXPECT_TRUE(recorder.WaitFor(data));
    recorder.TheProgram().Signal(SIGINT);
    EXPECT_EQ(recorder.TheProgram().Wait(), 0);
}

TEST(MonitorTest, AsksNothingToRunUnlessToldToStart) {
    Desk desk;
    Recorder recorder;
    desk.Play(BlackScreen{true, 1, 0, 0, 0, true});
    EXPECT_TRUE(recorder.WaitFor(BlackScreen{true, 1, 0, 0, 0, true}));
    for (const Call& call : desk.Service().Calls())
        EXPECT_THAT(call.method, testing::StartsWith("Get"));
    EXPECT_THAT(desk.LeftBehind(), IsEmpty());
}

TEST(MonitorTest, RunsTheDetectorsWhileItWatchesAndStopsThemAtTheEnd) {
    Desk desk;
    Recorder recorder("--start");
    const std::vector<LineContent> reports{UiStartStop{1, 2, 1, 0, 0}, ContentArea{1, 2, 3, 4, 5},
                                           VideoPlay{6}, BlackScreen{true, 0.5, 1, 2, 3, false}};
    for (const LineContent& report : reports) desk.Play(report);
    EXPECT_TRUE(desk.WaitForMessages(1, 2));  // one is the line that the files are tested with
    EXPECT_EQ(desk.LeftBehind().size(), 5u);
    EXPECT_TRUE(recorder.WaitFor(reports.back()));
    const std::vector<LineContent> lines = Contents(recorder.Lines());
    EXPECT_EQ(std::vector(lines.begin() + 1, lines.end()), reports);
    recorder.TheProgram().Signal(SIGTERM);
    EXPECT_EQ(recorder.TheProgram().Wait(), 0);
    EXPECT_TRUE(desk.WaitForMessages(2, 3));
    EXPECT_THAT(desk.LeftBehind(), IsEmpty());
}

TEST(MonitorTest, StartsTheDetectorsAnewWithAServiceThatHasComeBack) {
    Desk desk;
    Recorder recorder("--start --only service,black-screen,video-play,state");
    desk.Play(Service{false});
    EXPECT_TRUE(recorder.WaitFor(Service{false}));
    desk.Play(Service{true});
    EXPECT_TRUE(recorder.WaitFor(Service{true}));
    EXPECT_TRUE(desk.Service().WaitForCalls("SM_VPDServiceStart", 2));
    EXPECT_TRUE(desk.Service().WaitForCalls("BlackScreenIncreaseReference", 2));
    desk.Play(BlackScreen{true, 1, 0, 0, 0, true});
    desk.Play(VideoPlay{8});
    EXPECT_TRUE(recorder.WaitFor(VideoPlay{8}));
    EXPECT_EQ(recorder.Lines().size(), 5u) << "a report came twice";
}

TEST(MonitorTest, CombinesFiltersAndEndsAfterTheCount) {
    Desk desk;
    Program monitor(Command("watch --json --only state,event,video-play --not event --count 2"));
    ASSERT_EQ(monitor.ReadLine(), RecordingHeader());
    ASSERT_TRUE(monitor.ReadLine());  // the state: now it listens
    desk.Play(Event{kOtt, 1});
    desk.Play(ContentArea{});
    desk.Play(VideoPlay{5});
    desk.Play(VideoPlay{6});
    EXPECT_THAT(monitor.ReadLine().value_or(""), HasSubstr(R"("status":5)"));
    EXPECT_EQ(monitor.Wait(), 0);
    EXPECT_EQ(monitor.ReadLine(), std::nullopt);
}

TEST(MonitorTest, EndsQuietlyWhenItsReaderHasGoneAlsoWithNothingToWrite) {
    Desk desk;
    Recorder recorder;
    recorder.TheProgram().CloseOutput();
    EXPECT_EQ(recorder.TheProgram().Wait(), 0);
    EXPECT_EQ(recorder.TheProgram().Errors(), "");
}

/// What a process has of the system's resources.
struct Holdings {
    explicit Holdings(pid_t process) {
        const std::string directory = "/proc/" + std::to_string(process);
        std::string word;
        for (const auto& task : std::filesystem::directory_iterator(directory + "/task"))
            if (std::getline(std::ifstream(task.path() / "comm"), word)) threads.insert(word);
        descriptors = std::distance(std::filesystem::directory_iterator(directory + "/fd"), {});
        std::ifstream memory(directory + "/smaps_rollup");
        while (memory >> word)
            if (word == "Private_Dirty:") memory >> kilobytes;
    }

    std::multiset<std::string> threads;
    std::ptrdiff_t descriptors;
    std::ptrdiff_t kilobytes = 0;  // of memory that it alone has written to
};

/// A call to the service and a message file that is read each have a descriptor for a moment.
Holdings SettledHoldings(pid_t process, const Holdings& early) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (;;) {
        const Holdings now(process);
        const bool settled = now.threads == early.threads && now.descriptors <= early.descriptors;
        if (settled || std::chrono::steady_clock::now() > deadline) return now;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

/// Plays random faults from the seeds, and then what the monitor must still report. It asks the
/// state for the event behind all that it does about the faults: a detector that it starts anew may
/// miss a report until then.
void PlayFaults(Desk& desk, Recorder& recorder, std::uint64_t firstSeed, std::uint64_t lastSeed) {
    constexpr std::uint32_t kFaults = 10;
    const Event handled{kOtt, static_cast<int>(lastSeed)};
    std::thread player([&] {
        for (std::uint64_t seed = firstSeed; seed <= lastSeed; ++seed)
            desk.Play(RandomFaults{seed, kFaults});
        desk.Play(handled);
    });
    EXPECT_TRUE(recorder.WaitFor(handled)) << "with seeds up to " << lastSeed;
    player.join();
    const VideoPlay last{static_cast<int>(lastSeed)};
    desk.Play(last);
    EXPECT_TRUE(recorder.WaitFor(last)) << "with seeds up to " << lastSeed;
}

/// Each block of seeds, by its first, has a bus, a set and a monitor of its own.
class FaultyMonitorTest : public testing::TestWithParam<std::uint64_t> {};

constexpr std::uint64_t kBlock = 100;

TEST_P(FaultyMonitorTest, SurvivesRandomFaultsAndStormsWithoutGrowing) {
    constexpr std::uint64_t kWarmUp = 20, kSeeds = cri_test::kSanitized ? 40 : kBlock;
    constexpr std::ptrdiff_t kGrowth = 384;  // freed pieces of the heap add up to 180 at most
    const std::uint64_t first = GetParam();
    Desk desk;
    Recorder recorder("--start");
    const pid_t process = recorder.TheProgram().Id();
    PlayFaults(desk, recorder, first, first + kWarmUp - 1);
    const Holdings early(process);
    PlayFaults(desk, recorder, first + kWarmUp, first + kSeeds - 1);
    const Holdings late = SettledHoldings(process, early);
    EXPECT_EQ(late.threads, early.threads);
    EXPECT_LE(late.descriptors, early.descriptors);
    if (!cri_test::kSanitized) {  // whose memory grows with what they keep of freed blocks
        EXPECT_LT(late.kilobytes, early.kilobytes + kGrowth);
    }
    recorder.TheProgram().Signal(SIGINT);
    EXPECT_EQ(recorder.TheProgram().Wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, FaultyMonitorTest, testing::Range<std::uint64_t>(1, 1001, kBlock),
                         [](const auto& block) {
                             return "From" + std::to_string(block.param) + "To" +
                                    std::to_string(block.param + kBlock - 1);
                         });

TEST(MonitorTest, HasAnExitCodeForEachEnd) {
    EXPECT_EQ(RunToEnd(Command("watch --timeout 0.1")).status, 4);
    EXPECT_EQ(RunToEnd(Command("status")).status, 3);
    EXPECT_EQ(RunToEnd(Command("control video-play pause")).status, 3);
    EXPECT_EQ(RunToEnd(Command("draw /run/user/5001/x.png")).status, 3);
    EXPECT_EQ(RunToEnd(Command("--help")).status, 0);
    for (const char* misuse :
         {"", "watch --only nothing", "watch --count 0", "watch --only event --not event",
          "draw picture.gif", "draw p.png --screen 0x5", "draw p.png --screen 10x20x30",
          "control resolution large", "control resolution 99999999999", "control resolution 0x0",
          "control video-play"}) {
        const Outcome outcome = RunToEnd(Command(misuse));
        EXPECT_EQ(outcome.status, 2) << misuse;
        EXPECT_NE(outcome.errors, "");
    }
    cri_test::DropBus();
    EXPECT_EQ(RunToEnd(Command("watch")).status, 3);
}

TEST(MonitorTest, ShowsTheStateToPeopleWithoutWhatWouldSteerATerminal) {
    Desk desk;
    StateChange state;
    state.programTitle = "Night\033[31m\nFerry";
    state.scrolling = true;
    desk.Play(state);
    desk.Play(ErrorAnswer{"GetScreenStatus", "org.freedesktop.DBus.Error.Failed", "no"});
    const Outcome outcome = RunToEnd(Command("status"));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("\n  programme           Night?[31m?Ferry\n"));
    EXPECT_THAT(outcome.output, HasSubstr("\n  screen status       no answer\n"));
    EXPECT_THAT(outcome.output, HasSubstr("\n  scrolling           yes\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("\033")));
    EXPECT_EQ(outcome.errors, "");
}

TEST(MonitorTest, WritesTheStatusAsOneLineThatCanBePlayed) {
    Desk desk;
    StateChange state = std::get<StateChange>(Television().front().content);
    state.scrolling = true;
    desk.Play(state);
    EXPECT_EQ(RunToEnd(Command("status --json")).output, FormatLine({std::nullopt, state}) + "\n");
}

TEST(MonitorTest, WatchesForPeopleInColumns) {
    Desk desk;
    Program monitor(Command("watch --not service"));
    ASSERT_TRUE(monitor.ReadLine());
    desk.Play(ContentArea{1, 0, 138, 1920, 804});
    std::optional<std::string> line;
    do {
        line = monitor.ReadLine();
    } while (line && line->find("content-area") == std::string::npos);
    EXPECT_THAT(line.value_or(""),
                testing::MatchesRegex("[0-9:]{8}\\.[0-9]{3}  content-area   "
                                      "mode 1               1920 x 804 at 0,138"));
}

TEST(MonitorTest, MakesTheRequestThatControlNames) {
    const std::pair<const char*, const char*> requests[] = {
        {"content-area start 2", "SM_CADServiceStart(2,)"},
        {"content-area pause", "SM_CADServicePause()"},
        {"content-area resume 4", "SM_CADServiceResume(4,)"},
        {"content-area change 5", "SMServiceChange(5,)"},
        {"content-area stop", "SM_CADServiceStop()"},
        {"video-play start", "SM_VPDServiceStart(1,)"},
        {"video-play pause", "SM_VPDServicePause()"},
        {"video-play resume 3", "SM_VPDServiceResume(3,)"},
        {"video-play stop", "SM_VPDServiceStop()"},
        {"speed 30", "SMServiceCSChange(30,)"},
        {"resolution 7", "SMServiceResChange(7,)"},
        {"resolution 1280x720 --orientation 1", "SMServiceSetResolutionWH(1, 1280, 720)"}};
    Desk desk;
    for (const auto& [words, request] : requests) {
        EXPECT_EQ(RunToEnd(Command(std::string("control ") + words)).status, 0) << words;
        const Call last = desk.Service().Calls().back();
        EXPECT_EQ(last.method + last.arguments, request);
    }
    desk.Play(NoAnswer{"SM_VPDServicePause"});
    EXPECT_EQ(RunToEnd(Command("control video-play pause")).status, 3);
}

}  // namespace
