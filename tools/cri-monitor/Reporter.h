/// How sources tell what they hear.
#pragma once

#include <functional>

#include "Recording.h"

namespace cri_monitor {

/// Takes note of what has just happened; callable from any thread.
using Reporter = std::function<void(cri_recording::LineContent)>;

}  // namespace cri_monitor
