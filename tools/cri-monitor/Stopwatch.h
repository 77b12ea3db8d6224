/// The time of a line, and the time of day that it stands for.
#pragma once

#include <chrono>

namespace cri_monitor {

class Stopwatch {
  public:
    /// Since the object was made; callable from any thread.
    std::chrono::microseconds Elapsed() const {
        return std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - m_start);
    }
    std::chrono::system_clock::time_point TimeOfDay(std::chrono::microseconds elapsed) const {
        return m_wallStart + elapsed;
    }

  private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::chrono::system_clock::time_point m_wallStart = std::chrono::system_clock::now();
};

}  // namespace cri_monitor
