#pragma once

#include "core/text/VMKError.h"
#include "core/objects/Variant.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariantMap>

namespace ondrel {

// Reads what KeyedArchiver wrote. Objects are made by class name through the
// class registry and filled by initWithCoder; an unknown class name fails the
// whole read with an error naming the class.
class KeyedUnarchiver {
public:
    static QVariant unarchiveObjectWithData(const QByteArray& data, VMKError* error = nullptr);

    // For initWithCoder of archivable objects.
    bool containsValueForKey(const QString& key) const;
    QVariant decodeObjectForKey(const QString& key) const;  // objects come back as ObjectPtr
    bool decodeBoolForKey(const QString& key) const;
    qint64 decodeInt64ForKey(const QString& key) const;
    double decodeDoubleForKey(const QString& key) const;
    QString decodeStringForKey(const QString& key) const;
    QByteArray decodeDataForKey(const QString& key) const;

    KeyedUnarchiver();

private:
    QVariant decodeValue(const QVariant& value) const;
    void fail(const QString& reason) const;

    QVariantMap m_current;  // the keys of the object being decoded, as its encoder wrote them
    mutable VMKError m_error;
};

} // namespace ondrel
