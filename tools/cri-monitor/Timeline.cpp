/// Holds lines back until the state that belongs before them is known.
#include "Timeline.h"

#include <algorithm>
#include <utility>

#include "MainThread.h"
#include "State.h"

namespace cri_monitor {

using cri_recording::LineContent;

Timeline::Timeline(KindSet wanted, Worker& worker, const Stopwatch& stopwatch, Sink sink)
    : m_wanted(wanted), m_worker(worker), m_stopwatch(stopwatch), m_sink(std::move(sink)) {}

void Timeline::Report(LineContent content) {
    OnMainThread([this, time = m_stopwatch.Elapsed(), content = std::move(content)]() mutable {
        Take(time, std::move(content));
    });
}

void Timeline::AskNow() {
    Add({m_stopwatch.Elapsed(), std::nullopt, Has<cri_recording::StateChange>(m_wanted)});
}

void Timeline::Take(std::chrono::microseconds time, LineContent content) {
    const auto* service = std::get_if<cri_recording::Service>(&content);
    if (service) m_serviceAway = !service->present;
    const bool changesState =
        std::holds_alternative<cri_recording::Event>(content) || (service && service->present);
    Entry entry{time, std::nullopt,
                changesState && !m_serviceAway && Has<cri_recording::StateChange>(m_wanted)};
    if (m_wanted[content.index()]) entry.content = std::move(content);
    Add(std::move(entry));
}

/// Two threads may report in one order and get here in the other; times only ever grow.
void Timeline::Add(Entry entry) {
    if (!entry.content && !entry.needsState) return;
    m_lastTime = entry.time = std::max(entry.time, m_lastTime);
    m_waiting.push_back(std::move(entry));
    Advance();
}

void Timeline::Advance() {
    while (!m_waiting.empty() && !m_waiting.front().needsState) {
        Entry entry = std::move(m_waiting.front());
        m_waiting.pop_front();
        if (entry.content) Write(entry.time, std::move(*entry.content));
    }
    if (!m_waiting.empty() && !m_asking) Ask();
}

/// One question does for all that wait.
void Timeline::Ask() {
    m_asking = true;
    m_covered = m_waiting.size();
    m_worker.Post([this, stop = m_stop.get_token()] {
        OnMainThread([this, state = AskState(stop)] { TakeState(state); });
    });
}

void Timeline::TakeState(const cri_recording::StateChange& state) {
    m_asking = false;
    if (m_waiting.empty()) return;
    const cri_recording::StateChange change = Difference(m_known, state);
    Merge(m_known, change);
    if (change != cri_recording::StateChange{}) Write(m_waiting.front().time, change);
    for (std::size_t index = 0; index < m_covered; ++index) m_waiting[index].needsState = false;
    Advance();
}

void Timeline::Flush() {
    m_stop.request_stop();
    for (Entry& entry : m_waiting) entry.needsState = false;
    Advance();
}

void Timeline::Write(std::chrono::microseconds time, LineContent content) {
    m_sink({time, std::move(content)});
}

}  // namespace cri_monitor
