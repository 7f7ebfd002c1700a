#include "actions/fade/ChangeGainAction.h"

namespace ondrel {

const ClassInfo& ChangeGainAction::staticClassInfo() {
    using C = ChangeGainAction;
    static const ClassInfo& info = ClassInfo::define<C, Action>(QStringLiteral("ChangeGainAction"))
                                       .property(QStringLiteral("gain"), &C::gain, &C::setGain);
    return info;
}

ChangeGainAction::ChangeGainAction() : m_gain(0.0f) {}

QStringList ChangeGainAction::parameterKeys() const { return {QStringLiteral("gain")}; }

void ChangeGainAction::setGain(float gain) { setAndNotify(QStringLiteral("gain"), m_gain, gain); }

void ChangeGainAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions, const std::shared_ptr<FileEntity>& fileEntity,
    qsizetype) {
    if (!fileEntity)
        return;
    const float sum = float(instructions->gain().value_or(0.0)) + m_gain;
    instructions->setGain(double(sum));
}

} // namespace ondrel
