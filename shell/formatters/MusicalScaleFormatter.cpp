#include "shell/formatters/MusicalScaleFormatter.h"

#include "core/objects/Variant.h"

namespace ondrel {

QString MusicalScaleFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isString(value))
        return {};
    QString text = value.toString().toLower();
    bool startsWord = true;
    for (QChar& c : text) {
        if (startsWord && c.isLetter())
            c = c.toUpper();
        startsWord = c.isSpace();
    }
    return text;
}

bool MusicalScaleFormatter::getObjectValue(QVariant* out, const QString& string, QString*) const {
    if (out)
        *out = string.trimmed().toLower();
    return true;
}

std::shared_ptr<Formatter> MusicalScaleFormatter::copy() const { return std::make_shared<MusicalScaleFormatter>(); }

} // namespace ondrel
