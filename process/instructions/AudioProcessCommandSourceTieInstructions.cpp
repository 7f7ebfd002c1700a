#include "process/instructions/AudioProcessCommandSourceTieInstructions.h"

namespace ondrel {

const ClassInfo& AudioProcessCommandSourceTieInstructions::staticClassInfo() {
    using C = AudioProcessCommandSourceTieInstructions;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandSourceTieInstructions"))
            .property(QStringLiteral("invert"), &C::invert, &C::setInvert)
            .property(QStringLiteral("gain"), &C::gain, &C::setGain)
            .property(QStringLiteral("inputChannelIndex"), &C::inputChannelIndex, &C::setInputChannelIndex)
            .property(QStringLiteral("outputChannelIndex"), &C::outputChannelIndex, &C::setOutputChannelIndex);
    return info;
}

void AudioProcessCommandSourceTieInstructions::setInvert(bool invert) {
    setAndNotify(QStringLiteral("invert"), m_invert, invert);
}

void AudioProcessCommandSourceTieInstructions::setGain(float gain) {
    setAndNotify(QStringLiteral("gain"), m_gain, gain);
}

void AudioProcessCommandSourceTieInstructions::setInputChannelIndex(quint64 index) {
    setAndNotify(QStringLiteral("inputChannelIndex"), m_inputChannelIndex, index);
}

void AudioProcessCommandSourceTieInstructions::setOutputChannelIndex(quint64 index) {
    setAndNotify(QStringLiteral("outputChannelIndex"), m_outputChannelIndex, index);
}

} // namespace ondrel
