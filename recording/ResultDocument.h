/// The JSON documents in which the message-file services report what a recording's line tells.
#pragma once

#include <string>

#include "Happenings.h"

namespace cri_recording {

/// What the vision-data recognition service writes for `data`: one line, without its newline.
std::string AnalyzeResultDocument(const VisionData& data);

/// What the contents-UI detection service writes for `data`: one line, without its newline.
std::string UiDetectionDocument(const UiDetection& data);

}  // namespace cri_recording
