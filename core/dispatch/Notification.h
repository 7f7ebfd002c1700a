#pragma once

#include <QtCore/QString>
#include <QtCore/QVariantMap>

namespace ondrel {

// A message posted through a NotificationCenter: a name, the object it is
// about (compared by identity only, never dereferenced by the center), and
// further details.
class Notification {
public:
    explicit Notification(QString name, const void* object = nullptr, QVariantMap userInfo = {})
        : m_name(std::move(name)), m_object(object), m_userInfo(std::move(userInfo)) {}

    const QString& name() const { return m_name; }
    const void* object() const { return m_object; }
    const QVariantMap& userInfo() const { return m_userInfo; }

private:
    QString m_name;
    const void* m_object;
    QVariantMap m_userInfo;
};

} // namespace ondrel
