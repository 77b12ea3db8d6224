/// Subscribers in the order of their ids, and the delivery to them.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <vector>

#include "base/ForkedChild.h"
#include "base/Wall.h"
#include "channel/NotificationThread.h"

namespace cri {

/// Callbacks of one kind. Every operation may be called from any thread and from inside a callback;
/// no lock is held while a callback is called, copied or destroyed.
///
/// A delivery walks the list as it stands when the delivery starts, but calls nobody who has been
/// removed by the time his turn comes. Nothing is taken out of a list that is being walked: he who
/// is removed is marked, which needs no memory, and goes with the last who walks it.
template <class Record>
class SubscriberList {
  public:
    using Id = unsigned long long;
    using Callback = std::function<void(const Record&)>;

    /// @param channel  whose notification threads deliver; lives as long as the process
    explicit SubscriberList(const FileChannel& channel) : m_channel(&channel) {}

    /// @param id  was never given before; those of other threads may come before smaller ones
    void Add(Id id, Callback&& callback) {
        auto entry = std::make_shared<Entry>(id, std::move(callback));
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_walkers > 0) CopyList();
        auto place = m_entries->end();
        while (place != m_entries->begin() && (*std::prev(place))->id > id) --place;
        m_entries->insert(place, std::move(entry));
    }

    /// @return false when there is no such subscriber
    bool Remove(Id id) {
        std::shared_ptr<Entry> removed;  // destroyed without the lock
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = Find(id);
        if (found == m_entries->end() || !(*found)->End()) return false;
        if (m_walkers > 0) {
            m_ended = true;
            return true;
        }
        removed = std::move(*found);
        m_entries->erase(found);
        return true;
    }

    /// Removes everybody.
    void Clear() {
        std::shared_ptr<Entries> removed;  // destroyed without the lock
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& entry : *m_entries) entry->End();
        removed = m_entries;
        m_ended = true;
        CopyList();
    }

    /// Calls everybody with `record`, on the calling thread. A notification thread of the channel
    /// that is retired meanwhile stops in the middle.
    void Deliver(const Record& record) {
        const Walk walk(*this);
        const NotificationThread* const thread = NotificationThread::CurrentOf(m_channel);
        const HostTurn turn;
        for (const auto& entry : *walk.entries) {
            if (thread && !thread->Running()) return;
            if (!entry->Live() || !entry->callback) continue;
            CatchAll(0, [&] {
                entry->callback(record);
                return 0;
            });
        }
    }

    /// In a child made by fork: nobody walks the list there, nor holds its lock.
    void RenewInChild() {
        Renew(m_mutex);
        m_walkers = 0;
    }

  private:
    struct Entry {
        Entry(Id given, Callback&& call) : id(given), callback(std::move(call)) {}
        bool Live() const { return live.load(std::memory_order_acquire); }
        /// @return false when it was ended before
        bool End() { return live.exchange(false, std::memory_order_release); }

        const Id id;
        const Callback callback;
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
            if (entries == list.m_entries && --list.m_walkers == 0 && list.m_ended) list.Sweep();
        }
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;

        SubscriberList& list;
        std::shared_ptr<const Entries> entries;  // released after the lock is
    };

    /// Leaves the list to those who walk it, and goes on with a copy of who is still there.
    void CopyList() {
        auto live = std::make_shared<Entries>();
        live->reserve(m_entries->size() + 1);
        for (const auto& entry : *m_entries)
            if (entry->Live()) live->push_back(entry);
        m_entries = std::move(live);
        m_walkers = 0;
        m_ended = false;
    }

    /// Without memory for it, the next one does it.
    void Sweep() {
        CatchAll(0, [this] {
            CopyList();
            return 0;
        });
    }

    typename Entries::iterator Find(Id id) {
        const auto place =
            std::lower_bound(m_entries->begin(), m_entries->end(), id,
                             [](const auto& entry, Id wanted) { return entry->id < wanted; });
        return place != m_entries->end() && (*place)->id == id ? place : m_entries->end();
    }

    const FileChannel* const m_channel;
    std::mutex m_mutex;
    std::shared_ptr<Entries> m_entries = std::make_shared<Entries>();  ///< by ascending id
    int m_walkers = 0;     ///< deliveries that walk m_entries itself
    bool m_ended = false;  ///< whether somebody in it was removed meanwhile
};

}  // namespace cri
