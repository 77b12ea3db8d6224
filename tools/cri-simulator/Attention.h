/// Waiting for a time, for input, or for the end, whichever comes first.
#pragma once

#include <chrono>
#include <optional>

namespace cri_tool {

/// Make it before the process has a second thread: it takes the requests to stop (Ctrl-C and the
/// like) away from all of them.
class Attention {
  public:
    using Clock = std::chrono::steady_clock;
    enum class Wake { kTime, kInput, kStop };

    /// @param output  also stops when nobody reads this pipe any more; negative: none
    explicit Attention(int output);
    ~Attention();
    Attention(const Attention&) = delete;
    Attention& operator=(const Attention&) = delete;

    /// From then on every wait says to stop.
    void StopAt(Clock::time_point end) { m_end = end; }

    /// @param time   when to wake up; nothing: not for the sake of time
    /// @param input  also wakes up when there is something to read here, or its end; negative: none
    Wake Wait(std::optional<Clock::time_point> time, int input = -1);

  private:
    Wake Look(std::optional<Clock::time_point> time, int input) const;

    const int m_signals;
    const int m_output;
    std::optional<Clock::time_point> m_end;
    bool m_stopped = false;
};

}  // namespace cri_tool
