/// Starts and stops what the set detects with.
#include "Detectors.h"

#include <cstdio>
#include <utility>

#include "UiDetectionSource.h"

namespace cri_monitor {
namespace {

using Api = CContentsRecognitionAPI;

void Complain(bool answered, const char* what) {
    if (!answered) std::fprintf(stderr, "cri-monitor: the service does not answer: %s\n", what);
}

}  // namespace

KindSet Detectors::Delivered() {
    using namespace cri_recording;
    return Kinds<ContentArea, VideoPlay, BlackScreen>();
}

Detectors::Detectors(KindSet wanted, int captureType, Reporter report)
    : m_wanted(wanted), m_captureType(captureType), m_report(std::move(report)) {}

void Detectors::Start() {
    m_started = true;
    if (Has<cri_recording::ContentArea>(m_wanted) || Has<cri_recording::VisionData>(m_wanted))
        Complain(Api::SM_CADServiceStart(OnContentArea, this, m_captureType),
                 "start of the content-area detector");
    if (Has<cri_recording::VideoPlay>(m_wanted))
        Complain(Api::SM_VPDServiceStart(OnVideoPlay, this, m_captureType),
                 "start of the video-play detector");
    if (Has<cri_recording::BlackScreen>(m_wanted))
        Complain(StartBlackScreen(), "start of the black-screen engine");
    if (Has<cri_recording::UiDetection>(m_wanted)) StartUiDetection();
}

/// A service that has come back holds no reference for us. A second subscription takes one, and
/// the first goes on reporting.
bool Detectors::StartBlackScreen() {
    const bool first = m_blackScreenReports < 0;
    const int id = Api::SubscribeBlackScreenEvent(
        [report = first ? m_report : Reporter()](const cri_bs_info_s& info) {
            if (report)
                report(cri_recording::BlackScreen{info.is_solid, info.solid_prob, info.major_red,
                                                  info.major_green, info.major_blue,
                                                  info.is_real_black});
        });
    if (id < 0) return false;
    if (first) m_blackScreenReports = id;
    m_blackScreenReference = id;
    return true;
}

void Detectors::Stop() {
    if (!m_started) return;
    if (Has<cri_recording::ContentArea>(m_wanted) || Has<cri_recording::VisionData>(m_wanted))
        Api::SM_CADServiceStop();
    if (Has<cri_recording::VideoPlay>(m_wanted)) Api::SM_VPDServiceStop();
    if (m_blackScreenReference >= 0) Api::UnsubscribeBlackScreenEvent(m_blackScreenReference);
    if (Has<cri_recording::UiDetection>(m_wanted)) StopUiDetection();
}

void Detectors::OnContentArea(SM_SCREEN_STATUS mode, int x, int y, int width, int height,
                              void* self) {
    const auto& detectors = *static_cast<const Detectors*>(self);
    if (Has<cri_recording::ContentArea>(detectors.m_wanted))
        detectors.m_report(cri_recording::ContentArea{mode, x, y, width, height});
}

void Detectors::OnVideoPlay(SM_VPD_STATUS status, void* self) {
    static_cast<const Detectors*>(self)->m_report(cri_recording::VideoPlay{status});
}

}  // namespace cri_monitor
