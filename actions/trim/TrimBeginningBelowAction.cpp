#include "actions/trim/TrimBeginningBelowAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& TrimBeginningBelowAction::staticClassInfo() {
    using C = TrimBeginningBelowAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("TrimBeginningBelowAction"))
            .property(QStringLiteral("level"), &C::level, &C::setLevel)
            .property(QStringLiteral("offset"), &C::offset, &C::setOffset)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

TrimBeginningBelowAction::TrimBeginningBelowAction()
    : m_level(-96.0f),
      m_offset(0.0),
      m_zeroCross(false) {}

QStringList TrimBeginningBelowAction::parameterKeys() const {
    return {QStringLiteral("level"), QStringLiteral("offset"), QStringLiteral("zeroCross")};
}

void TrimBeginningBelowAction::setLevel(float level) {
    setAndNotify(QStringLiteral("level"), m_level, level);
}

void TrimBeginningBelowAction::setOffset(double offset) {
    setAndNotify(QStringLiteral("offset"), m_offset, offset);
}

void TrimBeginningBelowAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void TrimBeginningBelowAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    double start = startAtAmplitude(file, amplitudeForLevel(m_level), m_offset);
    if (m_zeroCross)
        start = file.locationOfNearestZeroCrossingTo(start);
    source->setSourceStart(start);
    reduceSourceLength(*source, start, file.length());
}

} // namespace ondrel
