/// Shapes and texts in pixels, on whatever cairo draws on.
#pragma once

#include <cairo.h>
#include <pango/pangocairo.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace cri_monitor {

struct Colour {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
};

struct Rect {
    double x;
    double y;
    double width;
    double height;

    double Right() const { return x + width; }
    double Bottom() const { return y + height; }
    /// Smaller by that on each side, down to nothing.
    Rect Shrunk(double by) const;
    bool Contains(const Rect& other) const;
    bool Touches(const Rect& other) const;
};

/// One picture being drawn. What is drawn later covers what is there.
class Canvas {
  public:
    /// @param context  drawn on; outlives the canvas
    explicit Canvas(cairo_t* context)
        : m_context(context), m_layout(pango_cairo_create_layout(context)) {}

    void Fill(const Rect& rect, double radius, Colour colour, double opacity = 1) const;
    /// @param dash  length of the dashes; 0 for none
    void Outline(const Rect& rect, double radius, Colour colour, double width,
                 double dash = 0) const;
    void Cross(double x, double y, double radius, Colour colour, double width) const;

    /// Texts may be of any script: one line each, shaped, in fonts that have its letters.
    double TextWidth(const std::string& text, double size, bool bold = false) const;
    /// `y` is the text's middle.
    void Text(const std::string& text, double x, double y, double size, Colour colour,
              bool bold = false) const;
    /// `text`, cut with an ellipsis where it is wider than `width`.
    std::string Fitted(const std::string& text, double width, double size, bool bold = false) const;

  private:
    void SetColour(Colour colour, double opacity) const;
    void SetText(const std::string& text, double size, bool bold) const;
    void Path(const Rect& rect, double radius) const;

    struct LayoutUnref {
        void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    };

    cairo_t* const m_context;
    const std::unique_ptr<PangoLayout, LayoutUnref> m_layout;  ///< of the text being drawn
};

}  // namespace cri_monitor
