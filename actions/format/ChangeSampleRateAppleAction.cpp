#include "actions/format/ChangeSampleRateAppleAction.h"

namespace ondrel {

const ClassInfo& ChangeSampleRateAppleAction::staticClassInfo() {
    using C = ChangeSampleRateAppleAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeSampleRateAppleAction"))
            .property(QStringLiteral("sampleRate"), &C::sampleRate, &C::setSampleRate)
            .property(QStringLiteral("type"), &C::type, &C::setType)
            .property(QStringLiteral("quality"), &C::quality, &C::setQuality);
    return info;
}

ChangeSampleRateAppleAction::ChangeSampleRateAppleAction()
    : m_sampleRate(44100.0),
      m_type(QStringLiteral("Apple Standard")),
      m_quality(QStringLiteral("maximum")) {}

QStringList ChangeSampleRateAppleAction::parameterKeys() const {
    return {QStringLiteral("sampleRate"), QStringLiteral("type"), QStringLiteral("quality")};
}

void ChangeSampleRateAppleAction::setSampleRate(double sampleRate) {
    setAndNotify(QStringLiteral("sampleRate"), m_sampleRate, sampleRate);
}

void ChangeSampleRateAppleAction::setType(const QString& type) { setAndNotify(QStringLiteral("type"), m_type, type); }

void ChangeSampleRateAppleAction::setQuality(const QString& quality) {
    setAndNotify(QStringLiteral("quality"), m_quality, quality);
}

void ChangeSampleRateAppleAction::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setSampleRate(m_sampleRate);
    instructions->setConverterName(m_type);
    // The fractions of 127 are those of the converter's own quality scale;
    // they are kept as 32-bit floats, as the converter takes them.
    float converterQuality = 1.0f;
    if (m_quality == QStringLiteral("minimum"))
        converterQuality = 0.0f;
    else if (m_quality == QStringLiteral("low"))
        converterQuality = 32.0f / 127.0f;
    else if (m_quality == QStringLiteral("medium"))
        converterQuality = 64.0f / 127.0f;
    else if (m_quality == QStringLiteral("high"))
        converterQuality = 96.0f / 127.0f;
    instructions->setConverterQuality(double(converterQuality));
}

} // namespace ondrel
