#include "shell/formatters/DescriptorsFormatter.h"

#include "core/objects/Variant.h"

#include <QtCore/QStringList>

namespace ondrel {

QString DescriptorsFormatter::stringForObjectValue(const QVariant& value) const {
    if (Variant::isString(value))
        return value.toString();
    if (!Variant::isList(value))
        return {};
    QStringList texts;
    for (const QVariant& element : value.toList())
        texts << Variant::describe(element);
    return texts.join(QStringLiteral(", "));
}

bool DescriptorsFormatter::getObjectValue(QVariant* out, const QString& string, QString*) const {
    QVariantList descriptors;
    for (const QString& part : string.split(QLatin1Char(','))) {
        const QString descriptor = part.trimmed();
        if (!descriptor.isEmpty())
            descriptors << descriptor;
    }
    if (out)
        *out = descriptors;
    return true;
}

std::shared_ptr<Formatter> DescriptorsFormatter::copy() const { return std::make_shared<DescriptorsFormatter>(); }

} // namespace ondrel
