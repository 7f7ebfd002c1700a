#include "render/operation/AudioProcessOperation.h"

#include "core/storage/PropertyList.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommandEffectInstructions.h"
#include "process/instructions/AudioProcessCommandInstructions.h"
#include "process/instructions/AudioProcessCommandLabelInstructions.h"
#include "process/instructions/AudioProcessCommandPropertyInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"
#include "process/instructions/AudioProcessCommandSourceTieInstructions.h"
#include "render/automation/AudioAutomation.h"
#include "render/automation/ValueMap.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessGroup.h"
#include "render/engine/channels/VMKAudioRouter.h"
#include "render/engine/effects/APLConverterAudioProcessor.h"
#include "render/engine/effects/GHZConverterAudioProcessor.h"
#include "render/engine/effects/VMKFaderAudioProcessor.h"
#include "render/engine/effects/VMKMixerAudioProcessor.h"
#include "render/engine/effects/VMKRouterAudioProcessor.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "render/engine/graph/VMKAudioComponentRegistry.h"
#include "render/engine/graph/VMKAudioStream.h"
#include "core/objects/IndexSet.h"
#include "render/engine/graph/VMKTimeRange.h"
#include "render/operation/AudioProcessOperationError.h"
#include "render/processors/AudioProcessAudioFileWriterAudioProcessor.h"
#include "render/processors/AudioProcessMixerAudioProcessor.h"
#include "render/processors/AudioProcessSourceConductor.h"


#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace ondrel {

namespace {

using Processors = std::vector<std::shared_ptr<VMKAudioProcessor>>;

// From an instruction key to the key the writer knows the property by;
// a key without an entry stands as it is.
const QVariantMap& propertyKeyMap() {
    static const QVariantMap map =
        PropertyList::readFromFile(QStringLiteral(":/ondrel/AudioProcessPropertyKeyMap.plist")).toMap();
    return map;
}

// Encoder settings from the additional arguments, by container.
struct EncoderKey {
    const char* format;
    const char* argument;
    const char* property;
};

constexpr EncoderKey kEncoderKeys[] = {
    {"Ogg Vorbis Audio File", "bit rate method", "method"},
    {"Ogg Vorbis Audio File", "target bit rate", "targetBitRate"},
    {"Ogg Vorbis Audio File", "lowpass filter", "lowpassFilter"},
    {"Ogg Vorbis Audio File", "impulse bias", "impulseBias"},
    {"Ogg Vorbis Audio File", "minimum bit rate", "minimumBitRate"},
    {"Ogg Vorbis Audio File", "maximum bit rate", "maximumBitRate"},
    {"FLAC Audio File", "mid side encoding", "midSideEncoding"},
    {"FLAC Audio File", "QLP precision", "qlpPrecision"},
    {"FLAC Audio File", "order models", "orderModels"},
    {"FLAC Audio File", "max order", "maxOrder"},
    {"MP3 Audio File", "quality", "quality"},
    {"MP3 Audio File", "method", "method"},
    {"MP3 Audio File", "use joint stereo", "useJointStereo"},
    {"M4A Audio File", "use vbr", "useVariableBitrate"},
};

QVariantMap fileContentProperties(const QString& format, const QVariantMap& arguments) {
    QVariantMap properties;
    for (const EncoderKey& key : kEncoderKeys) {
        if (format != QLatin1String(key.format))
            continue;
        const QVariant value = arguments.value(QLatin1String(key.argument));
        if (value.isValid() && !value.isNull())
            properties.insert(QLatin1String(key.property), value);
    }
    return properties;
}

struct Converter {
    const char* name;
    bool apple;
    uint32_t complexity;
    const char* filterType;
};

constexpr Converter kConverters[] = {
    {"Apple Standard", true, APLConverterAudioProcessor::kComplexityNormal, nullptr},
    {"Apple Low Quality", true, APLConverterAudioProcessor::kComplexityLinear, nullptr},
    {"Apple High Quality", true, APLConverterAudioProcessor::kComplexityMastering, nullptr},
    {"Goodhertz Linear Phase", false, 0, "linearPhase"},
    {"Goodhertz Minimum Phase", false, 0, "minimumPhase"},
};

std::shared_ptr<VMKConverterAudioProcessor> makeConverter(const QString& name) {
    for (const Converter& known : kConverters) {
        if (name != QLatin1String(known.name))
            continue;
        if (known.apple) {
            auto converter = std::make_shared<APLConverterAudioProcessor>();
            converter->setComplexity(known.complexity);
            return converter;
        }
        auto converter = std::make_shared<GHZConverterAudioProcessor>();
        converter->setFilterType(QLatin1String(known.filterType));
        converter->setLatencyCompensationEnabled(true);
        return converter;
    }
    return nullptr;
}

QString fadeShape(const QString& curve, bool in) {
    static const struct {
        const char* name;
        const char* code;
        const char* shape;
    } curves[] = {
        {"power", "cpow", "Power"},
        {"ease in", "cein", "EaseIn"},
        {"ease out", "ceou", "EaseOut"},
        {"ease in and out", "ceio", "EaseInOut"},
    };
    const QString prefix = in ? QStringLiteral("in") : QStringLiteral("out");
    for (const auto& known : curves)
        if (curve == QLatin1String(known.name) || curve == QLatin1String(known.code))
            return prefix + QLatin1String(known.shape);
    return prefix + QStringLiteral("Linear");
}

QString labelType(const QString& type) {
    if (type == QLatin1String("marker") || type == QLatin1String("lmrk"))
        return VMKAudioLabel::marker;
    if (type == QLatin1String("slice") || type == QLatin1String("lslc"))
        return VMKAudioLabel::slice;
    if (type == QLatin1String("region") || type == QLatin1String("lrgn"))
        return VMKAudioLabel::region;
    if (type == QLatin1String("loop") || type == QLatin1String("llop"))
        return VMKAudioLabel::loop;
    return QString();
}

// Connects `chain` pairwise in order; every connection made carries
// `channels` and `rate` where those are above 0.
bool connectChain(VMKAudioStream& stream, const std::vector<VMKAudioProcessor*>& chain, uint32_t channels,
                  double rate, VMKError* error) {
    for (size_t i = 1; i < chain.size(); ++i) {
        auto connection = stream.connectProcessor(chain[i - 1], chain[i], 0, error);
        if (!connection)
            return false;
        if (channels > 0)
            connection->setNumberOfChannels(channels);
        if (rate > 0)
            connection->setSampleRate(rate);
    }
    return true;
}

// New processors for `records`, added to `stream` in order; none (with
// `error`) when one can't be made.
std::optional<Processors> addEffects(VMKAudioStream& stream,
                                     const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& records,
                                     VMKError* error) {
    auto effects = AudioProcessOperation::effectsForEffectInstructions(records, error);
    if (effects)
        for (const auto& effect : *effects)
            stream.addProcessorsObject(effect);
    return effects;
}

// A fader with the gain and fades of source or output instructions over
// `range`, added to `stream`. Numbers absent count as 0, curves as absent.
template <class Instructions>
std::shared_ptr<VMKFaderAudioProcessor> addFader(VMKAudioStream& stream, const Instructions& instructions,
                                                 const VMKTimeRange& range) {
    auto fader = std::make_shared<VMKFaderAudioProcessor>();
    stream.addProcessorsObject(fader);
    AudioProcessOperation::configureFader(*fader, instructions.fadeInLength().value_or(0.0),
                                          instructions.fadeInCurve().value_or(QString()),
                                          instructions.fadeOutLength().value_or(0.0),
                                          instructions.fadeOutCurve().value_or(QString()),
                                          float(instructions.gain().value_or(0.0)), range);
    return fader;
}

} // namespace

const ClassInfo& AudioProcessOperation::staticClassInfo() {
    using C = AudioProcessOperation;
    static const ClassInfo& info = ClassInfo::define<C, Operation>(QStringLiteral("AudioProcessOperation"))
                                       .property(QStringLiteral("hasError"), &C::hasError)
                                       .property(QStringLiteral("progress"), &C::progress);
    return info;
}

AudioProcessOperation::AudioProcessOperation() = default;
AudioProcessOperation::~AudioProcessOperation() = default;

void AudioProcessOperation::start() {
    const auto log = LogController::sharedInstance();
    if (isCancelled()) {
        log->logWithLevel(LogController::Notice, VMKLocalizedString(QStringLiteral("AudioProcessOperation_log_notice_cancelled")));
        setFinished(true);
        return;
    }
    setExecuting(true);
    VMKError failure;
    if (!process(&failure)) {
        m_hasError.store(true, std::memory_order_release);
        const QString source = m_sources.empty() || m_sources.front().URLs.empty()
                                   ? QString()
                                   : m_sources.front().URLs.front().lastPathComponent();
        {
            std::lock_guard lock(m_mutex);
            m_error = failure;
        }
        log->logWithLevel(LogController::Error,
                          VMKLocalizedString(QStringLiteral("AudioProcessOperation_log_error_failed"))
                              .arg(source, failure.localizedDescription()));
    }
    setFinished(true);
    setExecuting(false);
}

std::shared_ptr<AudioProcessAudioFileWriterAudioProcessor> AudioProcessOperation::writer() const {
    std::lock_guard lock(m_mutex);
    return m_writer;
}

double AudioProcessOperation::progress() const {
    const auto current = writer();
    return current ? double(current->progress()) : 0.0;
}

URL AudioProcessOperation::resultURL() const {
    std::lock_guard lock(m_mutex);
    return m_resultURL;
}

VMKError AudioProcessOperation::error() const {
    std::lock_guard lock(m_mutex);
    return m_error;
}

bool AudioProcessOperation::process(VMKError* error) {
    Q_ASSERT(!m_sources.empty() && m_instructions);
    const AudioProcessCommandInstructions& output = *m_instructions;
    const AudioProcessSource& first = m_sources.front();

    // A stored workflow can hold numbers that make no file (a length of 0
    // stretched to infinity, a group normalised over silent files, a source
    // shortened by a balance out of range): the writer would write an empty
    // or silent file or none at all, or would never end.
    const auto refuse = [error](const char* reason) {
        VMKError::set(error, AudioProcessOperationError::errorWithCode(3, QStringLiteral("Building the render"),
                                                                       QString::fromLatin1(reason)));
        return false;
    };

    // A source with nothing to play (a snip at the very start or end of a
    // file) adds nothing to the mix: it is left out.
    std::vector<const AudioProcessSource*> playing;
    for (const AudioProcessSource& source : m_sources) {
        if (!(source.instructions->length().value_or(source.length) > 0.0))
            continue;
        if (!std::isfinite(source.instructions->sourceStart().value_or(0.0)))
            return refuse("a source start is not finite");
        if (!std::isfinite(source.instructions->location().value_or(0.0)))
            return refuse("a source location is not finite");
        playing.push_back(&source);
    }
    if (playing.empty()) {
        VMKError::set(error, AudioProcessOperationError::errorWithCode(2, QStringLiteral("Building the render"),
                                                                       QStringLiteral("every source is empty")));
        return false;
    }

    auto stream = std::make_shared<VMKAudioStream>();
    auto mix = std::make_shared<AudioProcessMixerAudioProcessor>();
    stream->addProcessorsObject(mix);
    if (!mix->setNumberOfInputBuses(playing.size(), error))
        return false;
    const double outputRate = output.sampleRate().value_or(first.sampleRate);
    const bool resample = output.resample().value_or(true);
    const uint32_t outputChannels = uint32_t(output.numberOfChannels().value_or(qint64(first.channels)));
    double runningLength = 0.0;
    std::unordered_map<QString, std::shared_ptr<VMKAudioFileReader>> readers;

    for (size_t i = 0; i < playing.size(); ++i) {
        const AudioProcessSource& source = *playing[i];
        const AudioProcessCommandSourceInstructions& in = *source.instructions;
        const uint32_t channels = uint32_t(source.channels);

        auto fileMixer = std::make_shared<VMKMixerAudioProcessor>();
        stream->addProcessorsObject(fileMixer);
        if (!fileMixer->setNumberOfInputBuses(source.URLs.size(), error))
            return false;
        uint32_t c = 0;
        for (size_t k = 0; k < source.URLs.size(); ++k) {
            // Sources of one file share its reader where it reads alike at
            // any frame, so a file repeated a thousand times is opened once;
            // otherwise each source keeps its own.
            std::shared_ptr<VMKAudioFileReader> reader;
            if (const auto shared = readers.find(source.URLs[k].path()); shared != readers.end())
                reader = shared->second;
            if (!reader) {
                reader = VMKAudioFileReader::initWithURL(source.URLs[k], error);
                if (!reader)
                    return false;
                if (reader->seeksToTheSameSamples())
                    readers.emplace(source.URLs[k].path(), reader);
            }
            if (!VMKRouterAudioProcessor::addFileAtChannels(*stream, reader, c, channels, *fileMixer, k, error))
                return false;
            c += uint32_t(reader->numberOfChannels());
        }

        auto conductor = std::make_shared<AudioProcessSourceConductor>();
        stream->addProcessorsObject(conductor);
        conductor->setLocation(in.location().value_or(0.0));
        conductor->setSourceStart(in.sourceStart().value_or(0.0));
        double length = in.length().value_or(source.length);
        // Without resampling the frames play at the output rate: the
        // source changes speed and pitch, and its length by the ratio.
        if (!resample && source.sampleRate != outputRate)
            length *= source.sampleRate / outputRate;
        conductor->setLength(length);
        conductor->setReverse(in.reverse().value_or(false));

        std::shared_ptr<VMKConverterAudioProcessor> converter;
        if (resample && outputRate != source.sampleRate) {
            converter = makeConverter(output.converterName().value_or(QStringLiteral("Apple Standard")));
            if (!converter) {
                VMKError::set(error, AudioProcessOperationError::errorWithCode(
                                         1, QStringLiteral("Constructing the sample rate converter")));
                return false;
            }
            if (const auto quality = output.converterQuality())
                converter->setQuality(float(*quality));
            (void)converter->setInSampleRate(source.sampleRate);
            stream->addProcessorsObject(converter);
        }

        const auto effects = addEffects(*stream, in.effectInstructions(), error);
        if (!effects)
            return false;
        const auto fader = addFader(*stream, in, VMKTimeRange{conductor->location(), conductor->length()});

        // File mixer and converter run at the source's rate (the converter
        // puts out the output rate); from the conductor on, the output rate.
        if (converter) {
            auto toConverter = stream->connectProcessor(fileMixer.get(), converter.get(), 0, error);
            auto toConductor = toConverter ? stream->connectProcessor(converter.get(), conductor.get(), 0, error)
                                           : nullptr;
            if (!toConductor)
                return false;
            toConductor->setSampleRate(outputRate);
        } else if (!stream->connectProcessor(fileMixer.get(), conductor.get(), 0, error)) {
            return false;
        }
        std::vector<VMKAudioProcessor*> chain{conductor.get()};
        for (const auto& effect : *effects)
            chain.push_back(effect.get());
        chain.push_back(fader.get());
        if (!connectChain(*stream, chain, channels, outputRate, error))
            return false;
        auto toMix = stream->connectProcessor(fader.get(), mix.get(), i, error);
        if (!toMix)
            return false;
        toMix->setNumberOfChannels(channels);
        toMix->setSampleRate(outputRate);
        // With no effects the fader alone lies between conductor and mix, and
        // it keeps nothing from block to block: the mix may skip the source
        // where it is silent.
        if (effects->empty())
            mix->setConductorOfInputBus(i, conductor);

        const auto ties = in.sourceTieInstructions();
        if (!ties.empty()) {
            for (const auto& tie : ties)
                mix->addTiesObject(AudioProcessMixerTie{i, tie->inputChannelIndex(), tie->outputChannelIndex(),
                                                        tie->gain(), tie->invert()});
        } else {
            for (uint64_t k = 0; k < channels; ++k)
                mix->addTiesObject(AudioProcessMixerTie{i, k, k, 0.0f, false});
        }
        runningLength = std::max(runningLength, conductor->location() + conductor->length());
    }

    // The output: its length wins over all sources, longer or shorter.
    const double outputLength = output.length().value_or(runningLength);
    if (!std::isfinite(outputLength))
        return refuse("the output length is not finite");
    if (outputLength < 0.0)
        return refuse("the output length is negative");
    // The writer counts the output in frames of 64 bits: a longer output
    // would count none.
    const double longest = std::ldexp(1.0, 63) / outputRate;
    if (outputLength >= longest)
        return refuse("the output length is too long");
    // So does the fader its fades, and one beyond that count never ends.
    if (output.fadeInLength().value_or(0.0) >= longest)
        return refuse("the fade-in length is too long");
    if (output.fadeOutLength().value_or(0.0) >= longest)
        return refuse("the fade-out length is too long");
    // The fader applies the gain as a float factor: past about +770 dB that
    // is infinite, and silence times it is no number at all.
    const double gain = output.gain().value_or(0.0);
    if (!std::isfinite(gain) || !std::isfinite(std::pow(10.0f, float(gain) / 20.0f)))
        return refuse("the output gain is not finite");
    const auto effects = addEffects(*stream, output.effectInstructions(), error);
    if (!effects)
        return false;
    const auto fader = addFader(*stream, output, VMKTimeRange{0.0, outputLength});

    auto writer = std::make_shared<AudioProcessAudioFileWriterAudioProcessor>();
    writer->setIsRenderHead(true);
    stream->addProcessorsObject(writer);
    writer->setOperation(self());
    writer->setBaseDirectory(m_destination);
    writer->setBaseFilename(m_filename.value_or(QString()));
    writer->setReplaceOriginal(m_replaceOriginal);
    writer->setRehearse(m_rehearse);
    writer->setSourceURLs(first.URLs);
    writer->setMinimumTailLevel(1.5848926e-05f);
    writer->setFormat(output.format().value_or(first.format));
    writer->setEncoding(encodingCodeFromEncoding(output.encoding().value_or(first.encoding)));
    writer->setSampleRate(outputRate);
    writer->setNumberOfChannels(outputChannels);
    writer->setBitDepth(quint32(output.bitDepth().value_or(qint64(first.bitDepth))));
    writer->setFloatingPoint(output.floatingPoint().value_or(first.floatingPoint));
    writer->setBitrate(quint32(output.bitrate().value_or(qint64(first.bitrate))));
    writer->setRange(VMKTimeRange{0.0, outputLength});
    writer->setRetainTail(output.retainTail().value_or(false));
    writer->setMaximumTailLength(output.maximumTailLength().value_or(10.0));
    writer->setFileContentProperties(fileContentProperties(writer->format(), output.additionalArguments()));

    // Labels of the sources that ask for them, then those of the output.
    for (const AudioProcessSource& source : m_sources) {
        const AudioProcessCommandSourceInstructions& in = *source.instructions;
        if (!in.includeLabels())
            continue;
        const double sourceStart = in.sourceStart().value_or(0.0);
        const double location = in.location().value_or(0.0);
        const double end = sourceStart + in.length().value_or(source.length);
        const bool stretched = !resample && source.sampleRate != outputRate;
        const double ratio = stretched ? source.sampleRate / outputRate : 1.0;
        std::vector<std::shared_ptr<VMKAudioLabel>> copies;
        for (const auto& label : source.labels) {
            // A label that sticks out of the stretch is dropped, not clipped.
            if (label->start() < sourceStart || label->end() > end)
                continue;
            auto copy = label->copy();
            copy->setLocation(label->location() - sourceStart + location);
            if (stretched) {
                copy->setLocation(copy->location() * ratio);
                copy->setLength(copy->length() * ratio);
            }
            copies.push_back(std::move(copy));
        }
        writer->insertLabels(copies, IndexSet::range(writer->countOfLabels(), qsizetype(copies.size())));
    }
    std::vector<std::shared_ptr<VMKAudioLabel>> outputLabels;
    for (const auto& record : output.labelInstructions()) {
        const QString type = labelType(record->type());
        if (type.isEmpty())
            continue;
        auto label = VMKAudioLabel::labelOfType(type);
        label->setLocation(record->location());
        label->setLength(record->length());
        outputLabels.push_back(std::move(label));
    }
    writer->insertLabels(outputLabels,
                         IndexSet::range(writer->countOfLabels(), qsizetype(outputLabels.size())));

    // Metadata: the sources that carry theirs, a later one overriding, then
    // the output's properties; an empty text removes a property.
    QVariantMap metadata;
    for (const AudioProcessSource& source : m_sources)
        if (source.instructions->includeProperties().value_or(false))
            for (auto it = source.metadata.begin(); it != source.metadata.end(); ++it)
                metadata.insert(it.key(), it.value());
    for (const auto& record : output.propertyInstructions()) {
        const QString key = propertyKeyMap().value(record->key(), record->key()).toString();
        const QVariant value = record->value();
        const bool absent = !value.isValid() || value.isNull() ||
                            (value.typeId() == QMetaType::QString && value.toString().isEmpty());
        if (absent)
            metadata.remove(key);
        else
            metadata.insert(key, value);
    }
    for (auto it = metadata.begin(); it != metadata.end(); ++it)
        writer->metadata().insert(it.key(), it.value());

    std::vector<VMKAudioProcessor*> chain{mix.get()};
    for (const auto& effect : *effects)
        chain.push_back(effect.get());
    chain.push_back(fader.get());
    chain.push_back(writer.get());
    if (!connectChain(*stream, chain, outputChannels, outputRate, error))
        return false;

    {
        std::lock_guard lock(m_mutex);
        m_writer = writer;
    }
    struct DropWriter {
        AudioProcessOperation* operation;
        ~DropWriter() {
            std::lock_guard lock(operation->m_mutex);
            operation->m_writer.reset();
        }
    } dropWriter{this};

    bool ok = stream->initialize(error) && stream->start(error) && stream->stop(error);
    ok = stream->uninitialize(ok ? error : nullptr) && ok;
    if (!ok)
        return false;

    const URL result = writer->resultURL();
    {
        std::lock_guard lock(m_mutex);
        m_resultURL = result;
    }
    LogController::sharedInstance()->logWithLevel(
        LogController::Notice, VMKLocalizedString(QStringLiteral("AudioProcessOperation_log_notice_completed"))
                                   .arg(first.URLs.empty() ? QString() : first.URLs.front().lastPathComponent(),
                                        result.lastPathComponent()));
    if (const auto process = audioProcess())
        if (const auto group = process->audioProcessGroup())
            group->queueFileProcessURL(result);
    return true;
}

std::optional<std::vector<std::shared_ptr<VMKAudioProcessor>>> AudioProcessOperation::effectsForEffectInstructions(
    const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& records, VMKError* error) {
    Processors effects;
    for (const auto& record : records) {
        std::shared_ptr<VMKAudioProcessor> effect;
        const QString className = record->processorClassName();
        if (!className.isEmpty()) {
            effect = std::dynamic_pointer_cast<VMKAudioProcessor>(ClassRegistry::create(className));
            if (!effect) {
                VMKError::set(error, AudioProcessOperationError::errorWithCode(
                                         3, QStringLiteral("Making the effect %1").arg(className),
                                         QStringLiteral("there is no audio processor of that name")));
                return std::nullopt;
            }
        } else {
            effect = VMKAudioComponentRegistry::processorForComponent(record->type(), record->subtype(),
                                                                      record->manufacturer(), error);
            if (!effect)
                return std::nullopt;
        }
        if (effect->classInfo().property(QStringLiteral("latencyCompensationEnabled")))
            effect->setValueForKey(true, QStringLiteral("latencyCompensationEnabled"));
        if (const auto classInfo = record->componentClassInfo()) {
            effect->setValueForKey(QVariantMap{{QStringLiteral("parameters"), *classInfo}}, QStringLiteral("settings"));
        } else {
            const QVariantMap parameters = record->parameters();
            for (auto it = parameters.begin(); it != parameters.end(); ++it)
                effect->setValueForParameterKey(it.value(), it.key());
        }
        effects.push_back(std::move(effect));
    }
    return effects;
}

void AudioProcessOperation::configureFader(VMKFaderAudioProcessor& fader, double fadeInLength,
                                           const QString& fadeInCurve, double fadeOutLength,
                                           const QString& fadeOutCurve, float gain, const VMKTimeRange& range) {
    fader.setGain(gain);
    auto fade = [&](double location, double length, const QString& shape) {
        auto automation = std::make_shared<AudioAutomation>();
        automation->setParameterKey(QStringLiteral("scalar"));
        automation->setMinimum(0.0f);
        automation->setMaximum(std::pow(10.0f, gain / 20.0f));
        automation->setLocation(location);
        automation->setLength(length);
        if (auto map = std::dynamic_pointer_cast<ValueMap>(automation->valueMap()))
            map->setShape(shape);
        fader.insertObjectInAutomationsAtIndex(automation, fader.countOfAutomations());
    };
    if (fadeInLength > 0.0)
        fade(range.location, fadeInLength, fadeShape(fadeInCurve, true));
    if (fadeOutLength > 0.0)
        fade(range.location + range.length - fadeOutLength, fadeOutLength, fadeShape(fadeOutCurve, false));
}

quint32 AudioProcessOperation::encodingCodeFromEncoding(const QString& encoding) {
    static const QHash<QString, quint32> codes = [] {
        auto code = [](const char (&text)[5]) {
            return quint32(uint8_t(text[0])) << 24 | quint32(uint8_t(text[1])) << 16 |
                   quint32(uint8_t(text[2])) << 8 | quint32(uint8_t(text[3]));
        };
        return QHash<QString, quint32>{
            {QStringLiteral("PCM"), code("lpcm")},      {QStringLiteral("QDesign"), code("QDMC")},
            {QStringLiteral("AC3"), code("ac-3")},      {QStringLiteral("QDesign2"), code("QDM2")},
            {QStringLiteral("IMA4"), code("ima4")},     {QStringLiteral("Qualcomm"), code("Qclp")},
            {QStringLiteral("AAC"), code("aac ")},      {QStringLiteral("MPEG 1"), code(".mp1")},
            {QStringLiteral("MPEG 4"), code("celp")},   {QStringLiteral("MPEG 2"), code(".mp2")},
            {QStringLiteral("MACE3"), code("MAC3")},    {QStringLiteral("MPEG 3"), code(".mp3")},
            {QStringLiteral("MACE6"), code("MAC6")},    {QStringLiteral("Apple Lossless"), code("alac")},
            {QStringLiteral("ALAC"), code("alac")},     {QStringLiteral("µLaw"), code("ulaw")},
            {QStringLiteral("AMR"), code("samr")},      {QStringLiteral("ALaw"), code("alaw")},
            {QStringLiteral("Audible"), code("AUDB")},  {QStringLiteral("iLBC"), code("ilbc")},
            {QStringLiteral("AES3"), code("aes3")},
        };
    }();
    return codes.value(encoding, 0);
}

} // namespace ondrel
