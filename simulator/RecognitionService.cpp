/// The scripted recognition service.
#include "RecognitionService.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <string_view>

namespace cri_sim {
namespace {

bool IsOwnInterface(GDBusMessage* call) {
    const char* interface = g_dbus_message_get_interface(call);
    return !interface || std::string_view(interface) == RecognitionService::kInterface;
}

bool IsQuestionForProperties(GDBusMessage* call) {
    return !IsOwnInterface(call) &&
           std::string_view(g_dbus_message_get_interface(call)) ==
               "org.freedesktop.DBus.Properties" &&
           std::string_view(g_dbus_message_get_member(call)) == "GetAll";
}

/// The calls that reach the script; the bus library itself answers a ping and other objects' calls.
bool IsForService(GDBusMessage* message) {
    const char* path = g_dbus_message_get_path(message);
    const char* interface = g_dbus_message_get_interface(message);
    return g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL && path &&
           std::string_view(path) == RecognitionService::kPath &&
           !(interface && std::string_view(interface) == "org.freedesktop.DBus.Peer");
}

std::string ArgumentsOf(GDBusMessage* call) {
    GVariant* body = g_dbus_message_get_body(call);
    return body ? PrintBody(body, false) : "()";
}

Call CallOf(GDBusMessage* call) {
    const char* sender = g_dbus_message_get_sender(call);
    return {g_dbus_message_get_member(call), ArgumentsOf(call), sender ? sender : ""};
}

Answer UnscriptedAnswer(GDBusMessage* call, ServiceState& state) {
    if (IsQuestionForProperties(call)) return Answer::Reply("(@a{sv} {},)");
    const std::string method = g_dbus_message_get_member(call);
    if (!IsOwnInterface(call)) return UnknownMethod(method);
    return UsualAnswer(state, method, g_dbus_message_get_body(call));
}

/// The living services by number. The bus library may call a filter once more while it is being
/// removed; a number that is gone does no harm then, as a pointer would.
class Registry {
  public:
    void Add(unsigned serial, RecognitionService* service) {
        const std::lock_guard lock(m_mutex);
        m_services[serial] = service;
    }
    void Remove(unsigned serial) {
        const std::lock_guard lock(m_mutex);
        m_services.erase(serial);
    }
    template <class Action>
    bool With(unsigned serial, Action&& action) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_services.find(serial);
        if (found != m_services.end()) action(*found->second);
        return found != m_services.end();
    }

  private:
    std::mutex m_mutex;
    std::map<unsigned, RecognitionService*> m_services;
};

Registry& Services() {
    static auto* services = new Registry;
    return *services;
}

unsigned NextSerial() {
    static std::atomic<unsigned> s_last{0};
    return ++s_last;
}

void AwaitGone(const BusConnection& witness, const std::string& name) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (witness.SeesOwnerOf(name))
        if (std::chrono::steady_clock::now() > limit)
            throw std::runtime_error(name + " stays on the bus");
}

}  // namespace

RecognitionService::RecognitionService(const std::string& address, CallObserver observer)
    : m_address(address),
      m_observer(std::move(observer)),
      m_stranger(address),
      m_serial(NextSerial()) {
    Services().Add(m_serial, this);
    m_thread = std::thread(&RecognitionService::Serve, this);
    try {
        Return();
    } catch (...) {
        Stop();
        throw;
    }
}

RecognitionService::~RecognitionService() {
    Stop();
}

void RecognitionService::Stop() {
    Services().Remove(m_serial);
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void RecognitionService::SetAnswer(const std::string& method, const Answer& answer) {
    const std::lock_guard lock(m_mutex);
    m_standing.insert_or_assign(method, answer);
}

void RecognitionService::AnswerOnce(const std::string& method, const Answer& answer) {
    const std::lock_guard lock(m_mutex);
    m_once[method].push_back(answer);
}

void RecognitionService::Disturb(const std::string& method, const Answer& answer) {
    const std::lock_guard lock(m_mutex);
    m_disturbed.insert_or_assign(method, answer);
}

void RecognitionService::Delay(const std::string& method, std::chrono::milliseconds delay) {
    const std::lock_guard lock(m_mutex);
    m_disturbed.erase(method);
    m_delays.insert_or_assign(method, delay);
}

void RecognitionService::Undisturb(const std::string& method) {
    const std::lock_guard lock(m_mutex);
    m_disturbed.erase(method);
    m_delays.erase(method);
}

std::shared_ptr<BusConnection> RecognitionService::Link() const {
    const std::lock_guard lock(m_mutex);
    if (!m_link) throw std::runtime_error("the service has left the bus");
    return m_link;
}

void RecognitionService::Emit(const std::string& member, const std::string& body) {
    Link()->Emit(kPath, kInterface, member, body);
}

void RecognitionService::EmitFromStranger(const std::string& member, const std::string& body) {
    m_stranger.Emit(kPath, kInterface, member, body);
}

void RecognitionService::Settle() {
    Link()->RoundTrip();
    m_stranger.RoundTrip();
}

void RecognitionService::Leave() {
    std::shared_ptr<BusConnection> link;
    {
        const std::lock_guard lock(m_mutex);
        link.swap(m_link);
    }
    if (!link) return;
    link->Close();
    AwaitGone(m_stranger, kName);
    AwaitGone(m_stranger, link->UniqueName());
    const std::lock_guard lock(m_mutex);
    m_state = {};
}

bool RecognitionService::IsPresent() const {
    try {
        Link()->RoundTrip();
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

void RecognitionService::Return() {
    if (IsPresent()) return;
    const auto link = std::make_shared<BusConnection>(m_address);
    g_dbus_connection_add_filter(link->Raw(), Filter, GUINT_TO_POINTER(m_serial), nullptr);
    link->Own(kName);
    const std::lock_guard lock(m_mutex);
    m_link = link;
}

std::vector<Call> RecognitionService::Calls() const {
    const std::lock_guard lock(m_mutex);
    return {m_calls.begin(), m_calls.end()};
}

bool RecognitionService::WaitForCalls(const std::string& method, std::size_t count,
                                      std::chrono::milliseconds limit) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] {
        const auto isOfMethod = [&](const Call& call) { return call.method == method; };
        return std::count_if(m_calls.begin(), m_calls.end(), isOfMethod) >=
               static_cast<std::ptrdiff_t>(count);
    });
}

ServiceState RecognitionService::State() const {
    const std::lock_guard lock(m_mutex);
    return m_state;
}

/// Runs on the bus library's own thread, which serves the program around us too: takes the call
/// away and returns at once.
GDBusMessage* RecognitionService::Filter(GDBusConnection* connection, GDBusMessage* message,
                                         gboolean isIncoming, gpointer serial) {
    if (!isIncoming || !IsForService(message)) return message;
    const bool taken = Services().With(GPOINTER_TO_UINT(serial), [&](RecognitionService& service) {
        const std::lock_guard lock(service.m_mutex);
        service.m_inbox.push_back(
            {Owned<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(connection))),
             Owned<GDBusMessage>(message)});
        service.m_changed.notify_all();
    });
    return taken ? nullptr : message;
}

void RecognitionService::Serve() {
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        while (!m_inbox.empty()) {
            Delivery call = std::move(m_inbox.front());
            m_inbox.pop_front();
            if (IsOwnInterface(call.message.get())) NoteCall(CallOf(call.message.get()), lock);
            AnswerCall(std::move(call));
        }
        SendDue();
        const auto hasWork = [this] { return m_stopping || !m_inbox.empty(); };
        if (m_outbox.empty())
            m_changed.wait(lock, hasWork);
        else
            m_changed.wait_until(lock, m_outbox.begin()->first, hasWork);
    }
}

/// @param lock  of m_mutex, which is not held while the observer runs
void RecognitionService::NoteCall(const Call& call, std::unique_lock<std::mutex>& lock) {
    if (m_observer) {
        lock.unlock();
        m_observer(call);
        lock.lock();
    }
    m_calls.push_back(call);
    if (m_calls.size() > kRememberedCalls) m_calls.pop_front();
    m_changed.notify_all();
}

void RecognitionService::AnswerCall(Delivery call) {
    const Answer answer = Decide(call.message.get());
    Owned<GDBusMessage> reply = answer.MessageFor(call.message.get());
    if (!reply) return;
    m_outbox.emplace(Clock::now() + answer.Delay(),
                     Delivery{std::move(call.connection), std::move(reply)});
}

Answer RecognitionService::Decide(GDBusMessage* call) {
    const std::string method = g_dbus_message_get_member(call);
    if (const auto found = m_disturbed.find(method); found != m_disturbed.end())
        return found->second;
    const auto delay = m_delays.find(method);
    const Answer usual = ScriptedAnswer(call, method);
    return delay != m_delays.end() ? usual.After(delay->second) : usual;
}

Answer RecognitionService::ScriptedAnswer(GDBusMessage* call, const std::string& method) {
    if (const auto queue = m_once.find(method); queue != m_once.end() && !queue->second.empty()) {
        Answer next = queue->second.front();
        queue->second.pop_front();
        return next;
    }
    const auto standing = m_standing.find(method);
    return standing != m_standing.end() ? standing->second : UnscriptedAnswer(call, m_state);
}

/// An answer to a caller that has gone, or over a connection that was closed meanwhile, is dropped.
void RecognitionService::SendDue() {
    const auto due = m_outbox.upper_bound(Clock::now());
    for (auto delivery = m_outbox.begin(); delivery != due; delivery = m_outbox.erase(delivery))
        g_dbus_connection_send_message(delivery->second.connection.get(),
                                       delivery->second.message.get(),
                                       G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
}

}  // namespace cri_sim
