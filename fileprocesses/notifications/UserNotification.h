#pragma once

#include <QtCore/QString>
#include <QtCore/QVariantMap>

namespace ondrel {

// One message for the user from a finished job: what the system's
// notification service shows. The user information comes back to the
// program when the user clicks the notification ("className" and "ID" name
// the process to show).
struct UserNotification {
    QString title;
    QString subtitle;
    QString actionButtonTitle;
    QVariantMap userInfo;
};

} // namespace ondrel
