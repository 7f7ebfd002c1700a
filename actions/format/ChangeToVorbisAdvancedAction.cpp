#include "actions/format/ChangeToVorbisAdvancedAction.h"

namespace ondrel {

const ClassInfo& ChangeToVorbisAdvancedAction::staticClassInfo() {
    using C = ChangeToVorbisAdvancedAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToVorbisAdvancedAction"))
            .property(QStringLiteral("bit"), &C::bit, &C::setBit)
            .property(QStringLiteral("target"), &C::target, &C::setTarget)
            .property(QStringLiteral("minimum"), &C::minimum, &C::setMinimum)
            .property(QStringLiteral("maximum"), &C::maximum, &C::setMaximum)
            .property(QStringLiteral("lowpassFrequency"), &C::lowpassFrequency, &C::setLowpassFrequency)
            .property(QStringLiteral("impulseBias"), &C::impulseBias, &C::setImpulseBias);
    return info;
}

ChangeToVorbisAdvancedAction::ChangeToVorbisAdvancedAction()
    : m_bit(QStringLiteral("variable")),
      m_target(320),
      m_minimum(192),
      m_maximum(320),
      m_lowpassFrequency(2000.0),
      m_impulseBias(0.0) {}

QStringList ChangeToVorbisAdvancedAction::parameterKeys() const {
    return {QStringLiteral("bit"), QStringLiteral("target"), QStringLiteral("minimum"), QStringLiteral("maximum"),
            QStringLiteral("lowpassFrequency"), QStringLiteral("impulseBias")};
}

void ChangeToVorbisAdvancedAction::setBit(const QString& bit) { setAndNotify(QStringLiteral("bit"), m_bit, bit); }

void ChangeToVorbisAdvancedAction::setTarget(quint64 target) {
    setAndNotify(QStringLiteral("target"), m_target, target);
}

void ChangeToVorbisAdvancedAction::setMinimum(quint64 minimum) {
    setAndNotify(QStringLiteral("minimum"), m_minimum, minimum);
}

void ChangeToVorbisAdvancedAction::setMaximum(quint64 maximum) {
    setAndNotify(QStringLiteral("maximum"), m_maximum, maximum);
}

void ChangeToVorbisAdvancedAction::setLowpassFrequency(double lowpassFrequency) {
    setAndNotify(QStringLiteral("lowpassFrequency"), m_lowpassFrequency, lowpassFrequency);
}

void ChangeToVorbisAdvancedAction::setImpulseBias(double impulseBias) {
    setAndNotify(QStringLiteral("impulseBias"), m_impulseBias, impulseBias);
}

void ChangeToVorbisAdvancedAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setFormat(QStringLiteral("Ogg Vorbis Audio File"));
    instructions->addArgumentValue(m_bit, QStringLiteral("bit rate method"));
    instructions->addArgumentValue(m_target, QStringLiteral("target bit rate"));
    instructions->addArgumentValue(m_minimum, QStringLiteral("minimum bit rate"));
    instructions->addArgumentValue(m_maximum, QStringLiteral("maximum bit rate"));
    instructions->addArgumentValue(m_lowpassFrequency, QStringLiteral("lowpass filter"));
    instructions->addArgumentValue(m_impulseBias, QStringLiteral("impulse bias"));
}

} // namespace ondrel
