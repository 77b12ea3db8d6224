/// The vision-data client: its channel's connection, control of the logo analysis, its subscribers.
#include <string.h>

#include "BusyMarker.h"
#include "Client.h"
#include "HomeDataControlAPI.h"
#include "VDRS_Client_Inotify.h"
#include "base/AtomicWord.h"
#include "base/ForkedChild.h"
#include "base/Wall.h"
#include "channel/FileChannel.h"

using cri::Load;
using cri::Store;
using cri::Walled;

bool bLDInit = false;
bool bLDStart = false;

namespace {

/// Never destroyed: the notification thread may deliver after the instance is gone.
cri::VisionDataState& SharedState() {
    static auto& s_state = *new cri::VisionDataState;
    return s_state;
}

/// Makes testing and changing bLDInit, or bLDStart, one step.
std::mutex s_initMutex;
std::mutex s_controlMutex;

}  // namespace

void cri::ForgetParentsVisionData() {
    VdrsChannel().DisconnectInChild();
    Renew(s_initMutex);
    Renew(s_controlMutex);
    Renew(SharedState().m_usageMutex);
    SharedState().m_subscribers.RenewInChild();
}

VisionDataRecognitionAPI::VisionDataRecognitionAPI() : m_state(SharedState()) {}

VisionDataRecognitionAPI::~VisionDataRecognitionAPI() {
    Walled([this] { m_state.m_subscribers.Clear(); });
}

VisionDataRecognitionAPI* VisionDataRecognitionAPI::GetInstance() {
    return &s_Instance;
}

namespace {

/// Both count: the channel's own functions and a fork disconnect it without this client.
bool IsConnected() {
    return Load(bLDInit) && cri::VdrsChannel().Connected();
}

}  // namespace

bool VisionDataRecognitionAPI::Initialize() {
    constexpr char function[] = "Initialize";
    const cri::CancellationHeldOff heldOff;
    // Every subscription comes here: one that finds the work done does not queue for the lock.
    std::unique_lock<std::mutex> lock(s_initMutex, std::defer_lock);
    if (!IsConnected()) lock.lock();
    const bool initialized = !lock || Load(bLDInit);
    if (initialized)
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Initialize Already Initialized\n");
    bool connected = true;
    if (lock && !IsConnected()) {
        connected = VDRS_Client_Inotify_Connect() == cri::kChannelDone || initialized;
        Store(bLDInit, true);
    }
    if (connected)
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Initialize Successful\n");
    else
        VDR_LOG(DLOG_ERROR, function, "CAMW_Client_LD_Initialize Failed\n");
    return connected;
}

namespace {

/// Clears bLDInit and takes the thread off the channel in one step, so that an Initialize finds
/// either both or neither; waits without the lock, for a callback that may initialise itself.
bool Disconnect() {
    std::unique_lock<std::mutex> lock(s_initMutex);
    if (!Load(bLDInit)) {
        VDR_LOG(DLOG_INFO, "Finalize", "CAMW_Client_LD_Initialize Already Finalized\n");
        return true;
    }
    const auto thread = cri::VdrsChannel().Detach();
    Store(bLDInit, false);
    lock.unlock();
    return cri::VdrsChannel().End(thread) == cri::kChannelDone;
}

}  // namespace

bool VisionDataRecognitionAPI::Finalize() {
    constexpr char function[] = "Finalize";
    const cri::CancellationHeldOff heldOff;
    const bool disconnected = Walled(false, Disconnect);
    if (disconnected)
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Finalize Successful\n");
    else
        VDR_LOG(DLOG_ERROR, function, "CAMW_Client_LD_Finalize Failed\n");
    return disconnected;
}

// ---- Control of the analysis ----

namespace {

constexpr char kPause[] = "vdrs_method_ld_pause";

int CaptureMode(int captureType) {
    switch (captureType) {
        case 1:
        case 10000:
            return 5;
        case 2:
        case 10001:
            return 3;
        default:
            return captureType;
    }
}

/// The user's agreement to the use of viewing information; 0 when nothing is known of it.
int ViewingAgreement() {
    return Walled(0, [] {
        int viewing = 0;
        CHomeDataControlAPI* const control = CHomeDataControlAPI::GetInstance();
        if (control)
            control->GetDisclaimerItemAgreement("viewing", &viewing, "TV");
        else
            VDR_LOG(DLOG_INFO, "StartAnalyze", "CHomeDataControlAPI Get API instance fail!\n\n");
        return viewing;
    });
}

int SendStart(const char* method, int captureType) {
    constexpr char function[] = "StartAnalyze";
    const int captureMode = CaptureMode(captureType);
    int bHDMI = 0, deviceType = 0;
    std::string deviceName;
    VDRAPIProvider::GetInstance()->Getcurrentsource(bHDMI, deviceType, deviceName);
    const int viewing = ViewingAgreement();
    VDR_LOG(DLOG_INFO, function, "viewing : %d\n", viewing);
    VDR_LOG(DLOG_ERROR, function,
            "API_PROVIDER:  viewing(%d), bHDMI(%d), deviceType(%d), deviceName(%s), "
            "captureMode(%d)\n",
            viewing, bHDMI, deviceType, deviceName.c_str(), captureMode);
    return VDRS_Client_Inotify_Send(method, viewing, bHDMI, deviceType, deviceName, captureMode);
}

}  // namespace

bool VisionDataRecognitionAPI::StartAnalyze(const char* method, int captureType) {
    constexpr char function[] = "StartAnalyze";
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_ERROR, function, "StartAnalyze Call\n");
    if (!method) return false;
    Initialize();
    return Walled(false, [=] {
        const std::lock_guard<std::mutex> lock(s_controlMutex);
        if (Load(bLDStart)) {
            VDR_LOG(DLOG_ERROR, function, "Already VDRS_Client_LD_Start\n");
            return false;
        }
        cri::BusyMarker marker;
        if (!marker.IsOwn() || !marker.Ensure()) return false;
        const int sent = SendStart(method, captureType);
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Start : %d\n", sent);
        Store(bLDStart, true);
        return sent == cri::kChannelDone;
    });
}

bool VisionDataRecognitionAPI::StopAnalyze(const char* method) {
    constexpr char function[] = "StopAnalyze";
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_ERROR, function, "StopAnalyze Call\n");
    if (!method) return false;
    const std::lock_guard<std::mutex> lock(s_controlMutex);
    if (strcmp(method, kPause) == 0 && !Load(bLDStart)) {
        VDR_LOG(DLOG_ERROR, function, "Already VDRS_Client_LD_Stop\n");
        return false;
    }
    VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Stop\n");
    const int sent = VDRS_Client_Inotify_Send(method, nullptr);
    VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Stop : %d\n", sent);
    Store(bLDStart, false);
    cri::BusyMarker().Remove();
    return sent == cri::kChannelDone;
}

bool VisionDataRecognitionAPI::ChangeAnalyze(int captureType) {
    const cri::CancellationHeldOff heldOff;
    const std::lock_guard<std::mutex> lock(s_controlMutex);
    if (!Load(bLDStart)) {
        VDR_LOG(DLOG_ERROR, "ChangeAnalyze", "Engine start error\n");
        return false;
    }
    return Walled(false, [=] {
        return VDRS_Client_Inotify_Send("vdrs_method_ld_change", -1, -1, -1, "",
                                        CaptureMode(captureType)) == cri::kChannelDone;
    });
}

bool VisionDataRecognitionAPI::Request(std::string&, const char* request) {
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_INFO, "Request", "Request Call : %s\n", request ? request : "");
    VDRS_Client_Inotify_Send("vdrs_method_ld_request", nullptr);
    return true;
}

// ---- Results ----

void cri::ReceiveUsage(MOBILE_USAGE&& usage) {
    VisionDataState& state = SharedState();
    auto record = std::make_shared<const MOBILE_USAGE>(std::move(usage));
    {
        std::shared_ptr<const MOBILE_USAGE> replaced = record;
        const std::lock_guard<std::mutex> lock(state.m_usageMutex);
        state.m_usage.swap(replaced);
    }
    state.m_subscribers.Deliver(*record);
}

void VisionDataRecognitionAPI::ReceiveLogoIconData(const MOBILE_USAGE& usage) {
    Walled([&] { cri::ReceiveUsage(MOBILE_USAGE(usage)); });
}

SubscriptionHandle VisionDataRecognitionAPI::SubscribeLogoIconInfo(LogoIconCallback callback) {
    constexpr char function[] = "SubscribeLogoIconInfo";
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_INFO, function, "SubscribeLogoIconInfo Enter\n");
    Initialize();
    return Walled(SubscriptionHandle(), [&] {
        const auto id = ++m_state.m_lastId;
        VDR_LOG(DLOG_INFO, function, "Subscribe (%llu)\n", id);
        m_state.m_subscribers.Add(id, std::move(callback));
        VDRS_Register_LD_Callback(cri::_VDRS_Client_LD);
        return SubscriptionHandle(id, this);
    });
}

bool VisionDataRecognitionAPI::Unsubscribe(SubscriptionHandle& handle) {
    constexpr char function[] = "Unsubscribe";
    const cri::CancellationHeldOff heldOff;
    if (!handle.m_bValid || handle.m_pOwner != this) {
        VDR_LOG(DLOG_ERROR, function, "Wrong Handle : %llu\n", handle.m_id);
        return false;
    }
    VDR_LOG(DLOG_INFO, function, "Unsubscribe %llu\n", handle.m_id);
    handle.m_bValid = false;
    const bool removed = Walled(false, [&] { return m_state.m_subscribers.Remove(handle.m_id); });
    if (removed)
        VDR_LOG(DLOG_INFO, function, "Succeed to unsubscribe\n");
    else
        VDR_LOG(DLOG_ERROR, function, "Cannot find subscription infomation\n");
    return removed;
}

SubscriptionHandle::SubscriptionHandle() : SubscriptionHandle(0, nullptr) {
    m_bValid = false;
}

SubscriptionHandle::SubscriptionHandle(unsigned long long id, VisionDataRecognitionAPI* owner)
    : m_id(id), m_pOwner(owner), m_bValid(true) {}
