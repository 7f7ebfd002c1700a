#include "actions/trim/TrimBeginningToPeakAction.h"

#include "actions/trim/TrimRules.h"

namespace ondrel {

const ClassInfo& TrimBeginningToPeakAction::staticClassInfo() {
    using C = TrimBeginningToPeakAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("TrimBeginningToPeakAction"))
            .property(QStringLiteral("offset"), &C::offset, &C::setOffset)
            .property(QStringLiteral("zeroCross"), &C::zeroCross, &C::setZeroCross);
    return info;
}

TrimBeginningToPeakAction::TrimBeginningToPeakAction()
    : m_offset(0.0),
      m_zeroCross(false) {}

QStringList TrimBeginningToPeakAction::parameterKeys() const {
    return {QStringLiteral("offset"), QStringLiteral("zeroCross")};
}

void TrimBeginningToPeakAction::setOffset(double offset) {
    setAndNotify(QStringLiteral("offset"), m_offset, offset);
}

void TrimBeginningToPeakAction::setZeroCross(bool zeroCross) {
    setAndNotify(QStringLiteral("zeroCross"), m_zeroCross, zeroCross);
}

void TrimBeginningToPeakAction::compileSourceInstructions(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions, qsizetype) {
    const auto source = mainSourceWithFile(sourceInstructions);
    if (!source)
        return;
    FileEntity& file = *source->fileEntity();
    const float level = float(double(file.peak()) + -0.00001);
    double start = startAtAmplitude(file, amplitudeForLevel(level), m_offset);
    if (m_zeroCross)
        start = file.locationOfNearestZeroCrossingTo(start);
    source->setSourceStart(start);
    reduceSourceLength(*source, start, file.length());
}

} // namespace ondrel
