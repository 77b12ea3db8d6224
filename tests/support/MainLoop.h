/// Main loops for tests: one that runs beside them, and one that runs until something holds.
#pragma once

#include <gio/gio.h>

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace cri_test {

/// Iterates the calling thread's default main context until `holds` does.
/// @return false when `limit` passed first
bool RunUntil(const std::function<bool()>& holds,
              std::chrono::milliseconds limit = std::chrono::seconds(5));

/// A thread with a main context of its own, which is its thread-default one, iterated from the
/// constructor to the destructor.
class MainLoop {
  public:
    MainLoop();
    ~MainLoop();
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    /// Runs `task` on the loop's thread and returns when it is done. What it subscribes is
    /// delivered on that thread.
    void Run(const std::function<void()>& task);

    std::thread::id ThreadId() const { return m_thread.get_id(); }

  private:
    void Iterate();
    void RunTasks();

    GMainContext* m_context;
    std::mutex m_mutex;
    bool m_stopping = false;
    std::deque<std::function<void()>> m_tasks;
    std::thread m_thread;
};

}  // namespace cri_test
