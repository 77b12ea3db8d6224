/// Plays the lines of recordings.
#include "Player.h"

#include <random>
#include <stdexcept>
#include <utility>

#include "Faults.h"
#include "RandomFaults.h"
#include "ResultDocument.h"
#include "vconf.h"

namespace cri_sim {
namespace {

using Clock = Player::Clock;
using Seconds = std::chrono::duration<double>;

/// The text form of a message body that nobody owns yet.
std::string Body(GVariant* values) {
    const MessageBody body(g_variant_ref_sink(values));
    return PrintBody(body.get(), true);
}

template <class... Integers>
std::string Numbers(Integers... numbers) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_TUPLE);
    (g_variant_builder_add(&builder, "i", int{numbers}), ...);
    return Body(g_variant_builder_end(&builder));
}

void SetAnswer(SimulatedSet& set, const char* method, const std::optional<std::string>& text) {
    if (!text) return;
    const std::string body = Body(g_variant_new("(s)", text->c_str()));
    set.Recognition().SetAnswer(method, Answer::Reply(body));
}

void SetAnswer(SimulatedSet& set, const char* method, const std::optional<int>& number) {
    if (number) set.Recognition().SetAnswer(method, Answer::Reply(Numbers(*number)));
}

void SetAnswer(SimulatedSet& set, const ChannelInfo& info) {
    const std::string body =
        Body(g_variant_new("(sisii)", info.number.c_str(), info.firstValue, info.secondText.c_str(),
                           info.secondValue, info.flag ? 1 : 0));
    set.Recognition().SetAnswer("GetChannelNumberWithInfo", Answer::Reply(body));
}

// Each makes happen on the set what a line of its kind tells.

/// Takes the state apart, so that a new member cannot be forgotten here.
void Show(SimulatedSet& set, const StateChange& state) {
    const auto& [contents, channelName, channelNumber, channelInfo, title, titleSource,
                 screenStatus, recognitionStatus, blackScreenPeriod, scrolling] = state;
    SetAnswer(set, "GetContentsInfo", contents);
    SetAnswer(set, "GetChannelName", channelName);
    SetAnswer(set, "GetChannelNumber", channelNumber);
    if (channelInfo) SetAnswer(set, *channelInfo);
    SetAnswer(set, "GetProgramTitle", title);
    SetAnswer(set, "GetProgramTitleSource", titleSource);
    SetAnswer(set, "GetScreenStatus", screenStatus);
    SetAnswer(set, "GetBlackScreenPeriodMillis", blackScreenPeriod);
    if (scrolling) SetAnswer(set, "GetChannelScrollStatus", std::optional<int>(*scrolling ? 1 : 0));
    if (recognitionStatus &&
        vconf_set_int("db/Canalysis-service/recognition_status", *recognitionStatus) != 0)
        throw std::runtime_error("the recognition status cannot be stored");
}

void Show(SimulatedSet& set, const Event& event) {
    const int number = EventNumber(event.event).value_or(0);
    set.Recognition().Emit(event.event, Numbers(number, event.status));
}

void Show(SimulatedSet& set, const ContentArea& area) {
    set.Recognition().Emit("CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS",
                           Numbers(area.mode, area.x, area.y, area.width, area.height));
}

void Show(SimulatedSet& set, const VideoPlay& video) {
    set.Recognition().Emit("CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS", Numbers(video.status));
}

void Show(SimulatedSet& set, const BlackScreen& report) {
    set.Recognition().Emit(
        "BlackScreenInfo",
        Body(g_variant_new("(idiiii)", report.isSolid ? 1 : 0, report.solidProb, int{report.red},
                           int{report.green}, int{report.blue}, report.isRealBlack ? 1 : 0)));
}

void Show(SimulatedSet& set, const UiStartStop& signal) {
    set.Recognition().Emit("CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP",
                           Numbers(signal.startStop, signal.hdmiPort, signal.isStb,
                                   signal.adaptiveSound, signal.multiview));
}

void Deliver(SimulatedSet& set, Channel channel, const std::string& document) {
    if (!set.PeerOf(channel).Deliver(document))
        throw std::runtime_error("the message file cannot be written");
}

void Show(SimulatedSet& set, const VisionData& data) {
    Deliver(set, Channel::kVisionData, AnalyzeResultDocument(data));
}

void Show(SimulatedSet& set, const UiDetection& data) {
    Deliver(set, Channel::kUiDetection, UiDetectionDocument(data));
}

void Show(SimulatedSet& set, const Service& service) {
    if (service.present)
        set.Recognition().Return();
    else
        set.Recognition().Leave();
}

}  // namespace

Player::Player(SimulatedSet& set, WaitUntil waitUntil, Note note)
    : m_set(set), m_waitUntil(std::move(waitUntil)), m_note(std::move(note)) {}

bool Player::Play(const LineContent& content) try {
    return std::visit([this](const auto& line) { return PlayLine(line); }, content);
} catch (const std::exception& error) {
    NoteOnce(std::string("not played: ") + error.what());
    return true;
}

template <IsHappening Line>
bool Player::PlayLine(const Line& line) {
    Show(m_set, line);
    return true;
}

template <IsFault Line>
bool Player::PlayLine(const Line& line) {
    Inflict(m_set, line);
    return true;
}

/// What clients asked for on a set, the clients here ask for themselves.
bool Player::PlayLine(const ClientRequest&) {
    return true;
}

/// Says it unless it was the last thing said: a storm over a service that is away would say so a
/// thousand times.
void Player::NoteOnce(const std::string& text) {
    if (text != m_lastNote) m_note(text);
    m_lastNote = text;
}

bool Player::PlayAll(const std::vector<RecordingLine>& lines, double speed) {
    const auto start = Clock::now();
    for (const RecordingLine& line : lines) {
        const Seconds due = line.time.value_or(std::chrono::microseconds(0)) / speed;
        const auto wait = std::chrono::duration_cast<Clock::duration>(due);
        if (!m_waitUntil(start + wait) || !Play(line.content)) return false;
    }
    Settle();
    return true;
}

bool Player::PlayLine(const Storm& storm) {
    const auto start = Clock::now();
    const auto after = [start](double seconds) {
        return start + std::chrono::duration_cast<Clock::duration>(Seconds(seconds));
    };
    const auto end = after(storm.seconds);
    for (double count = 0; Clock::now() < end; ++count) {
        const auto due = after(count / storm.rate);
        if (due >= end) break;
        if (!m_waitUntil(due) || !Play(storm.line->content)) return false;
    }
    return m_waitUntil(end);
}

bool Player::PlayLine(const RandomFaults& faults) {
    const std::uint64_t seed = faults.seed ? *faults.seed : std::random_device()();
    m_note(std::to_string(faults.count) + " random faults from seed " + std::to_string(seed));
    for (const LineContent& fault : RandomSequence(seed, faults.count))
        if (!m_waitUntil(Clock::now()) || !Play(fault)) return false;
    return true;
}

/// Asks the bus something behind all that the service has sent: when the answer comes, the bus has
/// passed everything on. What it says does not matter.
void Player::Settle() {
    m_set.Recognition().IsPresent();
}

}  // namespace cri_sim
