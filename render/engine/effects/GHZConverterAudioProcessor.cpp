#include "render/engine/effects/GHZConverterAudioProcessor.h"

#include <soxr.h>

namespace ondrel {

const ClassInfo& GHZConverterAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<GHZConverterAudioProcessor, VMKConverterAudioProcessor>(
            QStringLiteral("GHZConverterAudioProcessor"))
            .property(QStringLiteral("filterType"), &GHZConverterAudioProcessor::filterType,
                      &GHZConverterAudioProcessor::setFilterType);
    return info;
}

GHZConverterAudioProcessor::GHZConverterAudioProcessor() : VMKConverterAudioProcessor(1.0f, false) {}

GHZConverterAudioProcessor::~GHZConverterAudioProcessor() = default;

void GHZConverterAudioProcessor::setFilterType(const QString& filterType) {
    if (filterType == QLatin1StringView("linearPhase") || filterType == QLatin1StringView("minimumPhase"))
        setAndNotify(QStringLiteral("filterType"), m_filterType, filterType);
}

VMKConverterAudioProcessor::FilterSettings GHZConverterAudioProcessor::filterSettings() const {
    const double q = quality();
    FilterSettings settings;
    settings.recipe = SOXR_VHQ;
    settings.minimumPhase = m_filterType == QLatin1StringView("minimumPhase");
    settings.precision = 20.0 + 10.0 * q;
    settings.passbandEnd = 0.88 + 0.08 * q;
    return settings;
}

} // namespace ondrel
