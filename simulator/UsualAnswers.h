/// What the simulated recognition service answers when no script says otherwise: a set that is
/// tuned to a made-up channel.
#pragma once

#include <string>
#include <vector>

#include "Answer.h"

namespace cri_sim {

/// What the service remembers from call to call.
struct ServiceState {
    enum class Detector { kStopped, kRunning, kPaused };

    int blackScreenReferences = 0;
    Detector contentArea = Detector::kStopped;
    Detector videoPlay = Detector::kStopped;

    // As clients last set them.
    int captureType = 0;
    int captureSpeed = 0;
    int resolution = 0;
    int orientation = 0;
    int width = 0;
    int height = 0;
};

/// Answers a call of the service's own interface, which may change `state`; a method that is not
/// known, and arguments of other types, with an error.
/// @param arguments  null when there are none
Answer UsualAnswer(ServiceState& state, const std::string& method, GVariant* arguments);

/// The error for a method that the service does not have.
Answer UnknownMethod(const std::string& method);

/// The methods that are known.
std::vector<std::string> MethodNames();

}  // namespace cri_sim
