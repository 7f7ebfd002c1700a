#include "actions/format/ChangeSampleRateGoodhertzAction.h"

namespace ondrel {

const ClassInfo& ChangeSampleRateGoodhertzAction::staticClassInfo() {
    using C = ChangeSampleRateGoodhertzAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeSampleRateGoodhertzAction"))
            .property(QStringLiteral("sampleRate"), &C::sampleRate, &C::setSampleRate)
            .property(QStringLiteral("type"), &C::type, &C::setType)
            .property(QStringLiteral("quality"), &C::quality, &C::setQuality);
    return info;
}

ChangeSampleRateGoodhertzAction::ChangeSampleRateGoodhertzAction()
    : m_sampleRate(44100.0),
      m_type(QStringLiteral("Goodhertz Linear Phase")),
      m_quality(QStringLiteral("highest")) {}

QStringList ChangeSampleRateGoodhertzAction::parameterKeys() const {
    return {QStringLiteral("sampleRate"), QStringLiteral("type"), QStringLiteral("quality")};
}

void ChangeSampleRateGoodhertzAction::setSampleRate(double sampleRate) {
    setAndNotify(QStringLiteral("sampleRate"), m_sampleRate, sampleRate);
}

void ChangeSampleRateGoodhertzAction::setType(const QString& type) {
    setAndNotify(QStringLiteral("type"), m_type, type);
}

void ChangeSampleRateGoodhertzAction::setQuality(const QString& quality) {
    setAndNotify(QStringLiteral("quality"), m_quality, quality);
}

void ChangeSampleRateGoodhertzAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setSampleRate(m_sampleRate);
    instructions->setConverterName(m_type);
    float converterQuality = 1.0f;
    if (m_quality == QStringLiteral("low"))
        converterQuality = 0.25f;
    else if (m_quality == QStringLiteral("medium"))
        converterQuality = 0.5f;
    else if (m_quality == QStringLiteral("high"))
        converterQuality = 0.75f;
    instructions->setConverterQuality(double(converterQuality));
}

} // namespace ondrel
