/// Draws the screen as the services see it.
#pragma once

#include <string>

#include "PictureOptions.h"
#include "Screen.h"

namespace cri_monitor {

/// Whether WritePicture knows what to write there: the name ends with ".svg" or ".png".
bool IsPictureName(const std::string& path);

/// Draws `screen`, with a caption below it.
/// @throws std::runtime_error when the file cannot be written
void WritePicture(const std::string& path, const Screen& screen, const PictureOptions& options);

}  // namespace cri_monitor
