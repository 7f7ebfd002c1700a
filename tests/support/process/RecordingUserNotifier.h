#pragma once

#include "fileprocesses/notifications/UserNotification.h"
#include "fileprocesses/notifications/UserNotifier.h"

#include <functional>
#include <mutex>
#include <vector>

namespace ondrel {

// Keeps every notification delivered to it, from any thread, and calls
// `onDeliver` (when set) on the delivering thread first.
class RecordingUserNotifier : public UserNotifier {
public:
    void deliverNotification(const UserNotification& notification) override {
        if (onDeliver)
            onDeliver(notification);
        std::lock_guard lock(m_mutex);
        m_delivered.push_back(notification);
    }
    std::vector<UserNotification> delivered() const {
        std::lock_guard lock(m_mutex);
        return m_delivered;
    }
    std::function<void(const UserNotification&)> onDeliver;

private:
    mutable std::mutex m_mutex;
    std::vector<UserNotification> m_delivered;
};

} // namespace ondrel
