/// Makes things go wrong on a simulated set.
#include "Faults.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

#include "ResultDocument.h"

namespace cri_sim {
namespace {

using std::chrono::milliseconds;

/// Long enough for a client to read the first half of a torn message.
constexpr milliseconds kTear(20);

void Expect(bool done, const char* what) {
    if (!done) throw std::runtime_error(std::string("the message file cannot be ") + what);
}

/// A quiet document that a member which nobody reads makes `bytes` long, unless it is longer
/// anyway.
std::string PaddedDocument(Channel channel, std::size_t bytes) {
    const std::string opening = "{\"padding\":\"";
    const std::string quiet = "\"," + QuietDocument(channel).substr(1);
    const std::size_t least = opening.size() + quiet.size();
    return opening + std::string(bytes > least ? bytes - least : 0, 'x') + quiet;
}

}  // namespace

std::string QuietDocument(Channel channel) {
    return channel == Channel::kVisionData ? AnalyzeResultDocument({}) : UiDetectionDocument({});
}

void Inflict(SimulatedSet& set, const NoAnswer& fault) {
    set.Recognition().Disturb(fault.method, Answer::Silence());
}

void Inflict(SimulatedSet& set, const LateAnswer& fault) {
    set.Recognition().Delay(fault.method, milliseconds(fault.millis));
}

void Inflict(SimulatedSet& set, const ErrorAnswer& fault) {
    set.Recognition().Disturb(fault.method, Answer::Error(fault.name, fault.message));
}

void Inflict(SimulatedSet& set, const WrongType& fault) {
    set.Recognition().Disturb(fault.method, Answer::Reply(fault.body));
}

void Inflict(SimulatedSet& set, const AnswerNormally& fault) {
    set.Recognition().Undisturb(fault.method);
}

void Inflict(SimulatedSet& set, const Leave&) {
    set.Recognition().Leave();
}

void Inflict(SimulatedSet& set, const Return&) {
    set.Recognition().Return();
}

void Inflict(SimulatedSet& set, const KillBus&) {
    set.KillBus();
}

void Inflict(SimulatedSet& set, const TornMessage& fault) {
    const auto tear = [] { std::this_thread::sleep_for(kTear); };
    Expect(set.PeerOf(fault.channel).DeliverTorn(fault.document, fault.split, tear), "written");
}

void Inflict(SimulatedSet& set, const DeleteMessageFile& fault) {
    Expect(set.PeerOf(fault.channel).DeleteFile(), "deleted");
}

void Inflict(SimulatedSet& set, const ReplaceMessageFile& fault) {
    Expect(set.PeerOf(fault.channel).ReplaceFile(), "replaced");
}

void Inflict(SimulatedSet& set, const MalformedMessage& fault) {
    Expect(set.PeerOf(fault.channel).Deliver(fault.text), "written");
}

void Inflict(SimulatedSet& set, const OversizedMessage& fault) {
    const std::string document = PaddedDocument(fault.channel, fault.bytes);
    Expect(set.PeerOf(fault.channel).Deliver(document), "written");
}

}  // namespace cri_sim
