/// The vision-data recognition service, as its clients see it: logo analysis over message files.
#pragma once

#include <string>

#include "FileChannelPeer.h"
#include "ResultDocument.h"

namespace cri_sim {

using namespace cri_recording;  // the simulator speaks in the terms of recordings

/// What clients have made of the logo analysis.
struct VisionDataState {
    enum class Analysis { kStopped, kAnalysing, kPaused };

    Analysis analysis = Analysis::kStopped;
    int captureMode = 0;  ///< of the last start, resume or change

    // Of the last start or resume.
    int viewing = 0;
    int bHDMI = 0;
    int deviceType = 0;
    std::string deviceName;

    bool operator==(const VisionDataState&) const = default;
};

/// The service's end of the channel "vdrs_c2s_msg" and "vdrs_s2c_msg". It keeps what clients ask
/// for, and delivers what it is told to, whether an analysis runs or not.
class VisionDataPeer : public StatefulPeer<VisionDataState> {
  public:
    /// See FileChannelPeer::FileChannelPeer.
    explicit VisionDataPeer(std::string directory = kMessageDirectory,
                            RequestObserver observer = {});
};

}  // namespace cri_sim
