#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace ondrel {

// Reads a command-line value as the type it looks like: booleans
// (true/false/on/off/yes/no), integers, decimals, JSON lists and dictionaries,
// and text otherwise. A type name forces the reading ("string", "int",
// "float", "bool", "json"); a value that does not fit it is an error.
class ArgumentValue {
public:
    static QVariant parse(const QString& text, QString* error = nullptr);
    static QVariant parseAs(const QString& type, const QString& text, QString* error);
};

} // namespace ondrel
