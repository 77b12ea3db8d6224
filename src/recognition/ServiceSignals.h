/// Subscriptions of the recognition service's signals, and a watch over signals that nobody takes.
#pragma once

#include <gio/gio.h>

namespace cri {

enum class Lifetime {
    kUntilEnded,  ///< EndServiceSignal ends it
    kProcess,     ///< nobody ends it
};

/// Subscribes a signal of the recognition service's object, whoever sends it. `member` and what it
/// points to live as long as the process.
/// @return the bus library's id; 0 when `member` is no name that a signal can have, or the
///         connection has closed
guint SubscribeServiceSignal(GDBusConnection* connection, const char* member,
                             GDBusSignalCallback handler,
                             Lifetime lifetime = Lifetime::kUntilEnded);

/// Ends a subscription. The bus library's ids are shared by the whole process: one that was not
/// handed out by SubscribeServiceSignal, or has ended, is left alone.
void EndServiceSignal(GDBusConnection* connection, guint id);

/// On the bus library's own thread, with each signal that comes: when one waits long and nobody
/// iterates the main context that it waits in, the log says so, once a process.
void WatchOverSignal(GDBusMessage* signal);

/// In a child made by fork: nobody holds the lock of this room any more.
void RenewSignalLock();

/// Unpacks a signal's body. Anybody on the bus may send the signal, so a body of another type is
/// refused: false, and the fields are untouched.
template <class... Fields>
bool Unpack(GVariant* body, const char* type, Fields*... fields) {
    if (!body || !g_variant_is_of_type(body, G_VARIANT_TYPE(type))) return false;
    g_variant_get(body, type, fields...);
    return true;
}

}  // namespace cri
