/// Subscriptions of the recognition service's signals, and a watch over signals that nobody takes.
#define CRI_LOG_UNIT "ContentsRecognitionAPI"

#include "recognition/ServiceSignals.h"

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string_view>

#include "base/ForkedChild.h"
#include "base/Log.h"
#include "recognition/ServiceBus.h"

namespace cri {
namespace {

struct ContextUnref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};

struct Subscription {
    const char* member;
    Lifetime lifetime;
    /// The main context in which its signals wait: that of the thread that subscribes.
    std::unique_ptr<GMainContext, ContextUnref> context{g_main_context_ref_thread_default()};
    guint id = 0;
    bool watched = false;   ///< a look at its context is under way
    bool iterated = false;  ///< the last look found that somebody iterates it
};

std::mutex s_mutex;  // guards the list; nothing is called inside that could come back
std::list<Subscription>& Subscriptions() {
    static auto& s_list = *new std::list<Subscription>;  // signals may come while the process exits
    return s_list;
}

std::list<Subscription>::iterator Find(guint id) {
    auto& all = Subscriptions();
    auto found = all.begin();
    while (found != all.end() && found->id != id) ++found;
    return found;
}

constexpr unsigned kPatienceSeconds = 5;
std::atomic<bool> s_told;

/// One look at a main context, from a signal that came for it until the patience is over. It is
/// shared by two sources, of which either may end first.
struct Look {
    GSource* mark;  ///< dispatched by whoever iterates the context
    GMainContext* context;
    guint subscription;
    std::atomic<bool> iterated{false};
};
using SharedLook = std::shared_ptr<Look>;

/// A look begins with the lock held: who has had it since sees the look whole.
void SeeLooks() {
    const std::lock_guard<std::mutex> lock(s_mutex);
}

void Release(void* look) {
    SeeLooks();
    delete static_cast<SharedLook*>(look);
}

/// Whether a thread owns the context: while it iterates it, or from its push on.
bool IsOwned(GMainContext* context) {
    if (!g_main_context_acquire(context)) return true;
    g_main_context_release(context);
    return false;
}

enum class Found { kNothingWaits, kBusy, kNobody };

/// What a look has found, when the patience is over.
Found Conclude(const Look& look) {
    const std::lock_guard<std::mutex> lock(s_mutex);
    const auto found = Find(look.subscription);
    if (found == Subscriptions().end()) return Found::kNothingWaits;
    // A loop that was seen before, and has its context still, is only busy.
    if (!look.iterated && found->iterated && IsOwned(look.context)) return Found::kBusy;
    found->watched = false;
    found->iterated = look.iterated;
    return look.iterated ? Found::kNothingWaits : Found::kNobody;
}

gboolean AfterPatience(void* shared) {
    const Look& look = **static_cast<SharedLook*>(shared);
    const Found found = Conclude(look);
    if (found == Found::kBusy) return G_SOURCE_CONTINUE;
    if (found == Found::kNobody && !s_told.exchange(true))
        CRI_LOG(DLOG_ERROR, "SubscribeEvent",
                "Signals have been waiting for %u s: nobody iterates the main context of the "
                "thread that subscribed. Run a main loop there, as g_main_loop_run() does\n",
                kPatienceSeconds);
    g_source_destroy(look.mark);
    return G_SOURCE_REMOVE;
}

void AddTo(GMainContext* context, GSource* source, GSourceFunc body, const SharedLook& look) {
    g_source_set_callback(source, body, new SharedLook(look), Release);
    g_source_attach(source, context);
}

/// @param own  the context of the calling thread
void StartLook(Subscription& subscription, GMainContext* own) {
    GSource* const mark = g_idle_source_new();
    GSource* const patience = g_timeout_source_new(kPatienceSeconds * 1000);
    const SharedLook look(new Look{mark, subscription.context.get(), subscription.id},
                          [](Look* ended) {
                              g_source_unref(ended->mark);
                              g_main_context_unref(ended->context);
                              delete ended;
                          });
    g_main_context_ref(look->context);
    const auto note = [](void* shared) -> gboolean {
        SeeLooks();
        (*static_cast<SharedLook*>(shared))->iterated = true;
        return G_SOURCE_REMOVE;
    };
    g_source_set_priority(mark, G_PRIORITY_HIGH);
    AddTo(look->context, mark, note, look);
    AddTo(own, patience, AfterPatience, look);
    g_source_unref(patience);
    subscription.watched = true;
}

}  // namespace

guint SubscribeServiceSignal(GDBusConnection* connection, const char* member,
                             GDBusSignalCallback handler, Lifetime lifetime) {
    // The bus library would refuse the reserved event's blank, and a closed connection, with a
    // critical.
    if (!g_dbus_is_member_name(member) || g_dbus_connection_is_closed(connection)) return 0;
    std::list<Subscription> fresh;  // made first: what is subscribed must not get lost
    fresh.push_back({member, lifetime});
    const guint id = g_dbus_connection_signal_subscribe(
        connection, nullptr, kServiceName, member, kServicePath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        handler, nullptr, nullptr);
    if (id == 0) return 0;
    fresh.front().id = id;
    const std::lock_guard<std::mutex> lock(s_mutex);
    Subscriptions().splice(Subscriptions().end(), fresh);
    return id;
}

void EndServiceSignal(GDBusConnection* connection, guint id) {
    std::list<Subscription> ended;  // its context goes without the lock
    {
        const std::lock_guard<std::mutex> lock(s_mutex);
        const auto found = Find(id);
        if (found == Subscriptions().end() || found->lifetime == Lifetime::kProcess) return;
        ended.splice(ended.end(), Subscriptions(), found);
    }
    g_dbus_connection_signal_unsubscribe(connection, id);
}

void WatchOverSignal(GDBusMessage* signal) {
    const char* const interface = g_dbus_message_get_interface(signal);
    const char* const member = g_dbus_message_get_member(signal);
    GMainContext* const own = g_main_context_get_thread_default();
    if (s_told || !own || !interface || !member || std::string_view(interface) != kServiceName)
        return;
    const std::lock_guard<std::mutex> lock(s_mutex);
    for (Subscription& subscription : Subscriptions())
        if (!subscription.watched && std::string_view(member) == subscription.member)
            StartLook(subscription, own);
}

void RenewSignalLock() {
    Renew(s_mutex);
}

}  // namespace cri
