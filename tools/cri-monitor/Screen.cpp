/// Follows the lines of a recording.
#include "Screen.h"

#include "State.h"

namespace cri_monitor {
namespace {

/// Each returns whether the kind of line can be seen.
struct Follower {
    Screen& screen;

    bool operator()(const cri_sim::StateChange& change) const {
        Merge(screen.state, change);
        return true;
    }
    bool operator()(const cri_sim::ContentArea& area) const {
        screen.contentArea = area;
        return true;
    }
    bool operator()(const cri_sim::VideoPlay& video) const {
        screen.videoPlay = video;
        return true;
    }
    bool operator()(const cri_sim::BlackScreen& report) const {
        screen.blackScreen = report;
        return true;
    }
    bool operator()(const cri_sim::VisionData& data) const {
        screen.visionData = data;
        return true;
    }
    bool operator()(const cri_sim::UiDetection& data) const {
        screen.uiDetection = data;
        return true;
    }
    bool operator()(const cri_sim::Service& service) const {
        screen.serviceAway = !service.present;
        return true;
    }
    template <class Other>
    bool operator()(const Other&) const {
        return false;
    }
};

}  // namespace

bool Screen::Take(const cri_sim::LineContent& content) {
    return std::visit(Follower{*this}, content);
}

}  // namespace cri_monitor
