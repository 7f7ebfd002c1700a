#pragma once

#include "shell/formatters/Formatter.h"

#include <QtCore/QDateTime>

namespace ondrel {

// The start and length of a run in the activity panes: "Today 14:05 [2m 5s]".
class ActivityPaneLengthFormatter : public Formatter {
public:
    // Without a start (an invalid date): "[failed]". Otherwise the start in
    // local time, relative to today, then by the end date:
    //   the reference date (a NULL end read back: the run never ended) " [failed]"
    //   another date   the whole seconds between, rounded: " [<1s]" for 0,
    //                  " [1m 5s]" from 60 on, else " [42s]"
    //   none           nothing: the run is still going.
    QString stringForStartDate(const QDateTime& startDate, const QDateTime& endDate) const;

    // The start text alone: "Today 14:05", "Yesterday 09:00", or
    // "2026-11-20 14:05" for other days, in local time as seen at `now`.
    static QString relativeStringForDate(const QDateTime& date, const QDateTime& now);

    // The relative text of a date; "" for anything else.
    QString stringForObjectValue(const QVariant& value) const override;
    std::shared_ptr<Formatter> copy() const override;
};

} // namespace ondrel
