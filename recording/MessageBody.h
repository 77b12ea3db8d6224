/// The body of a bus message in its text form, for instance "('Kestrel One', 7)".
#pragma once

#include <glib.h>

#include <memory>
#include <string>

namespace cri_recording {

struct UnrefBody {
    void operator()(GVariant* body) const { g_variant_unref(body); }
};
using MessageBody = std::unique_ptr<GVariant, UnrefBody>;

/// @throws std::invalid_argument when `text` is no such text, or no tuple
MessageBody ParseBody(const std::string& text);

/// @param withTypes  say the types that the text alone would not read back as
std::string PrintBody(GVariant* body, bool withTypes);

}  // namespace cri_recording
