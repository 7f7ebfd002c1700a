#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

namespace ondrel {

// Turns a value of some kind into the text the user sees, and (where the
// text allows) back. Subclasses are safe to use from several threads once
// made; those that follow a preference guard what a change sets.
class Formatter {
public:
    virtual ~Formatter();
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    // The text of a value; "" for a value the formatter has no text for.
    virtual QString stringForObjectValue(const QVariant& value) const = 0;

    // Reads text back into a value. By default no text can be read back:
    // answers false, with a description when asked.
    virtual bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const;

    // A new formatter of the same class and settings.
    virtual std::shared_ptr<Formatter> copy() const = 0;

protected:
    Formatter() = default;
    // Answers false after filling `errorDescription`, when given, with the
    // text of "Formatter_error_unreadable" for `string`.
    static bool failToRead(const QString& string, QString* errorDescription);
    // A finite `value` with `fractionDigits` decimals and '.' as the point,
    // rounded as printf's "%.*f" does: to the nearest, and a tie of the
    // exact binary value to the even digit (0.125 gives "0.12").
    static QString fixedText(double value, int fractionDigits);
};

} // namespace ondrel
