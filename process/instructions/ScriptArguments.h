#pragma once

#include "core/text/VMKError.h"

#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVariantMap>

#include <optional>

namespace ondrel {

// The argument checks shared by the records' script readers. Each answers
// false for a value of the wrong kind and fills the error slot with a
// VMKError of code 1301 (wrong arguments), naming the record and the key.
class ScriptArguments {
public:
    static constexpr qint64 WrongArgumentsCode = 1301;

    // The error of a record that can't be read: "Reading the script arguments
    // of <record>" with the reason.
    static VMKError error(const QString& record, const QString& reason);

    // A record: a dictionary, or the empty list that "{}" reads as.
    static bool record(const QVariant& value, const QString& record, QVariantMap& out, VMKError* error);
    // A list.
    static bool list(const QVariant& value, const QString& record, const QString& key, QVariantList& out,
                     VMKError* error);
    // A number (not a boolean).
    static bool number(const QVariant& value, const QString& record, const QString& key, double& out,
                       VMKError* error);
    // A whole number, not negative.
    static bool index(const QVariant& value, const QString& record, const QString& key, quint64& out,
                      VMKError* error);
    // A whole number.
    static bool integer(const QVariant& value, const QString& record, const QString& key, qint64& out,
                        VMKError* error);
    // A boolean, or a whole number read as one.
    static bool boolean(const QVariant& value, const QString& record, const QString& key, bool& out,
                        VMKError* error);
    static bool string(const QVariant& value, const QString& record, const QString& key, QString& out,
                       VMKError* error);

    // The same into optional fields, which they leave untouched on failure.
    static bool number(const QVariant& value, const QString& record, const QString& key,
                       std::optional<double>& out, VMKError* error);
    static bool integer(const QVariant& value, const QString& record, const QString& key,
                        std::optional<qint64>& out, VMKError* error);
    static bool boolean(const QVariant& value, const QString& record, const QString& key,
                        std::optional<bool>& out, VMKError* error);
    static bool string(const QVariant& value, const QString& record, const QString& key,
                       std::optional<QString>& out, VMKError* error);
};

} // namespace ondrel
