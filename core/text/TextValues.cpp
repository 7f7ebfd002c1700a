#include "core/text/TextValues.h"

#include <limits>

namespace ondrel {

qint64 TextValues::integerValue(QStringView text) {
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && text[i].isSpace())
        ++i;
    bool negative = false;
    if (i < n && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+'))) {
        negative = text[i] == QLatin1Char('-');
        ++i;
    }
    // Accumulated as a negative number, whose range holds INT64_MIN.
    constexpr qint64 lowest = std::numeric_limits<qint64>::min();
    qint64 value = 0;
    bool saturated = false;
    for (; i < n && text[i] >= QLatin1Char('0') && text[i] <= QLatin1Char('9'); ++i) {
        const int digit = text[i].unicode() - '0';
        if (saturated || value < (lowest + digit) / 10) {
            saturated = true;
            continue;
        }
        value = value * 10 - digit;
    }
    if (saturated)
        return negative ? lowest : std::numeric_limits<qint64>::max();
    if (!negative)
        return value == lowest ? std::numeric_limits<qint64>::max() : -value;
    return value;
}

} // namespace ondrel
