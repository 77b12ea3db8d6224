/// A whole set as its clients see it: the recognition service and the two file-channel services.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "RecognitionService.h"
#include "Recording.h"
#include "UiDetectionPeer.h"
#include "VisionDataPeer.h"

namespace cri_sim {

using namespace cri_recording;  // the simulator speaks in the terms of recordings

/// Answers clients from its making on. All operations may be called from any thread.
class SimulatedSet {
  public:
    /// Hears of each request of a client, one at a time, on the peers' threads. It must not throw.
    using Observer = std::function<void(const ClientRequest&)>;

    struct Options {
        std::string bus;  ///< its address; empty: the system bus
        std::string directory = kMessageDirectory;
        Observer observer = {};
    };

    /// When it returns the message files are there and the service's name is owned.
    /// @throws std::runtime_error, saying what failed, when the bus or the directory cannot be used
    explicit SimulatedSet(Options options);

    RecognitionService& Recognition() { return m_recognition; }
    /// The peer behind a message-file channel.
    FileChannelPeer& PeerOf(Channel channel);

    /// Kills the bus as a crash would, if it is the private one of the world around this process.
    /// @throws std::runtime_error when it is not, or has gone before
    void KillBus();

    /// What clients have started and not given back, as sentences for people.
    std::vector<std::string> LeftBehind() const;

  private:
    void Observe(const ClientRequest& request);
    RequestObserver ObserverOf(Peer peer);

    const Options m_options;
    std::mutex m_observing;
    VisionDataPeer m_visionData;
    UiDetectionPeer m_uiDetection;
    RecognitionService m_recognition;
};

}  // namespace cri_sim
