/// Content-area detection with both halves, the UI-detection bridge, and the C interface over them.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "ClientTest.h"
#include "ContentsUIDetectionAPI.h"
#include "ResultDocument.h"
#include "UiDetectionPeer.h"
#include "VisionDataPeer.h"
#include "VisionDataRecognitionAPI.h"
#include "cri.h"

namespace {

using namespace cri_test;
using namespace std::chrono_literals;
using cri_sim::Answer;
using cri_sim::Request;
using testing::ElementsAre;

std::chrono::steady_clock::time_point Soon() {
    return std::chrono::steady_clock::now() + 5s;
}

using Numbers = std::vector<int>;

void KeepArea(SM_SCREEN_STATUS mode, int x, int y, int width, int height, void* numbers) {
    for (const int number : {static_cast<int>(mode), x, y, width, height})
        static_cast<Numbers*>(numbers)->push_back(number);
}

/// One operation: what it asks of each half, and the two lines that tell what came of the second.
struct Operation {
    const char* method;
    std::function<bool()> run;
    const char* arguments;
    Request request;
    const char* logoFunction;
    const char* own;

    std::vector<std::string> ResultLogs(bool succeeded) const {
        const std::string outcome = succeeded ? " result : Succeed\n" : " result : Failed\n";
        return {std::string("ERROR ") + logoFunction + outcome,
                std::string("ERROR ") + own + outcome};
    }
};

/// In an order in which the logo detector takes each of them.
std::vector<Operation> Operations() {
    return {{"SM_CADServiceStart",
             [] { return Api::SM_CADServiceStart(KeepArea, nullptr, 1); },
             "(1,)",
             {"vdrs_method_ld_start", {"0", "-1", "0", "unknown", "5"}, false},
             "m_SM_LIDServiceStart: VisionDataRecognitionAPI start",
             "SM_CADServiceStart: VisionDataRecognitionAPI start"},
            {"SMServiceChange",
             [] { return Api::SMServiceChange(2); },
             "(2,)",
             {"vdrs_method_ld_change", {"3"}, false},
             "m_SM_LIDServiceChange: VisionDataRecognitionAPI ChangeAnalyze",
             "SMServiceChange: VisionDataRecognitionAPI change"},
            {"SM_CADServicePause",
             Api::SM_CADServicePause,
             "()",
             {"vdrs_method_ld_pause", {}, false},
             "m_SM_LIDServicePause: VisionDataRecognitionAPI pause",
             "SM_CADServicePause: VisionDataRecognitionAPI pause"},
            {"SM_CADServiceResume",
             [] { return Api::SM_CADServiceResume(10000); },
             "(10000,)",
             {"vdrs_method_ld_resume", {"0", "-1", "0", "unknown", "5"}, false},
             "m_SM_LIDServiceResume: VisionDataRecognitionAPI resume",
             "SM_CADServiceResume: VisionDataRecognitionAPI resume"},
            {"SM_CADServiceStop",
             Api::SM_CADServiceStop,
             "()",
             {"vdrs_method_ld_stop", {}, false},
             "m_SM_LIDServiceStop: VisionDataRecognitionAPI stop",
             "SM_CADServiceStop: VisionDataRecognitionAPI stop"}};
}

class ContentAreaTest : public testing::Test {
  protected:
    /// The logs that tell how the logo detector's half went.
    static std::vector<std::string> Results(const std::function<bool()>& operation, bool answered) {
        const auto log = LogOf([&] { EXPECT_EQ(operation(), answered); });
        std::vector<std::string> results;
        for (const std::string& line : log)
            if (line.find(" result : ") != std::string::npos) results.push_back(line);
        return results;
    }

    /// Runs the operation, whose logo half does its work.
    void ExpectLogoHalf(const Operation& operation, bool answered) {
        EXPECT_EQ(Results(operation.run, answered), operation.ResultLogs(true));
        ASSERT_TRUE(m_vision.WaitForRequests(++m_requests, Soon()));
        EXPECT_EQ(m_vision.Requests().back(), operation.request);
    }

    /// The logo detector cannot be asked any more.
    static void BreakLogoHalf() { ASSERT_EQ(mkdir("/run/user/5001/vdrs_c2s_msg", 0700), 0); }

    cri_sim::RecognitionService m_service;
    cri_sim::VisionDataPeer m_vision;
    std::size_t m_requests = 0;
};

TEST_F(ContentAreaTest, DrivesBothHalvesOneAfterTheOther) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.method);
        ExpectLogoHalf(operation, true);
        EXPECT_EQ(m_service.Calls().back().method, operation.method);
        EXPECT_EQ(m_service.Calls().back().arguments, operation.arguments);
    }
    EXPECT_EQ(m_service.Calls().size(), Operations().size());
}

TEST_F(ContentAreaTest, RunsTheLogoHalfWhateverBecameOfTheFirst) {
    // What the service says is only logged, so that a reply of another type is an answer too.
    const std::vector<std::pair<Answer, bool>> answers = {
        {Answer::Error("kestrum.olvex.Failed", "busy"), false},
        {Answer::Reply("('odd',)"), true},
        {Answer::Reply("()"), true}};
    for (const auto& [answer, answered] : answers)
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(operation.method);
            m_service.SetAnswer(operation.method, answer);
            ExpectLogoHalf(operation, answered);
            const bool stopped = operation.method == std::string("SM_CADServiceStop");
            EXPECT_EQ(Api::sm_cad_cb == nullptr, stopped) << "attached from the start to the stop";
        }
}

TEST_F(ContentAreaTest, ReportsTheFirstHalfWhenTheLogoHalfFails) {
    BreakLogoHalf();
    for (const bool answered : {true, false})
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(operation.method);
            if (!answered)
                m_service.SetAnswer(operation.method, Answer::Error("kestrum.Broken", "no"));
            EXPECT_EQ(Results(operation.run, answered), operation.ResultLogs(false));
        }
    EXPECT_TRUE(m_vision.Requests().empty());
}

TEST_F(ContentAreaTest, BoundsASilentServiceAndServesTheOthersAfterwards) {
    constexpr char kQuery[] = "GetChannelName";
    ASSERT_TRUE(Api::InitService());
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.method);
        for (const char* method : {operation.method, kQuery})
            m_service.Disturb(method, Answer::Silence());
        std::thread silent([&] {
            // Two seconds for the service; the logo half, which still runs, writes a file.
            EXPECT_LT(Duration([&] { ExpectLogoHalf(operation, false); }), 3s);
        });
        EXPECT_TRUE(m_service.WaitForCalls(operation.method, 1));
        std::thread query([] {
            std::string name;
            EXPECT_TRUE(Api::GetCurrentChannelName(name));
            EXPECT_EQ(name, "Kestrel One");
        });
        // The service answers again while the operation still waits, and the query behind it.
        for (const char* method : {operation.method, kQuery}) m_service.Undisturb(method);
        query.join();
        silent.join();
        EXPECT_EQ(m_service.Calls().back().method, kQuery);
    }
    EXPECT_EQ(m_service.Calls().size(), 2 * Operations().size());
}

TEST(ContentAreaWithoutBusTest, StartsNeitherHalf) {
    const NoBus noBus;
    EXPECT_FALSE(Api::SM_CADServiceStart(KeepArea, nullptr, 1));
    EXPECT_EQ(Api::sm_cad_cb, nullptr);
    EXPECT_FALSE(bLDInit);
    EXPECT_FALSE(Api::CUDSRegist(nullptr));
    EXPECT_FALSE(Api::CUDSDeRegist(nullptr));
}

TEST(ContentAreaWithoutBusTest, RunsTheLogoHalfOfAllButTheStart) {
    const NoBus noBus;
    cri_sim::VisionDataPeer vision;
    ASSERT_TRUE(Api::m_SM_LIDServiceStart(nullptr, 1));
    std::size_t requests = 1;
    ASSERT_TRUE(vision.WaitForRequests(requests, Soon()));
    for (const Operation& operation : Operations()) {
        if (operation.method == std::string("SM_CADServiceStart")) continue;
        EXPECT_FALSE(operation.run());
        ASSERT_TRUE(vision.WaitForRequests(++requests, Soon()));
        EXPECT_EQ(vision.Requests().back(), operation.request);
    }
}

// ---- The UI-detection bridge ----

class BridgeTest : public testing::Test {
  protected:
    static constexpr const char* kMember = "CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP";

    /// Emits a start/stop signal and waits for the request that it causes.
    Request RequestAfter(const std::string& body) {
        const std::size_t before = m_ui.Requests().size();
        m_service.EmitFromStranger(kMember, body);
        EXPECT_TRUE(RunUntil([&] { return m_ui.Requests().size() > before; }));
        return m_ui.Requests().empty() ? Request() : m_ui.Requests().back();
    }

    cri_sim::RecognitionService m_service;
    cri_sim::UiDetectionPeer m_ui;
};

TEST_F(BridgeTest, PassesEveryStartAndStopOnAndDropsOtherBodies) {
    ASSERT_TRUE(Api::CUDSRegist(this));
    ASSERT_TRUE(m_ui.WaitForRequests(1, Soon()));
    Settle();
    for (const char* body : {"(1, 2)", "(1, 2, 3, 4, '5')", "()", "(1, 2, 3, 4, 5, 6)"})
        m_service.EmitFromStranger(kMember, body);
    const Request start{"cuds_method_engine_start", {"2", "0", "1", "0"}, false};
    const Request stop{"cuds_method_engine_stop", {"2", "0", "1", "0"}, false};
    EXPECT_EQ(RequestAfter("(1, 2, 0, 1, 0)"), start);
    for (const char* body : {"(0, 2, 0, 1, 0)", "(2, 2, 0, 1, 0)", "(-1, 2, 0, 1, 0)"})
        EXPECT_EQ(RequestAfter(body), stop);
    EXPECT_EQ(m_ui.Requests().size(), 5U);
    EXPECT_TRUE(Api::CUDSDeRegist(nullptr));
    EXPECT_EQ(CountLogLines("CUDSClientInotifyDisconnect Successful\n"), 1U);
    EXPECT_FALSE(Api::SubscribeCUDSEvent(CONTENTS_RECOGNITION_EVENT_OTT, nullptr));
}

TEST_F(BridgeTest, OnlyLogsASignalWhileItsSlotIsEmpty) {
    GVariant* body = g_variant_ref_sink(g_variant_new("(iiiii)", 1, 2, 3, 4, 5));
    Api::m_OnSignalCUDSCB(nullptr, nullptr, nullptr, nullptr, nullptr, body, nullptr);
    g_variant_unref(body);
    EXPECT_EQ(CountLogLines("Invalid Event Type!\n"), 1U);
    EXPECT_TRUE(m_ui.Requests().empty());
}

TEST_F(BridgeTest, DeregistersWhileASubscriberWaitsForTheLock) {
    const std::string document = cri_sim::UiDetectionDocument({});
    Latch inside, answered;
    std::atomic<int> delivered{0};
    std::atomic<bool> queries{true}, deregistering{false};
    ASSERT_TRUE(Api::CUDSRegist(nullptr));
    ContentsUIDetectionAPI::s_pInstance->SubscribeDetectedCallback([&](const auto&) {
        ++delivered;
        if (!queries) return;
        inside.CountDown();
        while (!deregistering) std::this_thread::yield();
        std::string name;
        EXPECT_TRUE(Api::GetCurrentChannelName(name));
        answered.CountDown();
    });
    ASSERT_TRUE(m_ui.Deliver(document));
    ASSERT_TRUE(inside.WaitForOpen());
    deregistering = true;
    const auto took = Duration([] { EXPECT_TRUE(Api::CUDSDeRegist(nullptr)); });
    EXPECT_LT(took, 5s);
    ASSERT_TRUE(answered.WaitForOpen());
    queries = false;
    ASSERT_TRUE(Api::CUDSRegist(nullptr));
    for (int i = 2; i <= 4; ++i) {
        ASSERT_TRUE(m_ui.Deliver(document));
        EXPECT_TRUE(RunUntil([&] { return delivered >= i; }));
        EXPECT_EQ(delivered, i);
    }
    EXPECT_TRUE(Api::CUDSDeRegist(nullptr));
}

// ---- The C interface ----

void IgnoreReport(cri_bs_info_h info, void*) {
    cri_bs_info_destroy(info);
}
void IgnoreVideoPlay(SM_VPD_STATUS, void*) {}

/// One control function, and what it asks of the service.
struct Forwarder {
    std::function<int()> call;
    const char* method;
    const char* arguments;
};

/// All but the content-area start.
std::vector<Forwarder> Forwarders() {
    return {{[] { return cri_sm_vpd_service_start(IgnoreVideoPlay, nullptr, 4); },
             "SM_VPDServiceStart", "(4,)"},
            {cri_sm_vpd_service_pause, "SM_VPDServicePause", "()"},
            {[] { return cri_sm_vpd_service_resume(5); }, "SM_VPDServiceResume", "(5,)"},
            {cri_sm_vpd_service_stop, "SM_VPDServiceStop", "()"},
            {[] { return cri_sm_cad_service_resume(6); }, "SM_CADServiceResume", "(6,)"},
            {cri_sm_cad_service_pause, "SM_CADServicePause", "()"},
            {cri_sm_cad_service_stop, "SM_CADServiceStop", "()"},
            {[] { return cri_sm_service_change(7); }, "SMServiceChange", "(7,)"},
            {[] { return cri_sm_service_res_change(8); }, "SMServiceResChange", "(8,)"},
            {[] { return cri_sm_service_cs_change(9); }, "SMServiceCSChange", "(9,)"},
            {[] { return cri_sm_service_set_resolution_wh(1920, 1080); },
             "SMServiceSetResolutionWH", "(0, 1920, 1080)"},
            {[] { return cri_sm_service_set_resolution_orientation_wh(1, 2, 3); },
             "SMServiceSetResolutionWH", "(1, 2, 3)"}};
}

using CInterfaceTest = ContentAreaTest;

TEST_F(CInterfaceTest, RefusesNullPointersAndNegativeIds) {
    int id = 7;
    EXPECT_EQ(cri_add_blackscreen_event_cb(nullptr, IgnoreReport, this), -22);
    EXPECT_EQ(cri_add_blackscreen_event_cb(&id, nullptr, this), -22);
    EXPECT_EQ(cri_remove_blackscreen_event_cb(-1), -22);
    EXPECT_EQ(cri_get_blackscreen_period_ms(nullptr), -22);
    EXPECT_EQ(cri_sm_cad_service_start(nullptr, this, 1), -22);
    EXPECT_EQ(cri_sm_vpd_service_start(nullptr, this, 1), -22);
    EXPECT_EQ(cri_bs_info_destroy(nullptr), -22);
    EXPECT_FALSE(cri_bs_info_get_is_solid(nullptr) || cri_bs_info_get_is_real_black(nullptr));
    EXPECT_EQ(cri_bs_info_get_solid_prob(nullptr), 0.0);
    EXPECT_EQ(cri_bs_info_get_major_red(nullptr) + cri_bs_info_get_major_green(nullptr) +
                  cri_bs_info_get_major_blue(nullptr),
              0);
    EXPECT_TRUE(m_service.Calls().empty());
    EXPECT_EQ(id, 7);
}

TEST_F(CInterfaceTest, ForwardsEachControlAndMapsItsResult) {
    for (const Forwarder& forwarder : Forwarders()) {
        EXPECT_EQ(forwarder.call(), CRI_ERROR_NONE) << forwarder.method;
        EXPECT_EQ(m_service.Calls().back().method, forwarder.method);
        EXPECT_EQ(m_service.Calls().back().arguments, forwarder.arguments);
        m_service.AnswerOnce(forwarder.method, Answer::Error("kestrum.olvex.Failed", "busy"));
        EXPECT_EQ(forwarder.call(), -1073741824) << forwarder.method;
    }
}

TEST_F(CInterfaceTest, GivesEachCallbackAReportOfItsOwnToKeep) {
    struct Subscriber {
        int id = -1;
        cri_bs_info_h kept = nullptr;
    };
    const auto keep = [](cri_bs_info_h info, void* data) {
        auto* const subscriber = static_cast<Subscriber*>(data);
        subscriber->kept = info;
        EXPECT_EQ(cri_remove_blackscreen_event_cb(subscriber->id), CRI_ERROR_NONE);
    };
    Subscriber one, other;
    ASSERT_EQ(cri_add_blackscreen_event_cb(&one.id, keep, &one), CRI_ERROR_NONE);
    ASSERT_EQ(cri_add_blackscreen_event_cb(&other.id, keep, &other), CRI_ERROR_NONE);
    EXPECT_NE(one.id, other.id);
    Settle();
    m_service.Emit("BlackScreenInfo", "(1, 0.5, 300, -1, 0, -7)");
    ASSERT_TRUE(RunUntil([&] { return other.kept != nullptr; }));
    EXPECT_NE(one.kept, other.kept);
    EXPECT_EQ(m_service.BlackScreenReferences(), 0);
    EXPECT_EQ(cri_remove_blackscreen_event_cb(one.id), CRI_ERROR_OPERATION_FAILED);
    std::thread([&] {
        EXPECT_TRUE(cri_bs_info_get_is_solid(one.kept));
        EXPECT_EQ(cri_bs_info_get_solid_prob(one.kept), 0.5);
        EXPECT_EQ(cri_bs_info_get_major_red(one.kept), 44);
        EXPECT_EQ(cri_bs_info_get_major_green(one.kept), 255);
        EXPECT_EQ(cri_bs_info_get_major_blue(one.kept), 0);
        EXPECT_TRUE(cri_bs_info_get_is_real_black(one.kept));
        EXPECT_EQ(cri_bs_info_destroy(one.kept), CRI_ERROR_NONE);
        EXPECT_EQ(cri_bs_info_destroy(other.kept), CRI_ERROR_NONE);
    }).join();
}

TEST_F(CInterfaceTest, CarriesAContentAreaStartToBothKindsOfCallbacks) {
    Numbers area;
    Latch logos;
    VisionDataRecognitionAPI::GetInstance()->SubscribeLogoIconInfo([&](const MOBILE_USAGE& usage) {
        EXPECT_EQ(usage.TitleName, "The Long Harbour");
        logos.CountDown();
    });
    ASSERT_EQ(cri_sm_cad_service_start(KeepArea, &area, 1), CRI_ERROR_NONE);
    ASSERT_TRUE(m_vision.WaitForRequests(1, Soon()));
    EXPECT_EQ(m_vision.Requests().back(),
              (Request{"vdrs_method_ld_start", {"0", "-1", "0", "unknown", "5"}, false}));
    std::string marker = "/run/user/5001/org.olvex.contents-recognition-api.busy";
    EXPECT_EQ(FileExist(marker.data()), 1);
    Settle();
    m_service.Emit("CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS", "(1, 2, 3, 4, 5)");
    EXPECT_TRUE(RunUntil([&] { return area.size() == 5; }));
    EXPECT_THAT(area, ElementsAre(1, 2, 3, 4, 5));
    cri_sim::VisionData result;
    result.titleName = "The Long Harbour";
    ASSERT_TRUE(m_vision.Deliver(cri_sim::AnalyzeResultDocument(result)));
    EXPECT_TRUE(logos.WaitForOpen());
    EXPECT_EQ(cri_sm_cad_service_stop(), CRI_ERROR_NONE);
    EXPECT_EQ(FileExist(marker.data()), 0);
}

/// Calls every function that asks the service, and leaves both detectors started.
void CallEverything(void* latch);

void CallFromArea(SM_SCREEN_STATUS, int, int, int, int, void* latch) {
    CallEverything(latch);
}
void CallFromVideoPlay(SM_VPD_STATUS, void* latch) {
    CallEverything(latch);
}
void CallFromReport(cri_bs_info_h info, void* latch) {
    EXPECT_EQ(cri_bs_info_destroy(info), CRI_ERROR_NONE);
    CallEverything(latch);
}

void CallEverything(void* latch) {
    int id = -1, period = 0;
    for (const Forwarder& forwarder : Forwarders())
        EXPECT_EQ(forwarder.call(), CRI_ERROR_NONE) << forwarder.method;
    EXPECT_EQ(cri_sm_cad_service_start(CallFromArea, latch, 1), CRI_ERROR_NONE);
    EXPECT_EQ(cri_sm_vpd_service_start(CallFromVideoPlay, latch, 1), CRI_ERROR_NONE);
    EXPECT_EQ(cri_add_blackscreen_event_cb(&id, IgnoreReport, nullptr), CRI_ERROR_NONE);
    EXPECT_EQ(cri_get_blackscreen_period_ms(&period), CRI_ERROR_NONE);
    EXPECT_EQ(cri_remove_blackscreen_event_cb(id), CRI_ERROR_NONE);
    static_cast<Latch*>(latch)->CountDown();
}

TEST_F(CInterfaceTest, LetsEveryCallbackCallEveryFunction) {
    constexpr std::pair<const char*, const char*> kSignals[] = {
        {"CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS", "(1, 2, 3, 4, 5)"},
        {"CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS", "(1,)"},
        {"BlackScreenInfo", "(1, 0.5, 0, 0, 0, 1)"}};
    Latch latches[std::size(kSignals)];
    MainLoop loop;
    Latch* latch = latches;
    for (const auto& [member, body] : kSignals) {
        SCOPED_TRACE(member);
        int id = -1;
        loop.Run([&] {
            EXPECT_EQ(cri_sm_cad_service_start(CallFromArea, latch, 1), CRI_ERROR_NONE);
            EXPECT_EQ(cri_sm_vpd_service_start(CallFromVideoPlay, latch, 1), CRI_ERROR_NONE);
            EXPECT_EQ(cri_add_blackscreen_event_cb(&id, CallFromReport, latch), CRI_ERROR_NONE);
        });
        Settle();
        m_service.Emit(member, body);
        ASSERT_TRUE(latch++->WaitForOpen());
        EXPECT_EQ(cri_remove_blackscreen_event_cb(id), CRI_ERROR_NONE);
    }
}

}  // namespace
