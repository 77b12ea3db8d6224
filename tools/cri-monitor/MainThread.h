/// Hands work to the thread that runs the main loop, where output and state live.
#pragma once

#include <functional>

namespace cri_monitor {

/// Queues `task` for the main loop; callable from any thread. Tasks run in the order queued; those
/// that the loop has not reached when it ends never run.
void OnMainThread(std::function<void()> task);

}  // namespace cri_monitor
