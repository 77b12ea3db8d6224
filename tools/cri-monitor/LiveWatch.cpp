/// Starts the sources, puts what they report in order, and runs the main loop until the end.
#include "LiveWatch.h"

#include <glib-unix.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "MainThread.h"
#include "UiDetectionSource.h"
#include "VisionDataSource.h"

namespace cri_monitor {
namespace {

constexpr double kMillisPerSecond = 1000;

/// While detectors run, the library delivers what they report.
KindSet ToListenFor(const LiveWatchOptions& options) {
    return options.start ? options.kinds & ~Detectors::Delivered() : options.kinds;
}

guint Millis(double seconds) {
    return static_cast<guint>(seconds * kMillisPerSecond);
}

gboolean OnStopRequest(gpointer watch) {
    static_cast<LiveWatch*>(watch)->End(kDone);
    return G_SOURCE_REMOVE;  // a second request ends the process at once
}

gboolean OnReaderGone(gint, GIOCondition, gpointer watch) {
    static_cast<LiveWatch*>(watch)->End(kDone);
    return G_SOURCE_REMOVE;
}

}  // namespace

LiveWatch::LiveWatch(const LiveWatchOptions& options, const Stopwatch& stopwatch,
                     Timeline::Sink sink)
    : m_options(options),
      m_loop(g_main_loop_new(nullptr, FALSE)),
      m_timeline(options.kinds, m_worker, stopwatch, std::move(sink)),
      m_recognition(ToListenFor(options), MakeReporter()),
      m_detectors(options.kinds, options.captureType, MakeReporter()) {}

LiveWatch::~LiveWatch() {
    m_worker.Finish();
    g_main_loop_unref(m_loop);
}

Reporter LiveWatch::MakeReporter() {
    return [this](cri_recording::LineContent content) {
        const auto* service = std::get_if<cri_recording::Service>(&content);
        if (service && service->present && m_options.start)
            m_worker.Post([this] { m_detectors.Start(); });
        m_timeline.Report(std::move(content));
    };
}

void LiveWatch::EndAfter(double seconds, ExitCode code) {
    m_limitCode = code;
    const auto atLimit = [](gpointer self) -> gboolean {
        auto& watch = *static_cast<LiveWatch*>(self);
        watch.End(watch.m_limitCode);
        return G_SOURCE_REMOVE;
    };
    g_timeout_add(Millis(seconds), atLimit, this);
}

void LiveWatch::EndWithReader() {
    g_unix_fd_add(STDOUT_FILENO, G_IO_ERR, OnReaderGone, this);
}

void LiveWatch::AskEvery(double seconds) {
    const auto ask = [](gpointer self) -> gboolean {
        static_cast<LiveWatch*>(self)->m_timeline.AskNow();
        return G_SOURCE_CONTINUE;
    };
    g_timeout_add(Millis(seconds), ask, this);
}

ExitCode LiveWatch::Run() {
    for (const int request : {SIGINT, SIGTERM, SIGHUP})
        g_unix_signal_add(request, OnStopRequest, this);
    if (m_options.refresh > 0) AskEvery(m_options.refresh);
    m_worker.Post([this] { Open(); });
    if (!m_end) g_main_loop_run(m_loop);
    m_timeline.Flush();
    m_worker.Finish([this] { Close(); });
    return *m_end;
}

void LiveWatch::End(ExitCode code) {
    if (!m_end) m_end = code;
    g_main_loop_quit(m_loop);
}

/// The message files come first: whoever sees the first line knows that all of it is listened to.
void LiveWatch::Open() {
    if (Has<cri_recording::VisionData>(m_options.kinds)) OpenVisionData(MakeReporter());
    if (Has<cri_recording::UiDetection>(m_options.kinds)) OpenUiDetection(MakeReporter());
    if (!m_recognition.Open()) {
        std::fputs("cri-monitor: there is no system bus to reach the service on\n", stderr);
        OnMainThread([this] { End(kNoService); });
        return;
    }
    if (m_options.start) m_detectors.Start();
    OnMainThread([this] { m_timeline.AskNow(); });
}

void LiveWatch::Close() {
    m_detectors.Stop();
    if (Has<cri_recording::VisionData>(m_options.kinds)) CloseVisionData();
    if (Has<cri_recording::UiDetection>(m_options.kinds)) CloseUiDetection();
}

}  // namespace cri_monitor
