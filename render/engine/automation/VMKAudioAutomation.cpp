#include "render/engine/automation/VMKAudioAutomation.h"

namespace ondrel {

const ClassInfo& VMKAudioAutomation::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKAudioAutomation, Object>(QStringLiteral("VMKAudioAutomation"))
            .property(QStringLiteral("parameterKey"), &VMKAudioAutomation::parameterKey,
                      &VMKAudioAutomation::setParameterKey)
            .property(QStringLiteral("minimum"), &VMKAudioAutomation::minimum, &VMKAudioAutomation::setMinimum)
            .property(QStringLiteral("maximum"), &VMKAudioAutomation::maximum, &VMKAudioAutomation::setMaximum)
            .property(QStringLiteral("location"), &VMKAudioAutomation::location, &VMKAudioAutomation::setLocation)
            .property(QStringLiteral("length"), &VMKAudioAutomation::length, &VMKAudioAutomation::setLength)
            .property(QStringLiteral("enabled"), &VMKAudioAutomation::isEnabled, &VMKAudioAutomation::setEnabled);
    return info;
}

VMKAudioAutomation::VMKAudioAutomation() = default;

VMKAudioAutomation::~VMKAudioAutomation() = default;

const ClassInfo& VMKAudioAutomation::valueMapClass() const { return VMKValueMap::staticClassInfo(); }

void VMKAudioAutomation::setParameterKey(const QString& key) {
    willChangeValueForKey(QStringLiteral("parameterKey"));
    m_parameterKey = key;
    didChangeValueForKey(QStringLiteral("parameterKey"));
}

void VMKAudioAutomation::setMinimum(float minimum) {
    willChangeValueForKey(QStringLiteral("minimum"));
    m_minimum.store(minimum, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("minimum"));
}

void VMKAudioAutomation::setMaximum(float maximum) {
    willChangeValueForKey(QStringLiteral("maximum"));
    m_maximum.store(maximum, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("maximum"));
}

void VMKAudioAutomation::setLocation(double location) {
    willChangeValueForKey(QStringLiteral("location"));
    m_location.store(location, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("location"));
}

void VMKAudioAutomation::setLength(double length) {
    willChangeValueForKey(QStringLiteral("length"));
    m_length.store(length, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("length"));
}

void VMKAudioAutomation::setEnabled(bool enabled) {
    willChangeValueForKey(QStringLiteral("enabled"));
    m_enabled.store(enabled, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("enabled"));
}

const std::shared_ptr<VMKValueMap>& VMKAudioAutomation::valueMap() const {
    std::call_once(m_valueMapOnce, [this] {
        m_valueMap = std::dynamic_pointer_cast<VMKValueMap>(valueMapClass().create());
        if (!m_valueMap)
            m_valueMap = std::make_shared<VMKValueMap>();
    });
    return m_valueMap;
}

bool VMKAudioAutomation::coversTime(double time) const {
    const double start = location();
    return time >= start && time < start + length();
}

float VMKAudioAutomation::valueAtTime(double time) const {
    const double length = this->length();
    const double progress = length > 0.0 ? (time - location()) / length : 0.0;
    const double mapped = valueMap()->outputValueForInputValue(progress);
    const double low = minimum();
    return float(low + (double(maximum()) - low) * mapped);
}

} // namespace ondrel
