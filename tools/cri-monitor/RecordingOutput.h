/// Lines as a recording.
#pragma once

#include "Output.h"

namespace cri_monitor {

class RecordingOutput : public Output {
  public:
    bool Begin() override;
    bool Write(const cri_recording::RecordingLine& line) override;
};

}  // namespace cri_monitor
