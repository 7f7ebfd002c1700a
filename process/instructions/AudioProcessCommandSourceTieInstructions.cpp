#include "process/instructions/AudioProcessCommandSourceTieInstructions.h"

#include "process/instructions/ScriptArguments.h"
#include "process/instructions/ScriptText.h"

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

QString AudioProcessCommandSourceTieInstructions::scriptDescription() const {
    QString text = QStringLiteral("{|input channel|:%1,|output channel|:%2")
                       .arg(QString::number(m_inputChannelIndex), QString::number(m_outputChannelIndex));
    if (m_gain != 0.0f)
        text += QStringLiteral(",|gain|:") + ScriptText::floatText(m_gain);
    if (m_invert)
        text += QStringLiteral(",|invert|:true");
    return text + QLatin1Char('}');
}

std::shared_ptr<AudioProcessCommandSourceTieInstructions> AudioProcessCommandSourceTieInstructions::
    initWithScriptArguments(const QVariant& arguments, VMKError* error) {
    const QString name = QStringLiteral("a tie");
    QVariantMap record;
    if (!ScriptArguments::record(arguments, name, record, error))
        return nullptr;
    auto tie = std::make_shared<AudioProcessCommandSourceTieInstructions>();
    for (auto it = record.cbegin(); it != record.cend(); ++it) {
        const QString& key = it.key();
        if (key == QLatin1String("input channel") || key == QLatin1String("output channel")) {
            quint64 index = 0;
            if (!ScriptArguments::index(it.value(), name, key, index, error))
                return nullptr;
            if (key == QLatin1String("input channel"))
                tie->m_inputChannelIndex = index;
            else
                tie->m_outputChannelIndex = index;
        } else if (key == QLatin1String("gain")) {
            double gain = 0;
            if (!ScriptArguments::number(it.value(), name, key, gain, error))
                return nullptr;
            tie->m_gain = float(gain);
        } else if (key == QLatin1String("invert")) {
            if (!ScriptArguments::boolean(it.value(), name, key, tie->m_invert, error))
                return nullptr;
        }
    }
    return tie;
}

} // namespace ondrel
