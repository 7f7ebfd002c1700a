#include "shell/formatters/Formatter.h"

#include "core/text/VMKLocalizedString.h"

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

} // namespace ondrel
