#include "shell/formatters/FloatingPointFormatter.h"

#include "core/objects/Variant.h"
#include "core/text/VMKLocalizedString.h"

namespace ondrel {

namespace {

QString floatingPointText() { return VMKLocalizedString(QStringLiteral("FloatingPointFormatter_floatingPoint")); }
QString integerText() { return VMKLocalizedString(QStringLiteral("FloatingPointFormatter_integer")); }

} // namespace

QString FloatingPointFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isNumber(value))
        return {};
    return value.toDouble() != 0.0 ? floatingPointText() : integerText();
}

bool FloatingPointFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    const QString text = string.trimmed();
    const bool isFloatingPoint = text.compare(floatingPointText(), Qt::CaseInsensitive) == 0;
    if (!isFloatingPoint && text.compare(integerText(), Qt::CaseInsensitive) != 0)
        return failToRead(string, errorDescription);
    if (out)
        *out = isFloatingPoint;
    return true;
}

std::shared_ptr<Formatter> FloatingPointFormatter::copy() const {
    return std::make_shared<FloatingPointFormatter>();
}

} // namespace ondrel
