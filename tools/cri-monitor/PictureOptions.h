/// How large pictures are, on the command line and for drawing.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace cri_monitor {

struct Size {
    int width;
    int height;
};

struct PictureOptions {
    Size screen{1920, 1080};  ///< in pixels of the picture
    Size units{0, 0};         ///< what the services take the screen's size for; 0 for the same
};

/// Adds --screen and --units; `options` must live as long as `app`.
void AddPictureOptions(CLI::App& app, PictureOptions& options);

/// Reads "1920x1080" with sides from 1 to `largest`.
/// @return whether `text` is of that form
bool ReadSize(const std::string& text, int largest, Size& size);

}  // namespace cri_monitor
