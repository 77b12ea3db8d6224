/// Keeps a screen up to date with the lines of a recording.
#include "Screen.h"

#include "State.h"

namespace cri_monitor {

using namespace cri_recording;
namespace {

/// Takes a line over into the screen. Each returns whether the screen shows lines of that kind.
struct Follower {
    Screen& screen;

    bool operator()(const StateChange& change) const {
        Merge(screen.state, change);
        return true;
    }
    bool operator()(const ContentArea& area) const {
        screen.contentArea = area;
        return true;
    }
    bool operator()(const VideoPlay& video) const {
        screen.videoPlay = video;
        return true;
    }
    bool operator()(const BlackScreen& report) const {
        screen.blackScreen = report;
        return true;
    }
    bool operator()(const VisionData& data) const {
        screen.visionData = data;
        return true;
    }
    bool operator()(const UiDetection& data) const {
        screen.uiDetection = data;
        return true;
    }
    bool operator()(const Service& service) const {
        screen.serviceAway = !service.present;
        return true;
    }
    bool operator()(const Event&) const { return false; }
    bool operator()(const UiStartStop&) const { return false; }
    bool operator()(const ClientRequest&) const { return false; }
    template <IsFault Fault>
    bool operator()(const Fault&) const {
        return false;
    }
};

}  // namespace

bool Screen::Take(const LineContent& content) {
    return std::visit(Follower{*this}, content);
}

}  // namespace cri_monitor
