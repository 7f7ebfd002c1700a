#include "render/engine/effects/APLConverterAudioProcessor.h"

#include <soxr.h>

namespace ondrel {

const ClassInfo& APLConverterAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<APLConverterAudioProcessor, VMKConverterAudioProcessor>(
            QStringLiteral("APLConverterAudioProcessor"))
            .property(QStringLiteral("complexity"), &APLConverterAudioProcessor::complexity,
                      &APLConverterAudioProcessor::setComplexity);
    return info;
}

APLConverterAudioProcessor::APLConverterAudioProcessor() : VMKConverterAudioProcessor(kDefaultQuality, true) {}

APLConverterAudioProcessor::~APLConverterAudioProcessor() = default;

void APLConverterAudioProcessor::setComplexity(uint32_t complexity) {
    if (complexity == kComplexityLinear || complexity == kComplexityNormal || complexity == kComplexityMastering)
        setAndNotify(QStringLiteral("complexity"), m_complexity, complexity);
}

void APLConverterAudioProcessor::setValueForParameterKey(const QVariant& value, const QString& key) {
    if (key == QLatin1StringView("complexity") && value.typeId() == QMetaType::QString) {
        const QByteArray code = value.toString().toLatin1();
        if (code.size() == 4)
            setComplexity(uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 |
                          uint32_t(uint8_t(code[2])) << 8 | uint32_t(uint8_t(code[3])));
        return;
    }
    VMKConverterAudioProcessor::setValueForParameterKey(value, key);
}

VMKConverterAudioProcessor::FilterSettings APLConverterAudioProcessor::filterSettings() const {
    const double q = quality();
    FilterSettings settings;
    if (m_complexity == kComplexityLinear) {
        settings.recipe = SOXR_LQ;
        settings.precision = 12.0 + 4.0 * q;
        settings.passbandEnd = 0.68 + 0.12 * q;
    } else if (m_complexity == kComplexityMastering) {
        settings.recipe = SOXR_VHQ;
        settings.precision = 24.0 + 6.0 * q;
        settings.passbandEnd = 0.90 + 0.06 * q;
    } else {
        settings.recipe = SOXR_HQ;
        settings.precision = 16.0 + 6.0 * q;
        settings.passbandEnd = 0.86 + 0.06 * q;
    }
    return settings;
}

} // namespace ondrel
