#pragma once

#include <QtCore/QDateTime>

namespace ondrel {

// Dates are stored as seconds since the reference date 2001-01-01 00:00:00 UTC.
class Date {
public:
    static QDateTime now();
    static QDateTime referenceDate();
    static double timeIntervalSinceReferenceDate(const QDateTime& date);
    static double timeIntervalSinceReferenceDate();  // of now
    // Invalid (absent) for seconds that are not finite or lie more than about
    // 31 million years from the reference date.
    static QDateTime dateWithTimeIntervalSinceReferenceDate(double seconds);
};

} // namespace ondrel
