/// Control of the capture engine and its two detectors, and the detectors' reports.
#include "recognition/Client.h"

using namespace cri;

namespace {

/// Attaches a detector's signal. `storeCallback` is called while its slot changes, so that no
/// report meets one attachment's callback with another's data.
template <class StoreCallback>
bool AttachDetector(CONTENTS_RECOGNITION_EVENTS event, void* userData,
                    StoreCallback storeCallback) {
    constexpr char function[] = "SubscribeSMEvent";
    if (!CanSubscribe(function)) return false;
    const bool contentArea = event == CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS;
    if (!contentArea && event != CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS) {
        CRI_LOG(DLOG_ERROR, function, "Invalid Event Type!\n");
        return false;
    }
    cri::EndServiceSignal(Load(Api::m_connection), Load(Api::m_subscriberID[event]));
    const guint id = FillSlot(
        event, contentArea ? Api::m_OnSignalSMCB : Api::m_SMVideoPlayDetectorEventReceiver);
    {
        const SlotLock slot(g_slotMutex);
        Store(Api::m_pUserData[event], userData);
        storeCallback();
    }
    CRI_LOG(DLOG_DEBUG, function, "subscriberID=%d eventName=%s\n", static_cast<int>(id),
            CONTENTS_RECOGNITION_EVENTS_STR[event]);
    return true;
}

}  // namespace

bool CContentsRecognitionAPI::SubscribeSMEvent(CONTENTS_RECOGNITION_EVENTS event, void* userData) {
    return Walled(false, [=] { return AttachDetector(event, userData, [] {}); });
}

void CContentsRecognitionAPI::m_OnSignalSMCB(GDBusConnection*, const char*, const char*,
                                             const char*, const char*, GVariant* parameters,
                                             void*) {
    const CancellationHeldOff heldOff;
    constexpr int event = CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS;
    int mode = 0, x = 0, y = 0, width = 0, height = 0;
    if (!Unpack(parameters, "(iiiii)", &mode, &x, &y, &width, &height)) return;
    CRI_LOG(DLOG_ERROR, "m_OnSignalSMCB",
            "========> mode=%d, x=%d, y=%d, width=%d, height=%d <========\n", mode, x, y, width,
            height);
    if (Load(m_subscriberID[event]) == 0) {
        CRI_LOG(DLOG_ERROR, "m_OnSignalSMCB", "Invalid Event Type!\n");
        return;
    }
    const auto [callback, userData] = ReadSlot(sm_cad_cb, event);
    CallIfGiven(callback, static_cast<SM_SCREEN_STATUS>(mode), x, y, width, height, userData);
}

void CContentsRecognitionAPI::m_SMVideoPlayDetectorEventReceiver(GDBusConnection*, const char*,
                                                                 const char*, const char*,
                                                                 const char*, GVariant* parameters,
                                                                 void*) {
    const CancellationHeldOff heldOff;
    constexpr int event = CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS;
    int status = 0;
    if (!Unpack(parameters, "(i)", &status)) return;
    if (Load(m_subscriberID[event]) == 0) {
        CRI_LOG(DLOG_ERROR, "m_SMVideoPlayDetectorEventReceiver", "Invalid Event Type!\n");
        return;
    }
    CRI_LOG(DLOG_ERROR, "m_SMVideoPlayDetectorEventReceiver", "====> VPD result send (%d) <====\n",
            status);
    const auto [callback, userData] = ReadSlot(sm_vpd_cb, event);
    CallIfGiven(callback, static_cast<SM_VPD_STATUS>(status), userData);
}

// ---- Control ----

namespace {

/// A request that changes a setting of the capture engine: who logs, what is called and, unless
/// null, what is logged before the call.
struct Change {
    const char* function;
    const char* method;
    const char* announcement;
};

constexpr Change kChangeType = {"m_SMServiceChange", "SMServiceChange",
                                CRI_FORMAT("SM capture type changed: %d\n")};
constexpr Change kChangeSpeed = {"m_SMServiceCSChange", "SMServiceCSChange",
                                 CRI_FORMAT("SM capture speed changed: %d\n")};
constexpr Change kChangeResolution = {"m_SMServiceResChange", "SMServiceResChange", nullptr};
constexpr Change kSetResolution = {"m_SMServiceSetResolutionWH", "SMServiceSetResolutionWH",
                                   CRI_FORMAT("SM is sending Resolution: %d, %d x %d\n")};

template <class... Ints>
bool SendChange(const Change& change, const char* type, Ints... values) {
    return Walled(false, [&] {
        if (!Connected(change.function)) return false;
        if (change.announcement)
            CRI_LOG_FORMAT(DLOG_ERROR, change.function, change.announcement, values...);
        const ServiceCall call =
            CallService(change.method, nullptr, cri::Arguments(type, values...));
        if (!call) {
            CRI_LOG(DLOG_ERROR, change.function, "SM capture g_dbus_proxy error: %s\n",
                    call.Error());
            return false;
        }
        CRI_LOG(DLOG_DEBUG, change.function, "SM g_dbus_proxy_call_sync result: %d\n", call.Code());
        return true;
    });
}

constexpr DetectorStart kContentAreaStart = {
    "SMServiceStart", CRI_FORMAT("SMServiceStart(%d) called\n"),
    CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS, "SM_CADServiceStart"};
constexpr DetectorStart kVideoPlayStart = {
    "SM_VPDServiceStart", CRI_FORMAT("SM_VPDServiceStart(%d) called\n"),
    CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS, "SM_VPDServiceStart"};

template <class Callback>
Started StartDetector(const DetectorStart& start, Callback& slot, Callback callback, void* userData,
                      int captureType) {
    return Walled(Started::kNotAttached, [&] {
        ApiLock lock;
        if (!AttachDetector(start.event, userData, [&] { Store(slot, callback); }))
            return Started::kNotAttached;
        CRI_LOG_FORMAT(DLOG_ERROR, start.function, start.called, captureType);
        return Api::m_SMServiceStart(start.method, captureType) ? Started::kAnswered
                                                                : Started::kNotAnswered;
    });
}

/// Sends the stop and ends the attachment that it finds. Between the stop request and the end of
/// the attachment another thread may start the detector anew: the slot has another id then, and its
/// callback stays.
template <class Callback>
bool StopDetector(CONTENTS_RECOGNITION_EVENTS event, Callback& slot, bool (*request)()) {
    const CancellationHeldOff heldOff;
    guint found = 0;
    const bool answered = Locked([&] {
        found = Load(Api::m_subscriberID[event]);
        return request();
    });
    ApiLock lock;
    RequestUnsubscription("UnsubscribeEvent", found);
    const SlotLock slotLock(g_slotMutex);
    if (Load(Api::m_subscriberID[event]) == found) Store(slot, static_cast<Callback>(nullptr));
    return answered;
}

}  // namespace

Started cri::StartContentArea(const DetectorStart& start, Api::ContentAreaCallback callback,
                              void* userData, int captureType) {
    return StartDetector(start, Api::sm_cad_cb, callback, userData, captureType);
}

bool cri::StopContentArea(bool (*request)()) {
    return StopDetector(CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS, Api::sm_cad_cb, request);
}

bool CContentsRecognitionAPI::m_SMServiceStart(const char* methodName, int value) {
    constexpr char function[] = "m_SMServiceStart";
    return Walled(false, [&] {
        if (!Connected(function)) return false;
        CRI_LOG(DLOG_DEBUG, function, "SM %s capture type initialized(%d)\n", methodName, value);
        const ServiceCall call = CallService(methodName, nullptr, cri::Arguments("(i)", value));
        if (!call) {
            CRI_LOG(DLOG_ERROR, function, "SM %s capture g_dbus_proxy error: %s\n", methodName,
                    call.Error());
            return false;
        }
        CRI_LOG(DLOG_DEBUG, function, "SM %s g_dbus_proxy_call_sync result: %d\n", methodName,
                call.Code());
        return true;
    });
}

bool CContentsRecognitionAPI::m_SMServiceStop(const char* methodName) {
    constexpr char function[] = "m_SMServiceStop";
    return Walled(false, [&] {
        if (!Connected(function)) return false;
        CRI_LOG(DLOG_DEBUG, function, "g_dbus_proxy_call_sync send ()\n");
        const ServiceCall call = CallService(methodName, nullptr);
        if (!call) LogCallError(function, call);
        return static_cast<bool>(call);
    });
}

bool CContentsRecognitionAPI::m_SMServiceChange(int captureType) {
    return SendChange(kChangeType, "(i)", captureType);
}

bool CContentsRecognitionAPI::m_SMServiceCSChange(int captureSpeed) {
    return SendChange(kChangeSpeed, "(i)", captureSpeed);
}

bool CContentsRecognitionAPI::m_SMServiceResChange(int resolution) {
    return SendChange(kChangeResolution, "(i)", resolution);
}

bool CContentsRecognitionAPI::m_SMServiceSetResolutionWH(int orientation, int width, int height) {
    return SendChange(kSetResolution, "(iii)", orientation, width, height);
}

bool CContentsRecognitionAPI::SMServiceStart(ContentAreaCallback callback, void* userData,
                                             int captureType) {
    return StartContentArea(kContentAreaStart, callback, userData, captureType) ==
           Started::kAnswered;
}

bool CContentsRecognitionAPI::SMServiceStop() {
    return StopContentArea([] {
        CRI_LOG(DLOG_ERROR, "SMServiceStop", "SMServiceStop called\n");
        return m_SMServiceStop("SM_CADServiceStop");
    });
}

bool CContentsRecognitionAPI::SM_VPDServiceStart(VideoPlayCallback callback, void* userData,
                                                 int captureType) {
    return StartDetector(kVideoPlayStart, sm_vpd_cb, callback, userData, captureType) ==
           Started::kAnswered;
}

bool CContentsRecognitionAPI::SM_VPDServiceStop() {
    return StopDetector(CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS, sm_vpd_cb, [] {
        CRI_LOG(DLOG_ERROR, "SM_VPDServiceStop", "SM_VPDServiceStop called\n");
        return m_SMServiceStop("SM_VPDServiceStop");
    });
}

bool CContentsRecognitionAPI::SM_VPDServicePause() {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_VPDServicePause", "SM_VPDServicePause called\n");
    ApiLock lock;
    return m_SMServiceStop("SM_VPDServicePause");
}

bool CContentsRecognitionAPI::SM_VPDServiceResume(int captureType) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_VPDServiceResume", "SM_VPDServiceResume(%d) called\n", captureType);
    ApiLock lock;
    return m_SMServiceStart("SM_VPDServiceResume", captureType);
}

bool CContentsRecognitionAPI::SMServiceCSChange(int captureSpeed) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SMServiceCSChange", "SMServiceCSChange(%d) called\n", captureSpeed);
    ApiLock lock;
    return m_SMServiceCSChange(captureSpeed);
}

bool CContentsRecognitionAPI::SMServiceResChange(int resolution) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SMServiceResChange", "SMServiceResChange(%d) called\n", resolution);
    ApiLock lock;
    return m_SMServiceResChange(resolution);
}

bool CContentsRecognitionAPI::SMServiceSetResolutionWH(int orientation, int width, int height) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SMServiceSetResolutionWH", "SMServiceSetResolution called %d, (%d x %d)\n",
            orientation, width, height);
    ApiLock lock;
    return m_SMServiceSetResolutionWH(orientation, width, height);
}
