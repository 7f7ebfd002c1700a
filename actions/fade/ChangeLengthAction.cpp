#include "actions/fade/ChangeLengthAction.h"

#include "catalog/entities/FileEntity.h"

#include <cmath>

namespace ondrel {

const ClassInfo& ChangeLengthAction::staticClassInfo() {
    using C = ChangeLengthAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeLengthAction"))
            .property(QStringLiteral("length"), &C::length, &C::setLength)
            .property(QStringLiteral("retainPitch"), &C::retainPitch, &C::setRetainPitch);
    return info;
}

ChangeLengthAction::ChangeLengthAction() : m_length(0.0), m_retainPitch(true) {}

QStringList ChangeLengthAction::parameterKeys() const {
    return {QStringLiteral("length"), QStringLiteral("retainPitch")};
}

void ChangeLengthAction::setLength(double length) { setAndNotify(QStringLiteral("length"), m_length, length); }

void ChangeLengthAction::setRetainPitch(bool retainPitch) {
    setAndNotify(QStringLiteral("retainPitch"), m_retainPitch, retainPitch);
}

void ChangeLengthAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions, const std::shared_ptr<FileEntity>& fileEntity,
    qsizetype) {
    if (!fileEntity)
        return;
    const double fileLength = fileEntity->length();
    const float rate = float(m_length / fileLength);
    const float pitch = m_retainPitch ? 0.0f : float(std::log(double(rate)) / 0.057762265046383404 * 100.0);
    instructions->setLength(fileLength / double(rate));

    auto effect = std::make_shared<AudioProcessCommandEffectInstructions>();
    effect->setProcessorClassName(QStringLiteral("APLTimePitchAudioProcessor"));
    effect->addParameterValue(rate, QStringLiteral("Rate"));
    effect->addParameterValue(pitch, QStringLiteral("Pitch"));
    instructions->insertObjectInEffectInstructionsAtIndex(effect, instructions->countOfEffectInstructions());
}

} // namespace ondrel
