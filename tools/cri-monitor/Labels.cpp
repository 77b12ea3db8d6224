/// Looks for places for labels.
#include "Labels.h"

#include <algorithm>
#include <array>

namespace cri_monitor {
namespace {

constexpr Colour kInk{16, 20, 28};
constexpr double kHeightOfText = 1.6;
constexpr double kMargin = 0.55;

}  // namespace

void Labels::Add(const std::string& text, const Rect& box, Colour colour) {
    m_labels.push_back({text, box, colour});
}

void Labels::Paint() {
    for (auto label = m_labels.rbegin(); label != m_labels.rend(); ++label) Paint(*label);
}

void Labels::Paint(const Label& label) {
    const double margin = m_size * kMargin;
    const double height = m_size * kHeightOfText;
    const std::string text = m_canvas.Fitted(label.text, m_frame.width - 2 * margin, m_size, true);
    const double width = m_canvas.TextWidth(text, m_size, true) + 2 * margin;
    const auto place = Place(label.box, width, height);
    if (!place) return;
    m_taken.push_back(*place);
    m_canvas.Fill(*place, height / 4, label.colour);
    m_canvas.Text(text, place->x + margin, place->y + height / 2, m_size, kInk, true);
}

/// Above, below, or in a corner; where nothing is free of all boxes, across one.
std::optional<Rect> Labels::Place(const Rect& box, double width, double height) const {
    const double gap = m_size / 4;
    const double most = std::max(m_frame.x, m_frame.Right() - width);
    const double left = std::clamp(box.x, m_frame.x, most);
    const double right = std::clamp(box.Right() - width, m_frame.x, most);
    const double above = box.y - height - gap, below = box.Bottom() + gap;
    const double top = box.y + gap, bottom = box.Bottom() - height - gap;
    std::array<Rect, 8> places{{{left, above, width, height},
                                {left, below, width, height},
                                {left + gap, top, width, height},
                                {right - gap, top, width, height},
                                {right, above, width, height},
                                {right, below, width, height},
                                {left + gap, bottom, width, height},
                                {right - gap, bottom, width, height}}};
    const auto end = std::stable_partition(places.begin(), places.end(),
                                           [this](const Rect& place) { return IsFree(place); });
    if (end == places.begin()) return std::nullopt;
    const auto best = std::find_if_not(places.begin(), end,
                                       [this](const Rect& place) { return CrossesBox(place); });
    return best == end ? places.front() : *best;
}

bool Labels::IsFree(const Rect& place) const {
    return m_frame.Contains(place) &&
           std::none_of(m_taken.begin(), m_taken.end(),
                        [&](const Rect& taken) { return taken.Touches(place); });
}

bool Labels::CrossesBox(const Rect& place) const {
    return std::any_of(m_labels.begin(), m_labels.end(), [&](const Label& label) {
        return label.box.Touches(place) && !label.box.Contains(place);
    });
}

}  // namespace cri_monitor
