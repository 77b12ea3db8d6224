/// Names beside the boxes that they belong to, without covering each other.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Canvas.h"

namespace cri_monitor {

/// Collects all boxes before it paints, so that no label lies under a box or across its edge where
/// there is another place.
class Labels {
  public:
    /// @param frame  no label leaves it
    /// @param size   of the letters
    Labels(const Canvas& canvas, const Rect& frame, double size)
        : m_canvas(canvas), m_frame(frame), m_size(size) {}

    void Add(const std::string& text, const Rect& box, Colour colour);

    /// Paints them, the last one first: what was added last has the choice of places. A box
    /// without any free place stays without a name.
    void Paint();

  private:
    struct Label {
        std::string text;
        Rect box;
        Colour colour;
    };

    void Paint(const Label& label);
    std::optional<Rect> Place(const Rect& box, double width, double height) const;
    bool IsFree(const Rect& place) const;
    bool CrossesBox(const Rect& place) const;

    const Canvas& m_canvas;
    const Rect m_frame;
    const double m_size;
    std::vector<Label> m_labels;
    std::vector<Rect> m_taken;
};

}  // namespace cri_monitor
