#include "shell/formatters/TruePeakFormatter.h"

#include "core/objects/Variant.h"

#include <QtCore/QLocale>

#include <cmath>
#include <limits>

namespace ondrel {

QString TruePeakFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isNumber(value))
        return {};
    const double level = value.toDouble();
    // The marker arrives as a float or as a double read back from text; both
    // round to the largest float.
    constexpr double largestFloat = std::numeric_limits<float>::max();
    if (std::abs(level - largestFloat) <= largestFloat * 1e-7)
        return {};
    if (!std::isfinite(level))
        return QStringLiteral("-∞ dBTP");
    return fixedText(level, 2) + QStringLiteral(" dBTP");
}

bool TruePeakFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    QString text = string.trimmed();
    if (text.endsWith(QLatin1String("dBTP")))
        text = text.chopped(4).trimmed();
    bool ok = text == QStringLiteral("-∞");
    const double level = ok ? -qInf() : QLocale::c().toDouble(text, &ok);
    if (!ok)
        return failToRead(string, errorDescription);
    if (out)
        *out = level;
    return true;
}

std::shared_ptr<Formatter> TruePeakFormatter::copy() const { return std::make_shared<TruePeakFormatter>(); }

} // namespace ondrel
