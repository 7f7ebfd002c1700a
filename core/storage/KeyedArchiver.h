#pragma once

#include "core/text/VMKError.h"
#include "core/objects/Variant.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include <vector>

namespace ondrel {

// Writes a value tree (plain values, lists, dictionaries and archivable
// objects) as an XML property list. An object becomes a dictionary of its
// encoded keys plus "$class" with its class name; the document's root is
// {"$archiver": "OndrelKeyedArchiver", "$version": 1, "$top": {"root": ...}}.
// Keys beginning with "$" (in plain dictionaries and in encoded keys alike)
// are written with one more "$", so that a dictionary holding "$class" stays
// a dictionary. The archive is a tree: an object reached twice is written
// twice, and an object that contains itself can't be archived.
class KeyedArchiver {
public:
    // Null data (with the error) when the tree holds something that can't be
    // archived: an object of a class that is not archivable, the null marker.
    static QByteArray archivedDataWithRootObject(const QVariant& root, VMKError* error = nullptr);

    // For encodeWithCoder of archivable objects.
    void encodeObject(const QVariant& value, const QString& key);  // any value, objects included
    void encodeBool(bool value, const QString& key);
    void encodeInt64(qint64 value, const QString& key);
    void encodeDouble(double value, const QString& key);
    void encodeString(const QString& value, const QString& key);
    void encodeData(const QByteArray& value, const QString& key);

    KeyedArchiver();

private:
    QVariant encodeValue(const QVariant& value);
    void store(const QString& key, const QVariant& value);
    void fail(const QString& reason);

    QVariantMap m_current;                   // the encoded keys of the object being encoded
    std::vector<const Object*> m_encoding;   // the objects being encoded, outermost first
    QStringList m_keyPath;                   // where the encoder is, for messages
    VMKError m_error;
};

} // namespace ondrel
