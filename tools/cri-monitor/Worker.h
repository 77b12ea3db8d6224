/// A thread for what may have to wait for the service, so that the main loop never does.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace cri_monitor {

/// Runs jobs one after another, in order.
class Worker {
  public:
    using Job = std::function<void()>;

    Worker();
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Queues `job`; callable from any thread. Forgotten once Finish was called.
    void Post(Job job);

    /// Forgets what is queued, runs `last` after the job that is running, and returns when it is
    /// done.
    void Finish(Job last = {});

  private:
    void Run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Job> m_jobs;
    bool m_finishing = false;
    std::thread m_thread;
};

}  // namespace cri_monitor
