/// Subscribes to the detected elements and the picture-in-picture states.
#include "UiDetectionSource.h"

#include <memory>
#include <utility>
#include <vector>

#include "ContentsRecognitionAPI.h"
#include "ContentsUIDetectionAPI.h"

namespace cri_monitor {
namespace {

CUDASubscriptionHandle s_elements;
CUDASubscriptionHandle s_pip;
bool s_registered = false;

using Elements = std::vector<cri_recording::Detection<float>>;

Elements Converted(const std::vector<_DETECTED_RESULT>& results) {
    Elements elements;
    for (const _DETECTED_RESULT& found : results)
        elements.push_back(
            {{found.left, found.top, found.right, found.bottom}, found.score, found.class_id});
    return elements;
}

}  // namespace

/// Each result brings a list and then a state, one after the other on one thread.
void OpenUiDetection(const Reporter& report) {
    auto* const client = ContentsUIDetectionAPI::GetInstance();
    const auto latest = std::make_shared<Elements>();
    s_elements = client->SubscribeDetectedCallback(
        [latest](const std::vector<_DETECTED_RESULT>& results) { *latest = Converted(results); });
    s_pip = client->SubscribePipModeCallback([latest, report](const _PIP_MODE_RESULT& pip) {
        report(cri_recording::UiDetection{std::exchange(*latest, {}),
                                          {pip.centerx, pip.centery, pip.on_off}});
    });
}

void CloseUiDetection() {
    auto* const client = ContentsUIDetectionAPI::GetInstance();
    client->Unsubscribe(s_elements);
    client->Unsubscribe(s_pip);
    client->Finalize();
}

/// A registration outlives a service that goes and comes back.
void StartUiDetection() {
    if (!std::exchange(s_registered, true)) CContentsRecognitionAPI::CUDSRegist(nullptr);
}

void StopUiDetection() {
    CContentsRecognitionAPI::CUDSDeRegist(nullptr);
    ContentsUIDetectionAPI::GetInstance()->StopAnalyze(0, 0, 0, 0);
}

}  // namespace cri_monitor
