/// Control of the capture engine and its detectors: requests, callbacks, starts and stops that
/// cross.
#include <algorithm>
#include <stdexcept>
#include <thread>

#include "ClientTest.h"
#include "VisionDataPeer.h"
#include "VisionDataRecognitionAPI.h"
#include "cri.h"

namespace {

using namespace cri_test;
using cri_sim::Answer;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::StartsWith;

constexpr int kContentArea = CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS;
constexpr int kVideoPlay = CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS;

using Numbers = std::vector<int>;

void KeepStatus(SM_VPD_STATUS status, void* numbers) {
    static_cast<Numbers*>(numbers)->push_back(status);
}

void KeepArea(SM_SCREEN_STATUS mode, int x, int y, int width, int height, void* numbers) {
    for (const int number : {static_cast<int>(mode), x, y, width, height})
        static_cast<Numbers*>(numbers)->push_back(number);
}

/// One of the two detectors, so that the same is asked of both.
struct Detector {
    const char* name;
    int event;
    std::function<bool(void* userData, int captureType)> start;
    std::function<bool()> stop;
    std::function<bool()> hasCallback;
    const char* startMethod;
    const char* stopMethod;
    const char* body;
    Numbers delivered;
};

const std::vector<Detector>& Detectors() {
    static const std::vector<Detector> s_detectors = {
        {"SMServiceStart",
         kContentArea,
         [](void* data, int type) { return Api::SMServiceStart(KeepArea, data, type); },
         Api::SMServiceStop,
         [] { return Api::sm_cad_cb != nullptr; },
         "SM_CADServiceStart",
         "SM_CADServiceStop",
         "(-2, 1, 2, 1920, 1080)",
         {-2, 1, 2, 1920, 1080}},
        {"SM_VPDServiceStart",
         kVideoPlay,
         [](void* data, int type) { return Api::SM_VPDServiceStart(KeepStatus, data, type); },
         Api::SM_VPDServiceStop,
         [] { return Api::sm_vpd_cb != nullptr; },
         "SM_VPDServiceStart",
         "SM_VPDServiceStop",
         "(-7,)",
         {-7}},
    };
    return s_detectors;
}

/// What an operation asks of the service and logs.
struct Operation {
    std::function<bool()> run;
    const char* method;
    const char* arguments;
    std::string announcement;     ///< of the operation itself, before anything else
    std::string requestFunction;  ///< the name under which the request logs
    std::string before;           ///< what the request logs before the call
    std::string result;           ///< and before the service's code; empty: not read
    std::string error;            ///< and before an error's message
};

std::vector<Operation> Operations() {
    const auto start = [](const char* method) { return std::string("SM ") + method; };
    const std::string change = "SM g_dbus_proxy_call_sync result: ";
    const std::string changeError = "SM capture g_dbus_proxy error: ";
    const std::string sends = "DEBUG m_SMServiceStop: g_dbus_proxy_call_sync send ()";
    std::vector<Operation> operations = {
        {Api::SM_VPDServicePause, "SM_VPDServicePause", "()",
         "ERROR SM_VPDServicePause: SM_VPDServicePause called", "m_SMServiceStop", sends, "",
         "Error: "},
        {[] { return Api::SM_VPDServiceResume(-4); }, "SM_VPDServiceResume", "(-4,)",
         "ERROR SM_VPDServiceResume: SM_VPDServiceResume(-4) called", "m_SMServiceStart",
         "DEBUG m_SMServiceStart: SM SM_VPDServiceResume capture type initialized(-4)",
         start("SM_VPDServiceResume g_dbus_proxy_call_sync result: "),
         start("SM_VPDServiceResume capture g_dbus_proxy error: ")},
        {[] { return Api::SMServiceCSChange(3); }, "SMServiceCSChange", "(3,)",
         "ERROR SMServiceCSChange: SMServiceCSChange(3) called", "m_SMServiceCSChange",
         "ERROR m_SMServiceCSChange: SM capture speed changed: 3", change, changeError},
        {[] { return Api::SMServiceResChange(2); }, "SMServiceResChange", "(2,)",
         "ERROR SMServiceResChange: SMServiceResChange(2) called", "m_SMServiceResChange", "",
         change, changeError},
        {[] { return Api::SMServiceSetResolutionWH(0, 1920, 1080); }, "SMServiceSetResolutionWH",
         "(0, 1920, 1080)",
         "ERROR SMServiceSetResolutionWH: SMServiceSetResolution called 0, (1920 x 1080)",
         "m_SMServiceSetResolutionWH",
         "ERROR m_SMServiceSetResolutionWH: SM is sending Resolution: 0, 1920 x 1080", change,
         changeError},
        {[] { return Api::m_SMServiceChange(6); }, "SMServiceChange", "(6,)", "",
         "m_SMServiceChange", "ERROR m_SMServiceChange: SM capture type changed: 6", change,
         changeError},
    };
    return operations;
}

class ScreenMonitorTest : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* method :
             {"SM_CADServiceStart", "SM_CADServiceStop", "SM_VPDServiceStart", "SM_VPDServiceStop",
              "SM_VPDServicePause", "SM_VPDServiceResume", "SMServiceChange", "SMServiceCSChange",
              "SMServiceResChange", "SMServiceSetResolutionWH"})
            m_service.SetAnswer(method, Answer::Reply("(0,)"));
    }

    void Emit(int event, const std::string& body) {
        Settle();
        m_service.EmitFromStranger(CONTENTS_RECOGNITION_EVENTS_STR[event], body);
    }

    /// Dispatches until all that was emitted before has come.
    void DispatchAll() {
        static int s_marks;
        constexpr auto kMark = CONTENTS_RECOGNITION_EVENT_OTT;
        if (!m_marking)
            m_marking = Api::SubscribeEvent(
                            kMark, [](CRS_EVENT_TYPE, void*) { ++s_marks; }, nullptr) > 0;
        Emit(kMark, "(2, 0)");
        ASSERT_TRUE(RunUntil([before = s_marks] { return s_marks > before; }));
    }

    cri_sim::RecognitionService m_service;
    bool m_marking = false;
};

TEST_F(ScreenMonitorTest, SendsTheRequestAndLogsWhatCameOfIt) {
    for (const Operation& operation : Operations()) {
        const NoBus noBus;
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(operation.run()); }),
                    Contains("ERROR " + operation.requestFunction + ": No connection!"));
    }
    ASSERT_TRUE(Api::InitService());
    for (const Operation& operation : Operations()) {
        for (const auto& [reply, code] :
             {std::pair("(0,)", "0"), {"(-1,)", "-1"}, {"(5,)", "5"}, {"('odd',)", "0"}}) {
            m_service.SetAnswer(operation.method, Answer::Reply(reply));
            std::vector<std::string> lines;
            for (const std::string& line : {operation.announcement, operation.before})
                if (!line.empty()) lines.push_back(line);
            if (!operation.result.empty())
                lines.push_back("DEBUG " + operation.requestFunction + ": " + operation.result +
                                code);
            EXPECT_THAT(LogOf([&] { EXPECT_TRUE(operation.run()); }), ElementsAreArray(lines));
            EXPECT_EQ(m_service.Calls().back().method, operation.method);
            EXPECT_EQ(m_service.Calls().back().arguments, operation.arguments);
        }
        m_service.SetAnswer(operation.method, Answer::Error("kestrum.Broken", "no"));
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(operation.run()); }),
                    Contains("ERROR " + operation.requestFunction + ": " + operation.error +
                             "GDBus.Error:kestrum.Broken: no"));
    }
}

TEST_F(ScreenMonitorTest, DeliversFromTheStartToTheStop) {
    for (const Detector& detector : Detectors()) {
        SCOPED_TRACE(detector.name);
        Numbers numbers;
        const std::string start = detector.name;
        const auto log = LogOf([&] { EXPECT_TRUE(detector.start(&numbers, 4)); });
        EXPECT_THAT(log, testing::IsSupersetOf(
                             {"DEBUG SubscribeSMEvent: subscriberID=" +
                                  std::to_string(Api::m_subscriberID[detector.event]) +
                                  " eventName=" + CONTENTS_RECOGNITION_EVENTS_STR[detector.event],
                              "ERROR " + start + ": " + start + "(4) called",
                              "DEBUG m_SMServiceStart: SM " + std::string(detector.startMethod) +
                                  " capture type initialized(4)",
                              "DEBUG m_SMServiceStart: SM " + std::string(detector.startMethod) +
                                  " g_dbus_proxy_call_sync result: 0"}));
        EXPECT_EQ(m_service.Calls().back().arguments, "(4,)");
        Emit(detector.event, detector.body);
        DispatchAll();
        EXPECT_EQ(numbers, detector.delivered);
        const std::string stop = start.substr(0, start.size() - 5) + "Stop";
        const unsigned id = Api::m_subscriberID[detector.event];
        EXPECT_THAT(LogOf([&] { EXPECT_TRUE(detector.stop()); }),
                    ElementsAre("ERROR " + stop + ": " + stop + " called",
                                "DEBUG m_SMServiceStop: g_dbus_proxy_call_sync send ()",
                                "DEBUG UnsubscribeEvent: g_dbus_connection_signal_unsubscribe "
                                "subscriberID=" +
                                    std::to_string(id)));
        EXPECT_FALSE(detector.hasCallback());
        Emit(detector.event, detector.body);
        DispatchAll();
        EXPECT_EQ(numbers, detector.delivered);
    }
}

TEST_F(ScreenMonitorTest, AttachesAndDetachesEvenWhenTheServiceRefuses) {
    for (const Detector& detector : Detectors()) {
        SCOPED_TRACE(detector.name);
        for (const char* method : {detector.startMethod, detector.stopMethod})
            m_service.SetAnswer(method, Answer::Error("kestrum.Broken", "no"));
        Numbers numbers;
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(detector.start(&numbers, 4)); }),
                    Contains(std::string("ERROR m_SMServiceStart: SM ") + detector.startMethod +
                             " capture g_dbus_proxy error: GDBus.Error:kestrum.Broken: no"));
        Emit(detector.event, detector.body);
        DispatchAll();
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(detector.stop()); }),
                    Contains("ERROR m_SMServiceStop: Error: GDBus.Error:kestrum.Broken: no"));
        EXPECT_FALSE(detector.hasCallback());
        Emit(detector.event, detector.body);
        DispatchAll();
        EXPECT_EQ(numbers, detector.delivered) << "what came between start and stop, and no more";
    }
}

TEST_F(ScreenMonitorTest, StoresNothingWithoutABus) {
    const NoBus noBus;
    for (const Detector& detector : Detectors()) {
        EXPECT_FALSE(detector.start(this, 4));
        EXPECT_FALSE(detector.hasCallback());
        EXPECT_EQ(Api::m_pUserData[detector.event], nullptr);
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(detector.stop()); }),
                    testing::IsSupersetOf({"ERROR m_SMServiceStop: No connection!",
                                           "ERROR UnsubscribeEvent: No connection!"}));
    }
    EXPECT_THAT(m_service.Calls(), IsEmpty());
}

TEST_F(ScreenMonitorTest, EndsTwoStartsWithOneStop) {
    for (const Detector& detector : Detectors()) {
        SCOPED_TRACE(detector.name);
        EXPECT_TRUE(detector.stop()) << "never started, but the service answers";
        Numbers first, second;
        EXPECT_TRUE(detector.start(&first, 1));
        EXPECT_TRUE(detector.start(&second, 2));
        Emit(detector.event, detector.body);
        DispatchAll();
        EXPECT_THAT(first, IsEmpty());
        EXPECT_EQ(second, detector.delivered) << "once, not twice";
        EXPECT_TRUE(detector.stop());
        Emit(detector.event, detector.body);
        DispatchAll();
        EXPECT_EQ(second, detector.delivered);
    }
}

TEST_F(ScreenMonitorTest, LeavesTheNewStartAttachedThatAStopCrosses) {
    constexpr int kRounds = 40;
    for (const Detector& detector : Detectors())
        for (int round = 0; round < kRounds; ++round) {
            Numbers stopped, started;
            ASSERT_TRUE(detector.start(&stopped, 1));
            const auto calls = m_service.Calls();
            const auto stops = static_cast<std::size_t>(std::count_if(
                calls.begin(), calls.end(),
                [&](const cri_sim::Call& call) { return call.method == detector.stopMethod; }));
            m_service.SetAnswer(detector.stopMethod,
                                Answer::Reply("(0,)").After(std::chrono::milliseconds(2)));
            std::thread stopper([&] { EXPECT_TRUE(detector.stop()); });
            ASSERT_TRUE(m_service.WaitForCalls(detector.stopMethod, stops + 1));
            EXPECT_TRUE(detector.start(&started, 2));
            stopper.join();
            Emit(detector.event, detector.body);
            DispatchAll();
            EXPECT_THAT(stopped, IsEmpty());
            ASSERT_EQ(started, detector.delivered) << detector.name << ", round " << round;
            ASSERT_TRUE(detector.stop());
        }
}

TEST_F(ScreenMonitorTest, LetsACallbackStopItsOwnDetector) {
    Numbers numbers;
    const auto status = [](SM_VPD_STATUS value, void* kept) {
        KeepStatus(value, kept);
        EXPECT_TRUE(Api::SM_VPDServiceStop());
        throw std::runtime_error("from the application");
    };
    const auto area = [](SM_SCREEN_STATUS mode, int, int, int, int, void* kept) {
        KeepStatus(static_cast<SM_VPD_STATUS>(mode), kept);
        EXPECT_TRUE(Api::SMServiceStop());
        throw std::runtime_error("from the application");
    };
    ASSERT_TRUE(Api::SM_VPDServiceStart(status, &numbers, 1));
    ASSERT_TRUE(Api::SMServiceStart(area, &numbers, 1));
    for (int times = 0; times < 2; ++times) {
        Emit(kVideoPlay, "(8,)");
        Emit(kContentArea, "(9, 0, 0, 0, 0)");
    }
    DispatchAll();
    EXPECT_THAT(numbers, ElementsAre(8, 9));
}

TEST_F(ScreenMonitorTest, DropsALateSignalAnEmptyCallbackAndBodiesOfAnotherType) {
    const auto deliver = [](const char* text, auto handler) {
        const auto body = cri_sim::ParseBody(text);
        return LogOf(
            [&] { handler(nullptr, nullptr, nullptr, nullptr, nullptr, body.get(), nullptr); });
    };
    const std::string areaLine =
        "ERROR m_OnSignalSMCB: ========> mode=1, x=2, y=3, width=4, height=5 <========";
    EXPECT_THAT(deliver("(1, 2, 3, 4, 5)", Api::m_OnSignalSMCB),
                ElementsAre(areaLine, "ERROR m_OnSignalSMCB: Invalid Event Type!"));
    EXPECT_THAT(deliver("(1,)", Api::m_SMVideoPlayDetectorEventReceiver),
                ElementsAre("ERROR m_SMVideoPlayDetectorEventReceiver: Invalid Event Type!"));

    Numbers numbers;
    for (const Detector& detector : Detectors()) {
        ASSERT_TRUE(detector.start(&numbers, 1));
        for (const char* body : {"()", "('1',)", "(uint32 1,)", "(1, 2)", "(1, 2, 3, 4, 5, 6)",
                                 "(1, 2, 3, 4, '5')", "(1.0,)", "(<1>,)", "([1, 2, 3, 4, 5],)"})
            Emit(detector.event, body);
        DispatchAll();
        ASSERT_TRUE(detector.stop());
    }
    EXPECT_THAT(deliver("(1, 2, 3, 4, 5)", Api::m_OnSignalSMCB), ElementsAre(areaLine));
    EXPECT_THAT(deliver("(1,)", Api::m_SMVideoPlayDetectorEventReceiver),
                ElementsAre("ERROR m_SMVideoPlayDetectorEventReceiver: ====> VPD result send (1) "
                            "<===="));
    EXPECT_THAT(numbers, IsEmpty());

    ASSERT_TRUE(Api::SM_VPDServiceStart(nullptr, nullptr, 1));
    ASSERT_TRUE(Api::SMServiceStart(nullptr, nullptr, 1));
    Emit(kVideoPlay, "(8,)");
    Emit(kContentArea, "(9, 0, 0, 0, 0)");
    DispatchAll();
}

TEST_F(ScreenMonitorTest, BoundsASilentServiceAndServesTheOthersAfterwards) {
    ASSERT_TRUE(Api::InitService());
    m_service.SetAnswer("SM_VPDServiceStart", Answer::Silence());
    std::thread silent([] {
        EXPECT_LE(
            ShortestDuration([] { EXPECT_FALSE(Api::SM_VPDServiceStart(KeepStatus, nullptr, 1)); }),
            kLongestCall);
    });
    ASSERT_TRUE(m_service.WaitForCalls("SM_VPDServiceStart", 1));
    std::vector<std::thread> others;
    for (int number = 0; number < 4; ++number)
        others.emplace_back([number] { EXPECT_TRUE(Api::SMServiceCSChange(number)); });
    for (std::thread& other : others) other.join();
    silent.join();
}

/// What the library's connection has the bus hold for it.
unsigned MatchRules() {
    const cri_sim::Owned<GVariant> reply(g_dbus_connection_call_sync(
        Api::m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus.Debug.Stats", "GetConnectionStats",
        g_variant_new("(s)", g_dbus_connection_get_unique_name(Api::m_connection)),
        G_VARIANT_TYPE("(a{sv})"), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
    if (!reply) throw std::runtime_error("this bus daemon keeps no statistics");
    const cri_sim::Owned<GVariant> stats(g_variant_get_child_value(reply.get(), 0));
    guint32 rules = 0;
    if (!g_variant_lookup(stats.get(), "MatchRules", "u", &rules))
        throw std::runtime_error("the bus does not count match rules");
    return rules;
}

/// Starts and stops each detector on its own, and the content area with both halves.
void StartAndStopDetectors() {
    for (const Detector& detector : Detectors()) ASSERT_TRUE(detector.start(nullptr, 1));
    for (const Detector& detector : Detectors()) ASSERT_TRUE(detector.stop());
    ASSERT_EQ(cri_sm_vpd_service_start(KeepStatus, nullptr, 1), CRI_ERROR_NONE);
    ASSERT_EQ(cri_sm_vpd_service_stop(), CRI_ERROR_NONE);
    ASSERT_TRUE(Api::SM_CADServiceStart(KeepArea, nullptr, 1));
    ASSERT_TRUE(bLDStart);
    ASSERT_TRUE(Api::SM_CADServiceStop());
    ASSERT_FALSE(bLDStart);
}

void SubscribeAndUnsubscribe() {
    const int event =
        Api::SubscribeEvent(CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL, nullptr, nullptr);
    ASSERT_GT(event, 0);
    ASSERT_TRUE(Api::UnsubscribeEvent(static_cast<unsigned>(event)));
    const int report = Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {});
    ASSERT_GE(report, 0);
    ASSERT_TRUE(Api::UnsubscribeBlackScreenEvent(report));
    int id = -1;
    const auto ignore = [](cri_bs_info_h info, void*) { cri_bs_info_destroy(info); };
    ASSERT_EQ(cri_add_blackscreen_event_cb(&id, ignore, nullptr), CRI_ERROR_NONE);
    ASSERT_EQ(cri_remove_blackscreen_event_cb(id), CRI_ERROR_NONE);
}

TEST_F(ScreenMonitorTest, LeavesNothingBehindAfterManyRounds) {
    const int rounds = Rounds(1000, 100);
    const cri_sim::VisionDataPeer vision;
    // What stays for the process's life comes first: the connection, the logo channel's thread, and
    // the reports' signal, which the first subscriber subscribes. No detector has been started yet:
    // all that one leaves on the bus would share one match rule, and so leave the same each time.
    ASSERT_TRUE(Api::InitService());
    ASSERT_TRUE(VisionDataRecognitionAPI::GetInstance()->Initialize());
    ASSERT_TRUE(
        Api::UnsubscribeBlackScreenEvent(Api::SubscribeBlackScreenEvent([](cri_bs_info_s) {})));
    Settle();
    const int references = m_service.BlackScreenReferences();
    const unsigned rules = MatchRules();
    const std::size_t descriptors = OpenDescriptors(), threads = RunningThreads();
    for (int round = 0; round < rounds && !HasFatalFailure(); ++round) {
        StartAndStopDetectors();
        SubscribeAndUnsubscribe();
    }
    Settle();
    EXPECT_EQ(m_service.BlackScreenReferences(), references);
    EXPECT_EQ(MatchRules(), rules);
    // The bus library's pool takes and gives back one or the other.
    const auto pool = static_cast<std::size_t>(rounds) / 20;
    EXPECT_LT(OpenDescriptors(), descriptors + pool);
    EXPECT_LT(RunningThreads(), threads + pool);
}

}  // namespace
