/// Faults that are drawn by lot.
#pragma once

#include <cstdint>
#include <vector>

#include "Recording.h"

namespace cri_sim {

using namespace cri_recording;  // the simulator speaks in the terms of recordings

/// `count` faults and short storms, the same for the same seed everywhere, and after them what
/// ends all that last. The bus is never killed.
std::vector<LineContent> RandomSequence(std::uint64_t seed, std::uint32_t count);

}  // namespace cri_sim
