#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKTimeFormatter.h"
#include "shell/formatters/Formatter.h"

#include <mutex>

namespace ondrel {

// Posted, with the formatter as object, when a TimeFormatter takes a new
// format from the default "timeFormat"; on the thread that changed it.
inline const QString TimeFormatterDidChangeNotification = QStringLiteral("TimeFormatterDidChange");

// Times in seconds in the user's chosen form (the integer default
// "timeFormat", a code of VMKTimeFormatter, 13 when unset). Follows the
// default while it lives.
class TimeFormatter : public Formatter {
public:
    TimeFormatter();
    ~TimeFormatter() override;

    bool isPosition() const;
    // Marks the values as positions (hours always shown, bars from 1) rather
    // than durations.
    void setIsPosition(bool isPosition);
    // What sample, bar and beat forms count in; set by views that show one file.
    void setSampleRate(double sampleRate);
    void setTempo(double tempo);
    void setMeterNumerator(int meterNumerator);

    // A copy of the current settings, for a view that works with them directly.
    VMKTimeFormatter timeFormatter() const;

    QString stringForObjectValue(const QVariant& value) const override;
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const override;
    // A new instance with the same position, rate, tempo and meter.
    std::shared_ptr<Formatter> copy() const override;

private:
    void defaultDidChange();

    mutable std::mutex m_mutex;  // guards m_formatter: the default may change while another thread formats
    VMKTimeFormatter m_formatter;
    ObservationHandle m_observation;
};

} // namespace ondrel
