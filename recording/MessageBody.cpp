/// Reads and prints the text form of message bodies.
#include "MessageBody.h"

#include <stdexcept>

namespace cri_recording {

MessageBody ParseBody(const std::string& text) {
    GError* error = nullptr;
    MessageBody body(g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, &error));
    if (!body) {
        const std::string reason = error->message;
        g_error_free(error);
        throw std::invalid_argument("no message body: " + text + ": " + reason);
    }
    if (!g_variant_is_of_type(body.get(), G_VARIANT_TYPE_TUPLE))
        throw std::invalid_argument("a message body must be a tuple: " + text);
    return body;
}

std::string PrintBody(GVariant* body, bool withTypes) {
    gchar* printed = g_variant_print(body, withTypes);
    std::string text = printed;
    g_free(printed);
    return text;
}

}  // namespace cri_recording
