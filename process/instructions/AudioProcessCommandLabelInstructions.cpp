#include "process/instructions/AudioProcessCommandLabelInstructions.h"

#include "process/instructions/ScriptArguments.h"
#include "process/instructions/ScriptText.h"

namespace ondrel {

const ClassInfo& AudioProcessCommandLabelInstructions::staticClassInfo() {
    using C = AudioProcessCommandLabelInstructions;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandLabelInstructions"))
                                       .property(QStringLiteral("type"), &C::type, &C::setType)
                                       .property(QStringLiteral("location"), &C::location, &C::setLocation)
                                       .property(QStringLiteral("length"), &C::length, &C::setLength);
    return info;
}

void AudioProcessCommandLabelInstructions::setType(const QString& type) {
    setAndNotify(QStringLiteral("type"), m_type, type);
}

void AudioProcessCommandLabelInstructions::setLocation(double location) {
    setAndNotify(QStringLiteral("location"), m_location, location);
}

void AudioProcessCommandLabelInstructions::setLength(double length) {
    setAndNotify(QStringLiteral("length"), m_length, length);
}

QString AudioProcessCommandLabelInstructions::scriptDescription() const {
    return QStringLiteral("{|type|:\"%1\",|location|:%2,|length|:%3}")
        .arg(m_type, ScriptText::doubleText(m_location), ScriptText::doubleText(m_length));
}

std::shared_ptr<AudioProcessCommandLabelInstructions> AudioProcessCommandLabelInstructions::initWithScriptArguments(
    const QVariant& arguments, VMKError* error) {
    const QString name = QStringLiteral("a label");
    QVariantMap record;
    if (!ScriptArguments::record(arguments, name, record, error))
        return nullptr;
    auto label = std::make_shared<AudioProcessCommandLabelInstructions>();
    for (auto it = record.cbegin(); it != record.cend(); ++it) {
        const QString& key = it.key();
        bool ok = true;
        if (key == QLatin1String("type"))
            ok = ScriptArguments::string(it.value(), name, key, label->m_type, error);
        else if (key == QLatin1String("location"))
            ok = ScriptArguments::number(it.value(), name, key, label->m_location, error);
        else if (key == QLatin1String("length"))
            ok = ScriptArguments::number(it.value(), name, key, label->m_length, error);
        if (!ok)
            return nullptr;
    }
    return label;
}

} // namespace ondrel
