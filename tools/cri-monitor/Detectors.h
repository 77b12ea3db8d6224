/// The detectors and engines that a watcher runs while it watches.
#pragma once

#include "ContentsRecognitionAPI.h"
#include "Kinds.h"
#include "Reporter.h"

namespace cri_monitor {

/// All operations may have to wait for the service, and are for one thread.
class Detectors {
  public:
    /// The kinds that the library reports once Start was called. Until then somebody else listens
    /// to their signals.
    static KindSet Delivered();

    /// @param wanted  starts what reports these kinds
    Detectors(KindSet wanted, int captureType, Reporter report);
    Detectors(const Detectors&) = delete;
    Detectors& operator=(const Detectors&) = delete;

    /// Starts them, or starts them anew with a service that has come back and knows of nothing.
    /// What is not answered is said on standard error.
    void Start();
    /// Stops what Start has started, if that was called.
    void Stop();

  private:
    static void OnContentArea(SM_SCREEN_STATUS mode, int x, int y, int width, int height,
                              void* self);
    static void OnVideoPlay(SM_VPD_STATUS status, void* self);
    bool StartBlackScreen();

    const KindSet m_wanted;
    const int m_captureType;
    const Reporter m_report;
    bool m_started = false;
    int m_blackScreenReports = -1;    ///< subscription that reports
    int m_blackScreenReference = -1;  ///< subscription whose reference the service knows of
};

}  // namespace cri_monitor
