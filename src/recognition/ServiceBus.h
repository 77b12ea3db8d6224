/// The recognition service on the bus: its proxy, and calls to it.
#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

namespace cri {

/// Bus name and interface of the recognition service.
constexpr char kServiceName[] = "kestrum.olvex.CrsApi";
constexpr char kServicePath[] = "/kestrum/olvex/CrsApi";
constexpr int kCallTimeoutMillis = 2000;

struct VariantUnref {
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};

/// What a bus function reports through its last argument.
class BusError {
  public:
    GError** Receive() { return &m_error; }
    /// The error's message; an empty text when the bus library gave no error object.
    const char* Message() const { return m_error ? m_error->message : ""; }
    ~BusError() { g_clear_error(&m_error); }
    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;

    /// An error of ours, in the bus library's place.
    void Set(const char* message) {
        g_clear_error(&m_error);
        g_set_error_literal(&m_error, G_IO_ERROR, G_IO_ERROR_FAILED, message);
    }

  private:
    GError* m_error = nullptr;
};

/// The process's connection to the system bus, which the bus library shares with everybody in the
/// process; null on failure. It does not end the process when the bus goes away.
GDBusConnection* GetSystemBus(BusError& error);
void ReleaseBus(GDBusConnection* connection);

/// Creates the proxy on the recognition service; null on failure.
///
/// A proxy learns of a restarted service, and gets rid of the signals that it is sent, only when
/// its main context is iterated, and an application need not iterate any. So the proxy gets a
/// context of its own, which is iterated at each call, and now and then as signals arrive.
GDBusProxy* NewServiceProxy(GDBusConnection* connection, BusError& error);

/// The arguments of a call: a tuple of the type that `type` names.
template <class... Values>
GVariant* Arguments(const char* type, Values... values) {
    return g_variant_new(type, values...);
}

/// One synchronous call to the recognition service: the reply, or the reason why there is none.
class ServiceCall {
  public:
    /// @param proxy      from NewServiceProxy
    /// @param replyType  the type that the reply must have; null when nothing but Code is read
    /// @param arguments  a tuple, consumed when floating; null for none
    ServiceCall(GDBusProxy* proxy, const char* method, const char* replyType,
                GVariant* arguments = nullptr);

    /// Whether the service answered with a reply of the expected type.
    explicit operator bool() const { return m_reply != nullptr; }
    /// Why there is no reply; may be empty.
    const char* Error() const { return m_error.c_str(); }
    /// The reply's first value; the reply type must say that it is one of these.
    int Int() const;
    const char* Text() const;
    /// The one number of a reply whose type nobody has asked for; 0 when it is of another.
    int Code() const;
    /// Unpacks the reply, whose type is known.
    template <class... Fields>
    void Read(const char* format, Fields*... fields) const {
        g_variant_get(m_reply.get(), format, fields...);
    }

  private:
    std::unique_ptr<GVariant, VariantUnref> m_reply;
    std::string m_error;
};

/// Whether the process may open `count` descriptors more, beside those that calls under way need.
/// Without one the bus library ends the process.
bool DescriptorsFree(int count);
/// More than one call or subscription takes.
constexpr int kDescriptorsToCall = 2;
constexpr char kNoDescriptor[] = "no free file descriptor";

/// In a child made by fork: nobody holds a lock of this room any more.
void RenewBusLocks();

}  // namespace cri
