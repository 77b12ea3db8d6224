/// Change events: their subscription, and the slots that all signals of the service have.
#include "recognition/Client.h"

using namespace cri;

namespace {

bool IsChangeEvent(int event) {
    return event > CONTENTS_RECOGNITION_EVENT_UNKNOWN && event < CONTENTS_RECOGNITION_EVENT_MAX;
}

}  // namespace

std::mutex cri::g_slotMutex;

unsigned cri::FillSlot(CONTENTS_RECOGNITION_EVENTS event, GDBusSignalCallback handler) {
    const guint id = cri::SubscribeServiceSignal(Load(Api::m_connection),
                                                 CONTENTS_RECOGNITION_EVENTS_STR[event], handler);
    Store(Api::m_subscriberID[event], id);
    return id;
}

bool cri::RequestUnsubscription(const char* function, unsigned int id) {
    if (!Connected(function)) return false;
    CRI_LOG(DLOG_DEBUG, function, "g_dbus_connection_signal_unsubscribe subscriberID=%d\n",
            static_cast<int>(id));
    cri::EndServiceSignal(Load(Api::m_connection), id);
    return true;
}

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
        const SlotLock slot(g_slotMutex);
        Store(changed_cb[event], callback);
        Store(m_pUserData[event], userData);
        return static_cast<int>(id);
    });
}

bool CContentsRecognitionAPI::UnsubscribeEvent(unsigned int subscriberId) {
    ApiLock lock;
    return RequestUnsubscription("UnsubscribeEvent", subscriberId);
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
    CallIfGiven(callback, static_cast<CRS_EVENT_TYPE>(status), userData);
}
