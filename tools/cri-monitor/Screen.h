/// The screen as the services see it at one moment.
#pragma once

#include <optional>

#include "Recording.h"

namespace cri_monitor {

struct Screen {
    cri_sim::StateChange state;
    std::optional<cri_sim::ContentArea> contentArea;
    std::optional<cri_sim::VideoPlay> videoPlay;
    std::optional<cri_sim::BlackScreen> blackScreen;
    cri_sim::VisionData visionData;
    cri_sim::UiDetection uiDetection;
    bool serviceAway = false;

    /// Takes over what `content` tells.
    /// @return whether it looks different now
    bool Take(const cri_sim::LineContent& content);
};

}  // namespace cri_monitor
