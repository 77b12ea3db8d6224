/// Plays a recording to whoever is on the bus.
#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "FileChannelPeer.h"
#include "Recording.h"

namespace cri_tool {

enum ExitStatus {
    kSuccess = 0,
    kUsageError = 2,
    kBadRecording = 3,
    kNoBus = 4,
    kNoWorld = 125,
};

/// Says something on the standard error.
void Complain(const std::string& text);

/// What to play: the lines of a recording, or nothing when they are typed.
using Script = std::optional<std::vector<cri_recording::RecordingLine>>;

/// Reads the recording `name`: a file, "-" for what is typed, and empty for the built-in one.
/// @param loop  whether it is to be played in a loop
/// @throws cri_recording::RecordingError when it is no recording, or too short for a loop
Script ReadScript(const std::string& name, bool loop);

struct PlayOptions {
    std::string bus;  ///< empty: the system bus
    std::string directory = cri_sim::kMessageDirectory;
    double speed = 1;
    bool loop = false;
    std::optional<double> until;  ///< seconds of real time after which to end, played or not
    bool stays = false;           ///< goes on answering after the last line, until it is stopped
    std::FILE* log = stdout;      ///< null: none
    bool json = false;            ///< the log is a recording
    std::function<void()> onReady = [] {};  ///< called when clients find the set
};

/// @return an ExitStatus
int Play(const Script& script, const PlayOptions& options);

}  // namespace cri_tool
