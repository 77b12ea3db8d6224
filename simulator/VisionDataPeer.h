/// The vision-data recognition service, as its clients see it: logo analysis over message files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "FileChannelPeer.h"
#include "ResultDocument.h"

namespace cri_sim {

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

using LogoBox = Box<std::uint32_t>;
using Logo = Detection<std::uint32_t>;

/// One result of the logo analysis.
struct AnalyzeResult {
    std::string appName;
    std::string contentsStatus;
    std::string titleName;
    std::vector<Logo> logos;
    std::optional<LogoBox> textRegion;
};

/// The one-line document, for FileChannelPeer::Deliver, that reports `result`.
std::string AnalyzeResultDocument(const AnalyzeResult& result);

}  // namespace cri_sim
