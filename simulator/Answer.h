/// What the simulated recognition service does about one call.
#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "BusConnection.h"

namespace cri_sim {

class Answer {
  public:
    /// Replies with `body`, in text form: "('Kestrel One',)". It may be of a type that is not the
    /// method's.
    /// @throws std::invalid_argument when `body` is no tuple
    static Answer Reply(const std::string& body);
    /// Replies with the error `name`, for instance "org.freedesktop.DBus.Error.Failed".
    static Answer Error(const std::string& name, const std::string& message);
    /// Never replies.
    static Answer Silence();

    /// The same answer, given `delay` after the call; other calls are answered meanwhile.
    Answer After(std::chrono::milliseconds delay) const;

    std::chrono::milliseconds Delay() const { return m_delay; }
    /// @return the message that answers `call`; null for silence
    Owned<GDBusMessage> MessageFor(GDBusMessage* call) const;

  private:
    enum class Kind { kReply, kError, kSilence };
    Answer(Kind kind, std::string name, std::string text)
        : m_kind(kind), m_name(std::move(name)), m_text(std::move(text)) {}

    Kind m_kind;
    std::string m_name;
    std::string m_text;
    std::chrono::milliseconds m_delay{0};
};

}  // namespace cri_sim
