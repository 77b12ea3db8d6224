/// The screen as the services see it at one moment.
#pragma once

#include <optional>

#include "Recording.h"

namespace cri_monitor {

struct Screen {
    cri_recording::StateChange state;
    std::optional<cri_recording::ContentArea> contentArea;
    std::optional<cri_recording::VideoPlay> videoPlay;
    std::optional<cri_recording::BlackScreen> blackScreen;
    cri_recording::VisionData visionData;
    cri_recording::UiDetection uiDetection;
    bool serviceAway = false;

    /// Takes over what `content` tells.
    /// @return whether it looks different now
    bool Take(const cri_recording::LineContent& content);
};

}  // namespace cri_monitor
