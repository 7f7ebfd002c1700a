#pragma once

#include "fileprocesses/notifications/UserNotification.h"

#include <memory>

namespace ondrel {

class UserNotifier;

// The one place user notifications go: file processes and renders deliver
// here, and the program installs the notifier that shows them. Thread safe.
class UserNotificationCenter {
public:
    UserNotificationCenter() = delete;

    // Installs the notifier that shows notifications from now on; null
    // uninstalls it.
    static void setNotifier(std::shared_ptr<UserNotifier> notifier);
    // The installed notifier, or null.
    static std::shared_ptr<UserNotifier> notifier();
    // Hands `notification` to the installed notifier on the calling thread;
    // does nothing when none is installed.
    static void deliver(const UserNotification& notification);
};

} // namespace ondrel
