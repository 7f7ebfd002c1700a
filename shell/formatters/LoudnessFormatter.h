#pragma once

#include "core/objects/Object.h"
#include "shell/formatters/Formatter.h"

#include <mutex>

namespace ondrel {

// Posted, with the formatter as object, when a LoudnessFormatter takes a new
// format from the default "loudnessFormat"; on the thread that changed it.
inline const QString LoudnessFormatterDidChangeNotification = QStringLiteral("LoudnessFormatterDidChange");

// Program loudness, stored relative to -23 LUFS, in the user's chosen scale
// (the string default "loudnessFormat", "LUFS" when unset): the value is
// first rounded to tenths (halves away from zero), then shown as
// "-21.5 LUFS" (the value minus 23) or, with any other format, "1.5 LU".
// An absent value, not-a-number or one that isn't a number gives ""; a value
// that rounds to zero shows without a sign; infinities show as "-∞ LUFS".
class LoudnessFormatter : public Formatter {
public:
    LoudnessFormatter();
    ~LoudnessFormatter() override;

    QString format() const;

    QString stringForObjectValue(const QVariant& value) const override;
    // Reads "x LUFS" or "x LU" back into the stored (relative) value.
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    std::shared_ptr<Formatter> copy() const override;

    static QString stringForLoudness(double loudness, const QString& format);

private:
    void defaultDidChange();

    mutable std::mutex m_mutex;  // guards m_format
    QString m_format;
    ObservationHandle m_observation;
};

} // namespace ondrel
