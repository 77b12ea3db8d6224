/// The thread of a message-file channel, with the state of the one connection that it was started
/// for, so that one that cannot be waited for can be left behind: retired, it delivers nothing more
/// and ends when it can. An application's threads may serve the same connection beside it.
#pragma once

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "base/Descriptor.h"

namespace cri {

class FileChannel;

class NotificationThread {
  public:
    using Body = std::function<void(NotificationThread&)>;

    /// Starts a thread that runs `body` and takes none of the host's signals.
    /// @param channel  that it belongs to
    /// @return null when it cannot be started
    static std::shared_ptr<NotificationThread> Start(Body body, const FileChannel* channel);

    /// The state of the calling thread; null when it is no notification thread.
    static NotificationThread* Current();

    /// While it lives, the calling thread serves this connection, whosever thread it is.
    class Service {
      public:
        explicit Service(NotificationThread& served);
        ~Service();
        Service(const Service&) = delete;
        Service& operator=(const Service&) = delete;

      private:
        friend class NotificationThread;
        NotificationThread& m_served;
        const Service* const m_outer;  ///< in whose callback this one was begun
    };

    /// The connection of this channel's that the calling thread serves; null when it serves none.
    static const NotificationThread* CurrentOf(const FileChannel* channel);

    /// Whether the calling thread serves a connection of this channel's and must not deliver any
    /// more.
    static bool CurrentIsRetired(const FileChannel* channel) {
        const NotificationThread* const current = CurrentOf(channel);
        return current && !current->Running();
    }

    /// In a child made by fork: retires what the calling thread serves of this channel's. The
    /// wake-up is the parent's as well and is left alone.
    static void RetireInChild(const FileChannel* channel);

    ~NotificationThread() = default;
    NotificationThread(const NotificationThread&) = delete;
    NotificationThread& operator=(const NotificationThread&) = delete;

    bool IsCurrent() const { return Current() == this; }
    bool Running() const { return m_running.load(std::memory_order_acquire); }

    /// For a thread that serves the connection: waits until `descriptor` can be read or the
    /// connection is stopped, without end and without waking in between.
    /// @return false when the wait failed; errno says why
    bool WaitFor(int descriptor) const;

    /// On the thread itself: it is ready for what it was started for.
    void SetReady();
    /// Waits until the thread is ready or has ended, or `limit` has passed.
    void WaitReady(std::chrono::milliseconds limit);

    /// Retires the threads that serve the connection and wakes them.
    void Stop();

    /// Ends the ownership of a stopped thread. One that does not end within `limit` is held up by
    /// an application's callback and is left behind.
    /// @return whether it was joined; never on the thread itself, which cannot wait for its own end
    bool Join(std::chrono::milliseconds limit);

  private:
    struct Ending;

    NotificationThread(Body body, const FileChannel* channel);
    static void* Run(void* shared);
    bool Create(std::shared_ptr<NotificationThread>* shared);
    void SetEnded();

    const Body m_body;
    const FileChannel* const m_channel;
    const Descriptor m_wake;
    std::atomic<bool> m_running{true};
    pthread_t m_thread{};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ready = false;
    bool m_ended = false;
};

}  // namespace cri
