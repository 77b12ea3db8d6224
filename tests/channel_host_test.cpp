/// What both channels are to their host: to its clients, its threads, its children and its memory.
#include <dlfcn.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <semaphore>
#include <thread>

#include "Channels.h"
#include "ContentsUIDetectionAPI.h"
#include "LogCapture.h"
#include "ResultDocument.h"
#include "UiDetectionPeer.h"
#include "VisionDataPeer.h"
#include "VisionDataRecognitionAPI.h"

namespace {

using namespace cri_test;
using namespace std::chrono_literals;

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

using ChannelHostTest = WatchedChannelTest;
CRI_FOR_BOTH_CHANNELS(ChannelHostTest);

std::string ResultDocument(const Channel& channel, std::size_t elements = 1) {
    if (!IsVdrs(channel))
        return cri_recording::UiDetectionDocument(
            {std::vector(elements, cri_recording::Detection<float>{{1, 2, 3, 4}, 0.5F, 7}),
             {10, 20, 1}});
    const std::vector logos(elements, cri_recording::Detection<uint32_t>{{1, 2, 3, 4}, 0.5F, 7});
    return cri_recording::AnalyzeResultDocument(
        {"application", "status", "a title of some length", logos, {}});
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

TEST_P(ChannelHostTest, IsConnectedAnewByItsClientHoweverItWasDisconnected) {
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

TEST_P(ChannelHostTest, MayBeWatchedOnAnApplicationsThreadUntilItIsDisconnected) {
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

TEST_P(ChannelHostTest, IsDisconnectedInAForkedChildWhichMayConnectItsOwn) {
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

TEST_P(ChannelHostTest, EndsInAChildThatWasForkedInACallback) {
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

TEST_P(ChannelHostTest, LeavesACancellationToTheCallbacksAndTheEndOfAnOperation) {
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

TEST_P(ChannelHostTest, KeepsNoMemoryOfAThousandResultsThatItsClientHandsOut) {
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

TEST_P(ChannelHostTest, ReadsALongResultOnAThreadWithASmallStack) {
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

}  // namespace
