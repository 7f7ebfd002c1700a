#include "shell/formatters/SemitoneFormatter.h"

#include "core/objects/Variant.h"
#include "core/text/VMKMIDINoteFormatter.h"

#include <cmath>

namespace ondrel {

QString SemitoneFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isNumber(value))
        return {};
    const double semitone = std::trunc(value.toDouble());
    if (!(semitone >= 1.0 && semitone <= 127.0))
        return {};
    return VMKMIDINoteFormatter::nameOfNote(int(semitone));
}

bool SemitoneFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    QVariant note;
    if (!VMKMIDINoteFormatter().getObjectValue(&note, string, errorDescription))
        return false;
    if (note.toInt() < 1)
        return failToRead(string, errorDescription);
    if (out)
        *out = note;
    return true;
}

std::shared_ptr<Formatter> SemitoneFormatter::copy() const { return std::make_shared<SemitoneFormatter>(); }

} // namespace ondrel
