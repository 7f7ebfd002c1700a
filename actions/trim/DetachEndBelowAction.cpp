#include "actions/trim/DetachEndBelowAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& DetachEndBelowAction::staticClassInfo() {
    using C = DetachEndBelowAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("DetachEndBelowAction"))
            .property(QStringLiteral("level"), &C::level, &C::setLevel)
            .property(QStringLiteral("offset"), &C::offset, &C::setOffset)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

DetachEndBelowAction::DetachEndBelowAction()
    : m_level(-96.0f),
      m_offset(0.0),
      m_zeroCross(false) {}

QStringList DetachEndBelowAction::parameterKeys() const {
    return {QStringLiteral("level"), QStringLiteral("offset"), QStringLiteral("zeroCross")};
}

void DetachEndBelowAction::setLevel(float level) {
    setAndNotify(QStringLiteral("level"), m_level, level);
}

void DetachEndBelowAction::setOffset(double offset) {
    setAndNotify(QStringLiteral("offset"), m_offset, offset);
}

void DetachEndBelowAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void DetachEndBelowAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    double kept = tailAtAmplitude(file, amplitudeForLevel(m_level), m_offset);
    if (m_zeroCross)
        kept = file.locationOfNearestZeroCrossingTo(kept);
    source->setSourceStart(file.length() - kept);
    source->setLength(kept);
}

} // namespace ondrel
