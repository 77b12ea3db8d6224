/// Runs a program on a simulated set in a world of its own.
#pragma once

#include <string>
#include <vector>

#include "Play.h"

namespace cri_tool {

/// The program finds a private system bus, an empty message directory, a platform store, and the
/// set that plays `script`. When it ends, or this process does, nothing of it stays: no process
/// that it started, no mount, no file. The calling process must have a single thread, and ends with
/// the program's exit status; with 128 and the number of the signal that ended the program; with
/// 127 when that cannot be run.
/// @return kNoWorld, and only when the world cannot be made
int Run(const Script& script, PlayOptions options, const std::vector<std::string>& program);

}  // namespace cri_tool
