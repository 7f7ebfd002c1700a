#include "fileprocesses/notifications/UserNotificationCenter.h"

#include "fileprocesses/notifications/UserNotifier.h"

#include <mutex>

namespace ondrel {

namespace {

std::mutex& notifierMutex() {
    static std::mutex mutex;
    return mutex;
}

// Lives for the process (never destroyed at exit).
std::shared_ptr<UserNotifier>& installedNotifier() {
    static auto* notifier = new std::shared_ptr<UserNotifier>();
    return *notifier;
}

} // namespace

void UserNotificationCenter::setNotifier(std::shared_ptr<UserNotifier> notifier) {
    std::shared_ptr<UserNotifier> old;
    {
        std::lock_guard lock(notifierMutex());
        old = std::exchange(installedNotifier(), std::move(notifier));
    }
}

std::shared_ptr<UserNotifier> UserNotificationCenter::notifier() {
    std::lock_guard lock(notifierMutex());
    return installedNotifier();
}

void UserNotificationCenter::deliver(const UserNotification& notification) {
    // Called outside the lock: a notifier may take its time, or install
    // another one.
    if (const auto installed = notifier())
        installed->deliverNotification(notification);
}

} // namespace ondrel
