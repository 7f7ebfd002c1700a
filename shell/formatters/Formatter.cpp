#include "shell/formatters/Formatter.h"

#include "core/text/VMKLocalizedString.h"

#include <charconv>
#include <cmath>

namespace ondrel {

Formatter::~Formatter() = default;

bool Formatter::getObjectValue(QVariant*, const QString& string, QString* errorDescription) const {
    return failToRead(string, errorDescription);
}

bool Formatter::failToRead(const QString& string, QString* errorDescription) {
    if (errorDescription)
        *errorDescription = VMKLocalizedString(QStringLiteral("Formatter_error_unreadable")).arg(string);
    return false;
}

QString Formatter::fixedText(double value, int fractionDigits) {
    Q_ASSERT(std::isfinite(value) && fractionDigits >= 0 && fractionDigits <= 64);
    // The largest double has 309 integer digits.
    char buffer[320 + 64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, fractionDigits);
    Q_ASSERT(result.ec == std::errc());
    return QString::fromLatin1(buffer, result.ptr - buffer);
}

} // namespace ondrel
