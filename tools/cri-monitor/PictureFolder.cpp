/// Writes numbered pictures, not more often than people can look.
#include "PictureFolder.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace cri_monitor {

PictureFolder::PictureFolder(std::string directory, std::string extension,
                             const PictureOptions& options)
    : m_directory(std::move(directory)), m_extension(std::move(extension)), m_options(options) {
    std::filesystem::create_directories(m_directory);
}

void PictureFolder::Take(const cri_recording::RecordingLine& line) {
    if (m_screen.Take(line.content)) m_changed = true;
}

void PictureFolder::DrawIfDue(std::chrono::microseconds now) {
    constexpr std::chrono::milliseconds kSpacing(500);
    if (!m_changed || now < m_due) return;
    m_due = now + kSpacing;
    DrawLast();
}

void PictureFolder::DrawLast() {
    if (!m_changed) return;
    m_changed = false;
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "/screen-%05d.", ++m_count);
    WritePicture(m_directory + name.data() + m_extension, m_screen, m_options);
}

}  // namespace cri_monitor
