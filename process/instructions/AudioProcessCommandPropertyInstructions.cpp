#include "process/instructions/AudioProcessCommandPropertyInstructions.h"

namespace ondrel {

const ClassInfo& AudioProcessCommandPropertyInstructions::staticClassInfo() {
    using C = AudioProcessCommandPropertyInstructions;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandPropertyInstructions"))
            .property(QStringLiteral("key"), &C::key, &C::setKey)
            // The value passes through as it is, the null marker included.
            .addProperty(
                QStringLiteral("value"), [](const Object* o) { return static_cast<const C*>(o)->value(); },
                [](Object* o, const QVariant& v) { static_cast<C*>(o)->setValue(v); });
    return info;
}

void AudioProcessCommandPropertyInstructions::setKey(const QString& key) {
    setAndNotify(QStringLiteral("key"), m_key, key.toLower());
}

void AudioProcessCommandPropertyInstructions::setValue(const QVariant& value) {
    setAndNotify(QStringLiteral("value"), m_value, Variant::isAbsent(value) ? QVariant(QStringLiteral("")) : value);
}

} // namespace ondrel
