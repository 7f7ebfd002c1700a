#pragma once

#include "shell/formatters/Formatter.h"

#include <mutex>

namespace ondrel {

// Numbers as decimal text in the C locale ("1,234.5"), so that texts are the
// same on every machine and in scripts. Rounds to the nearest (ties of the
// exact binary value to even); a negative number that rounds to zero shows
// without its sign. Infinities show as "∞" and "-∞", not-a-number as "NaN";
// a value that isn't a number gives "".
class NumberFormatter : public Formatter {
public:
    struct Settings {
        double multiplier = 1.0;  // applied before showing, divided out when reading; not 0
        QString positiveSuffix;
        QString negativeSuffix;
        int minimumIntegerDigits = 1;  // leading zeros up to this many; never cuts digits off
        int minimumFractionDigits = 0;
        int maximumFractionDigits = 0;  // at least minimumFractionDigits
        bool usesGroupingSeparator = false;  // "," every three integer digits
        bool zeroShowsAsNothing = false;     // a value of exactly 0 gives ""
    };

    // A plain number: whole numbers, no suffix.
    NumberFormatter();
    explicit NumberFormatter(const Settings& settings);

    Settings settings() const;
    void setSettings(const Settings& settings);

    QString stringForObjectValue(const QVariant& value) const override;
    // Reads text with or without its suffix and separators back into a double
    // (divided by the multiplier); "" reads as 0 when zero shows as nothing.
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;

    // The text of `value` under `settings`.
    static QString stringForNumber(double value, const Settings& settings);

private:
    mutable std::mutex m_mutex;  // guards m_settings: a preference may change them while another thread formats
    Settings m_settings;
};

} // namespace ondrel
