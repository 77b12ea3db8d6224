/// What the host of the library may do to it: run out of descriptors, fork, cancel threads, exit.
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <memory>
#include <thread>

#include "ClientTest.h"

namespace {

using namespace cri_test;
using cri_sim::Answer;
using cri_sim::RecognitionService;
using testing::Contains;
using testing::ElementsAre;
using namespace std::chrono_literals;

constexpr auto kEvent = CONTENTS_RECOGNITION_EVENT_OTT;

bool Query() {
    std::string name;
    return Api::GetCurrentChannelName(name);
}

bool Subscribe() {
    return Api::SubscribeEvent(
               kEvent, [](CRS_EVENT_TYPE, void*) {}, nullptr) > 0;
}

/// Leaves so many descriptors free while it lives.
class FewDescriptors {
  public:
    explicit FewDescriptors(std::size_t free) {
        getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit few = m_before;
        few.rlim_cur = 256;
        setrlimit(RLIMIT_NOFILE, &few);
        for (int taken = 0; (taken = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            m_taken.push_back(taken);
        for (; free > 0; --free) Release();
    }
    ~FewDescriptors() {
        while (!m_taken.empty()) Release();
        setrlimit(RLIMIT_NOFILE, &m_before);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

  private:
    void Release() {
        close(m_taken.back());
        m_taken.pop_back();
    }

    rlimit m_before{};
    std::vector<int> m_taken;
};

TEST(HostTest, FailsWithoutAFreeDescriptorAndSucceedsWithOne) {
    if (kSanitized) GTEST_SKIP() << "a sanitizer needs descriptors for its own checks";
    // As long as the simulated service, which needs descriptors too, is not asked.
    for (std::size_t free = 0; free < 8; ++free) {
        const FewDescriptors few(free);
        EXPECT_FALSE(Query()) << free;
        EXPECT_FALSE(Subscribe()) << free;
    }
    EXPECT_EQ(CountLogLines("bus get sync failed: no free file descriptor\n"), 16U);
    RecognitionService service;
    ASSERT_TRUE(Query());
    {
        const FewDescriptors few(0);
        ClearLog();
        EXPECT_FALSE(Query());
        EXPECT_FALSE(Subscribe());
        EXPECT_EQ(Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {}), -1);
        EXPECT_EQ(CountLogLines("Error: no free file descriptor\n"), 3U);
    }
    EXPECT_TRUE(Query());
    EXPECT_TRUE(Subscribe());
    EXPECT_EQ(Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {}), 0);
}

/// The exit status of a child that runs `body`; -1 when it had not ended after ten seconds.
int InForkedChild(const std::function<bool()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body() ? 0 : 1);
    const ProcessWatch watch(child);
    if (!watch.WaitForEnd(10s)) kill(child, SIGKILL);
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(HostTest, FailsAtOnceInAForkedChildOfAConnectedProcess) {
    if (kSanitized) GTEST_SKIP() << "a sanitizer's own locks may be taken at the fork";
    RecognitionService service;
    service.SetAnswer("GetChannelName", Answer::Silence());
    ASSERT_TRUE(Api::InitService());
    // The lock of the operations is taken at the fork.
    auto waiting = std::async(std::launch::async, Query);
    ASSERT_TRUE(service.WaitForCalls("GetChannelName", 1));
    EXPECT_EQ(InForkedChild([] {
                  ClearLog();
                  const auto passed = Duration([] {
                      if (Query() || Subscribe() || Api::SMServiceStop()) _exit(2);
                      if (Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {}) != -1) _exit(3);
                  });
                  return passed < 500ms && CountLogLines("No connection!\n") == 5;
              }),
              0);
    EXPECT_FALSE(waiting.get());
    EXPECT_TRUE(Subscribe());
}

TEST(HostTest, ConnectsInAForkedChildOfAProcessThatHasNot) {
    EXPECT_EQ(InForkedChild(Api::InitService), 0);
}

TEST(HostTest, IsCancelledAfterAnOperationAndNotInside) {
    RecognitionService service;
    service.Delay("GetChannelName", 300ms);
    ASSERT_TRUE(Api::InitService());
    std::atomic<bool> answered{false};
    std::thread cancelled([&] {
        answered = Query();
        pthread_testcancel();
        ADD_FAILURE() << "goes on after it was cancelled";
    });
    ASSERT_TRUE(service.WaitForCalls("GetChannelName", 1));
    pthread_cancel(cancelled.native_handle());
    cancelled.join();
    EXPECT_TRUE(answered);
    EXPECT_TRUE(Query());
}

TEST(HostTest, IsCancelledInACallback) {
    if (kSanitized) GTEST_SKIP() << "a sanitizer takes a cancelled thread's unwinding for a fault";
    static std::atomic<bool> s_called;
    RecognitionService service;
    ASSERT_GT(Api::SubscribeEvent(
                  kEvent,
                  [](CRS_EVENT_TYPE, void*) {
                      s_called = true;
                      pthread_testcancel();
                      ADD_FAILURE() << "goes on after it was cancelled";
                  },
                  nullptr),
              0);
    std::thread cancelled([] {
        GVariant* const body = g_variant_ref_sink(g_variant_new("(ii)", int{kEvent}, 1));
        pthread_cancel(pthread_self());
        Api::m_OnSignalContentsRecognitionChangedCB(nullptr, "", "", "", "", body, nullptr);
    });
    cancelled.join();
    EXPECT_TRUE(s_called);
    EXPECT_TRUE(Query());
}

/// Kept by a callback that is destroyed at exit; hangs where a lock is held.
struct Guard {
    ~Guard() { Api::UnsubscribeBlackScreenEvent(0); }
};

[[noreturn]] void ExitWhileAQueryWaits(bool subscribed) {
    RecognitionService service;
    const auto subscribe = [] {
        return Api::SubscribeBlackScreenEvent(
            [guard = std::make_shared<Guard>()](cri_bs_info_s) {});
    };
    if (subscribed && subscribe() != 0) abort();
    service.SetAnswer("GetChannelName", Answer::Silence());
    std::thread(Query).detach();
    if (!service.WaitForCalls("GetChannelName", 1)) abort();
    exit(7);
}

TEST(HostDeathTest, WaitsAtExitForAnOperationWhenReportsWereSubscribedOnly) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto exits = [](bool subscribed) {
        EXPECT_EXIT(ExitWhileAQueryWaits(subscribed), testing::ExitedWithCode(7), "");
    };
    EXPECT_LT(ShortestDuration([&] { exits(false); }), 1800ms);
    const auto waited = Duration([&] { exits(true); });
    EXPECT_GT(waited, 1900ms);
}

}  // namespace
