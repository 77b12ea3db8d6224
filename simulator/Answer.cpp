/// Makes the messages that answer calls.
#include "Answer.h"

namespace cri_sim {

Answer Answer::Reply(const std::string& body) {
    ParseBody(body);
    return Answer(Kind::kReply, {}, body);
}

Answer Answer::Error(const std::string& name, const std::string& message) {
    return Answer(Kind::kError, name, message);
}

Answer Answer::Silence() {
    return Answer(Kind::kSilence, {}, {});
}

Answer Answer::After(std::chrono::milliseconds delay) const {
    Answer later = *this;
    later.m_delay = delay;
    return later;
}

Owned<GDBusMessage> Answer::MessageFor(GDBusMessage* call) const {
    if (m_kind == Kind::kSilence) return nullptr;
    if (m_kind == Kind::kError)
        return Owned<GDBusMessage>(
            g_dbus_message_new_method_error_literal(call, m_name.c_str(), m_text.c_str()));
    Owned<GDBusMessage> reply(g_dbus_message_new_method_reply(call));
    g_dbus_message_set_body(reply.get(), ParseBody(m_text).get());
    return reply;
}

}  // namespace cri_sim
