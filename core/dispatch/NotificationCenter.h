#pragma once

#include "core/dispatch/Notification.h"

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVariantMap>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

// Delivers notifications to the observers registered for their name (an
// empty name: every notification) and object (null: any object),
// synchronously, on the posting thread, in the order the observers were
// added. Usable from any thread. Once removeObserver returns, the observer is
// not called again, except by a call under way on the same thread (an
// observer may remove itself).
class NotificationCenter {
public:
    using ObserverToken = quint64;  // 0 is never a token

    static NotificationCenter& defaultCenter();

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    // `block` is callable (not empty).
    ObserverToken addObserver(const QString& name, const void* object,
                              std::function<void(const Notification&)> block);
    void removeObserver(ObserverToken token);

    void postNotification(const Notification& notification);
    void postNotification(const QString& name, const void* object = nullptr, const QVariantMap& userInfo = {});

    struct Registration;

private:
    mutable std::mutex m_mutex;
    QHash<QString, std::vector<std::shared_ptr<Registration>>> m_byName;  // "" holds observers of every name
    QHash<ObserverToken, std::shared_ptr<Registration>> m_byToken;
    ObserverToken m_nextToken = 1;
};

} // namespace ondrel
