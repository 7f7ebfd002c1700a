#pragma once

#include "core/objects/Object.h"
#include "shell/formatters/NumberFormatter.h"

namespace ondrel {

// Posted, with the formatter as object, when a FrequencyFormatter takes a new
// format from the default "frequencyFormat"; on the thread that changed it.
inline const QString FrequencyFormatterDidChangeNotification = QStringLiteral("FrequencyFormatterDidChange");

// Frequencies in Hz in the user's chosen unit, the string default
// "frequencyFormat" ("hz" when unset): "hz" shows "44,100 Hz"; any other
// value "44.1 kHz" (at most one decimal, no separators).
class FrequencyFormatter : public NumberFormatter {
public:
    FrequencyFormatter();
    ~FrequencyFormatter() override;

    QString format() const;
    // Sets the number settings of a format, as above.
    void setFormat(const QString& format);

    std::shared_ptr<Formatter> copy() const override;

private:
    void defaultDidChange();
    bool applyFormat(const QString& format);  // answers whether the format changed

    mutable std::mutex m_formatMutex;  // guards m_format
    QString m_format;
    ObservationHandle m_observation;
};

} // namespace ondrel
