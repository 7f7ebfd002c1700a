#include "shell/formatters/PlaybackTypeFormatter.h"

#include "core/objects/Variant.h"
#include "core/text/VMKLocalizedString.h"

namespace ondrel {

namespace {

const char* const kTypes[] = {"oneShot", "loop"};

QString textOfType(const QString& type) { return VMKLocalizedString(QStringLiteral("PlaybackTypeFormatter_") + type); }

} // namespace

QString PlaybackTypeFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isString(value))
        return {};
    const QString type = value.toString();
    for (const char* known : kTypes)
        if (type == QLatin1String(known))
            return textOfType(type);
    return {};
}

bool PlaybackTypeFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    for (const char* known : kTypes) {
        const QString type = QLatin1String(known);
        if (string.trimmed().compare(textOfType(type), Qt::CaseInsensitive) == 0) {
            if (out)
                *out = type;
            return true;
        }
    }
    return failToRead(string, errorDescription);
}

std::shared_ptr<Formatter> PlaybackTypeFormatter::copy() const { return std::make_shared<PlaybackTypeFormatter>(); }

} // namespace ondrel
