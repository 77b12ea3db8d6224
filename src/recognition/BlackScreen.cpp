/// Black-screen reports: the engine's reference count, the subscriptions and the dispatch to them.
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "recognition/Client.h"

using namespace cri;

namespace {

using BlackScreenMap = std::map<int, Api::BlackScreenCallback>;

/// At exit the callback map is destroyed while a main loop may still run on another thread: from
/// then on there is nobody to report to.
std::atomic<bool> s_reportsEnded;
std::atomic<bool> s_reportsUsed;  ///< a subscription has begun; exit need not wait otherwise

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
    const ServiceCall call = CallService("BlackScreenIncreaseReference", "(i)");
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
    const ServiceCall call = CallService("BlackScreenDecreaseReference", "(i)");
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

std::vector<std::pair<int, Api::BlackScreenCallback>> CallbacksNow() {
    ApiLock lock;
    if (s_reportsEnded) return {};
    return {Api::s_BlackScreenCallbackMap.begin(), Api::s_BlackScreenCallbackMap.end()};
}

}  // namespace

void cri::EndReports() {
    BlackScreenMap callbacks;  // destroyed without the lock
    s_reportsEnded = true;     // first: the lock may not come
    if (!s_reportsUsed || !LockWithinACall()) return;
    callbacks.swap(Api::s_BlackScreenCallbackMap);
    pthread_mutex_unlock(&g_crsApiMutex);
}

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
