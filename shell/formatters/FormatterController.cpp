#include "shell/formatters/FormatterController.h"

#include "core/objects/Variant.h"
#include "core/text/VMKLocalizedString.h"
#include "shell/formatters/ByteCountFormatter.h"
#include "shell/formatters/DescriptorsFormatter.h"
#include "shell/formatters/FloatingPointFormatter.h"
#include "shell/formatters/FrequencyFormatter.h"
#include "shell/formatters/InstrumentFormatter.h"
#include "shell/formatters/LevelFormatter.h"
#include "shell/formatters/LoudnessFormatter.h"
#include "shell/formatters/MIDINoteFormatter.h"
#include "shell/formatters/MusicalScaleFormatter.h"
#include "shell/formatters/NumberFormatter.h"
#include "shell/formatters/PlaybackTypeFormatter.h"
#include "shell/formatters/SemitoneFormatter.h"
#include "shell/formatters/TimeFormatter.h"
#include "shell/formatters/TruePeakFormatter.h"

namespace ondrel {

namespace {

std::shared_ptr<Formatter> numberFormatter(const NumberFormatter::Settings& settings) {
    return std::make_shared<NumberFormatter>(settings);
}

// Percentages and the like: suffix for both signs, zero shows as nothing.
NumberFormatter::Settings suffixed(const QString& suffix, int minimumFraction, int maximumFraction) {
    NumberFormatter::Settings settings;
    settings.positiveSuffix = settings.negativeSuffix = suffix;
    settings.minimumFractionDigits = minimumFraction;
    settings.maximumFractionDigits = maximumFraction;
    settings.zeroShowsAsNothing = true;
    return settings;
}

} // namespace

std::shared_ptr<FormatterController> FormatterController::sharedInstance() {
    // Never destroyed: formatters may be asked for while the program exits.
    static const auto* instance = new std::shared_ptr<FormatterController>(new FormatterController);
    return *instance;
}

FormatterController::FormatterController() {
    NumberFormatter::Settings bitDepth;
    bitDepth.positiveSuffix = VMKLocalizedString(QStringLiteral("FormatterController_bitDepthFormatter_positiveSuffix"));
    bitDepth.zeroShowsAsNothing = true;
    add({QStringLiteral("bitDepth")}, numberFormatter(bitDepth));

    add({QStringLiteral("floatingPoint")}, std::make_shared<FloatingPointFormatter>());

    NumberFormatter::Settings bitrate = suffixed(QStringLiteral(" kbps"), 0, 0);
    bitrate.multiplier = 0.001;
    add({QStringLiteral("bitrate")}, numberFormatter(bitrate));

    add({QStringLiteral("beats"), QStringLiteral("channels"), QStringLiteral("countOfClipEvents"),
         QStringLiteral("detune"), QStringLiteral("gain"), QStringLiteral("highVelocity"),
         QStringLiteral("lowVelocity"), QStringLiteral("meterDenominator"), QStringLiteral("meterNumerator"),
         QStringLiteral("timeReference")},
        std::make_shared<NumberFormatter>());

    add({QStringLiteral("fileSize")}, std::make_shared<ByteCountFormatter>());

    NumberFormatter::Settings frames;
    frames.usesGroupingSeparator = true;
    add({QStringLiteral("frames")}, numberFormatter(frames));

    add({QStringLiteral("length")}, std::make_shared<TimeFormatter>());
    auto location = std::make_shared<TimeFormatter>();
    location->setIsPosition(true);
    add({QStringLiteral("location")}, location);

    add({QStringLiteral("sampleRate")}, std::make_shared<FrequencyFormatter>());

    add({QStringLiteral("peak"), QStringLiteral("positiveMaximum"), QStringLiteral("negativeMaximum"),
         QStringLiteral("RMS"), QStringLiteral("average"), QStringLiteral("level"), QStringLiteral("midPeak"),
         QStringLiteral("sidePeak")},
        std::make_shared<LevelFormatter>());

    add({QStringLiteral("truePeak")}, std::make_shared<TruePeakFormatter>());

    NumberFormatter::Settings percent = suffixed(QStringLiteral(" %"), 0, 3);
    percent.multiplier = 100.0;
    add({QStringLiteral("peakToPeak"), QStringLiteral("DCOffset")}, numberFormatter(percent));

    add({QStringLiteral("formFactor"), QStringLiteral("crestFactor")}, numberFormatter(suffixed({}, 2, 2)));

    add({QStringLiteral("programLoudness")}, std::make_shared<LoudnessFormatter>());

    add({QStringLiteral("loudnessRange")}, numberFormatter(suffixed(QStringLiteral(" LU"), 1, 1)));

    add({QStringLiteral("difference")}, numberFormatter(suffixed(QStringLiteral(" %"), 2, 2)));

    add({QStringLiteral("detectedSemitone")}, std::make_shared<SemitoneFormatter>());

    add({QStringLiteral("baseNote"), QStringLiteral("lowNote"), QStringLiteral("highNote")},
        std::make_shared<MIDINoteFormatter>());

    add({QStringLiteral("musicalScale")}, std::make_shared<MusicalScaleFormatter>());
    add({QStringLiteral("instrument")}, std::make_shared<InstrumentFormatter>());
    add({QStringLiteral("descriptors")}, std::make_shared<DescriptorsFormatter>());
    add({QStringLiteral("playbackType")}, std::make_shared<PlaybackTypeFormatter>());
}

void FormatterController::add(const QStringList& keys, const std::shared_ptr<Formatter>& formatter) {
    for (const QString& key : keys) {
        Q_ASSERT(!m_formatters.contains(key));
        m_formatters.insert(key, formatter);
        m_keys << key;
    }
}

std::shared_ptr<Formatter> FormatterController::formatterForKey(const QString& key) const {
    return m_formatters.value(key);
}

QString FormatterController::stringForObjectValue(const QVariant& value, const QString& key) const {
    if (const auto formatter = formatterForKey(key))
        return formatter->stringForObjectValue(value);
    if (Variant::isNullOrAbsent(value))
        return {};
    return Variant::describe(value);
}

QVariant FormatterController::objectValueForString(const QString& string, const QString& key,
                                                   QString* errorDescription) const {
    const auto formatter = formatterForKey(key);
    if (!formatter)
        return string;
    QVariant value;
    if (!formatter->getObjectValue(&value, string, errorDescription))
        return {};
    return value;
}

} // namespace ondrel
