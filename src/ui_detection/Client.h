/// What the files of the UI-detection client share: its parser.
#pragma once

#define CRI_LOG_UNIT "ContentsUIDetectionAPI"

#include <string>

#include "Channel.h"
#include "ContentsUIDetectionAPI.h"
#include "base/Log.h"

namespace cri {

/// The channel's result callback: reads a document and hands out what it says.
void _CUDS_Client_Result(std::string payload);

}  // namespace cri
