/// The recognition service on the bus: its proxy, and calls to it.
#include "recognition/ServiceBus.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <mutex>
#include <string_view>

#include "base/ForkedChild.h"
#include "base/Wall.h"
#include "recognition/ServiceSignals.h"

namespace cri {
namespace {

std::atomic<GMainContext*>
    s_proxyContext;        // made before the proxy is; lives as long as the process
std::mutex s_updateMutex;  // one thread at a time iterates it; nothing is waited for inside

/// Runs `body` with the proxy's context as the one on which the bus library calls back.
template <class Body>
void WithProxyContext(Body body) {
    g_main_context_push_thread_default(s_proxyContext);
    body();
    g_main_context_pop_thread_default(s_proxyContext);
}

/// Handles what the bus has sent to the proxy so far, without waiting for more; does nothing
/// without the lock.
void UpdateServiceProxy(const std::unique_lock<std::mutex>& update) {
    // One round handles all that is pending; a service that floods the bus must not hold us here.
    constexpr int kRounds = 8;
    if (!update) return;
    WithProxyContext([] {
        for (int round = 0; round < kRounds; ++round)
            if (!g_main_context_iteration(s_proxyContext, FALSE)) break;
    });
}

/// Whether the proxy would keep what the signal carries until it is updated, however much that is.
bool CarriesProperties(GDBusMessage* signal) {
    const char* const interface = g_dbus_message_get_interface(signal);
    return interface && std::string_view(interface) == "org.freedesktop.DBus.Properties";
}

/// Sees each message on the bus library's own thread: signals must not pile up in an application
/// that neither calls the service nor runs a main loop.
GDBusMessage* SeeMessage(GDBusConnection*, GDBusMessage* message, gboolean incoming, void*) {
    constexpr unsigned kAtOnce = 16;
    static std::atomic<unsigned> s_signals;
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_SIGNAL)
        return message;
    if (s_signals.fetch_add(1, std::memory_order_relaxed) % kAtOnce == 0 ||
        CarriesProperties(message))
        UpdateServiceProxy(std::unique_lock(s_updateMutex, std::try_to_lock));
    Walled([message] { WatchOverSignal(message); });
    return message;
}

/// The proxy keeps every property that the name's owner tells of, and nobody asks for one.
void DropProperties(GDBusProxy* proxy, GVariant* changed, const char* const*, void*) {
    GVariantIter properties;
    g_variant_iter_init(&properties, changed);
    const char* name = nullptr;
    while (g_variant_iter_next(&properties, "{&sv}", &name, nullptr))
        g_dbus_proxy_set_cached_property(proxy, name, nullptr);
}

void KeepNoProperties(GDBusProxy* proxy) {
    g_signal_connect(proxy, "g-properties-changed", G_CALLBACK(DropProperties), nullptr);
    char** const names = g_dbus_proxy_get_cached_property_names(proxy);
    for (char** name = names; name && *name; ++name)
        g_dbus_proxy_set_cached_property(proxy, *name, nullptr);
    g_strfreev(names);
}

std::atomic<int> s_callsUnderWay;

struct CallUnderWay {
    CallUnderWay() { ++s_callsUnderWay; }
    ~CallUnderWay() { --s_callsUnderWay; }
    CallUnderWay(const CallUnderWay&) = delete;
    CallUnderWay& operator=(const CallUnderWay&) = delete;
};

/// The most descriptors that the process may have.
int DescriptorLimit() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    constexpr rlim_t kLargest = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(limit.rlim_cur, kLargest));
}

}  // namespace

GDBusConnection* GetSystemBus(BusError& error) {
    constexpr int kDescriptorsToConnect = 8;  // more than it takes
    if (!DescriptorsFree(kDescriptorsToConnect)) {
        error.Set(kNoDescriptor);
        return nullptr;
    }
    GDBusConnection* const connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error.Receive());
    // By default the bus library ends the process when the bus goes away.
    if (connection) g_dbus_connection_set_exit_on_close(connection, FALSE);
    return connection;
}

void ReleaseBus(GDBusConnection* connection) {
    g_object_unref(connection);
}

GDBusProxy* NewServiceProxy(GDBusConnection* connection, BusError& error) {
    // A connection that its other users have lost is shared with us still: the bus library would
    // print a critical besides its error.
    if (g_dbus_connection_is_closed(connection)) {
        error.Set("The connection is closed");
        return nullptr;
    }
    if (!s_proxyContext) s_proxyContext = g_main_context_new();
    GDBusProxy* proxy = nullptr;
    WithProxyContext([&] {
        proxy = g_dbus_proxy_new_sync(connection, G_DBUS_PROXY_FLAGS_NONE, nullptr, kServiceName,
                                      kServicePath, kServiceName, nullptr, error.Receive());
    });
    if (!proxy) return nullptr;
    KeepNoProperties(proxy);
    g_dbus_connection_add_filter(connection, SeeMessage, nullptr, nullptr);
    return proxy;
}

ServiceCall::ServiceCall(GDBusProxy* proxy, const char* method, const char* replyType,
                         GVariant* arguments) {
    if (arguments) g_variant_ref_sink(arguments);
    const std::unique_ptr<GVariant, VariantUnref> ownedArguments(arguments);
    if (!method || !g_dbus_is_member_name(method)) {
        m_error = "no method name";
        return;
    }
    const CallUnderWay underWay;
    if (!DescriptorsFree(kDescriptorsToCall)) {
        m_error = kNoDescriptor;
        return;
    }
    UpdateServiceProxy(std::unique_lock(s_updateMutex));
    BusError error;
    m_reply.reset(g_dbus_proxy_call_sync(proxy, method, arguments, G_DBUS_CALL_FLAGS_NONE,
                                         kCallTimeoutMillis, nullptr, error.Receive()));
    if (!m_reply) {
        m_error = error.Message();
    } else if (replyType && !g_variant_is_of_type(m_reply.get(), G_VARIANT_TYPE(replyType))) {
        m_error = std::string(method) + " was answered with " +
                  g_variant_get_type_string(m_reply.get()) + " instead of " + replyType;
        m_reply.reset();
    }
}

int ServiceCall::Int() const {
    int value = 0;
    g_variant_get_child(m_reply.get(), 0, "i", &value);
    return value;
}

const char* ServiceCall::Text() const {
    const char* text = "";
    g_variant_get_child(m_reply.get(), 0, "&s", &text);
    return text;
}

int ServiceCall::Code() const {
    return g_variant_is_of_type(m_reply.get(), G_VARIANT_TYPE("(i)")) ? Int() : 0;
}

bool DescriptorsFree(int count) {
    // Those of the calls under way may be taken by now or not yet. To open some and see would take
    // them from another thread's call, so they are looked for where they are last given out.
    int missing = count + s_callsUnderWay;
    for (int number = DescriptorLimit() - 1; missing > 0 && number >= 0; --number)
        if (fcntl(number, F_GETFD) < 0) --missing;
    return missing <= 0;
}

void RenewBusLocks() {
    Renew(s_updateMutex);
    RenewSignalLock();
}

}  // namespace cri
