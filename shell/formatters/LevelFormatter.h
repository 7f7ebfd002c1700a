#pragma once

#include "core/objects/Object.h"
#include "shell/formatters/Formatter.h"

#include <mutex>

namespace ondrel {

// Posted, with the formatter as object, when a LevelFormatter takes a new
// format from the default "levelFormat"; on the thread that changed it.
inline const QString LevelFormatterDidChangeNotification = QStringLiteral("LevelFormatterDidChange");

// Levels in dB (numbers) in the user's chosen scale, the string default
// "levelFormat" ("decibel" when unset). With a = 10^(level / 20), and a = 0
// for not-a-number:
//   "decibel"     "-6.02 dB"; not-a-number and infinities "-∞ dB"
//   "percent"     round(|a| x 100) as "50 %"
//   "normalized"  |a| as "0.50"
//   "8bit"        round(a x 127) as "64"
//   "16bit"       round(a x 32767) as four hex digits, "4000"
//   "24bit"       round(a x 8388607) as six hex digits, "400000"
// The bit forms keep the low 16 or 24 bits of the integer (clamped to 64 bits
// first), so levels above full scale wrap as two's complement sample values
// do. An unknown format, and a value that isn't a number, give "".
class LevelFormatter : public Formatter {
public:
    LevelFormatter();
    ~LevelFormatter() override;

    QString format() const;

    QString stringForObjectValue(const QVariant& value) const override;
    // Reads the text of the current format back into dB (a double).
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;

    static QString stringForLevel(double level, const QString& format);

private:
    void defaultDidChange();

    mutable std::mutex m_mutex;  // guards m_format
    QString m_format;
    ObservationHandle m_observation;
};

} // namespace ondrel
