/// Listening to a set, from the start to the end that a person or a command asks for.
#pragma once

#include <glib.h>

#include <optional>

#include "Detectors.h"
#include "ExitCode.h"
#include "Kinds.h"
#include "RecognitionSource.h"
#include "Timeline.h"
#include "Worker.h"

namespace cri_monitor {

struct LiveWatchOptions {
    KindSet kinds = AllKinds();
    bool start = false;  ///< run the detectors and engines meanwhile
    int captureType = 1;
    double refresh = 0;  ///< seconds after which the state is asked anyway; 0 for never
};

/// Runs the main loop of the thread that it lives on. Where the service is waited for is another
/// thread, so that the end never has to wait for more than one answer.
class LiveWatch {
  public:
    /// @param sink  gets each line, on this thread; may call End
    LiveWatch(const LiveWatchOptions& options, const Stopwatch& stopwatch, Timeline::Sink sink);
    ~LiveWatch();
    LiveWatch(const LiveWatch&) = delete;
    LiveWatch& operator=(const LiveWatch&) = delete;

    /// Lets the watch end by itself after that time.
    void EndAfter(double seconds, ExitCode code);
    /// Lets the watch end when nobody reads standard output any more, even if nothing is to be
    /// written.
    void EndWithReader();

    /// Listens until End, or until somebody asks the process to stop.
    /// @return what End was given; kNoService when there is no bus
    ExitCode Run();

    /// Ends the watch; the first call counts.
    void End(ExitCode code);

  private:
    void Open();
    void Close();
    void AskEvery(double seconds);
    Reporter MakeReporter();

    const LiveWatchOptions m_options;
    GMainLoop* const m_loop;
    std::optional<ExitCode> m_end;
    ExitCode m_limitCode = kDone;
    Worker m_worker;
    Timeline m_timeline;
    RecognitionSource m_recognition;
    Detectors m_detectors;
};

}  // namespace cri_monitor
