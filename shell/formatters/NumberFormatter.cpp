#include "shell/formatters/NumberFormatter.h"

#include "core/objects/Variant.h"

#include <QtCore/QLocale>

#include <algorithm>
#include <cmath>

namespace ondrel {

NumberFormatter::NumberFormatter() = default;

NumberFormatter::NumberFormatter(const Settings& settings) { setSettings(settings); }

NumberFormatter::Settings NumberFormatter::settings() const {
    std::lock_guard lock(m_mutex);
    return m_settings;
}

void NumberFormatter::setSettings(const Settings& settings) {
    Q_ASSERT(settings.multiplier != 0.0 && std::isfinite(settings.multiplier));
    Q_ASSERT(settings.minimumFractionDigits >= 0 && settings.maximumFractionDigits >= settings.minimumFractionDigits);
    std::lock_guard lock(m_mutex);
    m_settings = settings;
}

QString NumberFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isNumber(value))
        return {};
    return stringForNumber(value.toDouble(), settings());
}

QString NumberFormatter::stringForNumber(double value, const Settings& settings) {
    if (value == 0.0 && settings.zeroShowsAsNothing)
        return {};
    if (std::isnan(value))
        return QStringLiteral("NaN");
    const double scaled = value * settings.multiplier;
    const bool negative = scaled < 0.0;
    if (std::isinf(scaled))
        return negative ? QStringLiteral("-∞") + settings.negativeSuffix : QStringLiteral("∞") + settings.positiveSuffix;

    QString digits = fixedText(std::abs(scaled), settings.maximumFractionDigits);
    qsizetype point = digits.indexOf(QLatin1Char('.'));
    if (point >= 0) {
        // Trailing zeros go down to the minimum number of fraction digits.
        qsizetype end = digits.size();
        while (end - point - 1 > settings.minimumFractionDigits && digits.at(end - 1) == QLatin1Char('0'))
            --end;
        if (end - point - 1 == 0)
            --end;
        digits.truncate(end);
    }
    point = digits.indexOf(QLatin1Char('.'));
    QString integer = point >= 0 ? digits.left(point) : digits;
    const QString fraction = point >= 0 ? digits.mid(point) : QString();
    if (integer == QLatin1String("0") && settings.minimumIntegerDigits == 0 && !fraction.isEmpty())
        integer.clear();
    while (integer.size() < settings.minimumIntegerDigits)
        integer.prepend(QLatin1Char('0'));
    if (settings.usesGroupingSeparator)
        for (qsizetype i = integer.size() - 3; i > 0; i -= 3)
            integer.insert(i, QLatin1Char(','));

    const QString body = integer + fraction;
    const bool roundsToZero =
        std::none_of(body.cbegin(), body.cend(), [](QChar c) { return c >= QLatin1Char('1') && c <= QLatin1Char('9'); });
    if (negative && !roundsToZero)
        return QLatin1Char('-') + body + settings.negativeSuffix;
    return body + settings.positiveSuffix;
}

bool NumberFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    const Settings current = settings();
    QString text = string.trimmed();
    if (text.isEmpty() && current.zeroShowsAsNothing) {
        if (out)
            *out = 0.0;
        return true;
    }
    for (const QString& suffix : {current.positiveSuffix, current.negativeSuffix}) {
        const QString trimmedSuffix = suffix.trimmed();
        if (!trimmedSuffix.isEmpty() && text.endsWith(trimmedSuffix)) {
            text.chop(trimmedSuffix.size());
            break;
        }
    }
    text = text.trimmed().remove(QLatin1Char(','));
    double number = 0.0;
    bool ok = false;
    if (text == QStringLiteral("∞") || text == QStringLiteral("-∞")) {
        number = text.startsWith(QLatin1Char('-')) ? -qInf() : qInf();
        ok = true;
    } else {
        number = QLocale::c().toDouble(text, &ok);
    }
    if (!ok)
        return failToRead(string, errorDescription);
    if (out)
        *out = number / current.multiplier;
    return true;
}

std::shared_ptr<Formatter> NumberFormatter::copy() const { return std::make_shared<NumberFormatter>(settings()); }

} // namespace ondrel
