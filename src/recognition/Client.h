/// What the files of the recognition-service client share: its lock, its connection, its slots.
#pragma once

#define CRI_LOG_UNIT "ContentsRecognitionAPI"

#include <pthread.h>

#include <mutex>

#include "ContentsRecognitionAPI.h"
#include "ContentsUIDetectionAPI.h"
#include "base/AtomicWord.h"
#include "base/Log.h"
#include "base/Wall.h"
#include "recognition/ServiceBus.h"
#include "recognition/ServiceSignals.h"

namespace cri {

using Api = CContentsRecognitionAPI;

/// Serialises the public operations. Not recursive: what holds it calls only what does not take it.
extern pthread_mutex_t g_crsApiMutex;

class ApiLock {
  public:
    ApiLock() { pthread_mutex_lock(&g_crsApiMutex); }
    ~ApiLock() { pthread_mutex_unlock(&g_crsApiMutex); }
    ApiLock(const ApiLock&) = delete;
    ApiLock& operator=(const ApiLock&) = delete;

  private:
    const CancellationHeldOff m_heldOff;  // until the lock is released
};

template <class Request>
bool Locked(Request request) {
    ApiLock lock;
    return request();
}

// ---- Connection ----

/// Connects if need be; logs under the name of `function` when that fails.
bool Connected(const char* function);

/// The same, and whether there are descriptors for a subscription.
bool CanSubscribe(const char* function);

/// One call to the service, for those who are connected.
inline ServiceCall CallService(const char* method, const char* replyType,
                               GVariant* arguments = nullptr) {
    return ServiceCall(Load(Api::m_proxy), method, replyType, arguments);
}

void LogCallError(const char* function, const ServiceCall& call);

// ---- Queries ----

/// What tells one query from another: the name under which it logs and the method that it calls.
struct Query {
    const char* function;
    const char* method;
};

/// @return what the query's operation does; `number` is 0 without an answer
bool QueryInt(const Query& query, int& number);

// ---- Slots of the signals ----

/// Guards the pairs of a callback and its user data, which are read and replaced together; never
/// held while a callback runs.
extern std::mutex g_slotMutex;
using SlotLock = std::lock_guard<std::mutex>;

/// What a handler calls, and with what.
template <class Callback>
struct Slot {
    Callback callback;
    void* userData;
};

template <class Callback>
Slot<Callback> ReadSlot(const Callback& callback, int event) {
    const SlotLock lock(g_slotMutex);
    return {Load(callback), Load(Api::m_pUserData[event])};
}

/// Calls the application, unless it has given nothing to call.
template <class Callback, class... Arguments>
void CallIfGiven(Callback callback, Arguments... arguments) {
    if (callback) CallApplication([&] { callback(arguments...); });
}

/// Subscribes the event's signal and notes the id in its slot.
unsigned FillSlot(CONTENTS_RECOGNITION_EVENTS event, GDBusSignalCallback handler);

/// Ends a subscription of ours; logs under the name of `function`.
/// @return false without a connection
bool RequestUnsubscription(const char* function, unsigned id);

// ---- Detectors ----

/// One way to start a detector: who logs, the line that says so, the event that reports, and the
/// method called.
struct DetectorStart {
    const char* function;
    const char* called;
    CONTENTS_RECOGNITION_EVENTS event;
    const char* method;
};

enum class Started { kNotAttached, kNotAnswered, kAnswered };

Started StartContentArea(const DetectorStart& start, Api::ContentAreaCallback callback,
                         void* userData, int captureType);

/// Ends the attachment of the content-area detector that it finds, after `request`, which is called
/// with the lock held.
/// @return the request's result
bool StopContentArea(bool (*request)());

// ---- Load, fork and exit ----

/// In a child made by fork: leaves the bus unusable and the client's locks free.
void ForgetParentsBus();

/// At exit, before the callback map is destroyed.
void EndReports();

constexpr uint32_t kNotSubscribed = 0xFFFFFFFF;

/// The UI-detection client, bound at load, before the application can reach it.
extern ContentsUIDetectionAPI* const g_pcudapi;

}  // namespace cri
