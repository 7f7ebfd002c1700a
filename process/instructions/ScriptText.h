#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace ondrel {

// The pieces of the script text that the instruction records write: values
// in their plain description, quoted strings, and record items. Nothing is
// escaped: a quote inside a string goes into the text as it stands.
class ScriptText {
public:
    // The format of a date in the text ("03/14/2026 09:26:53 PM"), written and
    // read in UTC, since our date values are UTC.
    static const QString DateFormat;

    // "true" or "false".
    static QString booleanText(bool value);
    // The shortest text that reads back to the same double: "0.1", "2",
    // "1e+20", "-inf", "nan".
    static QString doubleText(double value);
    // The same for a 32-bit float, whose shortest form is shorter still.
    static QString floatText(float value);
    // The date in DateFormat, in UTC.
    static QString dateText(const QDateTime& date);
    // "\"text\"", unescaped.
    static QString quoted(const QString& text);

    // The plain description of a value: booleans as true or false, integers as
    // integers, floating numbers by doubleText, strings as they are (no
    // quotes), dates as "date \"…\"", lists and dictionaries in the script's
    // list and record forms, objects by their scriptDescription.
    static QString valueText(const QVariant& value);
    // A record item: "|key|:\"value\"" for a string, "|key|:value" for
    // anything else.
    static QString itemText(const QString& key, const QVariant& value);
};

} // namespace ondrel
