/// The notification thread of both channels: connecting, waking, retiring, ending.
#include <dlfcn.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <malloc.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <semaphore>
#include <thread>

#include "Channels.h"
#include "ContentsUIDetectionAPI.h"
#include "LogCapture.h"
#include "UiDetectionPeer.h"
#include "VisionDataPeer.h"
#include "VisionDataRecognitionAPI.h"

namespace {

using namespace cri_test;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::atomic<bool> g_joinFails{false};
std::function<void()> g_duringEventfd;  ///< on the thread that connects, once

template <class Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int pthread_join(pthread_t thread,
                                                                   void** result) {
    const int error = Next<decltype(pthread_join)>("pthread_join")(thread, result);
    return g_joinFails ? EINVAL : error;
}

extern "C" __attribute__((visibility("default"))) int eventfd(unsigned value, int flags) noexcept {
    if (g_duringEventfd) std::exchange(g_duringEventfd, nullptr)();
    return Next<decltype(eventfd)>("eventfd")(value, flags);
}

namespace {

class ChannelThreadTest : public ChannelTest {
  protected:
    ~ChannelThreadTest() override { m_channel.disconnect(); }

    void ConnectAndDeliver(const std::string& payload) {
        ASSERT_EQ(m_channel.connect(), 1);
        const std::size_t before = Delivered().All().size();
        Rewrite(payload);
        ASSERT_TRUE(Delivered().WaitFor(before + 1));
    }

    /// Rewrites the result file in place with one modification: longer than what stood there.
    void Rewrite(const std::string& payload) {
        std::fstream file(m_results.Path(), std::ios::in | std::ios::out);
        file << Record(payload) << std::string(200, '\n') << std::flush;
    }

    /// One rewrite more, and the count after it and everything before it.
    std::size_t CountAfterAll() {
        const std::string last = "last" + std::to_string(++m_barriers);
        Rewrite(last);
        const auto limit = Clock::now() + 5s;
        while (Clock::now() < limit) {
            const auto all = Delivered().All();
            if (!all.empty() && all.back() == last + "\n") return all.size() - 1;
            Delivered().WaitFor(all.size() + 1, 100ms);
        }
        ADD_FAILURE() << "nothing more was delivered";
        return 0;
    }

    static std::chrono::milliseconds Since(Clock::time_point start) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    }

    int m_barriers = 0;
};
CRI_FOR_BOTH_CHANNELS(ChannelThreadTest);

/// Runs in the callback, on the notification thread.
pid_t ThreadId() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

bool IsVdrs(const Channel& channel) {
    return channel.connect == kVdrs.connect;
}

std::string ResultDocument(const Channel& channel, std::size_t elements = 1) {
    if (!IsVdrs(channel))
        return cri_sim::UiDetectionDocument(
            std::vector(elements, cri_sim::UiElement{{1, 2, 3, 4}, 0.5F, 7}), {10, 20, 1});
    const std::vector logos(elements, cri_sim::Logo{{1, 2, 3, 4}, 0.5F, 7});
    return cri_sim::AnalyzeResultDocument(
        {"application", "status", "a title of some length", logos, {}});
}

TEST_P(ChannelThreadTest, HearsWhatIsWrittenRightAfterTheConnect) {
    for (int i = 0; i < 50; ++i) {
        ConnectAndDeliver("at once");
        ASSERT_EQ(m_channel.disconnect(), 1);
    }
}

TEST_P(ChannelThreadTest, ConnectsOnceHoweverManyAsk) {
    const std::size_t threads = RunningThreads();
    std::vector<std::thread> callers;
    for (int i = 0; i < 8; ++i) callers.emplace_back([this] { EXPECT_EQ(m_channel.connect(), 1); });
    for (auto& caller : callers) caller.join();
    EXPECT_EQ(RunningThreads(), threads + 1);
    EXPECT_EQ(CountLogLines("already existed connection\n"), 7U);
    EXPECT_EQ(m_channel.disconnect(), 1);
    EXPECT_EQ(m_channel.disconnect(), 1);
    EXPECT_EQ(RunningThreads(), threads);
}

TEST_P(ChannelThreadTest, DisconnectsWithin50MillisecondsFromAQuietService) {
    std::chrono::milliseconds shortest = 1h;
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(m_channel.connect(), 1);
        const auto start = Clock::now();
        ASSERT_EQ(m_channel.disconnect(), 1);
        shortest = std::min(shortest, Since(start));
    }
    EXPECT_LT(shortest, 50ms);
}

TEST_P(ChannelThreadTest, DisconnectsWithin50MillisecondsFromAnEndlessWriter) {
    std::string much;
    for (int i = 0; i < 20000; ++i) much += Record("{}");
    std::atomic<bool> writing{true};
    std::thread writer([&] {
        while (writing) {
            std::fstream file(m_results.Path(), std::ios::in | std::ios::out);
            file << much << std::flush;
        }
    });
    std::chrono::milliseconds shortest = 1h;
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(m_channel.connect(), 1);
        EXPECT_TRUE(Delivered().WaitFor(Delivered().All().size() + 100));
        const auto start = Clock::now();
        EXPECT_EQ(m_channel.disconnect(), 1);
        shortest = std::min(shortest, Since(start));
    }
    const std::size_t delivered = Delivered().All().size();
    writing = false;
    writer.join();
    EXPECT_EQ(Delivered().All().size(), delivered);
    EXPECT_LT(shortest, 50ms * (kSanitized ? 4 : 1));
}

TEST_P(ChannelThreadTest, MakesNoSystemCallWhileItIsIdle) {
    pid_t thread = 0;
    Delivered().during = [&](const std::string&) { thread = ThreadId(); };
    ConnectAndDeliver("{}");
    const auto switches = [&] {
        std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
        std::string word;
        long count = 0;
        while (status >> word)
            if (word == "voluntary_ctxt_switches:") status >> count;
        return count;
    };
    const auto isPolling = [&] {
        std::string number;
        std::ifstream("/proc/self/task/" + std::to_string(thread) + "/syscall") >> number;
        return number == std::to_string(SYS_poll);
    };
    const auto limit = Clock::now() + 5s;
    while (!isPolling() && Clock::now() < limit) std::this_thread::yield();
    ASSERT_TRUE(isPolling());
    const long before = switches();
    std::this_thread::sleep_for(500ms);  // what is measured is that nothing happens in this time
    EXPECT_EQ(switches(), before);
}

TEST_P(ChannelThreadTest, GoesOnAfterASignal) {
    pid_t thread = 0;
    Delivered().during = [&](const std::string&) { thread = ThreadId(); };
    static std::atomic<int> s_handled;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++s_handled; };
    sigaction(SIGUSR1, &action, nullptr);
    ConnectAndDeliver("{}");
    for (int i = 0; i < 100; ++i) syscall(SYS_tgkill, getpid(), thread, SIGUSR1);
    kill(getpid(), SIGUSR1);
    const auto limit = Clock::now() + 5s;
    while (s_handled == 0 && Clock::now() < limit) std::this_thread::yield();
    ConnectAndDeliver("still there");
    // Those sent to the thread alone are still waiting for it.
    EXPECT_EQ(s_handled, 1);
}

TEST_P(ChannelThreadTest, RetiresTheThreadThatDisconnectsFromItsOwnCallback) {
    std::atomic<int> result{0};
    Delivered().during = [&](const std::string& payload) {
        if (payload == "end\n") result = m_channel.disconnect();
    };
    ASSERT_EQ(m_channel.connect(), 1);
    m_results.Write(Record("end") + Record("after the end"));
    ASSERT_TRUE(Delivered().WaitFor(1));
    EXPECT_EQ(result, -3);
    EXPECT_EQ(CountLogLines("thread destroy failed\n"), 1U);
    EXPECT_EQ(m_channel.disconnect(), 1);
    Delivered().during = nullptr;
    ASSERT_EQ(m_channel.connect(), 1);
    EXPECT_EQ(CountAfterAll(), 1U);
}

TEST_P(ChannelThreadTest, ConnectsAnewInsideTheCallbackAndDeliversEachChangeOnce) {
    std::atomic<int> reconnected{0};
    Delivered().during = [&](const std::string& payload) {
        if (payload != "again\n" || reconnected) return;
        m_channel.disconnect();
        reconnected = m_channel.connect();
    };
    ASSERT_EQ(m_channel.connect(), 1);
    Rewrite("again");
    ASSERT_TRUE(Delivered().WaitFor(1));
    EXPECT_EQ(reconnected, 1);
    const std::size_t before = CountAfterAll();
    for (int i = 0; i < 20; ++i) EXPECT_EQ(CountAfterAll(), before + 1 + static_cast<unsigned>(i));
    EXPECT_EQ(m_channel.disconnect(), 1);
}

TEST_P(ChannelThreadTest, LeavesBehindAThreadThatACallbackHoldsUp) {
    Latch inside, release;
    std::atomic<bool> ended{false};
    Delivered().during = [&](const std::string& payload) {
        if (payload != "hold\n") return;
        inside.CountDown();
        release.WaitForOpen(30s);
        ended = true;
    };
    const std::size_t threads = RunningThreads();
    ASSERT_EQ(m_channel.connect(), 1);
    m_results.Write(Record("hold") + Record("after the end"));
    ASSERT_TRUE(inside.WaitForOpen());
    const auto start = Clock::now();
    EXPECT_EQ(m_channel.disconnect(), -3);
    EXPECT_EQ(CountLogLines("thread destroy failed\n"), 1U);
    EXPECT_LT(Since(start), 3s);
    EXPECT_FALSE(ended);
    m_results.Write(Record("hold on"));
    ASSERT_EQ(m_channel.connect(), 1);
    EXPECT_EQ(CountAfterAll(), 0U);
    release.CountDown();
    const auto limit = Clock::now() + 5s;
    while (RunningThreads() > threads + 1 && Clock::now() < limit) std::this_thread::yield();
    EXPECT_EQ(RunningThreads(), threads + 1);
    EXPECT_EQ(Delivered().All().back(), "hold\n");
    EXPECT_EQ(m_channel.disconnect(), 1);
}

TEST_P(ChannelThreadTest, LeavesNothingBehindAfterManyConnections) {
    ASSERT_EQ(m_channel.connect(), 1);
    ASSERT_EQ(m_channel.disconnect(), 1);
    const std::size_t descriptors = OpenDescriptors(), threads = RunningThreads();
    const int cycles = kSanitized ? 300 : 10000;
    for (int i = 0; i < cycles; ++i) {
        ASSERT_EQ(m_channel.connect(), 1);
        ASSERT_EQ(m_channel.disconnect(), 1);
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(RunningThreads(), threads);
}

/// Of the client that the channel belongs to.
bool Initialize(const Channel& channel) {
    return IsVdrs(channel) ? VisionDataRecognitionAPI::GetInstance()->Initialize()
                           : ContentsUIDetectionAPI::GetInstance()->Initialize();
}
bool Finalize(const Channel& channel) {
    return IsVdrs(channel) ? VisionDataRecognitionAPI::GetInstance()->Finalize()
                           : ContentsUIDetectionAPI::GetInstance()->Finalize();
}

TEST_P(ChannelThreadTest, IsConnectedAnewByItsClientHoweverItWasDisconnected) {
    const char* const already =
        IsVdrs(m_channel) ? " Already Initialized\n" : " Already connected\n";
    const auto expectAnew = [&](std::size_t alreadyLines) {
        EXPECT_TRUE(Initialize(m_channel));
        EXPECT_EQ(CountLogLines(already), alreadyLines);
        CountAfterAll();
        ClearLog();
    };
    expectAnew(0);
    g_joinFails = true;
    EXPECT_FALSE(Finalize(m_channel));
    g_joinFails = false;
    EXPECT_EQ(CountLogLines("thread destroy failed\n"), 1U);
    EXPECT_FALSE(bLDInit);
    expectAnew(IsVdrs(m_channel) ? 0 : 1);
    bool finalized = true;
    Delivered().during = [&](const std::string& payload) {
        if (payload == "end\n") finalized = Finalize(m_channel);
    };
    const std::size_t before = Delivered().All().size();
    Rewrite("end");
    EXPECT_TRUE(Delivered().WaitFor(before + 1));
    EXPECT_FALSE(finalized);
    expectAnew(IsVdrs(m_channel) ? 0 : 1);
    EXPECT_EQ(m_channel.disconnect(), 1);
    expectAnew(1);
    // Where it cannot be connected the vision-data client still counts as initialised.
    EXPECT_EQ(m_channel.disconnect(), 1);
    rlimit some;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &some), 0);
    const rlimit none = {0, some.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(Initialize(m_channel), IsVdrs(m_channel));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &some), 0);
    expectAnew(2);
    EXPECT_TRUE(Finalize(m_channel));
}

TEST_P(ChannelThreadTest, MayBeWatchedOnAnApplicationsThreadUntilItIsDisconnected) {
    EXPECT_EQ(m_channel.threadBody(nullptr), nullptr);
    EXPECT_EQ(CountLogLines("inofity path : " + m_results.Path() + "\n"), 1U);
    std::atomic<pid_t> guest{0};
    std::atomic<int> heard{0}, late{0}, result{0};
    Delivered().during = [&](const std::string& payload) {
        if (ThreadId() != guest) return;
        ++(payload == "after the end\n" ? late : heard);
        if (payload == "end\n") result = m_channel.disconnect();
    };
    const auto watch = [&] {
        guest = ThreadId();
        EXPECT_EQ(m_channel.threadBody(nullptr), nullptr);
    };
    for (const bool endsItself : {false, true}) {
        ASSERT_EQ(m_channel.connect(), 1);
        heard = 0;
        std::thread guestThread(watch);
        const auto limit = Clock::now() + 5s;
        while (heard == 0 && Clock::now() < limit) CountAfterAll();
        if (endsItself)
            m_results.Write(Record("end") + Record("after the end"));
        else
            EXPECT_EQ(m_channel.disconnect(), 1);
        guestThread.join();
    }
    EXPECT_EQ(result, 1);
    EXPECT_EQ(late, 0);
    EXPECT_EQ(CountLogLines("thread destroy Success\n"), 2U);
}

/// What became of a child; 100 when it did not end in time.
int EndOf(pid_t child) {
    int status = 0;
    if (!ProcessWatch(child).WaitForEnd()) kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}

/// Forks; the child ends with the result of `body`.
template <class Body>
pid_t Fork(Body body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    return child;
}

TEST_P(ChannelThreadTest, IsDisconnectedInAForkedChildWhichMayConnectItsOwn) {
    if (kSanitized) GTEST_SKIP() << "a sanitizer knows no threads in a child";
    ASSERT_TRUE(Initialize(m_channel));
    CountAfterAll();
    EXPECT_EQ(EndOf(Fork([this] {
                  const auto start = Clock::now();
                  if (!Finalize(m_channel) || m_channel.disconnect() != 1) return 1;
                  if (Since(start) > 200ms) return 2;
                  if (!Initialize(m_channel)) return 3;
                  CountAfterAll();
                  return HasFailure() ? 4 : 0;
              })),
              0);
    CountAfterAll();
    // The locks of a connect that is under way are not the child's to wait for.
    ASSERT_TRUE(Finalize(m_channel));
    Latch inside, release;
    g_duringEventfd = [&] {
        inside.CountDown();
        release.WaitForOpen();
    };
    std::thread connecting([this] { EXPECT_TRUE(Initialize(m_channel)); });
    EXPECT_TRUE(inside.WaitForOpen());
    EXPECT_EQ(EndOf(Fork([this] {
                  return Finalize(m_channel) && Initialize(m_channel) && Finalize(m_channel) ? 0
                                                                                             : 1;
              })),
              0);
    release.CountDown();
    connecting.join();
    EXPECT_TRUE(Finalize(m_channel));
}

TEST_P(ChannelThreadTest, EndsInAChildThatWasForkedInACallback) {
    std::atomic<pid_t> child{-1};
    Delivered().during = [&](const std::string& payload) {
        if (child == 0) _exit(1);
        if (payload != "fork\n") return;
        child = fork();
        if (child == 0) atexit([] { _exit(7); });
    };
    ASSERT_EQ(m_channel.connect(), 1);
    m_results.Write(Record("fork") + Record("after it"));
    ASSERT_TRUE(Delivered().WaitFor(2));
    EXPECT_EQ(EndOf(child), 7);
    CountAfterAll();
}

/// Whether a thread on which a cancellation is pending runs the whole operation and then ends.
bool IsCancelledAfter(std::function<void()> operation) {
    bool finished = false;
    void* result = nullptr;
    std::function<void()> body = [&] {
        pthread_cancel(pthread_self());
        operation();
        finished = true;
        pthread_testcancel();
    };
    pthread_t thread;
    pthread_create(
        &thread, nullptr,
        [](void* run) -> void* {
            (*static_cast<std::function<void()>*>(run))();
            return nullptr;
        },
        &body);
    pthread_join(thread, &result);
    return finished && result == PTHREAD_CANCELED;
}

TEST_P(ChannelThreadTest, LeavesACancellationToTheCallbacksAndTheEndOfAnOperation) {
    auto& vision = *VisionDataRecognitionAPI::GetInstance();
    auto& detection = *ContentsUIDetectionAPI::GetInstance();
    SubscriptionHandle logo;
    CUDASubscriptionHandle pip;
    std::string text;
    const std::vector<std::function<void()>> operations = {
        [&] { vision.Initialize(); },
        [&] { detection.Initialize(); },
        [&] { vision.StartAnalyze("vdrs_method_ld_start", 1); },
        [&] { vision.ChangeAnalyze(2); },
        [&] { vision.Request(text, "what is on"); },
        [&] { vision.StopAnalyze("vdrs_method_ld_stop"); },
        [&] { logo = vision.SubscribeLogoIconInfo([](const MOBILE_USAGE&) {}); },
        [&] { detection.StartAnalyze(1, 2, 3, 4); },
        [&] { detection.StopAnalyze(1, 2, 3, 4); },
        [&] { detection.SetAdaptiveSoundOnOffChange(1); },
        [&] { pip = detection.SubscribePipModeCallback([](const _PIP_MODE_RESULT&) {}); },
        [&] { detection.SubscribeDetectedCallback(nullptr); },
        [&] { m_channel.process(); },
        [&] { vision.Unsubscribe(logo); },
        [&] { detection.Unsubscribe(pip); },
        [&] { vision.Finalize(); },
        [&] { detection.Finalize(); },
        [&] { m_channel.connect(); },
        [&] { m_channel.disconnect(); },
        [&] { CUDSInotifyInit("cuds_c2s_msg"); }};
    for (std::size_t i = 0; i < operations.size(); ++i) {
        m_results.Write(Record(ResultDocument(m_channel)));
        EXPECT_TRUE(IsCancelledAfter(operations[i])) << "operation " << i;
    }
    if (kSanitized) return;  // a sanitizer takes the unwinding for a fault
    m_channel.setCallback(Deliver);
    Delivered().during = [](const std::string& payload) {
        if (payload != "cancel\n") return;
        pthread_cancel(pthread_self());
        pthread_testcancel();
        ADD_FAILURE() << "not cancelled";
    };
    const std::size_t threads = RunningThreads();
    ASSERT_EQ(m_channel.connect(), 1);
    Rewrite("cancel");
    const auto limit = Clock::now() + 5s;
    while (RunningThreads() > threads && Clock::now() < limit) std::this_thread::yield();
    EXPECT_EQ(m_channel.disconnect(), 1);
    ConnectAndDeliver("again");
}

/// Of every result once, whichever client the channel belongs to.
void SubscribeToResults(const Channel& channel, void (*callback)()) {
    if (IsVdrs(channel)) {
        VisionDataRecognitionAPI::GetInstance()->SubscribeLogoIconInfo(
            [callback](const MOBILE_USAGE& usage) {
                if (!usage.logo_icon.empty()) callback();
            });
        return;
    }
    static bool s_hasElement;
    auto& api = *ContentsUIDetectionAPI::GetInstance();
    api.SubscribeDetectedCallback(
        [](const std::vector<_DETECTED_RESULT>& elements) { s_hasElement = !elements.empty(); });
    api.SubscribePipModeCallback([callback](const _PIP_MODE_RESULT& mode) {
        if (s_hasElement && mode.on_off == 1) callback();
    });
}

TEST_P(ChannelThreadTest, KeepsNoMemoryOfAThousandResultsThatItsClientHandsOut) {
    static std::counting_semaphore<> s_heard{0};
    SubscribeToResults(m_channel, [] { s_heard.release(); });
    EXPECT_EQ(m_channel.disconnect(), 1);
    const std::string payloads = "[\"broken\"\n" + Record(ResultDocument(m_channel));
    // What is allocated when the thread has ended after so many results.
    const auto allocatedAfter = [&](int results) {
        EXPECT_EQ(m_channel.connect(), 1);
        for (int i = 0; i < results && !HasFailure(); ++i) {
            Rewrite(payloads);
            EXPECT_TRUE(s_heard.try_acquire_for(5s));
            ClearLog();
        }
        EXPECT_EQ(m_channel.disconnect(), 1);
        ClearLog();
        return mallinfo2().uordblks;
    };
    const std::size_t before = allocatedAfter(10);
    const std::size_t after = allocatedAfter(1000);
    // A quarter of the smallest allocation for each; a sanitizer's own look finds leaks by itself.
    EXPECT_LT(after, before + 8000);
}

TEST_P(ChannelThreadTest, ReadsALongResultOnAThreadWithASmallStack) {
    if (kSanitized) GTEST_SKIP() << "a sanitizer's frames are larger";
    static std::atomic<int> s_heard{0};
    SubscribeToResults(m_channel, [] { ++s_heard; });
    EXPECT_EQ(m_channel.disconnect(), 1);
    std::size_t elements = 1;
    while (ResultDocument(m_channel, elements + 1).size() < m_channel.lineLimit) ++elements;
    m_results.Write(Record(ResultDocument(m_channel, elements)));
    pthread_attr_t small;
    pthread_attr_init(&small);
    ASSERT_EQ(pthread_attr_setstacksize(&small, (IsVdrs(m_channel) ? 64 : 128) * 1024), 0);
    pthread_t thread;
    const auto process = [](void* channel) -> void* {
        EXPECT_EQ(static_cast<const Channel*>(channel)->process(), 1);
        return nullptr;
    };
    Channel channel = m_channel;
    ASSERT_EQ(pthread_create(&thread, &small, process, &channel), 0);
    pthread_join(thread, nullptr);
    EXPECT_EQ(s_heard, 1);
}

TEST_P(ChannelThreadTest, OnlyLogsWhatIsNoModificationAndHearsAgainAfterANewConnect) {
    ASSERT_EQ(m_channel.connect(), 1);
    ASSERT_EQ(unlink(m_results.Path().c_str()), 0);
    EXPECT_TRUE(WaitForLogLine("inofity undefined event\n"));
    m_results.Write("");
    EXPECT_EQ(m_channel.disconnect(), 1);
    ConnectAndDeliver("{}");
}

TEST(VdrsThreadTest, StaysConnectedWithoutAFileToWatchUntilItIsDisconnected) {
    const std::size_t descriptors = OpenDescriptors();
    EXPECT_EQ(VDRS_Client_Inotify_Connect(), 1);
    EXPECT_EQ(CountLogLines("inotify_add_watch error: 2\n"), 1U);
    EXPECT_EQ(OpenDescriptors(), descriptors + 1);  // the thread's wake-up, until it is joined
    EXPECT_EQ(VDRS_Client_Inotify_Connect(), 1);
    EXPECT_EQ(CountLogLines("already existed connection\n"), 1U);
    EXPECT_EQ(VDRS_Client_Inotify_Disconnect(), 1);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(VDRS_Client_Notification_Thread(nullptr), nullptr);
}

}  // namespace
