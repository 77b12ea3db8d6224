/// The thread of a message-file channel. Each has a state of its own, so that one that cannot be
/// waited for can be left behind: retired, it delivers nothing more and ends when it can.
#pragma once

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "Descriptor.h"

namespace cri {

class NotificationThread {
  public:
    using Body = void* (*)(void*);

    /// Starts a thread that runs `body` with a null argument and takes none of the host's signals.
    /// @param owner  what tells the threads of one channel from those of another
    /// @return null when it cannot be started
    static std::shared_ptr<NotificationThread> Start(Body body, const void* owner);

    /// The state of the calling thread; null when it is no notification thread.
    static NotificationThread* Current();

    /// The same when the thread is one of this owner's; otherwise null.
    static const NotificationThread* CurrentOf(const void* owner) {
        const NotificationThread* const current = Current();
        return current && current->Owner() == owner ? current : nullptr;
    }

    /// Whether the calling thread is one of this owner's that must not deliver any more.
    static bool CurrentIsRetired(const void* owner) {
        const NotificationThread* const current = CurrentOf(owner);
        return current && !current->Running();
    }

    ~NotificationThread() = default;
    NotificationThread(const NotificationThread&) = delete;
    NotificationThread& operator=(const NotificationThread&) = delete;

    bool IsCurrent() const { return Current() == this; }
    const void* Owner() const { return m_owner; }
    bool Running() const { return m_running.load(std::memory_order_acquire); }

    /// On the thread itself: waits until `descriptor` can be read or the thread is stopped, without
    /// end and without waking in between.
    /// @return false when the wait failed; errno says why
    bool WaitFor(int descriptor) const;

    /// On the thread itself: it is ready for what it was started for.
    void SetReady();
    /// Waits until the thread is ready or has ended, or `limit` has passed.
    void WaitReady(std::chrono::milliseconds limit);

    /// Retires the thread and wakes it.
    void Stop();

    /// Ends the ownership of a stopped thread. One that does not end within `limit` is held up by
    /// an application's callback and is left behind.
    /// @return false on the thread itself, which cannot wait for its own end
    bool Join(std::chrono::milliseconds limit);

  private:
    struct Ending;

    NotificationThread(Body body, const void* owner);
    static void* Run(void* shared);
    bool Create(std::shared_ptr<NotificationThread>* shared);
    void SetEnded();

    const Body m_body;
    const void* const m_owner;
    const Descriptor m_wake;
    std::atomic<bool> m_running{true};
    pthread_t m_thread{};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ready = false;
    bool m_ended = false;
};

}  // namespace cri
