/// Content-area detection: the recognition service's detector, and the logo detector behind it.
#include "VisionDataRecognitionAPI.h"
#include "recognition/Client.h"

using namespace cri;

namespace {

/// One request to the logo detector: who logs, and its two lines.
struct LogoRequest {
    const char* function;
    const char* called;
    const char* result;
};

constexpr LogoRequest kLogoStart = {"m_SM_LIDServiceStart", CRI_FORMAT("m_SM_LIDServiceStart()\n"),
                                    CRI_FORMAT("VisionDataRecognitionAPI start result : %s\n\n")};
constexpr LogoRequest kLogoStop = {"m_SM_LIDServiceStop", CRI_FORMAT("m_SM_LIDServiceStop()\n"),
                                   CRI_FORMAT("VisionDataRecognitionAPI stop result : %s\n\n")};
constexpr LogoRequest kLogoPause = {"m_SM_LIDServicePause", CRI_FORMAT("m_SM_LIDServicePause()\n"),
                                    CRI_FORMAT("VisionDataRecognitionAPI pause result : %s\n\n")};
constexpr LogoRequest kLogoResume = {"m_SM_LIDServiceResume",
                                     CRI_FORMAT("m_SM_LIDServiceResume()\n"),
                                     CRI_FORMAT("VisionDataRecognitionAPI resume result : %s\n\n")};
constexpr LogoRequest kLogoChange = {
    "m_SM_LIDServiceChange", CRI_FORMAT("m_SM_LIDServiceChange()\n"),
    CRI_FORMAT("VisionDataRecognitionAPI ChangeAnalyze result : %s\n\n")};

void LogLogoResult(const char* function, const char* format, bool succeeded) {
    CRI_LOG_FORMAT(DLOG_ERROR, function, format, succeeded ? "Succeed" : "Failed");
}

template <class Call>
bool DriveLogoDetector(const LogoRequest& request, Call call) {
    const CancellationHeldOff heldOff;
    CRI_LOG_FORMAT(DLOG_ERROR, request.function, request.called);
    ApiLock lock;
    const bool succeeded = call(VisionDataRecognitionAPI::GetInstance());
    LogLogoResult(request.function, request.result, succeeded);
    return succeeded;
}

constexpr DetectorStart kBothStart = {
    "SM_CADServiceStart", CRI_FORMAT("SM_CADServiceStart(%d) called\n"),
    CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS, "SM_CADServiceStart"};

}  // namespace

bool CContentsRecognitionAPI::m_SM_LIDServiceStart(void*, int captureType) {
    return DriveLogoDetector(kLogoStart, [=](VisionDataRecognitionAPI* detector) {
        return detector->StartAnalyze("vdrs_method_ld_start", captureType);
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServiceStop() {
    return DriveLogoDetector(kLogoStop, [](VisionDataRecognitionAPI* detector) {
        return detector->StopAnalyze("vdrs_method_ld_stop");
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServicePause() {
    return DriveLogoDetector(kLogoPause, [](VisionDataRecognitionAPI* detector) {
        return detector->StopAnalyze("vdrs_method_ld_pause");
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServiceResume(int captureType) {
    return DriveLogoDetector(kLogoResume, [=](VisionDataRecognitionAPI* detector) {
        return detector->StartAnalyze("vdrs_method_ld_resume", captureType);
    });
}

bool CContentsRecognitionAPI::m_SM_LIDServiceChange(int captureType) {
    return DriveLogoDetector(kLogoChange, [=](VisionDataRecognitionAPI* detector) {
        return detector->ChangeAnalyze(captureType);
    });
}

bool CContentsRecognitionAPI::SM_CADServiceStart(ContentAreaCallback callback, void* userData,
                                                 int captureType) {
    const CancellationHeldOff heldOff;
    CRI_LOG_FORMAT(DLOG_ERROR, kBothStart.function, kBothStart.called, captureType);
    const Started start = StartContentArea(kBothStart, callback, userData, captureType);
    if (start == Started::kNotAttached) return false;
    LogLogoResult("SM_CADServiceStart", kLogoStart.result,
                  m_SM_LIDServiceStart(userData, captureType));
    return start == Started::kAnswered;
}

bool CContentsRecognitionAPI::SM_CADServiceStop() {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_CADServiceStop", "SM_CADServiceStop called\n");
    const bool answered = StopContentArea([] { return m_SMServiceStop("SM_CADServiceStop"); });
    LogLogoResult("SM_CADServiceStop", kLogoStop.result, m_SM_LIDServiceStop());
    return answered;
}

bool CContentsRecognitionAPI::SM_CADServicePause() {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_CADServicePause", "SM_CADServicePause called\n");
    const bool answered = Locked([] { return m_SMServiceStop("SM_CADServicePause"); });
    LogLogoResult("SM_CADServicePause", kLogoPause.result, m_SM_LIDServicePause());
    return answered;
}

bool CContentsRecognitionAPI::SM_CADServiceResume(int captureType) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SM_CADServiceResume", "SM_CADServiceResume(%d) called\n", captureType);
    const bool answered =
        Locked([=] { return m_SMServiceStart("SM_CADServiceResume", captureType); });
    LogLogoResult("SM_CADServiceResume", kLogoResume.result, m_SM_LIDServiceResume(captureType));
    return answered;
}

bool CContentsRecognitionAPI::SMServiceChange(int captureType) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_ERROR, "SMServiceChange", "SMServiceChange(%d) called\n", captureType);
    const bool answered = Locked([=] { return m_SMServiceChange(captureType); });
    LogLogoResult("SMServiceChange", CRI_FORMAT("VisionDataRecognitionAPI change result : %s\n\n"),
                  m_SM_LIDServiceChange(captureType));
    return answered;
}
