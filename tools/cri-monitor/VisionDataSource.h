/// What the vision-data recognition service finds on the picture.
#pragma once

#include "Reporter.h"

namespace cri_monitor {

/// Reports its results until CloseVisionData, on the channel's own thread; that ends the channel
/// too.
void OpenVisionData(const Reporter& report);
void CloseVisionData();

}  // namespace cri_monitor
