#include "shell/formatters/ByteCountFormatter.h"

#include "core/objects/Variant.h"
#include "core/text/VMKLocalizedString.h"

#include <cmath>

namespace ondrel {

QString ByteCountFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isNumber(value))
        return {};
    return stringFromByteCount(value.toDouble());
}

QString ByteCountFormatter::stringFromByteCount(double bytes) {
    if (!std::isfinite(bytes))
        return {};
    if (bytes == 0.0)
        return VMKLocalizedString(QStringLiteral("ByteCountFormatter_zero"));
    const QString sign = bytes < 0.0 ? QStringLiteral("-") : QString();
    const double magnitude = std::abs(bytes);
    if (std::round(magnitude) < 1000.0) {
        const double count = std::round(magnitude);
        return sign + VMKLocalizedString(count == 1.0 ? QStringLiteral("ByteCountFormatter_byte")
                                                      : QStringLiteral("ByteCountFormatter_bytes"))
                          .arg(QString::number(count, 'f', 0));
    }
    static const char* const units[] = {"KB", "MB", "GB", "TB", "PB", "EB", "ZB", "YB"};
    constexpr int unitCount = int(sizeof units / sizeof units[0]);
    double amount = magnitude / 1000.0;
    int unit = 0;
    while (unit + 1 < unitCount) {
        const int digits = unit == 0 ? 0 : unit == 1 ? 1 : 2;
        const double scale = std::pow(10.0, digits);
        if (std::round(amount * scale) / scale < 1000.0)
            break;
        amount /= 1000.0;
        ++unit;
    }
    const int digits = unit == 0 ? 0 : unit == 1 ? 1 : 2;
    QString number = QString::number(amount, 'f', digits);
    if (number.contains(QLatin1Char('.'))) {
        while (number.endsWith(QLatin1Char('0')))
            number.chop(1);
        if (number.endsWith(QLatin1Char('.')))
            number.chop(1);
    }
    return sign + number + QLatin1Char(' ') + QLatin1String(units[unit]);
}

std::shared_ptr<Formatter> ByteCountFormatter::copy() const { return std::make_shared<ByteCountFormatter>(); }

} // namespace ondrel
