#pragma once

#include "fileprocesses/notifications/UserNotification.h"

namespace ondrel {

// Shows user notifications: the desktop program's freedesktop service, the
// command line's printed line. Installed in UserNotificationCenter.
class UserNotifier {
public:
    virtual ~UserNotifier() = default;

    // Shows `notification`. Called on any thread, possibly on several at
    // once; must return without waiting for the user.
    virtual void deliverNotification(const UserNotification& notification) = 0;
};

} // namespace ondrel
