#include "actions/format/ChangeFrameRateAction.h"

#include "catalog/entities/FileEntity.h"

#include <cmath>

namespace ondrel {

const ClassInfo& ChangeFrameRateAction::staticClassInfo() {
    using C = ChangeFrameRateAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeFrameRateAction"))
            .property(QStringLiteral("sourceFrameRate"), &C::sourceFrameRate, &C::setSourceFrameRate)
            .property(QStringLiteral("resultFrameRate"), &C::resultFrameRate, &C::setResultFrameRate)
            .property(QStringLiteral("retainPitch"), &C::retainPitch, &C::setRetainPitch);
    return info;
}

ChangeFrameRateAction::ChangeFrameRateAction()
    : m_sourceFrameRate(24.0f),
      m_resultFrameRate(30.0f),
      m_retainPitch(true) {}

QStringList ChangeFrameRateAction::parameterKeys() const {
    return {QStringLiteral("sourceFrameRate"), QStringLiteral("resultFrameRate"), QStringLiteral("retainPitch")};
}

void ChangeFrameRateAction::setSourceFrameRate(float sourceFrameRate) {
    setAndNotify(QStringLiteral("sourceFrameRate"), m_sourceFrameRate, sourceFrameRate);
}

void ChangeFrameRateAction::setResultFrameRate(float resultFrameRate) {
    setAndNotify(QStringLiteral("resultFrameRate"), m_resultFrameRate, resultFrameRate);
}

void ChangeFrameRateAction::setRetainPitch(bool retainPitch) {
    setAndNotify(QStringLiteral("retainPitch"), m_retainPitch, retainPitch);
}

void ChangeFrameRateAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>& fileEntity, qsizetype) {
    Q_ASSERT(fileEntity);
    const float r = m_sourceFrameRate / m_resultFrameRate;
    if (!std::isfinite(r) || r <= 0.0f)
        return;
    const float p = m_retainPitch ? 0.0f : std::log(r) / 0.057762265046383404f * 100.0f;

    // The rate over the file's length, in this order, as the action has always
    // written it. A file of no length would make it infinite: it gets none.
    const double fileLength = fileEntity ? fileEntity->length() : 0.0;
    if (fileLength > 0.0)
        instructions->setLength(double(r) / fileLength);

    auto effect = std::make_shared<AudioProcessCommandEffectInstructions>();
    effect->setProcessorClassName(QStringLiteral("APLTimePitchAudioProcessor"));
    effect->addParameterValue(r, QStringLiteral("Rate"));
    effect->addParameterValue(p, QStringLiteral("Pitch"));
    instructions->insertObjectInEffectInstructionsAtIndex(effect, instructions->countOfEffectInstructions());
}

} // namespace ondrel
