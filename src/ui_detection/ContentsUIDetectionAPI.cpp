/// The UI-detection client: its channel's connection, control of the detection engine, its
/// subscribers.
#include <atomic>
#include <mutex>

#include "CUDSClientInotify.h"
#include "Client.h"
#include "base/ForkedChild.h"
#include "base/Wall.h"
#include "channel/FileChannel.h"
#include "channel/SubscriberList.h"

using cri::Walled;

int g_hdmiport = 0;
int g_isSTB = 0;
int g_ASPMenuOnOff = 0;
int g_MultiviewOnOff = 0;

ContentsUIDetectionAPI* ContentsUIDetectionAPI::s_pInstance = nullptr;

struct cri::UiDetectionState {
    bool m_connected = false;                     ///< guarded by s_initMutex
    std::atomic<unsigned long long> m_lastId{0};  ///< of both kinds
    cri::SubscriberList<_PIP_MODE_RESULT> m_pipModeSubscribers{cri::CudsChannel()};
    cri::SubscriberList<std::vector<_DETECTED_RESULT>> m_detectedSubscribers{cri::CudsChannel()};
};

namespace {

/// Makes testing and changing m_connected one step, for every client: they share one channel.
std::mutex s_initMutex;

/// Of the object that the library makes at load.
cri::UiDetectionState* s_firstState;

}  // namespace

void cri::ForgetParentsUiDetection() {
    CudsChannel().DisconnectInChild();
    Renew(s_initMutex);
    if (!s_firstState) return;
    s_firstState->m_pipModeSubscribers.RenewInChild();
    s_firstState->m_detectedSubscribers.RenewInChild();
}

ContentsUIDetectionAPI::ContentsUIDetectionAPI() : m_state(*new cri::UiDetectionState) {
    if (!s_firstState) s_firstState = &m_state;
}

ContentsUIDetectionAPI* ContentsUIDetectionAPI::GetInstance() {
    const cri::CancellationHeldOff heldOff;
    // The first call comes while the library is loaded, before there is another thread.
    if (!s_pInstance) s_pInstance = Walled(s_pInstance, [] { return new ContentsUIDetectionAPI; });
    CRI_LOG(DLOG_ERROR, "GetInstance", "ContentsUIDetectionAPI::s_pInstance %p\n",
            static_cast<void*>(s_pInstance));
    return s_pInstance;
}

bool ContentsUIDetectionAPI::Initialize() {
    constexpr char function[] = "Initialize";
    const cri::CancellationHeldOff heldOff;
    const std::lock_guard<std::mutex> lock(s_initMutex);
    if (m_state.m_connected)
        CRI_LOG(DLOG_INFO, function, "CUDSClientInotifyConnect Already connected\n");
    // Its own functions and a fork disconnect the channel without this client.
    const bool connected = m_state.m_connected && cri::CudsChannel().Connected();
    if (!connected && CUDSClientInotifyConnect() != cri::kChannelDone) {
        CRI_LOG(DLOG_ERROR, function, "CUDSClientInotifyConnect Failed\n");
        return false;
    }
    m_state.m_connected = true;
    CRI_LOG(DLOG_INFO, function, "CUDSClientInotifyConnect Successful\n");
    return true;
}

namespace {

/// Clears `connected` and takes the thread off the channel in one step, so that an Initialize finds
/// either both or neither; waits without the lock, for a callback that may initialise itself.
/// @param connected  stays set when the thread could not be waited for
bool Disconnect(bool& connected) {
    std::unique_lock<std::mutex> lock(s_initMutex);
    if (!connected) {
        CRI_LOG(DLOG_INFO, "Finalize", "CUDSClientInotifyDisconnect Already Disconnected\n");
        return true;
    }
    const auto thread = cri::CudsChannel().Detach();
    connected = false;
    lock.unlock();
    if (cri::CudsChannel().End(thread) == cri::kChannelDone) return true;
    lock.lock();
    connected = true;
    return false;
}

}  // namespace

bool ContentsUIDetectionAPI::Finalize() {
    constexpr char function[] = "Finalize";
    const cri::CancellationHeldOff heldOff;
    if (!Walled(false, [this] { return Disconnect(m_state.m_connected); })) {
        CRI_LOG(DLOG_ERROR, function, "CUDSClientInotifyDisconnect Failed\n");
        return false;
    }
    CRI_LOG(DLOG_INFO, function, "CUDSClientInotifyDisconnect Successful\n");
    return true;
}

bool ContentsUIDetectionAPI::StartAnalyze(int HDMIport, int isSTB, int adaptiveSoundOnOff,
                                          int multiviewonoff) {
    const cri::CancellationHeldOff heldOff;
    CRI_LOG(DLOG_DEBUG, "StartAnalyze", "StartAnalyze Call\n");
    const int sent = CUDSClientInotifySend("cuds_method_engine_start", HDMIport, isSTB,
                                           adaptiveSoundOnOff, multiviewonoff);
    CRI_LOG(DLOG_INFO, "StartAnalyze", "CUDSClientEngineStart : %d\n", sent);
    return true;
}

bool ContentsUIDetectionAPI::StopAnalyze(int HDMIport, int isSTB, int adaptiveSoundOnOff,
                                         int multiviewonoff) {
    const cri::CancellationHeldOff heldOff;
    CRI_LOG(DLOG_DEBUG, "StopAnalyze", "StopAnalyze Call\n");
    const int sent = CUDSClientInotifySend("cuds_method_engine_stop", HDMIport, isSTB,
                                           adaptiveSoundOnOff, multiviewonoff);
    CRI_LOG(DLOG_INFO, "StopAnalyze", "CUDSClientEngineStop : %d\n", sent);
    return true;
}

bool ContentsUIDetectionAPI::SetAdaptiveSoundOnOffChange(int adaptiveSoundOnOff) {
    const cri::CancellationHeldOff heldOff;
    CUDSClientInotifySend("cuds_adaptivesound_onoff_change", -1, -1, adaptiveSoundOnOff, -1);
    CRI_LOG(DLOG_INFO, "SetAdaptiveSoundOnOffChange", "SetAdaptiveSoundOnOffChange : %d\n",
            adaptiveSoundOnOff);
    return true;
}

// ---- Subscribers ----

/// What both kinds of subscription share.
template <class Record>
CUDASubscriptionHandle ContentsUIDetectionAPI::Subscribe(
    const char* function, cri::SubscriberList<Record>& subscribers,
    std::function<void(const Record&)>&& callback) {
    Initialize();
    return Walled(CUDASubscriptionHandle(), [&] {
        const auto id = ++m_state.m_lastId;
        CRI_LOG(DLOG_DEBUG, function, "Subscribe (%llu)\n", id);
        subscribers.Add(id, std::move(callback));
        CUDSRegisterDetectionResultCallback(cri::_CUDS_Client_Result);
        return CUDASubscriptionHandle(id, this);
    });
}

CUDASubscriptionHandle ContentsUIDetectionAPI::SubscribeDetectedCallback(
    DetectedCallback callback) {
    constexpr char function[] = "SubscribeDetectedCallback";
    const cri::CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, function, "SubscribeDetectedCallback Enter\n");
    return Subscribe(function, m_state.m_detectedSubscribers, std::move(callback));
}

CUDASubscriptionHandle ContentsUIDetectionAPI::SubscribePipModeCallback(PipModeCallback callback) {
    constexpr char function[] = "SubscribePipModeCallback";
    const cri::CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, function, "SubscribePipModeCallback Enter\n");
    return Subscribe(function, m_state.m_pipModeSubscribers, std::move(callback));
}

bool ContentsUIDetectionAPI::Unsubscribe(CUDASubscriptionHandle& handle) {
    constexpr char function[] = "Unsubscribe";
    const cri::CancellationHeldOff heldOff;
    if (!handle.m_bValid || handle.m_pOwner != this) {
        CRI_LOG(DLOG_ERROR, function, "Wrong Handle : %llu\n", handle.m_id);
        return false;
    }
    CRI_LOG(DLOG_DEBUG, function, "Unsubscribe %llu\n", handle.m_id);
    handle.m_bValid = false;
    return Walled(false, [&] {
        if (m_state.m_detectedSubscribers.Remove(handle.m_id)) {
            CRI_LOG(DLOG_DEBUG, function, "Succeed to DetectedResult unsubscribe\n");
            return true;
        }
        if (m_state.m_pipModeSubscribers.Remove(handle.m_id)) {
            CRI_LOG(DLOG_DEBUG, function, "Succeed to PipModeResult unsubscribe\n");
            return true;
        }
        CRI_LOG(DLOG_ERROR, function, "Cannot find subscription infomation\n");
        return false;
    });
}

void ContentsUIDetectionAPI::ReceiveDetectedResult(const std::vector<_DETECTED_RESULT>& results) {
    Walled([&] { m_state.m_detectedSubscribers.Deliver(results); });
}

void ContentsUIDetectionAPI::ReceivePipModeResult(const _PIP_MODE_RESULT& result) {
    Walled([&] { m_state.m_pipModeSubscribers.Deliver(result); });
}

CUDASubscriptionHandle::CUDASubscriptionHandle() : CUDASubscriptionHandle(0, nullptr) {
    m_bValid = false;
}

CUDASubscriptionHandle::CUDASubscriptionHandle(unsigned long long id, ContentsUIDetectionAPI* owner)
    : m_id(id), m_pOwner(owner), m_bValid(true) {}
