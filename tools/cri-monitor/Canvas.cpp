/// Draws with cairo, and sets texts with Pango.
#include "Canvas.h"

#include <glib.h>

#include <algorithm>
#include <numbers>

namespace cri_monitor {
namespace {

constexpr double kQuarterTurn = std::numbers::pi / 2;

}  // namespace

Rect Rect::Shrunk(double by) const {
    const double across = std::min(by, width / 2), down = std::min(by, height / 2);
    return {x + across, y + down, width - 2 * across, height - 2 * down};
}

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

void Canvas::SetText(const std::string& text, double size, bool bold) const {
    const std::unique_ptr<PangoFontDescription, void (*)(PangoFontDescription*)> font(
        pango_font_description_new(), pango_font_description_free);
    pango_font_description_set_family_static(font.get(), "sans-serif");
    pango_font_description_set_weight(font.get(), bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_absolute_size(font.get(), size * PANGO_SCALE);
    pango_layout_set_font_description(m_layout.get(), font.get());
    pango_layout_set_single_paragraph_mode(m_layout.get(), TRUE);
    pango_layout_set_text(m_layout.get(), text.c_str(), -1);
}

double Canvas::TextWidth(const std::string& text, double size, bool bold) const {
    SetText(text, size, bold);
    PangoRectangle extents;
    pango_layout_get_extents(m_layout.get(), nullptr, &extents);
    return pango_units_to_double(extents.width);
}

void Canvas::Text(const std::string& text, double x, double y, double size, Colour colour,
                  bool bold) const {
    SetText(text, size, bold);
    PangoRectangle extents;
    pango_layout_get_extents(m_layout.get(), nullptr, &extents);
    SetColour(colour, 1);
    cairo_move_to(m_context, x, y - pango_units_to_double(extents.height) / 2);
    pango_cairo_show_layout(m_context, m_layout.get());
}

std::string Canvas::Fitted(const std::string& text, double width, double size, bool bold) const {
    constexpr const char* kEllipsis = "\u2026";
    constexpr glong kMost = 4096;  // fit nowhere, and more of them cannot be measured
    const glong letters = g_utf8_strlen(text.c_str(), -1);
    if (letters <= kMost && TextWidth(text, size, bold) <= width) return text;
    const auto cut = [&](glong count) {
        const char* const end = g_utf8_offset_to_pointer(text.c_str(), count);
        return std::string(text.c_str(), end) + kEllipsis;
    };
    glong fitting = 0, most = std::min(letters, kMost);
    while (fitting < most) {
        const glong middle = (fitting + most + 1) / 2;
        if (TextWidth(cut(middle), size, bold) <= width)
            fitting = middle;
        else
            most = middle - 1;
    }
    return fitting == 0 ? std::string() : cut(fitting);
}

}  // namespace cri_monitor
