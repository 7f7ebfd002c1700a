#include "process/instructions/AudioProcessCommandEffectInstructions.h"

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

} // namespace ondrel
