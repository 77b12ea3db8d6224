/// The contents-UI detection service, as its clients see it.
#include "UiDetectionPeer.h"

#include <utility>

namespace cri_sim {
namespace {

PeerProtocol Protocol() {
    return {.requestFile = "cuds_c2s_msg",
            .resultFile = "cuds_s2c_msg",
            .resultMethod = "cuds_detected_result_callback",
            .methods = {{"cuds_method_ld_test", ""},
                        {"cuds_method_engine_start", "iiii"},
                        {"cuds_method_engine_stop", "iiii"},
                        {"cuds_adaptivesound_onoff_change", "iiii"}},
            .otherMethodsValues = {"iiii", "u"}};
}

void FollowRequest(UiDetectionState& state, const Request& request) {
    const std::vector<std::string>& values = request.values;
    const bool starts = request.method == "cuds_method_engine_start";
    if (starts || request.method == "cuds_method_engine_stop") {
        state = {.running = starts,
                 .hdmiPort = std::stoi(values[0]),
                 .isStb = std::stoi(values[1]),
                 .adaptiveSound = std::stoi(values[2]),
                 .multiview = std::stoi(values[3])};
    } else if (request.method == "cuds_adaptivesound_onoff_change") {
        state.adaptiveSound = std::stoi(values[2]);
    }
}

}  // namespace

UiDetectionPeer::UiDetectionPeer(std::string directory, RequestObserver observer)
    : StatefulPeer(Protocol(), std::move(directory), FollowRequest, std::move(observer)) {}

}  // namespace cri_sim
