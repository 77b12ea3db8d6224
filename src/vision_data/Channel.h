/// The vision-data client's channel, for the files of this room and for a forked child.
#pragma once

#include "channel/FileChannel.h"

namespace cri {

/// Lives as long as the process: its threads may deliver while it exits.
FileChannel& VdrsChannel();

/// In a child made by fork: leaves the channel disconnected and the client's locks free.
void ForgetParentsVisionData();

}  // namespace cri
