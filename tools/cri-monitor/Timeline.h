/// Brings what the sources report into one order, with the state's changes in their places.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <stop_token>

#include "Kinds.h"
#include "Stopwatch.h"
#include "Worker.h"

namespace cri_monitor {

/// The state is asked when a change event comes, or the service, and written before the line that
/// caused the question, with its time: so that whoever plays the lines has the new state in place
/// when the event tells of it. Lines that come meanwhile wait their turn.
///
/// Everything happens on the main loop's thread, except Report.
class Timeline {
  public:
    using Sink = std::function<void(const cri_recording::RecordingLine&)>;

    /// @param worker  asks the state there
    /// @param sink    gets each line of the kinds in `wanted`
    Timeline(KindSet wanted, Worker& worker, const Stopwatch& stopwatch, Sink sink);
    Timeline(const Timeline&) = delete;
    Timeline& operator=(const Timeline&) = delete;

    /// Takes note of what happened right now. Callable from any thread.
    void Report(cri_recording::LineContent content);

    /// Asks the state as of now.
    void AskNow();

    /// Writes what waits, without waiting for an answer any more.
    void Flush();

  private:
    /// A line that waits, or a question alone.
    struct Entry {
        std::chrono::microseconds time;
        std::optional<cri_recording::LineContent> content;  ///< nothing: nobody wants it
        bool needsState;
    };

    void Take(std::chrono::microseconds time, cri_recording::LineContent content);
    void Add(Entry entry);
    void Advance();
    void Ask();
    void TakeState(const cri_recording::StateChange& state);
    void Write(std::chrono::microseconds time, cri_recording::LineContent content);

    const KindSet m_wanted;
    Worker& m_worker;
    const Stopwatch& m_stopwatch;
    const Sink m_sink;
    std::stop_source m_stop;
    std::deque<Entry> m_waiting;
    std::size_t m_covered = 0;  ///< of those that wait, how many came before the question
    bool m_asking = false;
    bool m_serviceAway = false;
    std::chrono::microseconds m_lastTime{0};
    cri_recording::StateChange m_known;
};

}  // namespace cri_monitor
