/// How cri-monitor ends; the manual page lists the same.
#pragma once

namespace cri_monitor {

enum ExitCode : int {
    kDone = 0,    ///< also when the reader of the output has gone, or somebody asked to stop
    kFailed = 1,  ///< a file cannot be read or written
    kUsage = 2,
    kNoService = 3,
    kTimeReached = 4
};

}  // namespace cri_monitor
