/// What the client outlives: a dying bus, a service that comes and goes, floods, crowds, exits.
#include <atomic>
#include <string>
#include <thread>

#include "ClientTest.h"
#include "VisionDataRecognitionAPI.h"

namespace {

using namespace cri_test;
using cri_sim::RecognitionService;
using testing::ElementsAre;

constexpr auto kEvent = CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL;
const char* const kMember = "CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL";

bool Query() {
    std::string name;
    return Api::GetCurrentChannelName(name);
}

void NoteClosed(GDBusConnection*, gboolean, GError*, gpointer latch) {
    static_cast<Latch*>(latch)->CountDown();
}

TEST(FaultTest, OutlivesABusThatIsKilledUnderARunningLoop) {
    RecognitionService service;
    MainLoop loop;
    Latch closed;
    int event = 0, report = -1;
    loop.Run([&] {
        event = Api::SubscribeEvent(kEvent, nullptr, nullptr);
        report = Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {});
        g_signal_connect(Api::m_connection, "closed", G_CALLBACK(NoteClosed), &closed);
    });
    ASSERT_GT(event, 0);
    ASSERT_EQ(report, 0);
    DropBus();
    ASSERT_TRUE(closed.WaitForOpen());
    loop.Run([] {});  // what the bus library does on its own account about it is done now

    std::string text;
    int number = 5;
    const std::vector<std::pair<const char*, std::function<bool()>>> operations = {
        {"query", Query},
        {"unlocked query", [&] { return Api::m_GetCurrentContentsInfo(text); }},
        {"number query", [&] { return Api::GetCurrentScreenStatus(number); }},
        {"period", [&] { return Api::GetBlackScreenPeriodMillis(number); }},
        {"event", [] { return Api::SubscribeEvent(kEvent, nullptr, nullptr) != 0; }},
        {"report", [] { return Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {}) != -1; }},
        {"end of report", [] { return Api::UnsubscribeBlackScreenEvent(0); }},
        {"detector start", [] { return Api::SM_VPDServiceStart(nullptr, nullptr, 1); }},
        {"detector stop", Api::SMServiceStop},
        {"change", [] { return Api::SMServiceCSChange(1); }},
    };
    for (const auto& [name, run] : operations)
        EXPECT_LE(Duration([&, &name = name, &run = run] { EXPECT_FALSE(run()) << name; }),
                  kLongestCall)
            << name;
    EXPECT_TRUE(Api::UnsubscribeEvent(static_cast<unsigned>(event)));
    EXPECT_EQ(text, "Unknown");
    EXPECT_EQ(number, 0);
}

TEST(FaultTest, SubscribesNothingOnALostBusAndRunsTheRestOfAnOperation) {
    Latch closed;
    MainLoop loop;
    loop.Run([&] {
        ASSERT_TRUE(Api::InitService());
        g_signal_connect(Api::m_connection, "closed", G_CALLBACK(NoteClosed), &closed);
    });
    DropBus();
    ASSERT_TRUE(closed.WaitForOpen());
    EXPECT_EQ(Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {}), -1);
    EXPECT_THAT(LogOf([] { EXPECT_EQ(Api::SubscribeEvent(kEvent, nullptr, nullptr), 0); }),
                ElementsAre("DEBUG SubscribeEvent: subscriberID=0"));
    EXPECT_TRUE(Api::CUDSRegist(nullptr));
    EXPECT_THAT(
        LogOf([] { EXPECT_FALSE(Api::SM_CADServiceStart(nullptr, nullptr, 1)); }),
        testing::IsSupersetOf(
            {testing::StartsWith("ERROR m_SMServiceStart: SM SM_CADServiceStart capture g_dbus"),
             testing::StartsWith("ERROR SM_CADServiceStart: VisionDataRecognitionAPI start")}));
    EXPECT_TRUE(Api::CUDSDeRegist(nullptr));
    EXPECT_TRUE(VisionDataRecognitionAPI::GetInstance()->Finalize());
}

/// The service comes back under a new unique name; whoever had the old one must learn of it.
void ExpectAnswersAfterRestarts(RecognitionService& service) {
    for (int restart = 0; restart < 3; ++restart) {
        ASSERT_TRUE(Query());
        service.Leave();
        EXPECT_FALSE(Query());
        service.Return();
        Settle();  // the bus has told us
        EXPECT_TRUE(Query());
        EXPECT_TRUE(Query());
    }
}

TEST(FaultTest, GetsAnswersFromARestartedServiceWithoutAMainLoop) {
    RecognitionService service;
    ASSERT_TRUE(Query());
    // The bus library's ids are the whole process's: among these are those of the proxy itself.
    for (unsigned id = 1; id < 20; ++id) EXPECT_TRUE(Api::UnsubscribeEvent(id));
    ExpectAnswersAfterRestarts(service);
}

TEST(FaultTest, GetsAnswersAndSignalsFromARestartedServiceWithAMainLoop) {
    static Latch s_arrived(1);
    RecognitionService service;
    MainLoop loop;
    loop.Run([] {
        ASSERT_GT(Api::SubscribeEvent(
                      kEvent, [](CRS_EVENT_TYPE, void*) { s_arrived.CountDown(); }, nullptr),
                  0);
    });
    ExpectAnswersAfterRestarts(service);
    loop.Run([&] { ExpectAnswersAfterRestarts(service); });
    service.Emit(kMember, "(1, 2)");
    EXPECT_TRUE(s_arrived.WaitForOpen());
}

/// Sends what nobody has subscribed, and expects that it is not kept. Between two bursts the
/// application may do something.
void ExpectNoMemoryUsedBySignals(const std::function<void()>& between) {
    constexpr int kSignals = kSanitized ? 100 : 2000;
    constexpr std::size_t kBound = std::size_t{24} << 20;  // queueing 25 bursts takes 60
    RecognitionService service;
    const auto flood = [&](int bursts) {
        for (int burst = 0; burst < bursts; ++burst) {
            for (int number = 0; number < kSignals; ++number) service.Emit(kMember, "(1, 2)");
            service.Settle();
            Settle();
            between();
        }
    };
    ASSERT_TRUE(Query());
    flood(3);
    const std::size_t before = ResidentBytes();
    flood(Rounds(100, 25));
    // A sanitizer keeps memory of its own.
    if (!kSanitized) {
        EXPECT_LT(ResidentBytes(), before + kBound);
    }
}

TEST(FaultTest, UsesNoMemoryForSignalsThatNobodyHears) {
    ExpectNoMemoryUsedBySignals([] { ASSERT_TRUE(Query()); });
}

TEST(FaultTest, UsesNoMemoryForSignalsWithoutACallOrAMainLoop) {
    ExpectNoMemoryUsedBySignals([] {});
}

TEST(FaultTest, UsesNoMemoryForOtherSignalsThanTheOneListenedTo) {
    MainLoop loop;
    loop.Run([] {
        ASSERT_GT(Api::SubscribeEvent(CONTENTS_RECOGNITION_EVENT_OTT, nullptr, nullptr), 0);
    });
    ExpectNoMemoryUsedBySignals([] {});
}

TEST(FaultTest, KeepsNoPropertiesThatTheNamesOwnerTellsOf) {
    const cri_sim::BusConnection owner;
    owner.Own(RecognitionService::kName);
    ASSERT_TRUE(Api::InitService());
    const std::string value(100'000, 'x');
    for (int number = 0; number < 40; ++number)
        owner.Emit(RecognitionService::kPath, "org.freedesktop.DBus.Properties",
                   "PropertiesChanged",
                   "('" + std::string(RecognitionService::kInterface) + "', {'P" +
                       std::to_string(number) + "': <'" + value + "'>}, @as [])");
    owner.RoundTrip();
    Settle();
    EXPECT_FALSE(Query());  // takes in what has come
    char** const names = g_dbus_proxy_get_cached_property_names(Api::m_proxy);
    EXPECT_EQ(names, nullptr);
    g_strfreev(names);
}

TEST(FaultTest, SaysOnceThatNobodyIteratesTheContextThatSignalsWaitIn) {
    static std::atomic<int> s_heard;
    const auto hear = [](CRS_EVENT_TYPE, void*) { ++s_heard; };
    constexpr char kLine[] = "Signals have been waiting for 5 s";
    RecognitionService service;
    MainLoop healthy;
    healthy.Run([&] { ASSERT_GT(Api::SubscribeEvent(kEvent, hear, nullptr), 0); });
    service.Emit(kMember, "(1, 2)");
    EXPECT_FALSE(WaitForLogLine(kLine, std::chrono::milliseconds(5500)));
    EXPECT_EQ(s_heard, 1);
    ASSERT_GT(Api::SubscribeEvent(kEvent, hear, nullptr), 0);
    for (int signal = 0; signal < 3; ++signal) service.Emit(kMember, "(1, 2)");
    EXPECT_TRUE(WaitForLogLine(kLine, std::chrono::seconds(8)));
    EXPECT_EQ(CountLogLines(kLine), 1U);
    EXPECT_TRUE(RunUntil([] { return s_heard == 7; })) << "none is dropped";
}

/// One round of everything an application does at once, on one of many threads.
void UseEverything(int number) {
    std::string text;
    int status = 0, period = 0;
    EXPECT_TRUE(Api::GetCurrentChannelName(text));
    EXPECT_TRUE(Api::m_GetCurrentScreenStatus(status));
    EXPECT_TRUE(Api::GetBlackScreenPeriodMillis(period));
    const auto event = static_cast<CONTENTS_RECOGNITION_EVENTS>(2 + number % 5);
    const int changed = Api::SubscribeEvent(
        event, [](CRS_EVENT_TYPE, void*) {}, nullptr);
    const int report = Api::SubscribeBlackScreenEvent([](cri_bs_info_s) { Query(); });
    EXPECT_GT(changed, 0);
    EXPECT_GE(report, 0);
    EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(report));
    EXPECT_TRUE(Api::UnsubscribeEvent(static_cast<unsigned>(changed)));
}

TEST(FaultTest, LosesNoReportInACrowdOfSixtyFourThreads) {
    constexpr int kThreads = 64, kRounds = 4, kReports = 200;
    RecognitionService service;
    MainLoop loop;
    Latch all(kReports);
    std::vector<int> inOrder, expected;
    loop.Run([&] {
        ASSERT_EQ(Api::SubscribeBlackScreenEvent([&](cri_bs_info_s info) {
                      inOrder.push_back(static_cast<int>(info.solid_prob));
                      all.CountDown();
                  }),
                  0);
    });
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number)
        threads.emplace_back([number] {
            for (int round = 0; round < kRounds; ++round) UseEverything(number);
        });
    for (int number = 0; number < kReports; ++number) {
        service.Emit("BlackScreenInfo", "(1, " + std::to_string(number) + ".0, 0, 0, 0, 0)");
        service.Emit("CONTENTS_RECOGNITION_EVENT_OTT", "(2, 1)");
        expected.push_back(number);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(all.WaitForOpen(std::chrono::seconds(20)));
    EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(0));
    loop.Run([&] { EXPECT_EQ(inOrder, expected); });
    EXPECT_EQ(service.BlackScreenReferences(), 0);
}

[[noreturn]] void ExitWhileReportsAreDispatched() {
    MainLoop loop;
    std::atomic<int> dispatched{0};
    {
        const RecognitionService service;
        loop.Run([&] {
            for (int number = 0; number < 50; ++number)
                Api::SubscribeBlackScreenEvent([&, kept = std::string(100, 'x')](cri_bs_info_s) {
                    dispatched += static_cast<int>(kept.size());
                });
        });
        Settle();
    }
    const cri_sim::BusConnection bus;
    std::thread emitter([&bus] {
        for (;;)
            bus.Emit(RecognitionService::kPath, RecognitionService::kInterface, "BlackScreenInfo",
                     "(1, 0.5, 0, 0, 0, 0)");
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (dispatched < 10000)
        if (std::chrono::steady_clock::now() > end) abort();
    exit(7);
}

TEST(FaultDeathTest, ExitsWhileAMainLoopDispatchesOnAnotherThread) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (int attempt = 0; attempt < 5; ++attempt)
        EXPECT_EXIT(ExitWhileReportsAreDispatched(), testing::ExitedWithCode(7), "");
}

}  // namespace
