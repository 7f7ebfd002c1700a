#include "process/instructions/AudioProcessCommandEffectInstructions.h"

#include "process/instructions/ScriptArguments.h"
#include "process/instructions/ScriptText.h"
#include "render/engine/graph/VMKAudioComponentRegistry.h"

namespace ondrel {

const ClassInfo& AudioProcessCommandEffectInstructions::staticClassInfo() {
    using C = AudioProcessCommandEffectInstructions;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandEffectInstructions"))
            .property(QStringLiteral("type"), &C::type, &C::setType)
            .property(QStringLiteral("subtype"), &C::subtype, &C::setSubtype)
            .property(QStringLiteral("manufacturer"), &C::manufacturer, &C::setManufacturer)
            .property(QStringLiteral("className"), &C::processorClassName, &C::setProcessorClassName)
            .property(QStringLiteral("parameters"), &C::parameters, &C::setParameters)
            .property(QStringLiteral("classInfo"), &C::componentClassInfo, &C::setComponentClassInfo);
    return info;
}

void AudioProcessCommandEffectInstructions::setType(quint32 type) {
    setAndNotify(QStringLiteral("type"), m_type, type);
}

void AudioProcessCommandEffectInstructions::setSubtype(quint32 subtype) {
    setAndNotify(QStringLiteral("subtype"), m_subtype, subtype);
}

void AudioProcessCommandEffectInstructions::setManufacturer(quint32 manufacturer) {
    setAndNotify(QStringLiteral("manufacturer"), m_manufacturer, manufacturer);
}

void AudioProcessCommandEffectInstructions::setProcessorClassName(const QString& className) {
    setAndNotify(QStringLiteral("className"), m_processorClassName, className);
}

void AudioProcessCommandEffectInstructions::setParameters(const QVariantMap& parameters) {
    setAndNotify(QStringLiteral("parameters"), m_parameters, parameters);
}

void AudioProcessCommandEffectInstructions::addParameterValue(const QVariant& value, const QString& key) {
    willChangeValueForKey(QStringLiteral("parameters"));
    if (Variant::isAbsent(value))
        m_parameters.remove(key);
    else
        m_parameters.insert(key, value);
    didChangeValueForKey(QStringLiteral("parameters"));
}

void AudioProcessCommandEffectInstructions::setComponentClassInfo(const std::optional<QVariantMap>& classInfo) {
    setAndNotify(QStringLiteral("classInfo"), m_componentClassInfo, classInfo);
}

QString AudioProcessCommandEffectInstructions::scriptDescription() const {
    QString text;
    if (!m_processorClassName.isEmpty()) {
        text = QStringLiteral("{|class|:") + ScriptText::quoted(m_processorClassName);
    } else {
        text = QStringLiteral("{|type|:\"%1\",|subtype|:\"%2\",|manufacturer|:\"%3\"")
                   .arg(VMKAudioComponentRegistry::stringFromFourCharCode(m_type),
                        VMKAudioComponentRegistry::stringFromFourCharCode(m_subtype),
                        VMKAudioComponentRegistry::stringFromFourCharCode(m_manufacturer));
    }
    for (auto it = m_parameters.cbegin(); it != m_parameters.cend(); ++it)
        text += QLatin1Char(',') + ScriptText::itemText(it.key(), it.value());
    return text + QLatin1Char('}');
}

std::shared_ptr<AudioProcessCommandEffectInstructions> AudioProcessCommandEffectInstructions::initWithScriptArguments(
    const QVariant& arguments, VMKError* error) {
    const QString name = QStringLiteral("an effect");
    QVariantMap record;
    if (!ScriptArguments::record(arguments, name, record, error))
        return nullptr;
    auto effect = std::make_shared<AudioProcessCommandEffectInstructions>();
    for (auto it = record.cbegin(); it != record.cend(); ++it) {
        const QString& key = it.key();
        if (key == QLatin1String("class")) {
            if (!ScriptArguments::string(it.value(), name, key, effect->m_processorClassName, error))
                return nullptr;
        } else if (key == QLatin1String("type") || key == QLatin1String("subtype") ||
                   key == QLatin1String("manufacturer")) {
            QString code;
            if (!ScriptArguments::string(it.value(), name, key, code, error))
                return nullptr;
            const quint32 value = VMKAudioComponentRegistry::fourCharCode(code);
            if (key == QLatin1String("type"))
                effect->m_type = value;
            else if (key == QLatin1String("subtype"))
                effect->m_subtype = value;
            else
                effect->m_manufacturer = value;
        } else {
            effect->m_parameters.insert(key, it.value());
        }
    }
    return effect;
}

} // namespace ondrel
