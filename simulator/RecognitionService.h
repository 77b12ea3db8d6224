/// The set's recognition service, simulated: it answers as it is told, remembers who asked what,
/// and misbehaves on request.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Answer.h"
#include "BusConnection.h"
#include "UsualAnswers.h"

namespace cri_sim {

/// One method call that reached the service.
struct Call {
    std::string method;
    std::string arguments;  ///< in text form: "()", "(5,)"
    std::string sender;     ///< the caller's unique name
};

/// Hears of each call before it is answered, on the service's thread with no lock held. It must not
/// throw, nor destroy its service.
using CallObserver = std::function<void(const Call&)>;

/// Owns the service's name on a connection of its own and answers on a thread of its own. Without a
/// script it shows a set that is tuned to a made-up channel. All operations may be called from any
/// thread.
class RecognitionService {
  public:
    static constexpr const char* kName = "kestrum.olvex.CrsApi";
    static constexpr const char* kPath = "/kestrum/olvex/CrsApi";
    static constexpr const char* kInterface = kName;

    /// How many calls Calls() remembers; older ones are forgotten.
    static constexpr std::size_t kRememberedCalls = 100'000;

    /// On the bus at `address` or, when that is empty, on the system bus; the name is owned on
    /// return.
    /// @throws std::runtime_error when there is no such bus, or the name is taken
    explicit RecognitionService(const std::string& address = {}, CallObserver observer = {});
    ~RecognitionService();
    RecognitionService(const RecognitionService&) = delete;
    RecognitionService& operator=(const RecognitionService&) = delete;

    /// From now on `method` is answered so. "GetAll", the bus's question for the properties, counts
    /// as a method too.
    void SetAnswer(const std::string& method, const Answer& answer);
    /// The next call of `method` is answered so, and no other one; of several such answers each is
    /// for one call, in order.
    void AnswerOnce(const std::string& method, const Answer& answer);

    /// Until Undisturb `method` is answered so, whatever any other answer would be; the state stays
    /// as it is.
    void Disturb(const std::string& method, const Answer& answer);
    /// Until Undisturb `method` gets its usual answer so much later.
    void Delay(const std::string& method, std::chrono::milliseconds delay);
    void Undisturb(const std::string& method);

    /// Sends the signal `member` with `body` in text form: "(5, 7)".
    void Emit(const std::string& member, const std::string& body);
    /// The same from somebody else on the bus who does not own the service's name.
    void EmitFromStranger(const std::string& member, const std::string& body);
    /// Returns once the bus has passed on everything emitted before.
    void Settle();

    /// Leaves the bus and forgets what clients have started, as a service does that ends; on return
    /// nobody there knows the name any more. Does nothing when it has left.
    void Leave();
    /// Comes back under a new unique name, keeping the script and the state. Does nothing when it
    /// is there.
    void Return();

    /// @return whether it is on the bus, and the bus answers
    bool IsPresent() const;

    /// The calls of the service's own interface so far, in order; of many, the last
    /// kRememberedCalls.
    std::vector<Call> Calls() const;
    /// @return whether `method` was called at least `count` times before `limit` had passed
    bool WaitForCalls(const std::string& method, std::size_t count,
                      std::chrono::milliseconds limit = std::chrono::seconds(5)) const;
    ServiceState State() const;
    /// How many references on the black-screen engine are held.
    int BlackScreenReferences() const { return State().blackScreenReferences; }

  private:
    using Clock = std::chrono::steady_clock;
    /// A message, and the connection that it came over or goes out on.
    struct Delivery {
        Owned<GDBusConnection> connection;
        Owned<GDBusMessage> message;
    };

    static GDBusMessage* Filter(GDBusConnection* connection, GDBusMessage* message,
                                gboolean isIncoming, gpointer serial);
    std::shared_ptr<BusConnection> Link() const;
    void Stop();
    void Serve();
    void NoteCall(const Call& call, std::unique_lock<std::mutex>& lock);
    void AnswerCall(Delivery call);
    void SendDue();
    Answer Decide(GDBusMessage* call);
    Answer ScriptedAnswer(GDBusMessage* call, const std::string& method);

    const std::string m_address;
    const CallObserver m_observer;
    const BusConnection m_stranger;
    const unsigned m_serial;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    bool m_stopping = false;
    std::shared_ptr<BusConnection> m_link;  ///< null while the service is away
    std::deque<Delivery> m_inbox;
    std::multimap<Clock::time_point, Delivery> m_outbox;
    // Answers by method, and what delays them. What is disturbed comes before what is told once,
    // and that before what is told for good.
    std::map<std::string, Answer> m_disturbed;
    std::map<std::string, std::chrono::milliseconds> m_delays;
    std::map<std::string, std::deque<Answer>> m_once;
    std::map<std::string, Answer> m_standing;
    std::deque<Call> m_calls;
    ServiceState m_state;
    std::thread m_thread;
};

}  // namespace cri_sim
