/// What goes wrong on a simulated set when a recording says so.
#pragma once

#include <cstdint>
#include <vector>

#include "Recording.h"
#include "SimulatedSet.h"

namespace cri_sim {

/// Each makes the fault happen on `set`, or last from now on.
/// @throws std::exception when the set is in no state for it
void Apply(SimulatedSet& set, const NoAnswer& fault);
void Apply(SimulatedSet& set, const LateAnswer& fault);
void Apply(SimulatedSet& set, const ErrorAnswer& fault);
void Apply(SimulatedSet& set, const WrongType& fault);
void Apply(SimulatedSet& set, const AnswerNormally& fault);
void Apply(SimulatedSet& set, const Leave& fault);
void Apply(SimulatedSet& set, const Return& fault);
void Apply(SimulatedSet& set, const KillBus& fault);
void Apply(SimulatedSet& set, const TornMessage& fault);
void Apply(SimulatedSet& set, const DeleteMessageFile& fault);
void Apply(SimulatedSet& set, const ReplaceMessageFile& fault);
void Apply(SimulatedSet& set, const MalformedMessage& fault);
void Apply(SimulatedSet& set, const OversizedMessage& fault);

/// `count` faults and short storms, the same for the same seed everywhere, and after them what
/// ends all that last. The bus is never killed.
std::vector<LineContent> RandomSequence(std::uint64_t seed, std::uint32_t count);

}  // namespace cri_sim
