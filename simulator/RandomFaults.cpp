/// Draws faults.
#include "RandomFaults.h"

#include <array>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "Faults.h"
#include "UsualAnswers.h"

namespace cri_sim {
namespace {

/// Draws the same numbers on every platform, as the standard's distributions do not.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}

    std::uint32_t Below(std::uint32_t limit) {
        return static_cast<std::uint32_t>(m_engine() % limit);
    }

    template <class List>
    const auto& OneOf(const List& list) {
        return list[Below(static_cast<std::uint32_t>(list.size()))];
    }

  private:
    std::mt19937_64 m_engine;
};

Channel RandomChannel(Dice& dice) {
    return dice.Below(2) == 0 ? Channel::kVisionData : Channel::kUiDetection;
}

std::string RandomMethod(Dice& dice) {
    static const std::vector<std::string> names = MethodNames();
    return dice.OneOf(names);
}

std::string RandomText(Dice& dice) {
    static const std::array<std::string, 8> texts{
        "",
        "{",
        "[]",
        "null",
        "{\"type\":7}",
        "\xff\xfe{}",
        R"({"type":"AnalyzeResult","analyze_result":{"mobile_usage_analysis":{"logo_icon":[{"score":"x"}]}}})",
        R"({"type":"ContentsUIdetection","result":{"detected_list":[{"class_id":-1}]}})"};
    return dice.OneOf(texts);
}

LineContent RandomStorm(Dice& dice) {
    static const std::array<LineContent, 4> contents{
        Event{"CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL", 1}, BlackScreen{}, VisionData{},
        UiDetection{}};
    auto line = std::make_shared<RecordingLine>();
    line->content = dice.OneOf(contents);
    return Storm{100.0 + dice.Below(900), 0.05, std::move(line)};
}

LineContent RandomWrongType(Dice& dice) {
    static const std::array<std::string, 4> bodies{"()", "('x',)", "(1.5,)", "([1, 2], true)"};
    return WrongType{RandomMethod(dice), dice.OneOf(bodies)};
}

LineContent RandomTornMessage(Dice& dice) {
    const Channel channel = RandomChannel(dice);
    return TornMessage{channel, QuietDocument(channel), dice.Below(100)};
}

LineContent RandomStormOrSize(Dice& dice) {
    if (dice.Below(2) == 0) return RandomStorm(dice);
    return OversizedMessage{RandomChannel(dice), dice.Below(100'000)};
}

/// Each draws one kind of fault.
constexpr std::array<LineContent (*)(Dice&), 12> kFaults{
    [](Dice& dice) -> LineContent { return NoAnswer{RandomMethod(dice)}; },
    [](Dice& dice) -> LineContent {
        return LateAnswer{RandomMethod(dice), dice.Below(2500)};
    },
    [](Dice& dice) -> LineContent {
        return ErrorAnswer{RandomMethod(dice), "org.freedesktop.DBus.Error.Failed", "no"};
    },
    RandomWrongType,
    [](Dice& dice) -> LineContent { return AnswerNormally{RandomMethod(dice)}; },
    [](Dice&) -> LineContent { return Leave{}; },
    [](Dice&) -> LineContent { return Return{}; },
    RandomTornMessage,
    [](Dice& dice) -> LineContent { return DeleteMessageFile{RandomChannel(dice)}; },
    [](Dice& dice) -> LineContent { return ReplaceMessageFile{RandomChannel(dice)}; },
    [](Dice& dice) -> LineContent {
        return MalformedMessage{RandomChannel(dice), RandomText(dice)};
    },
    RandomStormOrSize};

/// The method whose answers the fault disturbs; empty for other faults.
std::string DisturbedMethod(const LineContent& content) {
    return std::visit(
        [](const auto& fault) -> std::string {
            if constexpr (requires { fault.method; }) return fault.method;
            return {};
        },
        content);
}

}  // namespace

std::vector<LineContent> RandomSequence(std::uint64_t seed, std::uint32_t count) {
    Dice dice(seed);
    std::vector<LineContent> sequence;
    std::set<std::string> disturbed;
    for (std::uint32_t i = 0; i < count; ++i) {
        sequence.push_back(dice.OneOf(kFaults)(dice));
        disturbed.insert(DisturbedMethod(sequence.back()));
    }
    for (const std::string& method : disturbed)
        if (!method.empty()) sequence.push_back(AnswerNormally{method});
    sequence.push_back(Return{});
    for (const Channel channel : {Channel::kVisionData, Channel::kUiDetection})
        sequence.push_back(MalformedMessage{channel, QuietDocument(channel)});
    return sequence;
}

}  // namespace cri_sim
