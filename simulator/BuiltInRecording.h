/// A few seconds of made-up television, for those who have no recording at hand.
#pragma once

#include <string_view>

namespace cri_sim {

/// The recording's text, as in a file. It stands in BuiltInRecording.jsonl.
std::string_view BuiltInRecording();

}  // namespace cri_sim
