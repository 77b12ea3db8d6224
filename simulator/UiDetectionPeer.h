/// The contents-UI detection service, as its clients see it: UI detection over message files.
#pragma once

#include <string>

#include "FileChannelPeer.h"
#include "ResultDocument.h"

namespace cri_sim {

using namespace cri_recording;  // the simulator speaks in the terms of recordings

/// What clients have made of the detection engine.
struct UiDetectionState {
    bool running = false;

    // Of the last engine start or stop.
    int hdmiPort = 0;
    int isStb = 0;
    int adaptiveSound = 0;  ///< or of the last change of the setting, whichever is later
    int multiview = 0;

    bool operator==(const UiDetectionState&) const = default;
};

/// The service's end of the channel "cuds_c2s_msg" and "cuds_s2c_msg".
///
/// A client that connects empties both files and writes the line "cuds_method_ld_test" into them.
/// That line is a request without values like any other: wait for it where the requests after it
/// are counted. Of a method that the service does not know, a value line of four integers or of a
/// single unsigned one is accepted.
class UiDetectionPeer : public StatefulPeer<UiDetectionState> {
  public:
    /// See FileChannelPeer::FileChannelPeer.
    explicit UiDetectionPeer(std::string directory = kMessageDirectory,
                             RequestObserver observer = {});
};

}  // namespace cri_sim
