/// Where lines go: to a person, or into a recording.
#pragma once

#include "Recording.h"

namespace cri_monitor {

class Output {
  public:
    Output() = default;
    virtual ~Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Writes what stands before all lines.
    /// @return false when it cannot be written, here and below; EndOfOutput says what that means
    virtual bool Begin() = 0;
    /// Writes a line that has a time, and does not keep it in a buffer.
    virtual bool Write(const cri_recording::RecordingLine& line) = 0;
};

}  // namespace cri_monitor
