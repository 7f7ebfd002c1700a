#include "core/values/Date.h"


#include <cmath>

namespace ondrel {

namespace {
constexpr qint64 kReferenceMSecsSinceEpoch = 978307200000LL;  // 2001-01-01T00:00:00Z
}

QDateTime Date::now() { return QDateTime::currentDateTimeUtc(); }

QDateTime Date::referenceDate() { return QDateTime::fromMSecsSinceEpoch(kReferenceMSecsSinceEpoch, Qt::UTC); }

double Date::timeIntervalSinceReferenceDate(const QDateTime& date) {
    return double(date.toMSecsSinceEpoch() - kReferenceMSecsSinceEpoch) / 1000.0;
}

double Date::timeIntervalSinceReferenceDate() { return timeIntervalSinceReferenceDate(now()); }

QDateTime Date::dateWithTimeIntervalSinceReferenceDate(double seconds) {
    return QDateTime::fromMSecsSinceEpoch(kReferenceMSecsSinceEpoch + qint64(std::llround(seconds * 1000.0)),
                                          Qt::UTC);
}

} // namespace ondrel
