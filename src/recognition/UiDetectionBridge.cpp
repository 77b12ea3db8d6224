/// Lets the recognition service's signal start and stop UI detection.
#include "recognition/Client.h"

using namespace cri;

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
            const SlotLock slot(g_slotMutex);
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
