/// The vision-data recognition service, as its clients see it.
#include "VisionDataPeer.h"

#include <utility>

namespace cri_sim {
namespace {

PeerProtocol Protocol() {
    return {.requestFile = "vdrs_c2s_msg",
            .resultFile = "vdrs_s2c_msg",
            .resultMethod = "vdrs_method_ld_callback",
            .methods = {{"vdrs_method_ld_start", "iiiwi"},
                        {"vdrs_method_ld_resume", "iiiwi"},
                        {"vdrs_method_ld_change", "i"}},
            .otherMethodsValues = {""}};
}

void FollowRequest(VisionDataState& state, const Request& request) {
    using Analysis = VisionDataState::Analysis;
    const std::vector<std::string>& values = request.values;
    if (request.method == "vdrs_method_ld_start" || request.method == "vdrs_method_ld_resume") {
        state = {.analysis = Analysis::kAnalysing,
                 .captureMode = std::stoi(values[4]),
                 .viewing = std::stoi(values[0]),
                 .bHDMI = std::stoi(values[1]),
                 .deviceType = std::stoi(values[2]),
                 .deviceName = values[3]};
    } else if (request.method == "vdrs_method_ld_change") {
        state.captureMode = std::stoi(values[0]);
    } else if (request.method == "vdrs_method_ld_pause") {
        state.analysis = Analysis::kPaused;
    } else if (request.method == "vdrs_method_ld_stop") {
        state.analysis = Analysis::kStopped;
    }
}

}  // namespace

VisionDataPeer::VisionDataPeer(std::string directory, RequestObserver observer)
    : StatefulPeer(Protocol(), std::move(directory), FollowRequest, std::move(observer)) {}

}  // namespace cri_sim
