/// What goes wrong on a simulated set when a recording says so.
#pragma once

#include <string>

#include "Recording.h"
#include "SimulatedSet.h"

namespace cri_sim {

/// An ordinary document of the channel in which nothing was found.
std::string QuietDocument(Channel channel);

/// Each makes the fault happen on `set`, or last from now on.
/// @throws std::exception when the set is in no state for it
void Inflict(SimulatedSet& set, const NoAnswer& fault);
void Inflict(SimulatedSet& set, const LateAnswer& fault);
void Inflict(SimulatedSet& set, const ErrorAnswer& fault);
void Inflict(SimulatedSet& set, const WrongType& fault);
void Inflict(SimulatedSet& set, const AnswerNormally& fault);
void Inflict(SimulatedSet& set, const Leave& fault);
void Inflict(SimulatedSet& set, const Return& fault);
void Inflict(SimulatedSet& set, const KillBus& fault);
void Inflict(SimulatedSet& set, const TornMessage& fault);
void Inflict(SimulatedSet& set, const DeleteMessageFile& fault);
void Inflict(SimulatedSet& set, const ReplaceMessageFile& fault);
void Inflict(SimulatedSet& set, const MalformedMessage& fault);
void Inflict(SimulatedSet& set, const OversizedMessage& fault);

}  // namespace cri_sim
