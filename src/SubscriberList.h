/// Subscribers in the order of their ids, and the delivery to them.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "NotificationThread.h"
#include "Wall.h"

namespace cri {

/// Callbacks of one kind. Every operation may be called from any thread and from inside a callback;
/// no lock is held while a callback is called, copied or destroyed.
///
/// A delivery walks the list as it stands when the delivery starts, but calls nobody who has been
/// removed by the time his turn comes. The list is copied only when it is changed while it is being
/// walked.
template <class Record>
class SubscriberList {
  public:
    using Id = unsigned long long;
    using Callback = std::function<void(const Record&)>;

    /// @param channel  owner of the notification threads that deliver; lives as long as the process
    explicit SubscriberList(const void* channel) : m_channel(channel) {}

    /// @param lastId  the last id handed out, from a counter that several lists may share
    /// @return the new subscriber's id
    Id Add(Callback&& callback, std::atomic<Id>& lastId) {
        auto entry = std::make_shared<Entry>(std::move(callback));
        const std::lock_guard<std::mutex> lock(m_mutex);
        PrepareChange();
        const Id id = entry->id = ++lastId;
        m_entries->push_back(std::move(entry));
        return id;
    }

    /// @return false when there is no such subscriber
    bool Remove(Id id) {
        std::shared_ptr<Entry> removed;  // destroyed without the lock
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = Find(id);
        if (found == m_entries->size()) return false;
        PrepareChange();
        removed = std::move((*m_entries)[found]);
        removed->live.store(false, std::memory_order_release);
        m_entries->erase(m_entries->begin() + static_cast<std::ptrdiff_t>(found));
        return true;
    }

    /// Removes everybody.
    void Clear() {
        auto removed = std::make_shared<Entries>();
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& entry : *m_entries) entry->live.store(false, std::memory_order_release);
        m_entries.swap(removed);
        m_walkers = 0;
    }

    /// Calls everybody with `record`, on the calling thread. A notification thread of the channel
    /// that is retired meanwhile stops in the middle.
    void Deliver(const Record& record) {
        const Walk walk(*this);
        const NotificationThread* const thread = NotificationThread::CurrentOf(m_channel);
        const HostTurn turn;
        for (const auto& entry : *walk.entries) {
            if (thread && !thread->Running()) return;
            if (!entry->live.load(std::memory_order_acquire) || !entry->callback) continue;
            CatchAll(0, [&] {
                entry->callback(record);
                return 0;
            });
        }
    }

  private:
    struct Entry {
        explicit Entry(Callback&& given) : callback(std::move(given)) {}
        const Callback callback;
        Id id = 0;
        std::atomic<bool> live{true};
    };
    using Entries = std::vector<std::shared_ptr<Entry>>;

    /// A delivery's hold on the list.
    struct Walk {
        explicit Walk(SubscriberList& walked) : list(walked) {
            const std::lock_guard<std::mutex> lock(list.m_mutex);
            entries = list.m_entries;
            ++list.m_walkers;
        }
        ~Walk() {
            const std::lock_guard<std::mutex> lock(list.m_mutex);
            if (entries == list.m_entries) --list.m_walkers;
        }
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;

        SubscriberList& list;
        std::shared_ptr<const Entries> entries;  // released after the lock is
    };

    /// Leaves the list that is being walked to those who walk it.
    void PrepareChange() {
        if (m_walkers == 0) return;
        m_entries = std::make_shared<Entries>(*m_entries);
        m_walkers = 0;
    }

    std::size_t Find(Id id) const {
        const auto place =
            std::lower_bound(m_entries->begin(), m_entries->end(), id,
                             [](const auto& entry, Id wanted) { return entry->id < wanted; });
        const bool found = place != m_entries->end() && (*place)->id == id;
        return found ? static_cast<std::size_t>(place - m_entries->begin()) : m_entries->size();
    }

    const void* const m_channel;
    std::mutex m_mutex;
    std::shared_ptr<Entries> m_entries = std::make_shared<Entries>();  ///< by ascending id
    int m_walkers = 0;  ///< deliveries that walk m_entries itself
};

}  // namespace cri
