/// What the recognition service reports: its events and signals, its coming and going.
#pragma once

#include <array>
#include <functional>

#include "ContentsRecognitionAPI.h"
#include "Kinds.h"
#include "Reporter.h"

namespace cri_monitor {

/// Listens until the process ends, and reports on the main loop's thread.
///
/// The library attaches the signals of the detectors and of the black-screen engine only together
/// with a start of what sends them. Who starts nothing, and yet wants to hear what others have
/// started, listens on the library's connection.
class RecognitionSource {
  public:
    /// @param wanted  kinds to listen for, less those that somebody else gets from the library
    RecognitionSource(KindSet wanted, Reporter report);
    RecognitionSource(const RecognitionSource&) = delete;
    RecognitionSource& operator=(const RecognitionSource&) = delete;

    /// Connects and subscribes; takes up to the bus library's limits when the service is mute.
    /// @return false when there is no bus
    bool Open();

  private:
    struct EventSlot {
        CONTENTS_RECOGNITION_EVENTS event;
        const RecognitionSource* source;
    };

    static void OnEvent(CRS_EVENT_TYPE status, void* slot);
    void SubscribeEvents();
    void SubscribeSignals();
    void WatchPresence();
    void TakePresence(bool present);

    const KindSet m_wanted;
    const Reporter m_report;
    std::array<EventSlot, 7> m_slots;
    bool m_present = true;  ///< as far as it was reported; the main loop's thread's own
};

}  // namespace cri_monitor
