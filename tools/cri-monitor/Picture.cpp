/// Composes the picture of a screen.
#include "Picture.h"

#include <cairo-svg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include "Canvas.h"
#include "Describe.h"
#include "Labels.h"
#include "Printing.h"

namespace cri_monitor {
namespace {

// One palette for all: light colours on a dark screen, which stands out from a light page and,
// with its edge, from a dark one.
constexpr Colour kBlank{24, 30, 42};
constexpr Colour kGuide{38, 46, 62};
constexpr Colour kCaption{15, 19, 27};
constexpr Colour kEdge{96, 108, 128};
constexpr Colour kBright{240, 244, 250};
constexpr Colour kSoft{150, 162, 182};
constexpr Colour kAccent{94, 201, 176};
constexpr Colour kTextRegion{196, 167, 255};
constexpr Colour kUiElement{116, 185, 255};
constexpr Colour kPip{255, 142, 180};
constexpr Colour kWarning{255, 120, 110};
constexpr std::array<Colour, 4> kLogos{
    {{255, 200, 87}, {255, 160, 90}, {222, 226, 110}, {255, 178, 150}}};

constexpr double kCaptionHeight = 110;  // all of these on a screen of 1920 x 1080
constexpr double kMargin = 28;
constexpr double kLineWidth = 3;
constexpr double kRadius = 8;
constexpr double kLabelSize = 21;
constexpr double kTitleSize = 30;
constexpr double kSubtitleSize = 24;
constexpr double kPipRadius = 14;
constexpr double kLeastSize = 0.45;      // below that nobody can read
constexpr std::size_t kMostBoxes = 500;  // more are a storm, and no picture

/// Everything about where things stand.
struct Layout {
    explicit Layout(const PictureOptions& options)
        : screen{0, 0, double(options.screen.width), double(options.screen.height)},
          size(std::max(kLeastSize, std::min(screen.width / 1920, screen.height / 1080))),
          xScale(options.units.width > 0 ? screen.width / options.units.width : 1),
          yScale(options.units.height > 0 ? screen.height / options.units.height : 1) {}

    double Height() const { return std::ceil(screen.height + kCaptionHeight * size); }

    /// The part of a box that is on the screen; nothing when none of it is.
    std::optional<Rect> OnScreen(double left, double top, double right, double bottom) const {
        const auto place = [](double edge, double scale, double most) {
            return std::isfinite(edge) ? std::clamp(edge * scale, 0.0, most) : 0.0;
        };
        const double x = place(left, xScale, screen.width);
        const double y = place(top, yScale, screen.height);
        const Rect rect{x, y, place(right, xScale, screen.width) - x,
                        place(bottom, yScale, screen.height) - y};
        if (rect.width <= 0 || rect.height <= 0) return std::nullopt;
        return rect;
    }

    Rect screen;
    double size;  ///< of what does not scale with the services' units
    double xScale;
    double yScale;
};

class Painter {
  public:
    Painter(cairo_t* context, const Screen& screen, const Layout& layout)
        : m_canvas(context),
          m_screen(screen),
          m_layout(layout),
          m_labels(m_canvas, layout.screen.Shrunk(layout.size * kLineWidth * 2),
                   layout.size * kLabelSize) {}

    void Paint() {
        PaintBlankScreen();
        PaintContentArea();
        PaintTextRegion();
        PaintElements();
        PaintLogos();
        PaintPictureInPicture();
        m_labels.Paint();
        PaintCaption();
        PaintEdges();
    }

  private:
    /// A length that is given for a screen of 1920 x 1080.
    double Scaled(double length) const { return length * m_layout.size; }

    void PaintBlankScreen() const {
        constexpr int kParts = 12;
        const Rect& screen = m_layout.screen;
        m_canvas.Fill(screen, 0, kBlank);
        for (int part = 1; part < kParts; ++part) {
            const double x = screen.width * part / kParts, y = screen.height * part / kParts;
            m_canvas.Fill({x, 0, Scaled(1), screen.height}, 0, kGuide, 0.6);
            m_canvas.Fill({0, y, screen.width, Scaled(1)}, 0, kGuide, 0.6);
        }
    }

    void PaintBox(const Rect& rect, const std::string& label, Colour colour, double dash = 0) {
        constexpr double kTint = 0.12;
        const double width = Scaled(kLineWidth);
        m_canvas.Fill(rect, Scaled(kRadius), colour, kTint);
        m_canvas.Outline(rect.Shrunk(width / 2), Scaled(kRadius), colour, width, dash);
        m_labels.Add(label, rect, colour);
    }

    void PaintContentArea() {
        if (!m_screen.contentArea) return;
        const auto& area = *m_screen.contentArea;
        const auto rect = m_layout.OnScreen(area.x, area.y, double(area.x) + area.width,
                                            double(area.y) + area.height);
        const std::string label = "content area \u00b7 mode " + std::to_string(area.mode) +
                                  " \u00b7 " + std::to_string(area.width) + " \u00d7 " +
                                  std::to_string(area.height);
        if (rect) PaintBox(rect->Shrunk(Scaled(kLineWidth)), label, kAccent);
    }

    void PaintTextRegion() {
        const auto& region = m_screen.visionData.textRegion;
        const auto rect = m_layout.OnScreen(region.left, region.top, region.right, region.bottom);
        if (rect) PaintBox(*rect, "text", kTextRegion, Scaled(4 * kLineWidth));
    }

    template <class Edge, class Choose>
    void PaintDetections(const std::vector<cri_recording::Detection<Edge>>& all, const char* what,
                         Choose colourOf) {
        const std::size_t count = std::min(all.size(), kMostBoxes);
        for (std::size_t index = 0; index < count; ++index) {
            const auto& found = all[index];
            const auto rect =
                m_layout.OnScreen(found.box.left, found.box.top, found.box.right, found.box.bottom);
            const std::string label =
                what + (' ' + std::to_string(found.classId)) + " \u00b7 " + Score(found.score);
            if (rect) PaintBox(*rect, label, colourOf(found.classId));
        }
        if (count < all.size())
            m_labels.Add(what + (" \u00b7 " + std::to_string(all.size() - count)) +
                             " more that are not drawn",
                         m_layout.screen.Shrunk(Scaled(kLineWidth)), kWarning);
    }

    void PaintElements() {
        PaintDetections(m_screen.uiDetection.elements, "UI", [](unsigned) { return kUiElement; });
    }

    void PaintLogos() {
        PaintDetections(m_screen.visionData.logos, "logo",
                        [](unsigned id) { return kLogos.at(id % kLogos.size()); });
    }

    void PaintPictureInPicture() {
        const auto& pip = m_screen.uiDetection.pip;
        if (pip.onOff == 0) return;
        const double radius = Scaled(kPipRadius);
        const double realX = pip.centerX * m_layout.xScale, realY = pip.centerY * m_layout.yScale;
        const double x = std::clamp(realX, 0.0, m_layout.screen.width);
        const double y = std::clamp(realY, 0.0, m_layout.screen.height);
        std::string label = "picture in picture";
        if (x == realX && y == realY)
            m_canvas.Cross(x, y, radius, kPip, Scaled(kLineWidth));
        else
            label += " \u00b7 off the screen at " + std::to_string(pip.centerX) + "," +
                     std::to_string(pip.centerY);
        m_labels.Add(label, {x - 2 * radius, y - 2 * radius, 4 * radius, 4 * radius}, kPip);
    }

    void PaintCaption() const {
        const Rect& screen = m_layout.screen;
        const Rect bar{0, screen.height, screen.width, m_layout.Height() - screen.height};
        m_canvas.Fill(bar, 0, kCaption);
        const double upper = bar.y + bar.height * 0.34, lower = bar.y + bar.height * 0.70;
        const double right = screen.width - Scaled(kMargin);
        const double upperEnd = PaintSource(right, upper),
                     lowerEnd = PaintPictureState(right, lower);
        PaintChannel(Scaled(kMargin), upper, upperEnd - Scaled(kMargin));
        PaintProgramme(Scaled(kMargin), lower, lowerEnd - Scaled(kMargin));
    }

    void PaintChannel(double x, double y, double end) const {
        const double size = Scaled(kTitleSize);
        const auto& state = m_screen.state;
        const std::string number = m_canvas.Fitted(Printable(state.channelNumber.value_or("")),
                                                   (end - x) / 2, size * 0.9, true);
        const std::string name = Printable(state.channelName.value_or("no channel known"));
        if (!number.empty()) {
            const double width = m_canvas.TextWidth(number, size * 0.9, true) + size * 0.9;
            if (x + width > end) return;
            m_canvas.Fill({x, y - size * 0.72, width, size * 1.44}, size * 0.3, kAccent);
            m_canvas.Text(number, x + size * 0.45, y, size * 0.9, kCaption, true);
            x += width + size * 0.5;
        }
        m_canvas.Text(m_canvas.Fitted(name, end - x, size, true), x, y, size, kBright, true);
    }

    void PaintProgramme(double x, double y, double end) const {
        const double size = Scaled(kSubtitleSize);
        const auto& state = m_screen.state;
        std::string text = Printable(state.programTitle.value_or(""));
        const std::string source = Printable(state.programTitleSource.value_or(""));
        if (!text.empty() && !source.empty()) text += "  \u00b7  " + source;
        m_canvas.Text(m_canvas.Fitted(text, end - x, size), x, y, size, kSoft);
    }

    /// Texts that end at `right`, not wider than a third of the screen.
    /// @return where they begin
    double PaintAtRight(const std::string& text, double right, double y, Colour colour) const {
        const double size = Scaled(kSubtitleSize);
        const std::string fitted = m_canvas.Fitted(text, m_layout.screen.width / 3, size);
        const double x = right - m_canvas.TextWidth(fitted, size);
        m_canvas.Text(fitted, x, y, size, colour);
        return x;
    }

    double PaintSource(double right, double y) const {
        if (m_screen.serviceAway)
            return PaintAtRight("the recognition service is away", right, y, kWarning);
        const auto& data = m_screen.visionData;
        std::string text = Printable(data.appName);
        for (const std::string& more : {data.contentsStatus, data.titleName})
            if (!more.empty()) text += (text.empty() ? "" : "  \u00b7  ") + Printable(more);
        return PaintAtRight(text, right, y, kBright);
    }

    double PaintPictureState(double right, double y) const {
        double x = right;
        if (m_screen.blackScreen) {
            const auto& report = *m_screen.blackScreen;
            const char* const verdict = report.isRealBlack ? "real black  "
                                        : report.isSolid   ? "solid  "
                                                           : "main colour  ";
            x = PaintAtRight(verdict + ColourCode(report), x, y, kSoft);
            const double side = Scaled(kSubtitleSize);
            x -= side * 1.4;
            const Rect patch{x, y - side / 2, side, side};
            m_canvas.Fill(patch, side / 4, {report.red, report.green, report.blue});
            m_canvas.Outline(patch, side / 4, kEdge, Scaled(1.5));
            x -= Scaled(kMargin);
        }
        if (m_screen.videoPlay)
            x = PaintAtRight("video play " + std::to_string(m_screen.videoPlay->status), x, y,
                             kSoft);
        return x;
    }

    void PaintEdges() const {
        const double width = Scaled(2);
        const Rect& screen = m_layout.screen;
        m_canvas.Fill({0, screen.height - width / 2, screen.width, width}, 0, kEdge);
        const Rect all{0, 0, screen.width, m_layout.Height()};
        m_canvas.Outline(all.Shrunk(width / 2), 0, kEdge, width);
    }

    const Canvas m_canvas;
    const Screen& m_screen;
    const Layout& m_layout;
    Labels m_labels;
};

struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, Destroy>;

void Check(cairo_status_t status, const std::string& path) {
    if (status != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error(path + ": " + cairo_status_to_string(status));
}

bool IsVector(const std::string& path) {
    return path.ends_with(".svg");
}

Surface MakeSurface(const std::string& path, const Layout& layout) {
    if (!IsVector(path))
        return Surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                                  static_cast<int>(layout.screen.width),
                                                  static_cast<int>(layout.Height())));
    Surface surface(cairo_svg_surface_create(path.c_str(), layout.screen.width, layout.Height()));
    cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
    return surface;
}

}  // namespace

bool IsPictureName(const std::string& path) {
    return IsVector(path) || path.ends_with(".png");
}

void WritePicture(const std::string& path, const Screen& screen, const PictureOptions& options) {
    const Layout layout(options);
    const Surface surface = MakeSurface(path, layout);
    Check(cairo_surface_status(surface.get()), path);
    const std::unique_ptr<cairo_t, Destroy> context(cairo_create(surface.get()));
    Painter(context.get(), screen, layout).Paint();
    Check(cairo_status(context.get()), path);
    if (!IsVector(path)) Check(cairo_surface_write_to_png(surface.get(), path.c_str()), path);
    cairo_surface_finish(surface.get());
    Check(cairo_surface_status(surface.get()), path);
}

}  // namespace cri_monitor
