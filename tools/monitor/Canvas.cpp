/// Draws with cairo.
#include "Canvas.h"

#include <glib.h>

#include <algorithm>
#include <numbers>

namespace cri_monitor {
namespace {

constexpr double kQuarterTurn = std::numbers::pi / 2;

}  // namespace

bool Rect::Contains(const Rect& other) const {
    return other.x >= x && other.y >= y && other.Right() <= Right() && other.Bottom() <= Bottom();
}

bool Rect::Touches(const Rect& other) const {
    return x < other.Right() && other.x < Right() && y < other.Bottom() && other.y < Bottom();
}

void Canvas::SetColour(Colour colour, double opacity) const {
    constexpr double kFull = 255;
    cairo_set_source_rgba(m_context, colour.red / kFull, colour.green / kFull, colour.blue / kFull,
                          opacity);
}

void Canvas::Path(const Rect& rect, double radius) const {
    const double round = std::clamp(radius, 0.0, std::min(rect.width, rect.height) / 2);
    const std::array<std::array<double, 2>, 4> centres{
        {{rect.Right() - round, rect.y + round},
         {rect.Right() - round, rect.Bottom() - round},
         {rect.x + round, rect.Bottom() - round},
         {rect.x + round, rect.y + round}}};
    cairo_new_path(m_context);
    double angle = -kQuarterTurn;
    for (const auto& [x, y] : centres) {
        cairo_arc(m_context, x, y, round, angle, angle + kQuarterTurn);
        angle += kQuarterTurn;
    }
    cairo_close_path(m_context);
}

void Canvas::Fill(const Rect& rect, double radius, Colour colour, double opacity) const {
    Path(rect, radius);
    SetColour(colour, opacity);
    cairo_fill(m_context);
}

void Canvas::Outline(const Rect& rect, double radius, Colour colour, double width,
                     double dash) const {
    Path(rect, radius);
    SetColour(colour, 1);
    cairo_set_line_width(m_context, width);
    cairo_set_dash(m_context, &dash, dash > 0 ? 1 : 0, 0);
    cairo_stroke(m_context);
}

void Canvas::Cross(double x, double y, double radius, Colour colour, double width) const {
    SetColour(colour, 1);
    cairo_set_line_width(m_context, width);
    cairo_set_dash(m_context, nullptr, 0, 0);
    cairo_new_path(m_context);
    cairo_arc(m_context, x, y, radius, 0, 4 * kQuarterTurn);
    cairo_move_to(m_context, x - 2 * radius, y);
    cairo_line_to(m_context, x + 2 * radius, y);
    cairo_move_to(m_context, x, y - 2 * radius);
    cairo_line_to(m_context, x, y + 2 * radius);
    cairo_stroke(m_context);
}

void Canvas::SetFont(double size, bool bold) const {
    cairo_select_font_face(m_context, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(m_context, size);
}

double Canvas::TextWidth(const std::string& text, double size, bool bold) const {
    SetFont(size, bold);
    cairo_text_extents_t extents;
    cairo_text_extents(m_context, text.c_str(), &extents);
    return extents.x_advance;
}

void Canvas::Text(const std::string& text, double x, double y, double size, Colour colour,
                  bool bold) const {
    SetFont(size, bold);
    cairo_font_extents_t font;
    cairo_font_extents(m_context, &font);
    SetColour(colour, 1);
    cairo_move_to(m_context, x, y + (font.ascent - font.descent) / 2);
    cairo_show_text(m_context, text.c_str());
}

std::string Canvas::Fitted(const std::string& text, double width, double size, bool bold) const {
    constexpr const char* kEllipsis = "\u2026";
    if (TextWidth(text, size, bold) <= width) return text;
    std::string cut = text;
    while (!cut.empty() && TextWidth(cut + kEllipsis, size, bold) > width) {
        const char* const last = g_utf8_find_prev_char(cut.c_str(), cut.c_str() + cut.size());
        cut.resize(last ? static_cast<std::size_t>(last - cut.c_str()) : 0);
    }
    return cut.empty() ? cut : cut + kEllipsis;
}

}  // namespace cri_monitor
