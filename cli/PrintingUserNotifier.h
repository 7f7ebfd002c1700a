#pragma once

#include "fileprocesses/notifications/UserNotifier.h"

namespace ondrel {

// The command line's user notifications: one line on standard error
// ("ondrel: Adding Files Finished, 12 items"), none with --quiet.
class PrintingUserNotifier : public UserNotifier {
public:
    // Prints the title and the subtitle as one line, written whole even when
    // several threads deliver at once. Any thread.
    void deliverNotification(const UserNotification& notification) override;
};

} // namespace ondrel
