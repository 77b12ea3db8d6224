/// Main loops for tests.
#include "MainLoop.h"

#include <future>

namespace cri_test {
namespace {

constexpr guint kTickMillis = 5;

gboolean Tick(gpointer) {
    return G_SOURCE_CONTINUE;
}

}  // namespace

/// What `holds` looks at may be changed by a thread that does not wake the context: hence the tick.
bool RunUntil(const std::function<bool()>& holds, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    GMainContext* context = g_main_context_ref_thread_default();
    GSource* tick = g_timeout_source_new(kTickMillis);
    g_source_set_callback(tick, Tick, nullptr, nullptr);
    g_source_attach(tick, context);
    bool held = holds();
    while (!held && std::chrono::steady_clock::now() < end) {
        g_main_context_iteration(context, TRUE);
        held = holds();
    }
    g_source_destroy(tick);
    g_source_unref(tick);
    g_main_context_unref(context);
    return held;
}

MainLoop::MainLoop() : m_context(g_main_context_new()), m_thread(&MainLoop::Iterate, this) {}

MainLoop::~MainLoop() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    g_main_context_wakeup(m_context);
    m_thread.join();
    g_main_context_unref(m_context);
}

void MainLoop::Run(const std::function<void()>& task) {
    std::packaged_task<void()> work(task);
    std::future<void> done = work.get_future();
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push_back([&work] { work(); });
    }
    g_main_context_wakeup(m_context);
    done.get();
}

void MainLoop::Iterate() {
    g_main_context_push_thread_default(m_context);
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        lock.unlock();
        RunTasks();
        g_main_context_iteration(m_context, TRUE);
        lock.lock();
    }
    lock.unlock();
    g_main_context_pop_thread_default(m_context);
}

void MainLoop::RunTasks() {
    std::deque<std::function<void()>> tasks;
    {
        const std::lock_guard lock(m_mutex);
        tasks.swap(m_tasks);
    }
    for (const auto& task : tasks) task();
}

}  // namespace cri_test
