#include "process/instructions/AudioProcessCommandPropertyInstructions.h"

#include "core/objects/Variant.h"
#include "process/instructions/ScriptText.h"

#include <QtCore/QStringList>

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

QString AudioProcessCommandPropertyInstructions::scriptDescription() const {
    const QString head = QLatin1Char('|') + m_key + QStringLiteral("|:");
    if (Variant::isString(m_value))
        return head + ScriptText::quoted(m_value.toString());
    if (Variant::isDate(m_value))
        return head + QStringLiteral("date ") + ScriptText::quoted(ScriptText::dateText(m_value.toDateTime()));
    if (Variant::isList(m_value)) {
        // Every item goes in quotes, whatever its kind, so the list reads back as strings.
        QStringList items;
        for (const QVariant& item : m_value.toList())
            items.append(ScriptText::valueText(item));
        return head + QStringLiteral("{\"") + items.join(QStringLiteral("\",\"")) + QStringLiteral("\"}");
    }
    return head + ScriptText::valueText(m_value);
}

} // namespace ondrel
