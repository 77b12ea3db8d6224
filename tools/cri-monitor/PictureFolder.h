/// Pictures of a screen that changes, numbered in a directory.
#pragma once

#include <chrono>
#include <string>

#include "Picture.h"

namespace cri_monitor {

/// Draws after a change, but twice a second at most: of many changes the picture shows the last.
class PictureFolder {
  public:
    /// Creates the directory when it is missing.
    /// @param extension  "png" or "svg"
    /// @throws std::runtime_error when it cannot, and so do the operations below
    PictureFolder(std::string directory, std::string extension, const PictureOptions& options);

    void Take(const cri_recording::RecordingLine& line);
    /// Draws what is not drawn yet, if a picture is due.
    void DrawIfDue(std::chrono::microseconds now);
    /// Draws what is not drawn yet.
    void DrawLast();

  private:
    const std::string m_directory;
    const std::string m_extension;
    const PictureOptions m_options;
    Screen m_screen;
    bool m_changed = false;
    int m_count = 0;
    std::chrono::microseconds m_due{0};
};

}  // namespace cri_monitor
