/// A job queue with one thread.
#include "Worker.h"

#include <utility>

namespace cri_monitor {

Worker::Worker() : m_thread([this] { Run(); }) {}

Worker::~Worker() {
    Finish();
}

void Worker::Post(Job job) {
    const std::lock_guard lock(m_mutex);
    if (m_finishing) return;
    m_jobs.push_back(std::move(job));
    m_changed.notify_one();
}

void Worker::Finish(Job last) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_finishing) return;
        m_finishing = true;
        m_jobs.clear();
        if (last) m_jobs.push_back(std::move(last));
        m_changed.notify_one();
    }
    m_thread.join();
}

void Worker::Run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_finishing || !m_jobs.empty(); });
        if (m_jobs.empty()) return;
        const Job job = std::move(m_jobs.front());
        m_jobs.pop_front();
        lock.unlock();
        job();
        lock.lock();
    }
}

}  // namespace cri_monitor
