#include "actions/trim/TrimEndBelowAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& TrimEndBelowAction::staticClassInfo() {
    using C = TrimEndBelowAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("TrimEndBelowAction"))
            .property(QStringLiteral("level"), &C::level, &C::setLevel)
            .property(QStringLiteral("offset"), &C::offset, &C::setOffset)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

TrimEndBelowAction::TrimEndBelowAction()
    : m_level(-96.0f),
      m_offset(0.0),
      m_zeroCross(false) {}

QStringList TrimEndBelowAction::parameterKeys() const {
    return {QStringLiteral("level"), QStringLiteral("offset"), QStringLiteral("zeroCross")};
}

void TrimEndBelowAction::setLevel(float level) {
    setAndNotify(QStringLiteral("level"), m_level, level);
}

void TrimEndBelowAction::setOffset(double offset) {
    setAndNotify(QStringLiteral("offset"), m_offset, offset);
}

void TrimEndBelowAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void TrimEndBelowAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    double amount = tailAtAmplitude(file, amplitudeForLevel(m_level), m_offset);
    // The amount, not the cut, goes to the search: stored workflows cut
    // where they always have.
    if (m_zeroCross)
        amount = file.locationOfNearestZeroCrossingTo(amount);
    reduceSourceLength(*source, amount, file.length());
}

} // namespace ondrel
