#pragma once

#include "core/text/VMKError.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace ondrel {

// XML property lists (the "-//Apple//DTD PLIST 1.0//EN" document type) over
// the dynamic value:
//   dict     QVariantMap (QVariantHash is written too)
//   array    QVariantList (QStringList is written too)
//   string   QString
//   integer  any integer type; reads back as qint64 (quint64 above its range)
//   real     double or float, integral ones included; reads back as double
//   true     bool; false
//   date     QDateTime, written in UTC as 2001-01-01T00:00:00Z (with
//            milliseconds when it has any); reads back in UTC
//   data     QByteArray, base64 in wrapped lines
// Objects, the null marker and absent values have no property list form:
// writing them fails with an error.
class PropertyList {
public:
    enum ErrorCode : qint64 {
        ReadCorruptError = 3840,   // not a well formed property list
        WriteInvalidError = 3852,  // a value without a property list form
        FileReadError = 256,
        FileWriteError = 512,
    };

    // The document, or null data (with the error) when the tree holds a value
    // that can't be written.
    static QByteArray dataWithPropertyList(const QVariant& plist, VMKError* error = nullptr);
    // The root value, or absent (with an error naming the line) when the data
    // is not a property list.
    static QVariant propertyListWithData(const QByteArray& data, VMKError* error = nullptr);

    // Whether the whole tree has a property list form.
    static bool isPropertyList(const QVariant& plist);

    // Writes atomically: the file is either the old one or the complete new one.
    static bool writeToFile(const QVariant& plist, const QString& path, VMKError* error = nullptr);
    static QVariant readFromFile(const QString& path, VMKError* error = nullptr);
};

} // namespace ondrel
