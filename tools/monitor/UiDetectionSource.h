/// What the contents-UI detection service finds on the screen.
#pragma once

#include "Reporter.h"

namespace cri_monitor {

/// Reports its results until CloseUiDetection, on the channel's own thread; that ends the channel
/// too.
void OpenUiDetection(const Reporter& report);
void CloseUiDetection();

/// Starts and stops the service's engine, for a set without HDMI input, set-top box, adaptive
/// sound and multiview.
void StartUiDetection();
void StopUiDetection();

}  // namespace cri_monitor
