/// The notification thread of both channels: connecting, waking, retiring, ending.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "Channels.h"
#include "LogCapture.h"

namespace {

using namespace cri_test;
using namespace std::chrono_literals;

using ChannelThreadTest = WatchedChannelTest;
CRI_FOR_BOTH_CHANNELS(ChannelThreadTest);

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
    for (int left = Rounds(10000, 300); left > 0; --left) {
        ASSERT_EQ(m_channel.connect(), 1);
        ASSERT_EQ(m_channel.disconnect(), 1);
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(RunningThreads(), threads);
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
