#include "analysis/processors/AnalyzerAudioProcessor.h"

#include "core/dispatch/Operation.h"
#include "render/engine/dsp/VectorOps.h"
#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/graph/VMKEngineError.h"
#include "render/engine/meters/VMKLoudnessMeterAudioProcessor.h"
#include "render/engine/meters/VMKPitchDetectorAudioProcessor.h"
#include "render/engine/waveforms/VMKMinMaxWaveform.h"

#include <QtCore/QtEndian>

#include <algorithm>
#include <array>
#include <cmath>

namespace ondrel {

namespace {

float decibels(float value) { return 20.0f * log10f(value); }

} // namespace

const ClassInfo& AnalyzerAudioProcessor::staticClassInfo() {
    using C = AnalyzerAudioProcessor;
    static const ClassInfo& info =
        ClassInfo::define<C, VMKHeadAudioProcessor>(QStringLiteral("AnalyzerAudioProcessor"))
            .property(QStringLiteral("sampleRate"), &C::sampleRate, &C::setSampleRate)
            .property(QStringLiteral("numberOfChannels"), &C::numberOfChannels, &C::setNumberOfChannels)
            .property(QStringLiteral("frames"), &C::frames, &C::setFrames)
            .property(QStringLiteral("progress"), &C::progress)
            .property(QStringLiteral("aggregateResults"), &C::aggregateResults)
            .property(QStringLiteral("channelResults"), &C::channelResults);
    return info;
}

AnalyzerAudioProcessor::AnalyzerAudioProcessor() = default;
AnalyzerAudioProcessor::~AnalyzerAudioProcessor() = default;

bool AnalyzerAudioProcessor::initializeForRender(VMKError* error) {
    Q_ASSERT(m_numberOfChannels > 0);
    m_channels = std::make_unique<ChannelRecord[]>(size_t(m_numberOfChannels));
    m_buffer = VMKAudioBufferList::initWithChannels(uint32_t(m_numberOfChannels), kBlockFrames, error);
    if (!m_buffer)
        return false;
    m_wavetables.assign(size_t(m_numberOfChannels),
                        QByteArray(qsizetype(VMKMinMaxWaveform::tableLengthForFrames(int64_t(m_frames))), '\0'));
    m_signProductSum = 0.0;
    m_midMaximum = 0.0f;
    m_sideMaximum = 0.0f;
    m_progressSampleTime.store(0, std::memory_order_relaxed);
    if (VMKAudioConnection* input = inputConnection()) {
        input->setSampleRate(m_sampleRate);
        input->setNumberOfChannels(uint32_t(m_numberOfChannels));
        input->setMaxFrames(kBlockFrames);
    }
    info().setRealtime(false);
    info().setRunning(true);
    info().setSampleTime(0);
    return true;
}

bool AnalyzerAudioProcessor::start(VMKError* error) {
    VMKAudioBus* bus = inputBus();
    if (!m_buffer || !m_channels || !bus) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorState, QStringLiteral("Starting an audio stream"),
                                                     QStringLiteral("%1 is not initialized").arg(displayName())));
        return false;
    }
    const auto stream = this->stream();
    const auto pitchDetector = std::dynamic_pointer_cast<VMKPitchDetectorAudioProcessor>(
        stream ? stream->processorWithIdentifier(QStringLiteral("pitchDetector")) : nullptr);
    const auto meter = std::dynamic_pointer_cast<VMKLoudnessMeterAudioProcessor>(
        stream ? stream->processorWithIdentifier(QStringLiteral("LUMeter")) : nullptr);
    const auto operation = m_operation.lock();
    std::array<quint64, 128> semitones{};

    const uint32_t channels = uint32_t(m_numberOfChannels);
    const int64_t frames = int64_t(m_frames);
    VMKError renderError;
    info().setErrorSlot(&renderError);
    struct ClearSlot {
        VMKAudioStreamRenderInfo& info;
        ~ClearSlot() { info.setErrorSlot(nullptr); }
    } clearSlot{info()};

    while (info().sampleTime() < frames) {
        const int64_t n = std::min(m_buffer->frameCapacity(), frames - info().sampleTime());
        if (!m_buffer->setFrames(n, error))
            return false;
        if (!bus->render(*m_buffer, info())) {
            if (!renderError)
                renderError = VMKError::errorWithCode(VMKEngineErrorRender, QStringLiteral("Analysing audio"),
                                                      QStringLiteral("frames %1 to %2 could not be read")
                                                          .arg(info().sampleTime())
                                                          .arg(info().sampleTime() + n));
            VMKError::set(error, renderError);
            return false;
        }
        m_progressSampleTime.store(info().sampleTime(), std::memory_order_relaxed);
        const int64_t block = info().sampleTime() / kBlockFrames;

        for (uint32_t c = 0; c < channels; ++c) {
            const float* x = m_buffer->channel(c);
            ChannelRecord& record = m_channels[c];
            record.sumOfSquares += dsp::sumOfSquares(x, n);
            record.sum += dsp::sum(x, n);
            record.sumOfMagnitudes += dsp::sumOfMagnitudes(x, n);
            const float p = dsp::maximum(x, n);
            const float q = dsp::minimum(x, n);
            record.maximum = std::max(record.maximum, p);
            record.minimum = std::min(record.minimum, q);
            auto* entry = reinterpret_cast<uchar*>(m_wavetables[c].data()) + 4 * block;
            qToLittleEndian<qint16>(VMKMinMaxWaveform::tableValueForSample(p), entry);
            qToLittleEndian<qint16>(VMKMinMaxWaveform::tableValueForSample(q), entry + 2);
            // Beyond full scale, not at it; a run of clipped samples is one
            // event, also across blocks.
            bool inClip = record.inClip;
            quint64 events = 0;
            for (int64_t i = 0; i < n; ++i) {
                const bool clipped = x[i] > 1.0f || x[i] < -1.0f;
                events += clipped && !inClip;
                inClip = clipped;
            }
            record.inClip = inClip;
            record.clipEvents += events;
        }

        if (channels == 2 && n != 0) {
            const float* left = m_buffer->channel(0);
            const float* right = m_buffer->channel(1);
            m_signProductSum += dsp::signProductSum(left, right, n);
            m_midMaximum = std::max(m_midMaximum, dsp::maximumMagnitudeOfSum(left, right, n));
            m_sideMaximum = std::max(m_sideMaximum, dsp::maximumMagnitudeOfDifference(left, right, n));
        }

        if (pitchDetector && pitchDetector->power() > 0.0f) {
            const float semitone = std::round(pitchDetector->semitone());
            if (semitone >= 0.0f && semitone <= 127.0f)
                ++semitones[size_t(semitone)];
        }

        info().setSampleTime(info().sampleTime() + m_buffer->frames());
        if (operation && operation->isCancelled())
            return false;
    }
    m_progressSampleTime.store(info().sampleTime(), std::memory_order_relaxed);

    QVariantList channelResults;
    ChannelRecord total{};
    for (uint32_t c = 0; c < channels; ++c) {
        const ChannelRecord& record = m_channels[c];
        QVariantMap results = measures(record.sumOfSquares, record.sum, record.sumOfMagnitudes, record.maximum,
                                       record.minimum, record.clipEvents, double(m_frames));
        auto waveform = VMKMinMaxWaveform::waveform();
        waveform->setData(m_wavetables[c]);
        results.insert(QStringLiteral("waveform"), Variant::fromObject(waveform));
        channelResults.append(results);
        total.sumOfSquares += record.sumOfSquares;
        total.sum += record.sum;
        total.sumOfMagnitudes += record.sumOfMagnitudes;
        total.maximum = std::max(total.maximum, record.maximum);
        total.minimum = std::min(total.minimum, record.minimum);
        total.clipEvents += record.clipEvents;
    }

    QVariantMap aggregate = measures(total.sumOfSquares, total.sum, total.sumOfMagnitudes, total.maximum,
                                     total.minimum, total.clipEvents, double(m_numberOfChannels) * double(m_frames));
    if (channels == 2) {
        // Identical channels give 0, channels unrelated in sign 100, and
        // those leaning towards opposition -100 .. -0.
        const float s = float(m_signProductSum / double(m_frames));
        aggregate.insert(QStringLiteral("difference"), s >= 0.0f ? (1.0f - s) * 100.0f : (s + 1.0f) * -100.0f);
        aggregate.insert(QStringLiteral("midPeak"), decibels(m_midMaximum * 0.5f));
        aggregate.insert(QStringLiteral("sidePeak"), decibels(0.5f * m_sideMaximum));
    }
    // The most frequent semitone; the lowest of equal counts; 0 when none was heard.
    const auto mostFrequent = std::max_element(semitones.begin(), semitones.end());
    aggregate.insert(QStringLiteral("detectedSemitone"), quint64(mostFrequent - semitones.begin()));
    if (meter) {
        aggregate.insert(QStringLiteral("programLoudness"), float(meter->integratedLU()));
        if (meter->enableTruePeak())
            aggregate.insert(QStringLiteral("truePeak"), float(meter->peak()));
        aggregate.insert(QStringLiteral("loudnessRange"), float(meter->loudnessRange()));
    }
    m_channelResults = channelResults;
    m_aggregateResults = aggregate;
    return true;
}

QVariantMap AnalyzerAudioProcessor::measures(double sumOfSquares, double sum, double sumOfMagnitudes, float maximum,
                                             float minimum, quint64 clipEvents, double count) {
    const float rms = float(std::sqrt(sumOfSquares / count));
    const float mean = float(sumOfMagnitudes / count);
    const float pk = std::max(-minimum, maximum);
    return {
        {QStringLiteral("peak"), decibels(pk)},
        {QStringLiteral("positiveMaximum"), decibels(maximum)},
        {QStringLiteral("negativeMaximum"), decibels(-minimum)},
        {QStringLiteral("peakToPeak"), maximum - minimum},
        {QStringLiteral("RMS"), decibels(rms)},
        {QStringLiteral("DCOffset"), sum / count},
        {QStringLiteral("average"), decibels(mean)},
        {QStringLiteral("formFactor"), rms / mean},
        {QStringLiteral("crestFactor"), pk / rms},
        {QStringLiteral("countOfClipEvents"), clipEvents},
    };
}

bool AnalyzerAudioProcessor::stop(VMKError*) { return true; }

bool AnalyzerAudioProcessor::uninitialize(VMKError* error) {
    m_buffer.reset();
    m_wavetables.clear();
    m_channels.reset();
    info().setRunning(false);
    return VMKHeadAudioProcessor::uninitialize(error);
}

float AnalyzerAudioProcessor::progress() const {
    return float(m_progressSampleTime.load(std::memory_order_relaxed)) / float(m_frames);
}

QVariantMap AnalyzerAudioProcessor::resultsForChannelAtIndex(quint64 index) const {
    return index < quint64(m_channelResults.size()) ? m_channelResults[qsizetype(index)].toMap() : QVariantMap();
}

} // namespace ondrel
