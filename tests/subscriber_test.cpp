/// Subscribers of all three kinds of result: ids, order, changes from inside callbacks, hostile
/// callbacks.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

#include "Channels.h"
#include "ContentsUIDetectionAPI.h"
#include "LogCapture.h"
#include "VisionDataRecognitionAPI.h"

namespace {

using namespace cri_test;
using namespace std::chrono_literals;
using testing::ElementsAre;

/// Whether the library gets no memory on this thread.
thread_local bool t_noMemory = false;

bool IsTheLibrary(const void* caller) {
    Dl_info info;
    return dladdr(caller, &info) && strstr(info.dli_fname, "/libcontents-recognition-api.");
}

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    const bool refused = t_noMemory && IsTheLibrary(__builtin_return_address(0));
    void* const memory = refused ? nullptr : malloc(size);
    return memory ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    free(memory);
}

namespace {

/// One kind of subscription behind a face that all three have.
struct Kind {
    const char* name;
    unsigned long long (*add)(std::function<void()> callback);
    bool (*remove)(unsigned long long id);
    void (*deliver)();
    bool (*initialize)();
    bool (*finalize)();
    const Channel* channel;
    const char* document;
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.name;
}

VisionDataRecognitionAPI* Vision() {
    return VisionDataRecognitionAPI::GetInstance();
}
ContentsUIDetectionAPI* Ui() {
    return ContentsUIDetectionAPI::s_pInstance;
}

bool RemoveVision(unsigned long long id) {
    SubscriptionHandle handle(id, Vision());
    return Vision()->Unsubscribe(handle);
}

bool RemoveUi(unsigned long long id) {
    CUDASubscriptionHandle handle(id, Ui());
    return Ui()->Unsubscribe(handle);
}

template <class Record>
std::function<void(const Record&)> Ignoring(std::function<void()> callback) {
    if (!callback) return nullptr;
    return [callback = std::move(callback)](const Record&) { callback(); };
}

const Kind kLogoIcon = {
    "LogoIcon",
    [](std::function<void()> callback) {
        return Vision()->SubscribeLogoIconInfo(Ignoring<MOBILE_USAGE>(std::move(callback))).m_id;
    },
    RemoveVision,
    [] { Vision()->ReceiveLogoIconData(MOBILE_USAGE()); },
    [] { return Vision()->Initialize(); },
    [] { return Vision()->Finalize(); },
    &kVdrs,
    R"({"type":"AnalyzeResult","analyze_result":{"mobile_usage_analysis":{}}})"};
const Kind kDetected = {"Detected",
                        [](std::function<void()> callback) {
                            return Ui()
                                ->SubscribeDetectedCallback(
                                    Ignoring<std::vector<_DETECTED_RESULT>>(std::move(callback)))
                                .m_id;
                        },
                        RemoveUi,
                        [] { Ui()->ReceiveDetectedResult({}); },
                        [] { return Ui()->Initialize(); },
                        [] { return Ui()->Finalize(); },
                        &kCuds,
                        R"({"type":"ContentsUIdetection","result":{}})"};
const Kind kPipMode = {
    "PipMode",
    [](std::function<void()> callback) {
        return Ui()->SubscribePipModeCallback(Ignoring<_PIP_MODE_RESULT>(std::move(callback))).m_id;
    },
    RemoveUi,
    [] { Ui()->ReceivePipModeResult({}); },
    kDetected.initialize,
    kDetected.finalize,
    &kCuds,
    kDetected.document};

class SubscriberTest : public testing::TestWithParam<Kind> {
  protected:
    SubscriberTest() : m_kind(GetParam()), m_results(m_kind.channel->resultFile) {}

    std::function<void()> Note(int number) {
        return [this, number] { m_called.push_back(number); };
    }

    /// Makes the notification thread deliver one document.
    void Write() {
        m_results.Write(std::string(m_kind.channel->resultMethod) + "\n" + m_kind.document + "\n");
    }

    const Kind m_kind;
    MessageFile m_results;
    std::vector<int> m_called;
};
INSTANTIATE_TEST_SUITE_P(AllKinds, SubscriberTest, testing::Values(kLogoIcon, kDetected, kPipMode),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(SubscriberTest, CallsInTheOrderOfIdsThatAreNeverUsedTwice) {
    EXPECT_EQ(m_kind.add(Note(1)), 1U);
    EXPECT_EQ(m_kind.add(Note(2)), 2U);
    EXPECT_TRUE(m_kind.remove(1));
    EXPECT_FALSE(m_kind.remove(1));
    EXPECT_EQ(CountLogLines("Cannot find subscription infomation\n"), 1U);
    EXPECT_EQ(m_kind.add(Note(3)), 3U);
    m_kind.deliver();
    EXPECT_THAT(m_called, ElementsAre(2, 3));
}

TEST_P(SubscriberTest, LetsCallbacksChangeTheListWhileItIsWalked) {
    unsigned long long self = 0, next = 0;
    self = m_kind.add([&] {
        Note(1)();
        EXPECT_TRUE(m_kind.remove(self));
        EXPECT_TRUE(m_kind.remove(next));
        m_kind.add(Note(4));
    });
    next = m_kind.add(Note(2));
    m_kind.add(Note(3));
    m_kind.deliver();
    EXPECT_THAT(m_called, ElementsAre(1, 3));
    m_kind.deliver();
    EXPECT_THAT(m_called, ElementsAre(1, 3, 3, 4));
}

TEST_P(SubscriberTest, EndsSubscriptionsWithoutMemoryAndMakesNone) {
    const auto held = std::make_shared<int>();
    unsigned long long self = 0, next = 0;
    self = m_kind.add([&, held] {
        Note(1)();
        t_noMemory = true;
        EXPECT_TRUE(m_kind.remove(self));
        EXPECT_TRUE(m_kind.remove(next));
        EXPECT_FALSE(m_kind.remove(next));
    });
    next = m_kind.add([this, held] { Note(2)(); });
    m_kind.deliver();
    EXPECT_EQ(m_kind.add(Note(3)), 0U);
    EXPECT_EQ(CountLogLines("Subscribe (3)\n"), 1U);
    t_noMemory = false;
    EXPECT_EQ(m_kind.add(Note(4)), 4U);
    m_kind.deliver();
    EXPECT_THAT(m_called, ElementsAre(1, 4));
    EXPECT_EQ(held.use_count(), 1);
}

TEST_P(SubscriberTest, DeliversPastCallbacksThatThrowOrAreEmpty) {
    m_kind.add([] { throw std::runtime_error("from the application"); });
    m_kind.add([] { throw 7; });
    m_kind.add(nullptr);
    m_kind.add(Note(1));
    m_kind.deliver();
    EXPECT_THAT(m_called, ElementsAre(1));
}

/// An application's functor that uses the library while it is copied and destroyed.
struct Nosy {
    explicit Nosy(const Kind& given) : kind(&given) {}
    Nosy(const Nosy& other) : kind(other.kind) { kind->remove(999); }
    Nosy& operator=(const Nosy&) = delete;
    ~Nosy() { kind->remove(999); }
    void operator()() const {}
    const Kind* kind;
};

TEST_P(SubscriberTest, HoldsNoLockWhileItCopiesOrDestroysACallback) {
    const auto id = m_kind.add(Nosy(m_kind));
    m_kind.deliver();
    unsigned long long self = 0;
    self = m_kind.add([this, &self, nosy = Nosy(m_kind)] { m_kind.remove(self); });
    m_kind.deliver();
    EXPECT_TRUE(m_kind.remove(id));
    m_kind.deliver();
}

TEST_P(SubscriberTest, KeepsEveryoneInStepWhileManyThreadsComeAndGo) {
    std::atomic<int> steady{0};
    std::atomic<bool> going{true};
    m_kind.add([&] { ++steady; });
    std::vector<std::thread> guests;
    for (int i = 0; i < 4; ++i)
        guests.emplace_back([&] {
            while (going) EXPECT_TRUE(m_kind.remove(m_kind.add([] {})));
        });
    constexpr int kDeliveries = 300;
    for (int i = 0; i < kDeliveries; ++i) m_kind.deliver();
    going = false;
    for (auto& guest : guests) guest.join();
    EXPECT_EQ(steady, kDeliveries);
}

TEST_P(SubscriberTest, CallsInTheOrderOfIdsAlsoThoseOfManyThreads) {
    std::vector<unsigned long long> called;
    std::vector<std::thread> guests;
    for (int i = 0; i < 4; ++i)
        guests.emplace_back([&] {
            for (int j = 0; j < 100; ++j) {
                const auto id = std::make_shared<unsigned long long>();
                *id = m_kind.add([&called, id] { called.push_back(*id); });
            }
        });
    for (auto& guest : guests) guest.join();
    m_kind.deliver();
    EXPECT_EQ(called.size(), 400U);
    EXPECT_TRUE(std::is_sorted(called.begin(), called.end()));
}

TEST_P(SubscriberTest, StopsInTheMiddleWhenItsThreadIsRetired) {
    std::atomic<int> second{0};
    std::atomic<bool> finalized{true};
    Latch done;
    m_kind.add([&] {
        finalized = m_kind.finalize();
        done.CountDown();
    });
    m_kind.add([&] { ++second; });
    Write();
    ASSERT_TRUE(done.WaitForOpen());
    EXPECT_FALSE(finalized);
    // What is left of the retired thread ends; a new one delivers to both, each change once.
    EXPECT_TRUE(m_kind.finalize());
    const auto threads = RunningThreads();
    EXPECT_EQ(second, 0);
    EXPECT_TRUE(m_kind.initialize());
    EXPECT_LE(RunningThreads(), threads + 1);
    m_kind.finalize();
}

TEST_P(SubscriberTest, DeliversAgainAfterFinalizeAndInitialize) {
    Latch first, second(2);
    m_kind.add([&] {
        first.CountDown();
        second.CountDown();
    });
    Write();
    ASSERT_TRUE(first.WaitForOpen());
    EXPECT_TRUE(m_kind.finalize());
    EXPECT_TRUE(m_kind.finalize());
    EXPECT_TRUE(m_kind.initialize());
    EXPECT_TRUE(m_kind.initialize());
    Write();
    EXPECT_TRUE(second.WaitForOpen());
    EXPECT_TRUE(m_kind.finalize());
}

/// The finalize is seen to have begun by what the initialize does.
TEST_P(SubscriberTest, StaysConnectedByAnInitializeWhileAFinalizeWaitsForACallback) {
    Latch held, release, anew, again(2);
    std::atomic<int> calls = 0;
    m_kind.add([&] {
        const bool first = ++calls == 1;
        if (!first) {
            anew.CountDown();
            again.CountDown();
            return;
        }
        held.CountDown();
        release.WaitForOpen();
    });
    Write();
    ASSERT_TRUE(held.WaitForOpen());
    std::atomic<bool> finalized = false;
    std::thread finalizing([&] { finalized = m_kind.finalize(); });
    do {
        EXPECT_TRUE(m_kind.initialize());
        Write();
    } while (!anew.WaitForOpen(std::chrono::milliseconds(20)) && !finalized);
    EXPECT_FALSE(finalized);
    release.CountDown();
    finalizing.join();
    EXPECT_TRUE(finalized);
    Write();
    EXPECT_TRUE(again.WaitForOpen());
    EXPECT_TRUE(m_kind.finalize());
}

/// A thread that is retired on its own channel is an application's thread to the other one.
TEST(BothClientsTest, DeliverWhatAnApplicationHandsOutInACallbackOfTheOther) {
    const MessageFile results(kCuds.resultFile);
    const MessageFile otherResults(kVdrs.resultFile);
    Latch done;
    int logos = 0;
    kLogoIcon.add([&] { ++logos; });
    kDetected.add([&] {
        EXPECT_FALSE(kDetected.finalize());
        kLogoIcon.deliver();
        done.CountDown();
    });
    results.Write(std::string(kCuds.resultMethod) + "\n" + kDetected.document + "\n");
    ASSERT_TRUE(done.WaitForOpen());
    EXPECT_EQ(logos, 1);
    EXPECT_TRUE(kDetected.finalize());
    EXPECT_TRUE(kLogoIcon.finalize());
}

using SubscriberExitTest = SubscriberTest;
INSTANTIATE_TEST_SUITE_P(AllKinds, SubscriberExitTest,
                         testing::Values(kLogoIcon, kDetected, kPipMode),
                         [](const auto& kind) { return std::string(kind.param.name); });

/// Runs in a child process: delivers without end on the notification thread, and exits meanwhile.
void ExitWhileDelivering(const Kind& kind, bool fromInside) {
    static std::atomic<int> s_deliveries;
    const MessageFile results(kind.channel->resultFile);
    kind.add([fromInside] {
        if (++s_deliveries > 20 && fromInside) exit(0);
    });
    const std::string record =
        std::string(kind.channel->resultMethod) + "\n" + kind.document + "\n";
    std::thread([&results, record] {
        for (;;) results.Write(record);
    }).detach();
    while (fromInside || s_deliveries <= 20) std::this_thread::yield();
    exit(0);
}

/// In its long entries a thousand exits over the three kinds; each child is forked while there is
/// no other thread.
TEST_P(SubscriberExitTest, ExitsWhileAThreadDelivers) {
    GTEST_FLAG_SET(death_test_style, "fast");
    for (int left = Rounds(170, 10); left > 0 && !HasFailure(); --left) {
        EXPECT_EXIT(ExitWhileDelivering(m_kind, false), testing::ExitedWithCode(0), "");
        EXPECT_EXIT(ExitWhileDelivering(m_kind, true), testing::ExitedWithCode(0), "");
    }
}

TEST(SubscriberHandleTest, RefusesHandlesThatAreNotItsOwn) {
    const MessageFile vision("vdrs_s2c_msg");
    SubscriptionHandle none, used = Vision()->SubscribeLogoIconInfo([](const MOBILE_USAGE&) {});
    SubscriptionHandle copy = used, foreign(used.m_id, nullptr);
    EXPECT_FALSE(Vision()->Unsubscribe(none));
    EXPECT_EQ(CountLogLines("Wrong Handle : 0\n"), 1U);
    EXPECT_FALSE(Vision()->Unsubscribe(foreign));
    EXPECT_TRUE(foreign.m_bValid);
    EXPECT_TRUE(Vision()->Unsubscribe(used));
    EXPECT_EQ(CountLogLines("Succeed to unsubscribe\n"), 1U);
    EXPECT_FALSE(Vision()->Unsubscribe(used));
    EXPECT_EQ(CountLogLines("Wrong Handle : 1\n"), 2U);
    EXPECT_FALSE(Vision()->Unsubscribe(copy));
    EXPECT_FALSE(copy.m_bValid);
    EXPECT_EQ(CountLogLines("Cannot find subscription infomation\n"), 1U);
    EXPECT_EQ(CountLogLines("Succeed to unsubscribe\n"), 1U);
    CUDASubscriptionHandle noUi;
    EXPECT_FALSE(Ui()->Unsubscribe(noUi));
}

TEST(SubscriberHandleTest, NumbersBothKindsOfUiSubscriptionsInOneSequence) {
    const auto ignoreList = [](const std::vector<_DETECTED_RESULT>&) {};
    CUDASubscriptionHandle list = Ui()->SubscribeDetectedCallback(ignoreList);
    EXPECT_EQ(list.m_id, 1U);
    CUDASubscriptionHandle mode = Ui()->SubscribePipModeCallback([](const _PIP_MODE_RESULT&) {});
    EXPECT_EQ(mode.m_id, 2U);
    EXPECT_EQ(Ui()->SubscribeDetectedCallback(ignoreList).m_id, 3U);
    EXPECT_TRUE(Ui()->Unsubscribe(mode));
    EXPECT_EQ(CountLogLines("Succeed to PipModeResult unsubscribe\n"), 1U);
    EXPECT_EQ(CountLogLines("Succeed to DetectedResult unsubscribe\n"), 0U);
    EXPECT_TRUE(Ui()->Unsubscribe(list));
    EXPECT_EQ(CountLogLines("Succeed to DetectedResult unsubscribe\n"), 1U);
}

}  // namespace
