/// A connection of its own to a message bus, as a peer of the system or a stranger on the bus has
/// it.
#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

#include "MessageBody.h"

namespace cri_sim {

using namespace cri_recording;  // the simulator speaks in the terms of recordings

/// Gives a reference back, on one of GLib's objects or values.
struct Unref : UnrefBody {
    using UnrefBody::operator();
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

/// Private to its owner: never the process's shared connection, and no main context but its own
/// hears of it. All operations may be called from any thread, and end within 5 seconds.
class BusConnection {
  public:
    /// Connects to the bus at `address`, or to the system bus when that is empty.
    /// @throws std::runtime_error when it cannot
    explicit BusConnection(const std::string& address = {});
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    std::string UniqueName() const;

    /// Makes this connection the owner of `name`, without waiting in line for it.
    /// @throws std::runtime_error when somebody else owns it
    void Own(const std::string& name) const;

    /// @return whether `name`, unique or well-known, is on the bus
    bool SeesOwnerOf(const std::string& name) const;

    /// Sends a signal to everyone; `body` is its text form.
    void Emit(const std::string& path, const std::string& interface, const std::string& member,
              const std::string& body) const;

    /// Returns once the bus has taken in, and passed on, all that this connection has sent.
    void RoundTrip() const;

    /// Leaves the bus. What is sent from now on fails.
    void Close() const;

    GDBusConnection* Raw() const { return m_connection.get(); }

  private:
    Owned<GVariant> AskBus(const char* method, GVariant* arguments) const;

    Owned<GDBusConnection> m_connection;
};

}  // namespace cri_sim
