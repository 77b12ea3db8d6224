/// A connection of its own to a message bus.
#include "BusConnection.h"

#include <stdexcept>

namespace cri_sim {
namespace {

constexpr int kTimeoutMillis = 5000;

[[noreturn]] void Throw(const std::string& what, GError* error) {
    const std::string reason = error ? error->message : "no reason given";
    g_clear_error(&error);
    throw std::runtime_error(what + ": " + reason);
}

std::string SystemBusAddress() {
    GError* error = nullptr;
    gchar* found = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (!found) Throw("cannot find the system bus", error);
    std::string address = found;
    g_free(found);
    return address;
}

/// Keeps what a connection reports by itself away from the main contexts of the program around it.
class OwnContext {
  public:
    OwnContext() : m_context(g_main_context_new()) {
        g_main_context_push_thread_default(m_context);
    }
    ~OwnContext() {
        g_main_context_pop_thread_default(m_context);
        g_main_context_unref(m_context);
    }
    OwnContext(const OwnContext&) = delete;
    OwnContext& operator=(const OwnContext&) = delete;

  private:
    GMainContext* m_context;
};

}  // namespace

BusConnection::BusConnection(const std::string& address) {
    const std::string target = address.empty() ? SystemBusAddress() : address;
    const OwnContext context;
    GError* error = nullptr;
    m_connection.reset(g_dbus_connection_new_for_address_sync(
        target.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    if (!m_connection) Throw("cannot connect to the bus at " + target, error);
}

BusConnection::~BusConnection() {
    Close();
}

std::string BusConnection::UniqueName() const {
    return g_dbus_connection_get_unique_name(Raw());
}

Owned<GVariant> BusConnection::AskBus(const char* method, GVariant* arguments) const {
    GError* error = nullptr;
    Owned<GVariant> reply(g_dbus_connection_call_sync(
        Raw(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, kTimeoutMillis, nullptr, &error));
    if (!reply) Throw(std::string("the bus does not answer ") + method, error);
    return reply;
}

void BusConnection::Own(const std::string& name) const {
    constexpr guint32 kDoNotQueue = 4, kPrimaryOwner = 1;
    guint32 answer = 0;
    const auto reply = AskBus("RequestName", g_variant_new("(su)", name.c_str(), kDoNotQueue));
    g_variant_get(reply.get(), "(u)", &answer);
    if (answer != kPrimaryOwner)
        throw std::runtime_error("the bus name " + name + " belongs to somebody else");
}

bool BusConnection::SeesOwnerOf(const std::string& name) const {
    gboolean has = FALSE;
    const auto reply = AskBus("NameHasOwner", g_variant_new("(s)", name.c_str()));
    g_variant_get(reply.get(), "(b)", &has);
    return has;
}

void BusConnection::Emit(const std::string& path, const std::string& interface,
                         const std::string& member, const std::string& body) const {
    const MessageBody parsed = ParseBody(body);
    GError* error = nullptr;
    if (!g_dbus_connection_emit_signal(Raw(), nullptr, path.c_str(), interface.c_str(),
                                       member.c_str(), parsed.get(), &error))
        Throw("cannot emit " + member, error);
}

void BusConnection::RoundTrip() const {
    AskBus("GetId", nullptr);
}

void BusConnection::Close() const {
    g_dbus_connection_close_sync(Raw(), nullptr, nullptr);
}

}  // namespace cri_sim
