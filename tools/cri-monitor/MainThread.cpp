/// Queues tasks for the default main context.
#include "MainThread.h"

#include <glib.h>

#include <deque>
#include <mutex>
#include <utility>

namespace cri_monitor {
namespace {

using Task = std::function<void()>;

std::mutex s_mutex;
std::deque<Task> s_tasks;

Task TakeFirst() {
    const std::lock_guard lock(s_mutex);
    Task task = std::move(s_tasks.front());
    s_tasks.pop_front();
    return task;
}

gboolean RunFirst(gpointer) {
    TakeFirst()();
    return G_SOURCE_REMOVE;
}

}  // namespace

/// One source for each task. Not g_main_context_invoke: while no loop runs, that would call the
/// task on this thread.
void OnMainThread(Task task) {
    const std::lock_guard lock(s_mutex);
    s_tasks.push_back(std::move(task));
    g_idle_add_full(G_PRIORITY_DEFAULT, RunFirst, nullptr, nullptr);
}

}  // namespace cri_monitor
