/// Makes a recording happen on a simulated set.
#include "Player.h"

#include <random>
#include <stdexcept>
#include <utility>

#include "Faults.h"
#include "vconf.h"

namespace cri_sim {
namespace {

using Clock = Player::Clock;
using Seconds = std::chrono::duration<double>;

/// The text form of a message body, which takes the reference.
std::string Body(GVariant* values) {
    const Owned<GVariant> body(g_variant_ref_sink(values));
    gchar* printed = g_variant_print(body.get(), TRUE);
    std::string text = printed;
    g_free(printed);
    return text;
}

template <class... Integers>
std::string Numbers(Integers... numbers) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_TUPLE);
    (g_variant_builder_add(&builder, "i", int{numbers}), ...);
    return Body(g_variant_builder_end(&builder));
}

void Tell(SimulatedSet& set, const char* method, const std::optional<std::string>& text) {
    if (!text) return;
    const std::string body = Body(g_variant_new("(s)", text->c_str()));
    set.Recognition().SetAnswer(method, Answer::Reply(body));
}

void Tell(SimulatedSet& set, const char* method, const std::optional<int>& number) {
    if (number) set.Recognition().SetAnswer(method, Answer::Reply(Numbers(*number)));
}

void Tell(SimulatedSet& set, const ChannelInfo& info) {
    const std::string body =
        Body(g_variant_new("(sisii)", info.number.c_str(), info.firstValue, info.secondText.c_str(),
                           info.secondValue, info.flag ? 1 : 0));
    set.Recognition().SetAnswer("GetChannelNumberWithInfo", Answer::Reply(body));
}

void Apply(SimulatedSet& set, const StateChange& state) {
    Tell(set, "GetContentsInfo", state.contentsInfo);
    Tell(set, "GetChannelName", state.channelName);
    Tell(set, "GetChannelNumber", state.channelNumber);
    if (state.channelInfo) Tell(set, *state.channelInfo);
    Tell(set, "GetProgramTitle", state.programTitle);
    Tell(set, "GetProgramTitleSource", state.programTitleSource);
    Tell(set, "GetScreenStatus", state.screenStatus);
    Tell(set, "GetBlackScreenPeriodMillis", state.blackScreenPeriodMillis);
    if (state.scrolling)
        Tell(set, "GetChannelScrollStatus", std::optional<int>(*state.scrolling ? 1 : 0));
    if (state.recognitionStatus &&
        vconf_set_int("db/Canalysis-service/recognition_status", *state.recognitionStatus) != 0)
        throw std::runtime_error("the recognition status cannot be stored");
}

void Apply(SimulatedSet& set, const Event& event) {
    const int number = EventNumber(event.event).value_or(0);
    set.Recognition().Emit(event.event, Numbers(number, event.status));
}

void Apply(SimulatedSet& set, const ContentArea& area) {
    set.Recognition().Emit("CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS",
                           Numbers(area.mode, area.x, area.y, area.width, area.height));
}

void Apply(SimulatedSet& set, const VideoPlay& video) {
    set.Recognition().Emit("CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS", Numbers(video.status));
}

void Apply(SimulatedSet& set, const BlackScreen& report) {
    set.Recognition().Emit(
        "BlackScreenInfo",
        Body(g_variant_new("(idiiii)", report.isSolid ? 1 : 0, report.solidProb, int{report.red},
                           int{report.green}, int{report.blue}, report.isRealBlack ? 1 : 0)));
}

void Apply(SimulatedSet& set, const UiStartStop& signal) {
    set.Recognition().Emit("CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP",
                           Numbers(signal.startStop, signal.hdmiPort, signal.isStb,
                                   signal.adaptiveSound, signal.multiview));
}

void Deliver(SimulatedSet& set, Channel channel, const std::string& document) {
    if (!set.PeerOf(channel).Deliver(document))
        throw std::runtime_error("the message file cannot be written");
}

void Apply(SimulatedSet& set, const VisionData& data) {
    Deliver(set, Channel::kVisionData,
            AnalyzeResultDocument(
                {data.appName, data.contentsStatus, data.titleName, data.logos, data.textRegion}));
}

void Apply(SimulatedSet& set, const UiDetection& data) {
    const PipMode pip{data.pip.centerX, data.pip.centerY, data.pip.onOff};
    Deliver(set, Channel::kUiDetection, UiDetectionDocument(data.elements, pip));
}

void Apply(SimulatedSet& set, const Service& service) {
    if (service.present)
        set.Recognition().Return();
    else
        set.Recognition().Leave();
}

void Apply(SimulatedSet&, const ClientRequest&) {}

}  // namespace

Player::Player(SimulatedSet& set, WaitUntil waitUntil, Note note)
    : m_set(set), m_waitUntil(std::move(waitUntil)), m_note(std::move(note)) {}

bool Player::Play(const LineContent& content) try {
    return std::visit([this](const auto& line) { return Happen(line); }, content);
} catch (const std::exception& error) {
    NoteOnce(std::string("not played: ") + error.what());
    return true;
}

template <class Line>
bool Player::Happen(const Line& line) {
    Apply(m_set, line);
    return true;
}

/// A storm over a service that is away would say so a thousand times.
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

bool Player::Happen(const Storm& storm) {
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

bool Player::Happen(const RandomFaults& faults) {
    const std::uint64_t seed = faults.seed ? *faults.seed : std::random_device()();
    m_note(std::to_string(faults.count) + " random faults from seed " + std::to_string(seed));
    for (const LineContent& fault : RandomSequence(seed, faults.count))
        if (!m_waitUntil(Clock::now()) || !Play(fault)) return false;
    return true;
}

/// Whether the service is there is asked behind all that it has sent; the answer does not matter.
void Player::Settle() {
    m_set.Recognition().IsPresent();
}

}  // namespace cri_sim
