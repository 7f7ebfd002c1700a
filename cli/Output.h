#pragma once

#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace ondrel {

// How `ondrel` talks: results to standard output, problems to standard error.
class Output {
public:
    enum ExitStatus { Done = 0, SomeItemFailed = 1, WrongUsage = 2, CannotOpen = 3 };

    static void setJson(bool json) { s_json = json; }
    static bool isJson() { return s_json; }
    static void setQuiet(bool quiet) { s_quiet = quiet; }
    static bool isQuiet() { return s_quiet; }

    static void line(const QString& text);
    static void error(const QString& text);  // "ondrel: text"
    // A line of progress on standard error, as it is (no prefix).
    static void status(const QString& text);
    static int usage(const QString& text);   // prints, answers WrongUsage

    // A value as JSON: data as base64, dates as ISO 8601 UTC, objects by description.
    static QJsonValue toJson(const QVariant& value);
    static void printJson(const QVariant& value);
    // A text for a line of its own: line breaks, tabs and other control
    // characters are written as escapes (\n, \t, \u001b), so that each
    // entry stays on one line.
    static QString oneLine(const QString& text);
    // A value as text on one line: texts as they are, lists and dictionaries as JSON.
    static QString toText(const QVariant& value);

private:
    static inline bool s_json = false;
    static inline bool s_quiet = false;
};

} // namespace ondrel
