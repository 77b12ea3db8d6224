/// Puts each kind of line into words.
#include "Describe.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include "Kinds.h"
#include "Printing.h"
#include "State.h"

namespace cri_monitor {

using namespace cri_recording;
namespace {

using Statements = std::vector<Statement>;

/// What a kind of line says, and the colour in which a terminal shows the kind's name.
struct Speech {
    const char* colour;
    Statements statements;
};

constexpr std::string_view kEventPrefix = "CONTENTS_RECOGNITION_EVENT_";
constexpr const char* kBetween = "  ";

std::string Number(int number) {
    return std::to_string(number);
}

template <class... Values>
std::string Formatted(const char* format, Values... values) {
    std::array<char, 64> text{};
    const int length = std::snprintf(text.data(), text.size(), format, values...);
    return length < 0 ? std::string() : text.data();
}

/// "2 logos"
std::string Count(std::size_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

template <class Edge>
std::string Corners(const Box<Edge>& box) {
    return Short(box.left) + ',' + Short(box.top) + " to " + Short(box.right) + ',' +
           Short(box.bottom);
}

/// "class 12 (0.97) 1640,72 to 1812,150; class 31 ..."
template <class Edge>
std::string All(const std::vector<Detection<Edge>>& detections) {
    std::vector<std::string> parts;
    parts.reserve(detections.size());
    for (const auto& found : detections)
        parts.push_back("class " + std::to_string(found.classId) + " (" + Score(found.score) +
                        ") " + Corners(found.box));
    return Joined(parts, "; ");
}

Speech Say(const StateChange& state) {
    Statements statements;
    for (const StateRow& row : Rows(state))
        if (row.value) statements.push_back({row.name, *row.value, std::nullopt});
    return {"36", statements};
}

Speech Say(const Event& event) {
    std::string name = event.event;
    if (name.starts_with(kEventPrefix)) name.erase(0, kEventPrefix.size());
    return {"1;33", {{name, "status " + Number(event.status), std::nullopt}}};
}

Speech Say(const ContentArea& area) {
    return {"32",
            {{"mode " + Number(area.mode),
              Number(area.width) + " x " + Number(area.height) + " at " + Number(area.x) + ',' +
                  Number(area.y),
              std::nullopt}}};
}

Speech Say(const VideoPlay& video) {
    return {"34", {{"status " + Number(video.status), "", std::nullopt}}};
}

Speech Say(const BlackScreen& report) {
    const char* const verdict = report.isRealBlack ? "real black" : report.isSolid ? "solid" : "";
    return {"35",
            {{*verdict ? verdict : "picture",
              ColourCode(report) + kBetween + "probability of solid " + Score(report.solidProb),
              std::array<int, 3>{report.red, report.green, report.blue}}}};
}

Speech Say(const VisionData& data) {
    const bool hasText = data.textRegion != decltype(data.textRegion){};
    const std::string logos = Joined({Count(data.logos.size(), "logo"), All(data.logos)}, ": ");
    const std::string text = hasText ? "text " + Corners(data.textRegion) : "";
    return {"1;32",
            {{data.appName.empty() ? "-" : data.appName,
              Joined({data.contentsStatus, data.titleName, logos, text}, kBetween), std::nullopt}}};
}

Speech Say(const UiDetection& data) {
    const std::string pip = "picture in picture " + Number(data.pip.onOff) + " at " +
                            Number(data.pip.centerX) + ',' + Number(data.pip.centerY);
    const bool hasPip = data.pip != PictureInPicture{};
    return {"1;34",
            {{Count(data.elements.size(), "element"),
              Joined({All(data.elements), hasPip ? pip : ""}, kBetween), std::nullopt}}};
}

Speech Say(const UiStartStop& signal) {
    return {"33",
            {{signal.startStop == 1 ? "start" : "stop",
              "HDMI port " + Number(signal.hdmiPort) + ", set-top box " + Number(signal.isStb) +
                  ", adaptive sound " + Number(signal.adaptiveSound) + ", multiview " +
                  Number(signal.multiview),
              std::nullopt}}};
}

Speech Say(const Service& service) {
    return {"1;31", {{service.present ? "is back" : "is away", "", std::nullopt}}};
}

struct Describer {
    template <IsHappening Line>
    Description operator()(const Line& line) const {
        Speech speech = Say(line);
        return {ForPeople(Line::kKind), speech.colour, std::move(speech.statements)};
    }
    // What only a simulator deals with.
    Description operator()(const ClientRequest&) const { return {}; }
    template <IsFault Fault>
    Description operator()(const Fault&) const {
        return {};
    }
};

}  // namespace

Description Describe(const LineContent& content) {
    return std::visit(Describer(), content);
}

std::string ColourCode(const BlackScreen& report) {
    return Formatted("#%02x%02x%02x", report.red, report.green, report.blue);
}

std::string Score(double score) {
    return Formatted("%.2f", score);
}

std::string Short(double number) {
    std::string text = Formatted("%.2f", number);
    if (text.find('.') == std::string::npos) return text;
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

}  // namespace cri_monitor
