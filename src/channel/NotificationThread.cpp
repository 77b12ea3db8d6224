/// Starting, waking, retiring and joining the thread of a message-file channel.
#include "channel/NotificationThread.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <algorithm>

#include "base/ForkedChild.h"
#include "base/Wall.h"

namespace cri {
namespace {

/// Room for the channel's buffers, the JSON reader's recursion and an application's callbacks, also
/// where the host has set a small default.
constexpr std::size_t kLeastStack = 2 * 1024 * 1024;

thread_local NotificationThread* t_current = nullptr;
thread_local const NotificationThread::Service* t_service = nullptr;  ///< the innermost one

class StackAttribute {
  public:
    StackAttribute() {
        pthread_attr_init(&m_attribute);
        std::size_t size = 0;
        pthread_attr_getstacksize(&m_attribute, &size);
        pthread_attr_setstacksize(&m_attribute, std::max(size, kLeastStack));
    }
    ~StackAttribute() { pthread_attr_destroy(&m_attribute); }
    StackAttribute(const StackAttribute&) = delete;
    StackAttribute& operator=(const StackAttribute&) = delete;
    const pthread_attr_t* Get() const { return &m_attribute; }

  private:
    pthread_attr_t m_attribute;
};

/// A new thread inherits the mask of its creator. What a fault in a callback raises stays open to
/// the host's handler.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t most;
        sigfillset(&most);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
            sigdelset(&most, fault);
        pthread_sigmask(SIG_SETMASK, &most, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t m_before;
};

}  // namespace

/// Says that the thread has ended, whichever way it does.
struct NotificationThread::Ending {
    NotificationThread& thread;
    ~Ending() {
        t_current = nullptr;
        thread.SetEnded();
    }
};

NotificationThread::NotificationThread(Body body, const FileChannel* channel)
    : m_body(std::move(body)), m_channel(channel), m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

std::shared_ptr<NotificationThread> NotificationThread::Start(Body body,
                                                              const FileChannel* channel) {
    std::shared_ptr<NotificationThread> thread(new NotificationThread(std::move(body), channel));
    if (!thread->m_wake) return nullptr;
    auto shared = std::make_unique<std::shared_ptr<NotificationThread>>(thread);
    if (!thread->Create(shared.get())) return nullptr;
    shared.release();  // the new thread's
    return thread;
}

bool NotificationThread::Create(std::shared_ptr<NotificationThread>* shared) {
    const StackAttribute attribute;
    const SignalsBlocked blocked;
    return pthread_create(&m_thread, attribute.Get(), Run, shared) == 0;
}

void* NotificationThread::Run(void* shared) {
    const std::unique_ptr<std::shared_ptr<NotificationThread>> self(
        static_cast<std::shared_ptr<NotificationThread>*>(shared));
    t_current = self->get();
    const Ending ending{**self};
    Walled([&self] { (*self)->m_body(**self); });
    return nullptr;
}

NotificationThread* NotificationThread::Current() {
    return t_current;
}

NotificationThread::Service::Service(NotificationThread& served)
    : m_served(served), m_outer(t_service) {
    t_service = this;
}

NotificationThread::Service::~Service() {
    t_service = m_outer;
}

const NotificationThread* NotificationThread::CurrentOf(const FileChannel* channel) {
    const Service* service = t_service;
    while (service && service->m_served.m_channel != channel) service = service->m_outer;
    return service ? &service->m_served : nullptr;
}

void NotificationThread::RetireInChild(const FileChannel* channel) {
    for (const Service* service = t_service; service; service = service->m_outer) {
        NotificationThread& served = service->m_served;
        if (served.m_channel != channel) continue;
        served.m_running = false;
        Renew(served.m_mutex);
        Renew(served.m_changed);
    }
}

bool NotificationThread::WaitFor(int descriptor) const {
    pollfd waits[] = {{descriptor, POLLIN, 0}, {m_wake.Get(), POLLIN, 0}};
    int ready;
    do {
        ready = poll(waits, 2, -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

void NotificationThread::SetReady() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ready = true;
    m_changed.notify_all();
}

void NotificationThread::SetEnded() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ended = true;
    m_changed.notify_all();
}

void NotificationThread::WaitReady(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, limit, [this] { return m_ready || m_ended; });
}

void NotificationThread::Stop() {
    m_running.store(false, std::memory_order_release);
    eventfd_write(m_wake.Get(), 1);
}

bool NotificationThread::Join(std::chrono::milliseconds limit) {
    if (IsCurrent()) {
        pthread_detach(m_thread);
        return false;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    const bool ended = m_changed.wait_for(lock, limit, [this] { return m_ended; });
    lock.unlock();
    if (ended) return pthread_join(m_thread, nullptr) == 0;
    pthread_detach(m_thread);
    return false;
}

}  // namespace cri
