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
    KindSet kinds;
    return kinds.set(kContentArea).set(kVideoPlay).set(kBlackScreen);
}

Detectors::Detectors(KindSet wanted, int captureType, Reporter report)
    : m_wanted(wanted), m_captureType(captureType), m_report(std::move(report)) {}

void Detectors::Start() {
    m_started = true;
    if (m_wanted[kContentArea] || m_wanted[kVisionData])
        Complain(Api::SM_CADServiceStart(OnContentArea, this, m_captureType),
                 "start of the content-area detector");
    if (m_wanted[kVideoPlay])
        Complain(Api::SM_VPDServiceStart(OnVideoPlay, this, m_captureType),
                 "start of the video-play detector");
    if (m_wanted[kBlackScreen]) Complain(StartBlackScreen(), "start of the black-screen engine");
    if (m_wanted[kUiDetection]) StartUiDetection();
}

/// A service that has come back holds no reference for us. A second subscription takes one, and
/// the first goes on reporting.
bool Detectors::StartBlackScreen() {
    const bool first = m_blackScreenReports < 0;
    const int id = Api::SubscribeBlackScreenEvent(
        [report = first ? m_report : Reporter()](const cri_bs_info_s& info) {
            if (report)
                report(cri_sim::BlackScreen{info.is_solid, info.solid_prob, info.major_red,
                                            info.major_green, info.major_blue, info.is_real_black});
        });
    if (id < 0) return false;
    if (first) m_blackScreenReports = id;
    m_blackScreenReference = id;
    return true;
}

void Detectors::Stop() {
    if (!m_started) return;
    if (m_wanted[kContentArea] || m_wanted[kVisionData]) Api::SM_CADServiceStop();
    if (m_wanted[kVideoPlay]) Api::SM_VPDServiceStop();
    if (m_blackScreenReference >= 0) Api::UnsubscribeBlackScreenEvent(m_blackScreenReference);
    if (m_wanted[kUiDetection]) StopUiDetection();
}

void Detectors::OnContentArea(SM_SCREEN_STATUS mode, int x, int y, int width, int height,
                              void* self) {
    const auto& detectors = *static_cast<const Detectors*>(self);
    if (detectors.m_wanted[kContentArea])
        detectors.m_report(cri_sim::ContentArea{mode, x, y, width, height});
}

void Detectors::OnVideoPlay(SM_VPD_STATUS status, void* self) {
    static_cast<const Detectors*>(self)->m_report(cri_sim::VideoPlay{status});
}

}  // namespace cri_monitor
