#include "actions/trim/DetachBeginningBelowAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& DetachBeginningBelowAction::staticClassInfo() {
    using C = DetachBeginningBelowAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("DetachBeginningBelowAction"))
            .property(QStringLiteral("level"), &C::level, &C::setLevel)
            .property(QStringLiteral("offset"), &C::offset, &C::setOffset)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

DetachBeginningBelowAction::DetachBeginningBelowAction()
    : m_level(-96.0f),
      m_offset(0.0),
      m_zeroCross(false) {}

QStringList DetachBeginningBelowAction::parameterKeys() const {
    return {QStringLiteral("level"), QStringLiteral("offset"), QStringLiteral("zeroCross")};
}

void DetachBeginningBelowAction::setLevel(float level) {
    setAndNotify(QStringLiteral("level"), m_level, level);
}

void DetachBeginningBelowAction::setOffset(double offset) {
    setAndNotify(QStringLiteral("offset"), m_offset, offset);
}

void DetachBeginningBelowAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void DetachBeginningBelowAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    double kept = startAtAmplitude(file, amplitudeForLevel(m_level), m_offset);
    if (m_zeroCross)
        kept = file.locationOfNearestZeroCrossingTo(kept);
    source->setLength(kept);
}

} // namespace ondrel
