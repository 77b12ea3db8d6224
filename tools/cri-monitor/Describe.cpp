/// What each kind of line has to say.
#include "Describe.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "State.h"

namespace cri_monitor {
namespace {

using Statements = std::vector<Statement>;

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

std::string Joined(const std::vector<std::string>& parts, const char* between) {
    std::string all;
    for (const std::string& part : parts)
        if (!part.empty()) all += (all.empty() ? "" : between) + part;
    return all;
}

/// "2 logos"
std::string Count(std::size_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

template <class Edge>
std::string Corners(const cri_sim::Box<Edge>& box) {
    return Short(box.left) + ',' + Short(box.top) + " to " + Short(box.right) + ',' +
           Short(box.bottom);
}

/// "class 12 (0.97) 1640,72 to 1812,150; class 31 ..."
template <class Edge>
std::string All(const std::vector<cri_sim::Detection<Edge>>& detections) {
    std::vector<std::string> parts;
    parts.reserve(detections.size());
    for (const auto& found : detections)
        parts.push_back("class " + std::to_string(found.classId) + " (" + Score(found.score) +
                        ") " + Corners(found.box));
    return Joined(parts, "; ");
}

Statements Say(const cri_sim::StateChange& state) {
    Statements statements;
    for (const StateRow& row : Rows(state))
        if (row.value) statements.push_back({row.name, *row.value, std::nullopt});
    return statements;
}

Statements Say(const cri_sim::Event& event) {
    std::string name = event.event;
    if (name.starts_with(kEventPrefix)) name.erase(0, kEventPrefix.size());
    return {{name, "status " + Number(event.status), std::nullopt}};
}

Statements Say(const cri_sim::ContentArea& area) {
    return {{"mode " + Number(area.mode),
             Number(area.width) + " x " + Number(area.height) + " at " + Number(area.x) + ',' +
                 Number(area.y),
             std::nullopt}};
}

Statements Say(const cri_sim::VideoPlay& video) {
    return {{"status " + Number(video.status), "", std::nullopt}};
}

Statements Say(const cri_sim::BlackScreen& report) {
    const char* const verdict = report.isRealBlack ? "real black" : report.isSolid ? "solid" : "";
    return {{*verdict ? verdict : "picture",
             ColourCode(report) + kBetween + "probability of solid " + Score(report.solidProb),
             std::array<int, 3>{report.red, report.green, report.blue}}};
}

Statements Say(const cri_sim::VisionData& data) {
    const bool hasText = data.textRegion != decltype(data.textRegion){};
    const std::string logos = Joined({Count(data.logos.size(), "logo"), All(data.logos)}, ": ");
    const std::string text = hasText ? "text " + Corners(data.textRegion) : "";
    return {{data.appName.empty() ? "-" : data.appName,
             Joined({data.contentsStatus, data.titleName, logos, text}, kBetween), std::nullopt}};
}

Statements Say(const cri_sim::UiDetection& data) {
    const std::string pip = "picture in picture " + Number(data.pip.onOff) + " at " +
                            Number(data.pip.centerX) + ',' + Number(data.pip.centerY);
    const bool hasPip = data.pip != cri_sim::PictureInPicture{};
    return {{Count(data.elements.size(), "element"),
             Joined({All(data.elements), hasPip ? pip : ""}, kBetween), std::nullopt}};
}

Statements Say(const cri_sim::UiStartStop& signal) {
    return {{signal.startStop == 1 ? "start" : "stop",
             "HDMI port " + Number(signal.hdmiPort) + ", set-top box " + Number(signal.isStb) +
                 ", adaptive sound " + Number(signal.adaptiveSound) + ", multiview " +
                 Number(signal.multiview),
             std::nullopt}};
}

Statements Say(const cri_sim::Service& service) {
    return {{service.present ? "is back" : "is away", "", std::nullopt}};
}

/// What only a simulator deals with.
template <class Other>
Statements Say(const Other&) {
    return {};
}

}  // namespace

std::vector<Statement> Describe(const cri_sim::LineContent& content) {
    return std::visit([](const auto& line) { return Say(line); }, content);
}

std::string ColourCode(const cri_sim::BlackScreen& report) {
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
