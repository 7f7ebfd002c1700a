#include "process/instructions/AudioProcessCommandLabelInstructions.h"

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

} // namespace ondrel
