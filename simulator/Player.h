/// Plays recordings on a simulated set: what a line tells happens there.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "Recording.h"
#include "SimulatedSet.h"

namespace cri_sim {

/// Plays on the calling thread. What the set is in no state for is noted and left out.
class Player {
  public:
    using Clock = std::chrono::steady_clock;
    /// Returns at that time; false when the playing is to stop, and then at once.
    using WaitUntil = std::function<bool(Clock::time_point)>;
    /// Hears what a person should know of the playing.
    using Note = std::function<void(const std::string&)>;

    Player(SimulatedSet& set, WaitUntil waitUntil, Note note);

    /// Plays one line at once, whatever its time; a storm for as long as it lasts.
    /// @return false when it was stopped
    bool Play(const LineContent& content);

    /// Plays each line when its time has come, counted from now and `speed` times as fast. The set
    /// has passed everything on when it returns.
    /// @return false when it was stopped
    bool PlayAll(const std::vector<RecordingLine>& lines, double speed = 1);

  private:
    template <IsHappening Line>
    bool PlayLine(const Line& line);
    template <IsFault Line>
    bool PlayLine(const Line& line);
    bool PlayLine(const ClientRequest& request);
    bool PlayLine(const Storm& storm);
    bool PlayLine(const RandomFaults& faults);
    void Settle();
    void NoteOnce(const std::string& text);

    SimulatedSet& m_set;
    const WaitUntil m_waitUntil;
    const Note m_note;
    std::string m_lastNote;  ///< which is not repeated
};

}  // namespace cri_sim
