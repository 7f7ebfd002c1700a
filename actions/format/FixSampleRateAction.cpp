#include "actions/format/FixSampleRateAction.h"

namespace ondrel {

const ClassInfo& FixSampleRateAction::staticClassInfo() {
    using C = FixSampleRateAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("FixSampleRateAction"))
            .property(QStringLiteral("sampleRate"), &C::sampleRate, &C::setSampleRate);
    return info;
}

FixSampleRateAction::FixSampleRateAction() : m_sampleRate(48000.0) {}

QStringList FixSampleRateAction::parameterKeys() const { return {QStringLiteral("sampleRate")}; }

void FixSampleRateAction::setSampleRate(double sampleRate) {
    setAndNotify(QStringLiteral("sampleRate"), m_sampleRate, sampleRate);
}

void FixSampleRateAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setSampleRate(m_sampleRate);
    instructions->setResample(false);
}

} // namespace ondrel
