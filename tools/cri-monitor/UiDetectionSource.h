/// What the contents-UI detection service finds on the screen.
#pragma once

#include "Reporter.h"

namespace cri_monitor {

/// Reports its results until CloseUiDetection, on the channel's own thread; that ends the channel
/// too.
void OpenUiDetection(const Reporter& report);
void CloseUiDetection();

/// Lets the set's own signal start and stop the service's engine, on the main loop's thread, until
/// StopUiDetection; that stops the engine.
void StartUiDetection();
void StopUiDetection();

}  // namespace cri_monitor
