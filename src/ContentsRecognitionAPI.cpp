/// The recognition-service client: connection, queries, change events and black-screen reports.
#define CRI_LOG_UNIT "ContentsRecognitionAPI"

#include "ContentsRecognitionAPI.h"

#include <pthread.h>
#include <string.h>

#include <atomic>
#include <chrono>
#include <iostream>  // the standard streams live from here on, before any callback may print
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "AtomicWord.h"
#include "ContentsUIDetectionAPI.h"
#include "Log.h"
#include "ServiceBus.h"
#include "ServiceSignals.h"
#include "VisionDataRecognitionAPI.h"
#include "Wall.h"
#include "vconf.h"

using cri::BusError;
using cri::CallApplication;
using cri::CancellationHeldOff;
using cri::Load;
using cri::ServiceCall;
using cri::Store;
using cri::Unpack;
using cri::Walled;

const char* const CONTENTS_RECOGNITION_EVENTS_STR[13] = {
    "CONTENTS_RECOGNITION_EVENT_UNKNOWN",
    "CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL",
    "CONTENTS_RECOGNITION_EVENT_OTT",
    "CONTENTS_RECOGNITION_EVENT_YOUTUBE",
    "CONTENTS_RECOGNITION_EVENT_UI123",
    "CONTENTS_RECOGNITION_EVENT_OPTKEY",
    "CONTENTS_RECOGNITION_EVENT_VODAPP",
    " ",
    "CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS",
    "CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS",
    "CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED",
    "CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP",
    "CONTENTS_RECOGNITION_EVENT_MAX",
};

int currentRecognitionStatus = -1;

GDBusConnection* CContentsRecognitionAPI::m_connection;
GDBusProxy* CContentsRecognitionAPI::m_proxy;
unsigned int CContentsRecognitionAPI::m_subscriberID[13];
void* CContentsRecognitionAPI::m_pUserData[13];
CContentsRecognitionAPI::ChangedCallback CContentsRecognitionAPI::changed_cb[13];
CContentsRecognitionAPI::VideoPlayCallback CContentsRecognitionAPI::sm_vpd_cb;
CContentsRecognitionAPI::ContentAreaCallback CContentsRecognitionAPI::sm_cad_cb;

constexpr uint32_t kNotSubscribed = 0xFFFFFFFF;
uint32_t CContentsRecognitionAPI::s_BlackScreenSubscriber = kNotSubscribed;
int32_t CContentsRecognitionAPI::s_BlackScreenCallbackId;
std::map<int, CContentsRecognitionAPI::BlackScreenCallback>
    CContentsRecognitionAPI::s_BlackScreenCallbackMap;

namespace {

using Api = CContentsRecognitionAPI;
using BlackScreenMap = std::map<int, Api::BlackScreenCallback>;

/// Serialises the public operations. Not recursive: what holds it calls only what does not take it.
pthread_mutex_t g_crsApiMutex = PTHREAD_MUTEX_INITIALIZER;

class ApiLock {
  public:
    ApiLock() { pthread_mutex_lock(&g_crsApiMutex); }
    ~ApiLock() { pthread_mutex_unlock(&g_crsApiMutex); }
    ApiLock(const ApiLock&) = delete;
    ApiLock& operator=(const ApiLock&) = delete;

  private:
    const CancellationHeldOff m_heldOff;  // until the lock is released
};

/// Guards the pairs of a callback and its user data, which are read and replaced together; never
/// held while a callback runs.
std::mutex s_slotMutex;
using SlotLock = std::lock_guard<std::mutex>;

template <class Request>
bool Locked(Request request) {
    ApiLock lock;
    return request();
}

}  // namespace

// ---- Connection ----

namespace {

/// Makes one connection and one proxy when several threads come first. Not g_crsApiMutex: locked
/// operations connect too.
std::mutex s_connectMutex;

std::atomic<bool> s_busUsed;      // the bus library has been asked for a connection
std::atomic<bool> s_busInParent;  // that was before this process was forked from its parent

/// A child made by fork has none of the bus library's threads, and its locks may be taken for ever.
/// The library's own may be taken too, by threads that the child does not have.
void ForgetParent() {
    if (s_busUsed) s_busInParent = true;
    const pthread_mutex_t free = PTHREAD_MUTEX_INITIALIZER;
    memcpy(&g_crsApiMutex, &free, sizeof free);
    new (&s_connectMutex) std::mutex;
    new (&s_slotMutex) std::mutex;
    cri::FreeBusLocksInChild();
}

void LogNoBus(const char* reason) {
    CRI_LOG(DLOG_ERROR, "InitService", "bus get sync failed: %s\n", reason);
}

bool GetBus() {
    if (!cri::DescriptorsFree(cri::kDescriptorsToConnect)) {
        LogNoBus(cri::kNoDescriptor);
        return false;
    }
    BusError error;
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error.Receive());
    if (!connection) {
        LogNoBus(error.Message());
        return false;
    }
    // By default the bus library ends the process when the bus goes away.
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    Store(Api::m_connection, connection);
    return true;
}

bool MakeProxy() {
    BusError error;
    GDBusProxy* proxy = cri::NewServiceProxy(Load(Api::m_connection), error);
    if (!proxy) {
        CRI_LOG(DLOG_ERROR, "InitService", "bus proxy new failed: %s\n", error.Message());
        g_object_unref(Load(Api::m_connection));
        Store(Api::m_connection, static_cast<GDBusConnection*>(nullptr));
        return false;
    }
    Store(Api::m_proxy, proxy);
    return true;
}

bool Connect() {
    std::lock_guard<std::mutex> lock(s_connectMutex);
    if (Load(Api::m_proxy)) return true;
    if (!s_busUsed.exchange(true)) pthread_atfork(nullptr, nullptr, ForgetParent);
    if (!GetBus() || !MakeProxy()) return false;
    CRI_LOG(DLOG_DEBUG, "InitService", "m_connection=0x%p, m_proxy = 0x%p\n",
            static_cast<void*>(Api::m_connection), static_cast<void*>(Api::m_proxy));
    return true;
}

bool Connected(const char* function) {
    const CancellationHeldOff heldOff;
    if (Api::InitService()) return true;
    CRI_LOG(DLOG_ERROR, function, "No connection!\n");
    return false;
}

bool CanSubscribe(const char* function) {
    if (!Connected(function)) return false;
    if (cri::DescriptorsFree(cri::kDescriptorsToCall)) return true;
    CRI_LOG(DLOG_ERROR, function, "Error: %s\n", cri::kNoDescriptor);
    return false;
}

}  // namespace

bool CContentsRecognitionAPI::InitService() {
    const CancellationHeldOff heldOff;
    if (s_busInParent) {
        LogNoBus("the process was forked from one that had used the bus");
        return false;
    }
    if (Load(m_connection) && Load(m_proxy)) return true;
    return Walled(false, Connect);
}

// ---- Queries ----

namespace {

/// What tells one query from another: the name under which it logs and the method that it calls.
struct Query {
    const char* function;
    const char* method;
};

constexpr Query kContentsInfo = {"m_GetCurrentContentsInfo", "GetContentsInfo"};
constexpr Query kChannelName = {"m_GetCurrentChannelName", "GetChannelName"};
constexpr Query kChannelNumber = {"m_GetCurrentChannelNumber", "GetChannelNumber"};
constexpr Query kProgramTitle = {"m_GetCurrentProgramTitle", "GetProgramTitle"};
constexpr Query kProgramTitleSource = {"m_GetCurrentProgramTitleSource", "GetProgramTitleSource"};
constexpr Query kScreenStatus = {"m_GetCurrentScreenStatus", "GetScreenStatus"};
constexpr Query kScrollStatus = {"m_GetChannelScrollStatus", "GetChannelScrollStatus"};
constexpr Query kNumberWithInfo = {"GetCurrentChannelNumberWithInfo", "GetChannelNumberWithInfo"};

constexpr char kUnknown[] = "Unknown";

void LogCallError(const char* function, const ServiceCall& call) {
    CRI_LOG(DLOG_ERROR, function, "Error: %s\n", call.Error());
}

bool QueryText(const Query& query, std::string& text) {
    return Walled(false, [&] {
        if (!Connected(query.function)) return false;
        const ServiceCall call(query.method, "(s)");
        if (!call) LogCallError(query.function, call);
        text = call ? call.Text() : kUnknown;
        return static_cast<bool>(call);
    });
}

bool QueryInt(const Query& query, int& number) {
    return Walled(false, [&] {
        if (!Connected(query.function)) return false;
        const ServiceCall call(query.method, "(i)");
        if (!call) LogCallError(query.function, call);
        number = call ? call.Int() : 0;
        return static_cast<bool>(call);
    });
}

/// The states that this set does not have.
bool QueryZero(const char* function, int& number) {
    if (!Connected(function)) return false;
    number = 0;
    return true;
}

}  // namespace

bool CContentsRecognitionAPI::m_GetCurrentContentsInfo(std::string& text) {
    return QueryText(kContentsInfo, text);
}

bool CContentsRecognitionAPI::GetCurrentContentsInfo(std::string& text) {
    ApiLock lock;
    return m_GetCurrentContentsInfo(text);
}

bool CContentsRecognitionAPI::m_GetCurrentChannelName(std::string& text) {
    return QueryText(kChannelName, text);
}

bool CContentsRecognitionAPI::GetCurrentChannelName(std::string& text) {
    ApiLock lock;
    return m_GetCurrentChannelName(text);
}

bool CContentsRecognitionAPI::m_GetCurrentChannelNumber(std::string& text) {
    return QueryText(kChannelNumber, text);
}

bool CContentsRecognitionAPI::GetCurrentChannelNumber(std::string& text) {
    ApiLock lock;
    return m_GetCurrentChannelNumber(text);
}

bool CContentsRecognitionAPI::m_GetCurrentProgramTitle(std::string& text) {
    return QueryText(kProgramTitle, text);
}

bool CContentsRecognitionAPI::GetCurrentProgramTitle(std::string& text) {
    ApiLock lock;
    return m_GetCurrentProgramTitle(text);
}

bool CContentsRecognitionAPI::m_GetCurrentProgramTitleSource(std::string& text) {
    return QueryText(kProgramTitleSource, text);
}

bool CContentsRecognitionAPI::GetCurrentProgramTitleSource(std::string& text) {
    ApiLock lock;
    return m_GetCurrentProgramTitleSource(text);
}

bool CContentsRecognitionAPI::m_GetCurrentScreenStatus(int& status) {
    return QueryInt(kScreenStatus, status);
}

bool CContentsRecognitionAPI::GetCurrentScreenStatus(int& status) {
    ApiLock lock;
    return m_GetCurrentScreenStatus(status);
}

bool CContentsRecognitionAPI::m_GetChannelScrollStatus(bool& scrolling) {
    int number = scrolling;  // stays what it is without a connection
    const bool answered = QueryInt(kScrollStatus, number);
    scrolling = number != 0;
    return answered;
}

bool CContentsRecognitionAPI::GetChannelScrollStatus(bool& scrolling) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetChannelScrollStatus", "GetChannelScrollStatus()\n");
    ApiLock lock;
    const bool answered = m_GetChannelScrollStatus(scrolling);
    CRI_LOG(DLOG_INFO, "GetChannelScrollStatus",
            "CContentsRecognitionAPI::GetChannelScrollStatus Channel Scroll Status : %s\n",
            scrolling ? "TRUE" : "FALSE");
    return answered;
}

bool CContentsRecognitionAPI::m_GetCurrentRecognitionStatus(int& status) {
    const CancellationHeldOff heldOff;
    if (!Connected("m_GetCurrentRecognitionStatus")) return false;
    int kept = 0;
    if (vconf_get_int("db/Canalysis-service/recognition_status", &kept) != 0) kept = 0;
    status = kept;
    return true;
}

bool CContentsRecognitionAPI::GetCurrentRecognitionStatus(int& status) {
    ApiLock lock;
    return m_GetCurrentRecognitionStatus(status);
}

bool CContentsRecognitionAPI::m_GetUIStatus(int& status) {
    return QueryZero("m_GetUIStatus", status);
}

bool CContentsRecognitionAPI::GetUIStatus(int& status) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetUIStatus", "GetUIStatus()\n");
    ApiLock lock;
    return m_GetUIStatus(status);
}

bool CContentsRecognitionAPI::m_GetUI123Status(int& status) {
    return QueryZero("m_GetUI123Status", status);
}

bool CContentsRecognitionAPI::GetUI123Status(int& status) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetUI123Status", "GetUI123Status()\n");
    ApiLock lock;
    return m_GetUI123Status(status);
}

bool CContentsRecognitionAPI::m_GetVODAppUIStatus(int& status) {
    return QueryZero("m_GetVODAppUIStatus", status);
}

bool CContentsRecognitionAPI::GetVODAppUIStatus(int& status) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetVODAppUIStatus", "GetVODAppUIStatus()\n");
    ApiLock lock;
    return m_GetVODAppUIStatus(status);
}

bool CContentsRecognitionAPI::m_GetVODAppType(int& type) {
    return QueryZero("m_GetVODAppType", type);
}

bool CContentsRecognitionAPI::GetVODAppType(int& type) {
    ApiLock lock;
    return m_GetVODAppType(type);
}

bool CContentsRecognitionAPI::GetCurrentChannelNumberWithInfo(std::string& numberText,
                                                              int& firstValue,
                                                              std::string& secondText,
                                                              int& secondValue, bool& flag) {
    const char* const function = kNumberWithInfo.function;
    return Walled(false, [&] {
        if (!Connected(function)) return false;
        const ServiceCall call(kNumberWithInfo.method, "(sisii)");
        if (!call) {
            LogCallError(function, call);
            numberText = kUnknown;
            return false;
        }
        const char *number, *second;
        int flagValue = 0;
        g_variant_get(call.Reply(), "(&si&sii)", &number, &firstValue, &second, &secondValue,
                      &flagValue);
        numberText = number;
        secondText = second;
        flag = flagValue != 0;
        CRI_LOG(DLOG_INFO, function,
                "GetCurrentChannelNumberWithInfo finished (%s, %d, %s, %d, %d)\n",
                numberText.c_str(), firstValue, secondText.c_str(), secondValue, flag ? 1 : 0);
        return true;
    });
}

// ---- Change events ----

namespace {

bool IsChangeEvent(int event) {
    return event > CONTENTS_RECOGNITION_EVENT_UNKNOWN && event < CONTENTS_RECOGNITION_EVENT_MAX;
}

bool RequestUnsubscription(const char* function, unsigned int id) {
    if (!Connected(function)) return false;
    CRI_LOG(DLOG_DEBUG, function, "g_dbus_connection_signal_unsubscribe subscriberID=%d\n",
            static_cast<int>(id));
    cri::EndServiceSignal(Load(Api::m_connection), id);
    return true;
}

/// What a handler calls, and with what.
template <class Callback>
struct Slot {
    Callback callback;
    void* userData;
};

template <class Callback>
Slot<Callback> ReadSlot(const Callback& callback, int event) {
    const SlotLock lock(s_slotMutex);
    return {Load(callback), Load(Api::m_pUserData[event])};
}

/// Calls the application, unless it has given nothing to call.
template <class Callback, class... Arguments>
void Call(Callback callback, Arguments... arguments) {
    if (callback) CallApplication([&] { callback(arguments...); });
}

/// Subscribes the event's signal and notes the id in its slot.
guint FillSlot(CONTENTS_RECOGNITION_EVENTS event, GDBusSignalCallback handler) {
    const guint id = cri::SubscribeServiceSignal(Load(Api::m_connection),
                                                 CONTENTS_RECOGNITION_EVENTS_STR[event], handler);
    Store(Api::m_subscriberID[event], id);
    return id;
}

}  // namespace

int CContentsRecognitionAPI::SubscribeEvent(CONTENTS_RECOGNITION_EVENTS event,
                                            ChangedCallback callback, void* userData) {
    return Walled(-1, [=] {
        ApiLock lock;
        if (!CanSubscribe("SubscribeEvent")) return -1;
        if (!IsChangeEvent(event)) {
            CRI_LOG(DLOG_ERROR, "SubscribeEvent", "Invalid Event Type!\n");
            return -1;
        }
        const guint id = FillSlot(event, m_OnSignalContentsRecognitionChangedCB);
        CRI_LOG(DLOG_DEBUG, "SubscribeEvent", "subscriberID=%d\n", static_cast<int>(id));
        const SlotLock slot(s_slotMutex);
        Store(changed_cb[event], callback);
        Store(m_pUserData[event], userData);
        return static_cast<int>(id);
    });
}

bool CContentsRecognitionAPI::UnsubscribeEvent(unsigned int subscriberId) {
    ApiLock lock;
    return RequestUnsubscription("UnsubscribeEvent", subscriberId);
}

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
        const SlotLock slot(s_slotMutex);
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

void CContentsRecognitionAPI::m_OnSignalContentsRecognitionChangedCB(GDBusConnection* connection,
                                                                     const char*, const char*,
                                                                     const char*, const char*,
                                                                     GVariant* parameters, void*) {
    const CancellationHeldOff heldOff;
    int event = 0, status = 0;
    if (!Unpack(parameters, "(ii)", &event, &status) || !IsChangeEvent(event)) return;
    if (Load(m_subscriberID[event]) == 0) return;
    CRI_LOG(DLOG_DEBUG, "m_OnSignalContentsRecognitionChangedCB",
            "Callback connection = 0x%p, event : %d, status : %d\n", static_cast<void*>(connection),
            event, status);
    const auto [callback, userData] = ReadSlot(changed_cb[event], event);
    Call(callback, static_cast<CRS_EVENT_TYPE>(status), userData);
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
    Call(callback, static_cast<SM_SCREEN_STATUS>(mode), x, y, width, height, userData);
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
    Call(callback, static_cast<SM_VPD_STATUS>(status), userData);
}

// ---- Screen-monitor control ----

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

/// The service's code is only logged, so a reply of another type reads as 0.
int ReplyCode(const ServiceCall& call) {
    int code = 0;
    if (g_variant_is_of_type(call.Reply(), G_VARIANT_TYPE("(i)")))
        g_variant_get(call.Reply(), "(i)", &code);
    return code;
}

template <class... Ints>
bool SendChange(const Change& change, const char* type, Ints... values) {
    return Walled(false, [&] {
        if (!Connected(change.function)) return false;
        if (change.announcement)
            CRI_LOG_FORMAT(DLOG_ERROR, change.function, change.announcement, values...);
        const ServiceCall call(change.method, nullptr, g_variant_new(type, values...));
        if (!call) {
            CRI_LOG(DLOG_ERROR, change.function, "SM capture g_dbus_proxy error: %s\n",
                    call.Error());
            return false;
        }
        CRI_LOG(DLOG_DEBUG, change.function, "SM g_dbus_proxy_call_sync result: %d\n",
                ReplyCode(call));
        return true;
    });
}

/// One way to start a detector: who logs, the line that says so, the event that reports, and the
/// method called.
struct DetectorStart {
    const char* function;
    const char* called;
    CONTENTS_RECOGNITION_EVENTS event;
    const char* method;
};

constexpr DetectorStart kContentAreaStart = {
    "SMServiceStart", CRI_FORMAT("SMServiceStart(%d) called\n"),
    CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS, "SM_CADServiceStart"};
constexpr DetectorStart kVideoPlayStart = {
    "SM_VPDServiceStart", CRI_FORMAT("SM_VPDServiceStart(%d) called\n"),
    CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS, "SM_VPDServiceStart"};

enum class Start { kNotAttached, kNotAnswered, kAnswered };

template <class Callback>
Start StartDetector(const DetectorStart& start, Callback& slot, Callback callback, void* userData,
                    int captureType) {
    return Walled(Start::kNotAttached, [&] {
        ApiLock lock;
        if (!AttachDetector(start.event, userData, [&] { Store(slot, callback); }))
            return Start::kNotAttached;
        CRI_LOG_FORMAT(DLOG_ERROR, start.function, start.called, captureType);
        return Api::m_SMServiceStart(start.method, captureType) ? Start::kAnswered
                                                                : Start::kNotAnswered;
    });
}

/// Sends the stop and ends the attachment that it finds. Between the stop request and the end of
/// the attachment another thread may start the detector anew: the slot has another id then, and its
/// callback stays.
template <class Callback, class Request>
bool StopDetector(CONTENTS_RECOGNITION_EVENTS event, Callback& slot, Request request) {
    const CancellationHeldOff heldOff;
    guint found = 0;
    const bool answered = Locked([&] {
        found = Load(Api::m_subscriberID[event]);
        return request();
    });
    ApiLock lock;
    RequestUnsubscription("UnsubscribeEvent", found);
    const SlotLock slotLock(s_slotMutex);
    if (Load(Api::m_subscriberID[event]) == found) Store(slot, static_cast<Callback>(nullptr));
    return answered;
}

}  // namespace

bool CContentsRecognitionAPI::m_SMServiceStart(const char* methodName, int value) {
    constexpr char function[] = "m_SMServiceStart";
    return Walled(false, [&] {
        if (!Connected(function)) return false;
        CRI_LOG(DLOG_DEBUG, function, "SM %s capture type initialized(%d)\n", methodName, value);
        const ServiceCall call(methodName, nullptr, g_variant_new("(i)", value));
        if (!call) {
            CRI_LOG(DLOG_ERROR, function, "SM %s capture g_dbus_proxy error: %s\n", methodName,
                    call.Error());
            return false;
        }
        CRI_LOG(DLOG_DEBUG, function, "SM %s g_dbus_proxy_call_sync result: %d\n", methodName,
                ReplyCode(call));
        return true;
    });
}

bool CContentsRecognitionAPI::m_SMServiceStop(const char* methodName) {
    constexpr char function[] = "m_SMServiceStop";
    return Walled(false, [&] {
        if (!Connected(function)) return false;
        CRI_LOG(DLOG_DEBUG, function, "g_dbus_proxy_call_sync send ()\n");
        const ServiceCall call(methodName, nullptr);
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
    return StartDetector(kContentAreaStart, sm_cad_cb, callback, userData, captureType) ==
           Start::kAnswered;
}

bool CContentsRecognitionAPI::SMServiceStop() {
    return StopDetector(CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS, sm_cad_cb, [] {
        CRI_LOG(DLOG_ERROR, "SMServiceStop", "SMServiceStop called\n");
        return m_SMServiceStop("SM_CADServiceStop");
    });
}

bool CContentsRecognitionAPI::SM_VPDServiceStart(VideoPlayCallback callback, void* userData,
                                                 int captureType) {
    return StartDetector(kVideoPlayStart, sm_vpd_cb, callback, userData, captureType) ==
           Start::kAnswered;
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

// ---- Content-area detection with the logo detector ----

namespace {

/// One request to the logo detector: who logs, and its two lines.
struct LogoRequest {
    const char* function;
    const char* called;
    const char* result;
};

constexpr LogoRequest kLogoStart = {"m_SM_LIDServiceStart", CRI_FORMAT("m_SM_LIDServiceStart()\n"),
                                    CRI_FORMAT("VisionDataRecognitionAPI start result : %s\n\n")};
constexpr LogoRequest kLogoStop = {"m_SM_LIDServiceStop", CRI_FORMAT("m_SM_LIDServiceStop()\n"),
                                   CRI_FORMAT("VisionDataRecognitionAPI stop result : %s\n\n")};
constexpr LogoRequest kLogoPause = {"m_SM_LIDServicePause", CRI_FORMAT("m_SM_LIDServicePause()\n"),
                                    CRI_FORMAT("VisionDataRecognitionAPI pause result : %s\n\n")};
constexpr LogoRequest kLogoResume = {"m_SM_LIDServiceResume",
                                     CRI_FORMAT("m_SM_LIDServiceResume()\n"),
                                     CRI_FORMAT("VisionDataRecognitionAPI resume result : %s\n\n")};
constexpr LogoRequest kLogoChange = {
    "m_SM_LIDServiceChange", CRI_FORMAT("m_SM_LIDServiceChange()\n"),
    CRI_FORMAT("VisionDataRecognitionAPI ChangeAnalyze result : %s\n\n")};

void LogLogoResult(const char* function, const char* format, bool succeeded) {
    CRI_LOG_FORMAT(DLOG_ERROR, function, format, succeeded ? "Succeed" : "Failed");
}

template <class Call>
bool DriveLogoDetector(const LogoRequest& request, Call call) {
    const CancellationHeldOff heldOff;
    CRI_LOG_FORMAT(DLOG_ERROR, request.function, request.called);
    ApiLock lock;
    const bool succeeded = call(VisionDataRecognitionAPI::GetInstance());
    LogLogoResult(request.function, request.result, succeeded);
    return succeeded;
}

constexpr DetectorStart kBothStart = {
    "SM_CADServiceStart", CRI_FORMAT("SM_CADServiceStart(%d) called\n"),
    CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS, "SM_CADServiceStart"};

}  // namespace

bool CContentsRecognitionAPI::m_SM_LIDServiceStart(void*, int captureType) {
    return DriveLogoDetector(kLogoStart, [=](VisionDataRecognitionAPI* detector) {
        return detector->StartAnalyze("vdrs_method_ld_start", captureType);
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServiceStop() {
    return DriveLogoDetector(kLogoStop, [](VisionDataRecognitionAPI* detector) {
        return detector->StopAnalyze("vdrs_method_ld_stop");
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServicePause() {
    return DriveLogoDetector(kLogoPause, [](VisionDataRecognitionAPI* detector) {
        return detector->StopAnalyze("vdrs_method_ld_pause");
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServiceResume(int captureType) {
    return DriveLogoDetector(kLogoResume, [=](VisionDataRecognitionAPI* detector) {
        return detector->StartAnalyze("vdrs_method_ld_resume", captureType);
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServiceChange(int captureType) {
    return DriveLogoDetector(kLogoChange, [=](VisionDataRecognitionAPI* detector) {
        return detector->ChangeAnalyze(captureType);
    });
}

bool CContentsRecognitionAPI::SM_CADServiceStart(ContentAreaCallback callback, void* userData,
                                                 int captureType) {
    const CancellationHeldOff heldOff;
    CRI_LOG_FORMAT(DLOG_ERROR, kBothStart.function, kBothStart.called, captureType);
    const Start start = StartDetector(kBothStart, sm_cad_cb, callback, userData, captureType);
    if (start == Start::kNotAttached) return false;
    LogLogoResult("SM_CADServiceStart", kLogoStart.result,
                  m_SM_LIDServiceStart(userData, captureType));
    return start == Start::kAnswered;
}

bool CContentsRecognitionAPI::SM_CADServiceStop() {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_CADServiceStop", "SM_CADServiceStop called\n");
    const bool answered = StopDetector(CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS, sm_cad_cb,
                                       [] { return m_SMServiceStop("SM_CADServiceStop"); });
    LogLogoResult("SM_CADServiceStop", kLogoStop.result, m_SM_LIDServiceStop());
    return answered;
}

bool CContentsRecognitionAPI::SM_CADServicePause() {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_CADServicePause", "SM_CADServicePause called\n");
    const bool answered = Locked([] { return m_SMServiceStop("SM_CADServicePause"); });
    LogLogoResult("SM_CADServicePause", kLogoPause.result, m_SM_LIDServicePause());
    return answered;
}

bool CContentsRecognitionAPI::SM_CADServiceResume(int captureType) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_CADServiceResume", "SM_CADServiceResume(%d) called\n", captureType);
    const bool answered =
        Locked([=] { return m_SMServiceStart("SM_CADServiceResume", captureType); });
    LogLogoResult("SM_CADServiceResume", kLogoResume.result, m_SM_LIDServiceResume(captureType));
    return answered;
}

bool CContentsRecognitionAPI::SMServiceChange(int captureType) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SMServiceChange", "SMServiceChange(%d) called\n", captureType);
    const bool answered = Locked([=] { return m_SMServiceChange(captureType); });
    LogLogoResult("SMServiceChange", CRI_FORMAT("VisionDataRecognitionAPI change result : %s\n\n"),
                  m_SM_LIDServiceChange(captureType));
    return answered;
}

// ---- UI-detection bridge ----

namespace {

/// Bound at load, before the application can reach the UI-detection client.
ContentsUIDetectionAPI* const g_pcudapi = ContentsUIDetectionAPI::GetInstance();

}  // namespace

bool CContentsRecognitionAPI::CUDSRegist(void* userData) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "CUDSRegist", "Called CUDSRegist()\n");
    ApiLock lock;
    g_pcudapi->Initialize();
    return SubscribeCUDSEvent(CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP, userData);
}

bool CContentsRecognitionAPI::CUDSDeRegist(void*) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "CUDSDeRegist", "Called CUDSDeRegist()\n");
    ApiLock lock;
    g_pcudapi->Finalize();
    return UnsubscribeCUDSEvent(Load(m_subscriberID[CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP]));
}

bool CContentsRecognitionAPI::SubscribeCUDSEvent(CONTENTS_RECOGNITION_EVENTS event,
                                                 void* userData) {
    constexpr char function[] = "SubscribeCUDSEvent";
    return Walled(false, [=] {
        if (!CanSubscribe(function)) return false;
        if (event != CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP) {
            CRI_LOG(DLOG_ERROR, function, "Invalid Event Type!\n");
            return false;
        }
        const guint id = FillSlot(event, m_OnSignalCUDSCB);
        {
            const SlotLock slot(s_slotMutex);
            Store(m_pUserData[event], userData);
        }
        CRI_LOG(DLOG_ERROR, function, "subscriberID=%d eventName=%s\n", static_cast<int>(id),
                CONTENTS_RECOGNITION_EVENTS_STR[event]);
        return true;
    });
}

bool CContentsRecognitionAPI::UnsubscribeCUDSEvent(unsigned int subscriberId) {
    const CancellationHeldOff heldOff;
    return RequestUnsubscription("UnsubscribeCUDSEvent", subscriberId);
}

void CContentsRecognitionAPI::m_OnSignalCUDSCB(GDBusConnection*, const char*, const char*,
                                               const char*, const char*, GVariant* parameters,
                                               void*) {
    constexpr char function[] = "m_OnSignalCUDSCB";
    const CancellationHeldOff heldOff;
    int startStop = 0, hdmiPort = 0, isStb = 0, adaptiveSound = 0, multiview = 0;
    if (!Unpack(parameters, "(iiiii)", &startStop, &hdmiPort, &isStb, &adaptiveSound, &multiview))
        return;
    CRI_LOG(DLOG_ERROR, function,
            "========> engineStartStop=%d, HDMIport=%d, isSTB=%d, adaptiveSoundOnOff=%d "
            "multiviewonoff=%d <========\n",
            startStop, hdmiPort, isStb, adaptiveSound, multiview);
    if (Load(m_subscriberID[CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP]) == 0) {
        CRI_LOG(DLOG_ERROR, function, "Invalid Event Type!\n");
    } else if (startStop == 1) {
        if (!g_pcudapi->StartAnalyze(hdmiPort, isStb, adaptiveSound, multiview))
            CRI_LOG(DLOG_ERROR, function, "[CheckAndStartCUDS] CUDS Condition is not satisify\n");
    } else if (!g_pcudapi->StopAnalyze(hdmiPort, isStb, adaptiveSound, multiview)) {
        CRI_LOG(DLOG_ERROR, function, "[CheckAndStartCUDS] CUDS StopAnalyze is failed\n");
    }
}

// ---- Black-screen reports ----

namespace {

/// At exit the callback map is destroyed while a main loop may still run on another thread: from
/// then on there is nobody to report to.
std::atomic<bool> s_reportsEnded;
std::atomic<bool> s_reportsUsed;  ///< a subscription has begun; exit need not wait otherwise

/// A thread that waits for the service may hold the lock for one call. Whatever sets the clock
/// meanwhile, the wait is no longer.
bool LockWithinACall() {
    constexpr int kPauseMillis = 5;
    for (int waited = 0; waited < cri::kCallTimeoutMillis + 1000; waited += kPauseMillis) {
        if (pthread_mutex_trylock(&g_crsApiMutex) == 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(kPauseMillis));
    }
    return false;
}

struct ReportsEnd {
    ~ReportsEnd() {
        BlackScreenMap callbacks;  // destroyed without the lock
        s_reportsEnded = true;     // first: the lock may not come
        if (!s_reportsUsed || !LockWithinACall()) return;
        callbacks.swap(Api::s_BlackScreenCallbackMap);
        pthread_mutex_unlock(&g_crsApiMutex);
    }
};
ReportsEnd s_reportsEnd;  // after the map, so that it goes before it

/// A callback whose copies share the application's one: a dispatch copies it under the lock, where
/// nothing of the application's may run.
Api::BlackScreenCallback Shared(Api::BlackScreenCallback&& callback) {
    auto owned = std::make_shared<Api::BlackScreenCallback>(std::move(callback));
    return [owned = std::move(owned)](cri_bs_info_s info) { (*owned)(info); };
}

/// The signal is subscribed once; again only when that was refused.
void SubscribeReports() {
    if (Api::s_BlackScreenSubscriber != kNotSubscribed && Api::s_BlackScreenSubscriber != 0) return;
    Api::s_BlackScreenSubscriber =
        cri::SubscribeServiceSignal(Load(Api::m_connection), "BlackScreenInfo",
                                    Api::HandleBlackScreenInfoEvent, cri::Lifetime::kProcess);
    CRI_LOG(DLOG_INFO, "SubscribeBlackScreenEvent", "Start Subscribe BlackScreen %u\n",
            Api::s_BlackScreenSubscriber);
}

bool TakeEngineReference() {
    constexpr char function[] = "SubscribeBlackScreenEvent";
    const ServiceCall call("BlackScreenIncreaseReference", "(i)");
    if (!call) {
        CRI_LOG(DLOG_ERROR, function, "Failed to increase blackscreen reference, Error: %s\n",
                call.Error());
        return false;
    }
    switch (call.Int()) {
        case 1:
            CRI_LOG(DLOG_INFO, function, "Black Screen Engine Started Now\n");
            return true;
        case 0:
            CRI_LOG(DLOG_INFO, function, "Black Screen Engine is Already Started\n");
            return true;
        default:
            CRI_LOG(DLOG_ERROR, function, "Unknown blackscreen reference result\n");
            return false;
    }
}

bool ReleaseEngineReference() {
    constexpr char function[] = "UnsubscribeBlackScreenEvent";
    const ServiceCall call("BlackScreenDecreaseReference", "(i)");
    if (!call) {
        CRI_LOG(DLOG_ERROR, function, "Failed to decrease blackscreen reference, Error: %s\n",
                call.Error());
        return false;
    }
    switch (call.Int()) {
        case 1:
            CRI_LOG(DLOG_INFO, function, "Black Screen Engine Stopped Now\n");
            return true;
        case 0:
            CRI_LOG(DLOG_INFO, function, "Black Screen Engine still run\n");
            return true;
        case -1:
            CRI_LOG(DLOG_ERROR, function, "Invalid decrese reference\n");
            return false;
        default:
            CRI_LOG(DLOG_ERROR, function, "Unknown blackscreen reference result\n");
            return false;
    }
}

std::vector<std::pair<int, Api::BlackScreenCallback>> CallbacksNow() {
    ApiLock lock;
    if (s_reportsEnded) return {};
    return {Api::s_BlackScreenCallbackMap.begin(), Api::s_BlackScreenCallbackMap.end()};
}

}  // namespace

int CContentsRecognitionAPI::SubscribeBlackScreenEvent(BlackScreenCallback callback) {
    if (!callback) return -1;
    return Walled(-1, [&] {
        BlackScreenMap fresh;  // made first: with the engine's reference taken, nothing may throw
        fresh.emplace(0, Shared(std::move(callback)));
        auto entry = fresh.extract(0);
        s_reportsUsed = true;
        ApiLock lock;
        if (!CanSubscribe("SubscribeBlackScreenEvent") || s_reportsEnded) return -1;
        SubscribeReports();
        if (!TakeEngineReference()) return -1;
        const int id = s_BlackScreenCallbackId++;
        entry.key() = id;
        s_BlackScreenCallbackMap.insert(std::move(entry));
        CRI_LOG(DLOG_INFO, "SubscribeBlackScreenEvent", "Subscribe Blackscreen Info : %d\n", id);
        return id;
    });
}

bool CContentsRecognitionAPI::UnsubscribeBlackScreenEvent(int id) {
    constexpr char function[] = "UnsubscribeBlackScreenEvent";
    return Walled(false, [&] {
        BlackScreenMap::node_type removed;  // destroyed after the lock is released
        ApiLock lock;
        if (!Connected(function)) return false;
        CRI_LOG(DLOG_INFO, function, "Unsubscribe Blackscreen Info : %d\n", id);
        if (s_reportsEnded || s_BlackScreenCallbackMap.count(id) == 0) {
            CRI_LOG(DLOG_ERROR, function, "Wrong subscribe id\n");
            return false;
        }
        if (!ReleaseEngineReference()) return false;
        removed = s_BlackScreenCallbackMap.extract(id);
        return true;
    });
}

bool CContentsRecognitionAPI::GetBlackScreenPeriodMillis(int& periodMillis) {
    constexpr Query kPeriod = {"GetBlackScreenPeriodMillis", "GetBlackScreenPeriodMillis"};
    ApiLock lock;
    int period = 0;
    if (!QueryInt(kPeriod, period)) return false;
    periodMillis = period;
    return true;
}

void CContentsRecognitionAPI::HandleBlackScreenInfoEvent(GDBusConnection*, const char*, const char*,
                                                         const char*, const char*,
                                                         GVariant* parameters, void*) {
    constexpr char function[] = "HandleBlackScreenInfoEvent";
    int solid = 0, red = 0, green = 0, blue = 0, realBlack = 0;
    double probability = 0;
    const CancellationHeldOff heldOff;
    if (!Unpack(parameters, "(idiiii)", &solid, &probability, &red, &green, &blue, &realBlack))
        return;
    CRI_LOG(DLOG_INFO, function,
            "blackscreen info received : isSolid<%s>, solid probability<%f>, rgb<%d, %d, %d>, %s\n",
            solid ? "True" : "False", probability, red, green, blue,
            realBlack ? "Real Black" : "Not Real Black");
    const cri_bs_info_s info = {solid != 0,
                                probability,
                                static_cast<uint8_t>(red),
                                static_cast<uint8_t>(green),
                                static_cast<uint8_t>(blue),
                                realBlack != 0};
    Walled([&] {
        for (const auto& [id, callback] : CallbacksNow()) {
            CRI_LOG(DLOG_INFO, function, "blackscreen callback : %d\n", id);
            CallApplication([&, &callback = callback] { callback(info); });
        }
    });
}
