#include "core/values/Date.h"


#include <cmath>

namespace ondrel {

namespace {
constexpr qint64 kReferenceMSecsSinceEpoch = 978307200000LL;  // 2001-01-01T00:00:00Z
// About 31 million years either way: its milliseconds stay well inside qint64.
constexpr double kLargestInterval = 1e15;
}

QDateTime Date::now() { return QDateTime::currentDateTimeUtc(); }

QDateTime Date::referenceDate() { return QDateTime::fromMSecsSinceEpoch(kReferenceMSecsSinceEpoch, Qt::UTC); }

double Date::timeIntervalSinceReferenceDate(const QDateTime& date) {
    return double(date.toMSecsSinceEpoch() - kReferenceMSecsSinceEpoch) / 1000.0;
}

double Date::timeIntervalSinceReferenceDate() { return timeIntervalSinceReferenceDate(now()); }

QDateTime Date::dateWithTimeIntervalSinceReferenceDate(double seconds) {
    if (!std::isfinite(seconds) || std::abs(seconds) > kLargestInterval)
        return QDateTime();
    return QDateTime::fromMSecsSinceEpoch(kReferenceMSecsSinceEpoch + qint64(std::llround(seconds * 1000.0)),
                                          Qt::UTC);
}

} // namespace ondrel
