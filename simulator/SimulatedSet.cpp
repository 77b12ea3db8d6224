/// A whole set as its clients see it.
#include "SimulatedSet.h"

#include <signal.h>
#include <stdlib.h>

#include <stdexcept>
#include <utility>

namespace cri_sim {
namespace {

using Detector = ServiceState::Detector;
using Analysis = VisionDataState::Analysis;

void Mention(std::vector<std::string>& list, bool holds, const std::string& sentence) {
    if (holds) list.push_back(sentence);
}

}  // namespace

SimulatedSet::SimulatedSet(Options options)
    : m_options(std::move(options)),
      m_visionData(m_options.directory, ObserverOf(Peer::kVisionData)),
      m_uiDetection(m_options.directory, ObserverOf(Peer::kUiDetection)),
      m_recognition(m_options.bus, [this](const Call& call) {
          Observe({Peer::kRecognition, call.method, call.arguments, std::nullopt});
      }) {}

RequestObserver SimulatedSet::ObserverOf(Peer peer) {
    return [this, peer](const Request& request) {
        const auto malformed = request.malformed ? std::optional(true) : std::nullopt;
        Observe({peer, request.method, request.values, malformed});
    };
}

void SimulatedSet::Observe(const ClientRequest& request) {
    const std::lock_guard lock(m_observing);
    if (m_options.observer) m_options.observer(request);
}

FileChannelPeer& SimulatedSet::PeerOf(Channel channel) {
    if (channel == Channel::kVisionData) return m_visionData;
    return m_uiDetection;
}

/// The process id may have gone to another process when the bus has ended; while the bus answers it
/// has not.
void SimulatedSet::KillBus() {
    const char* text = m_options.bus.empty() ? getenv("CRI_WORLD_BUS_PID") : nullptr;
    const auto bus = text ? static_cast<pid_t>(strtol(text, nullptr, 10)) : 0;
    if (bus <= 0) throw std::runtime_error("only the private bus of an own world can be killed");
    const BusConnection probe;
    probe.RoundTrip();
    if (kill(bus, SIGKILL) != 0) throw std::runtime_error("the bus cannot be killed");
}

std::vector<std::string> SimulatedSet::LeftBehind() const {
    const ServiceState service = m_recognition.State();
    std::vector<std::string> list;
    Mention(list, service.blackScreenReferences > 0,
            "the black-screen engine is referenced " +
                std::to_string(service.blackScreenReferences) + " times");
    Mention(list, service.contentArea == Detector::kRunning, "the content-area detector runs");
    Mention(list, service.contentArea == Detector::kPaused, "the content-area detector is paused");
    Mention(list, service.videoPlay == Detector::kRunning, "the video-play detector runs");
    Mention(list, service.videoPlay == Detector::kPaused, "the video-play detector is paused");
    const Analysis analysis = m_visionData.Current().analysis;
    Mention(list, analysis == Analysis::kAnalysing, "the logo analysis runs");
    Mention(list, analysis == Analysis::kPaused, "the logo analysis is paused");
    Mention(list, m_uiDetection.Current().running, "the UI detection runs");
    return list;
}

}  // namespace cri_sim
