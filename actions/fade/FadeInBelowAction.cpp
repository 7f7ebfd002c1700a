#include "actions/fade/FadeInBelowAction.h"

#include "actions/trim/TrimRules.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& FadeInBelowAction::staticClassInfo() {
    using C = FadeInBelowAction;
    static const ClassInfo& info = ClassInfo::define<C, Action>(QStringLiteral("FadeInBelowAction"))
                                       .property(QStringLiteral("level"), &C::level, &C::setLevel)
                                       .property(QStringLiteral("offset"), &C::offset, &C::setOffset)
                                       .property(QStringLiteral("curve"), &C::curve, &C::setCurve);
    return info;
}

FadeInBelowAction::FadeInBelowAction() : m_level(-96.0f), m_offset(0.0), m_curve(QStringLiteral("linear")) {}

QStringList FadeInBelowAction::parameterKeys() const {
    return {QStringLiteral("level"), QStringLiteral("offset"), QStringLiteral("curve")};
}

void FadeInBelowAction::setLevel(float level) { setAndNotify(QStringLiteral("level"), m_level, level); }

void FadeInBelowAction::setOffset(double offset) { setAndNotify(QStringLiteral("offset"), m_offset, offset); }

void FadeInBelowAction::setCurve(const QString& curve) { setAndNotify(QStringLiteral("curve"), m_curve, curve); }

void FadeInBelowAction::compileInstructions(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    const auto file = main ? main->fileEntity() : nullptr;
    if (!file)
        return;
    // Measured from the trimmed start, so the fade begins where the kept audio does.
    const double start = main->sourceStart().value_or(0.0);
    const double crossing = file->locationOfThresholdCrossingAfter(start, amplitudeForLevel(m_level));
    instructions->setFadeInLength(clampToFile(crossing - start + m_offset, file->length() - start));
    instructions->setFadeInCurve(m_curve);
}

} // namespace ondrel
