#include "actions/fade/FadeOutBelowAction.h"

#include "actions/trim/TrimRules.h"
#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& FadeOutBelowAction::staticClassInfo() {
    using C = FadeOutBelowAction;
    static const ClassInfo& info = ClassInfo::define<C, Action>(QStringLiteral("FadeOutBelowAction"))
                                       .property(QStringLiteral("level"), &C::level, &C::setLevel)
                                       .property(QStringLiteral("offset"), &C::offset, &C::setOffset)
                                       .property(QStringLiteral("curve"), &C::curve, &C::setCurve);
    return info;
}

FadeOutBelowAction::FadeOutBelowAction() : m_level(-96.0f), m_offset(0.0), m_curve(QStringLiteral("linear")) {}

QStringList FadeOutBelowAction::parameterKeys() const {
    return {QStringLiteral("level"), QStringLiteral("offset"), QStringLiteral("curve")};
}

void FadeOutBelowAction::setLevel(float level) { setAndNotify(QStringLiteral("level"), m_level, level); }

void FadeOutBelowAction::setOffset(double offset) { setAndNotify(QStringLiteral("offset"), m_offset, offset); }

void FadeOutBelowAction::setCurve(const QString& curve) { setAndNotify(QStringLiteral("curve"), m_curve, curve); }

void FadeOutBelowAction::compileInstructions(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto main = sourceInstructions ? sourceInstructions->mainSourceInstructions() : nullptr;
    const auto file = main ? main->fileEntity() : nullptr;
    if (!file)
        return;
    // The end on the output's timeline is searched in the file as it stands:
    // a timeline location, not one counted from the file's own start.
    const DoubleRange range = sourceInstructions->range();
    const double end = range.location + range.length;
    const double crossing = file->locationOfThresholdCrossingBefore(end, amplitudeForLevel(m_level));
    instructions->setFadeOutLength(end - clampToFile(crossing + m_offset, end));
    instructions->setFadeOutCurve(m_curve);
}

} // namespace ondrel
