/// What the files of the vision-data client share: its state and its parser.
#pragma once

#define CRI_LOG_UNIT "VisionDataRecognitionAPI"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "Channel.h"
#include "VisionDataRecognitionAPI.h"
#include "base/Log.h"
#include "channel/SubscriberList.h"

namespace cri {

struct VisionDataState {
    std::atomic<unsigned long long> m_lastId{0};
    SubscriberList<MOBILE_USAGE> m_subscribers{VdrsChannel()};
    std::mutex m_usageMutex;
    std::shared_ptr<const MOBILE_USAGE> m_usage;  ///< replaced, never changed: it may be being read
};

/// Keeps the record as the latest and hands it to the subscribers.
void ReceiveUsage(MOBILE_USAGE&& usage);

/// The channel's result callback: reads a document and hands out what it says.
void _VDRS_Client_LD(std::string payload);

}  // namespace cri
