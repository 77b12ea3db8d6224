/// The one connection to the recognition service, made by the first operation that needs it.
#include <string.h>

#include <atomic>

#include "base/ForkedChild.h"
#include "recognition/Client.h"

using namespace cri;

pthread_mutex_t cri::g_crsApiMutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

/// Makes one connection and one proxy when several threads come first. Not g_crsApiMutex: locked
/// operations connect too.
std::mutex s_connectMutex;

std::atomic<bool> s_busUsed;      // the bus library has been asked for a connection
std::atomic<bool> s_busInParent;  // that was before this process was forked from its parent

void LogNoBus(const char* reason) {
    CRI_LOG(DLOG_ERROR, "InitService", "bus get sync failed: %s\n", reason);
}

bool GetBus() {
    BusError error;
    GDBusConnection* const connection = cri::GetSystemBus(error);
    if (!connection) {
        LogNoBus(error.Message());
        return false;
    }
    Store(Api::m_connection, connection);
    return true;
}

bool MakeProxy() {
    BusError error;
    GDBusProxy* proxy = cri::NewServiceProxy(Load(Api::m_connection), error);
    if (!proxy) {
        CRI_LOG(DLOG_ERROR, "InitService", "bus proxy new failed: %s\n", error.Message());
        cri::ReleaseBus(Load(Api::m_connection));
        Store(Api::m_connection, static_cast<GDBusConnection*>(nullptr));
        return false;
    }
    Store(Api::m_proxy, proxy);
    return true;
}

bool Connect() {
    std::lock_guard<std::mutex> lock(s_connectMutex);
    if (Load(Api::m_proxy)) return true;
    s_busUsed = true;
    if (!GetBus() || !MakeProxy()) return false;
    CRI_LOG(DLOG_DEBUG, "InitService", "m_connection=0x%p, m_proxy = 0x%p\n",
            static_cast<void*>(Api::m_connection), static_cast<void*>(Api::m_proxy));
    return true;
}

}  // namespace

/// A child has none of the bus library's threads, and that library's locks may be taken for ever.
void cri::ForgetParentsBus() {
    if (s_busUsed) s_busInParent = true;
    const pthread_mutex_t free = PTHREAD_MUTEX_INITIALIZER;
    memcpy(&g_crsApiMutex, &free, sizeof free);
    Renew(s_connectMutex);
    Renew(g_slotMutex);
    RenewBusLocks();
}

bool cri::Connected(const char* function) {
    const CancellationHeldOff heldOff;
    if (Api::InitService()) return true;
    CRI_LOG(DLOG_ERROR, function, "No connection!\n");
    return false;
}

bool cri::CanSubscribe(const char* function) {
    if (!Connected(function)) return false;
    if (cri::DescriptorsFree(cri::kDescriptorsToCall)) return true;
    CRI_LOG(DLOG_ERROR, function, "Error: %s\n", cri::kNoDescriptor);
    return false;
}

bool CContentsRecognitionAPI::InitService() {
    const CancellationHeldOff heldOff;
    if (s_busInParent) {
        LogNoBus("the process was forked from one that had used the bus");
        return false;
    }
    if (Load(m_connection) && Load(m_proxy)) return true;
    return Walled(false, Connect);
}
