#pragma once

#include "core/objects/IndexSet.h"
#include "core/objects/Object.h"

#include <QtCore/QString>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

// The list a process controller keeps of its work (render groups, file
// processes): shared items, each observed at `key` ("processing") while it
// is in the list, and whether any of them is processing.
//
// Every member may be called on any thread. `onChange` runs on the thread
// that told the change, outside the list's lock; it usually calls
// updateProcessing(). Observations end outside the lock too, so a change
// being told on another thread never waits on a thread that waits for it.
template <class T>
class ProcessingList {
public:
    // `key` is observed on every item; `isProcessing` reads an item's state.
    ProcessingList(QString key, std::function<bool(const T&)> isProcessing)
        : m_key(std::move(key)), m_isProcessing(std::move(isProcessing)) {}

    std::vector<std::shared_ptr<T>> items() const {
        std::lock_guard lock(m_lock);
        std::vector<std::shared_ptr<T>> items;
        items.reserve(m_entries.size());
        for (const Entry& entry : m_entries)
            items.push_back(entry.item);
        return items;
    }

    qsizetype count() const {
        std::lock_guard lock(m_lock);
        return qsizetype(m_entries.size());
    }

    // Null when out of range.
    std::shared_ptr<T> at(qsizetype index) const {
        std::lock_guard lock(m_lock);
        return index < 0 || size_t(index) >= m_entries.size() ? nullptr : m_entries[size_t(index)].item;
    }

    // -1 when the item isn't in the list.
    qsizetype indexOf(const T* item) const {
        std::lock_guard lock(m_lock);
        const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                        [item](const Entry& entry) { return entry.item.get() == item; });
        return found == m_entries.end() ? -1 : qsizetype(found - m_entries.begin());
    }

    // Puts `item` at `index` (at the end when out of range), observing its
    // key with `onChange`, and answers where it went. `item` must not be null.
    qsizetype insert(std::shared_ptr<T> item, qsizetype index, std::function<void()> onChange) {
        Q_ASSERT(item);
        Entry entry{item, item->observe(m_key, 0, [onChange = std::move(onChange)](const KeyValueChangeInfo&) {
                        onChange();
                    })};
        std::lock_guard lock(m_lock);
        const auto count = qsizetype(m_entries.size());
        const qsizetype placed = index < 0 || index > count ? count : index;
        m_entries.insert(m_entries.begin() + placed, std::move(entry));
        return placed;
    }

    // Takes out the items at those of `indexes` that are in range and answers
    // those indexes. The items' last references may go here.
    IndexSet remove(const IndexSet& indexes) {
        std::vector<Entry> removed;
        IndexSet valid;
        {
            std::lock_guard lock(m_lock);
            const auto count = qsizetype(m_entries.size());
            for (qsizetype index : indexes)
                if (index >= 0 && index < count)
                    valid.add(index);
            // From the back, so the indexes still to remove stay where they were.
            for (auto it = valid.indexes().rbegin(); it != valid.indexes().rend(); ++it) {
                removed.push_back(std::move(m_entries[size_t(*it)]));
                m_entries.erase(m_entries.begin() + *it);
            }
        }
        for (Entry& entry : removed)
            entry.observation.reset();
        return valid;
    }

    // Empties the list, no longer observing, and answers what it held.
    std::vector<std::shared_ptr<T>> takeAll() {
        std::vector<Entry> entries;
        {
            std::lock_guard lock(m_lock);
            entries.swap(m_entries);
        }
        std::vector<std::shared_ptr<T>> items;
        items.reserve(entries.size());
        for (Entry& entry : entries) {
            entry.observation.reset();
            items.push_back(std::move(entry.item));
        }
        return items;
    }

    // Whether any item is processing, computed and stored under the lock:
    // of two updates on two threads, the later computation is the one that
    // stays. Answers whether the stored value changed.
    bool updateProcessing() {
        std::lock_guard lock(m_lock);
        const bool any = std::any_of(m_entries.begin(), m_entries.end(),
                                     [this](const Entry& entry) { return m_isProcessing(*entry.item); });
        return m_processing.exchange(any) != any;
    }

    // The value stored by the last updateProcessing().
    bool isProcessing() const { return m_processing.load(); }

private:
    struct Entry {
        std::shared_ptr<T> item;
        ObservationHandle observation;
    };

    const QString m_key;
    const std::function<bool(const T&)> m_isProcessing;
    mutable std::mutex m_lock;
    std::vector<Entry> m_entries;  // under m_lock
    std::atomic<bool> m_processing{false};
};

} // namespace ondrel
