#include "render/engine/effects/VMKConverterAudioProcessor.h"

#include "render/engine/graph/VMKEngineError.h"
#include "render/engine/dsp/VectorOps.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace ondrel {

namespace {
const QString kConstructing = QStringLiteral("Constructing the sample rate converter");

int64_t floorDivide(int64_t a, int64_t b) {
    const int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// The phase goes in as a number rather than as the recipe's phase flags: the
// flagged minimum-phase design leaves polyphase spurs near -120 dB at every
// precision, the numbered one doesn't.
template <class Settings>
soxr_quality_spec_t qualitySpec(const Settings& settings) {
    soxr_quality_spec_t quality = soxr_quality_spec(settings.recipe, SOXR_LINEAR_PHASE);
    quality.phase_response = settings.minimumPhase ? 0.0 : 50.0;
    quality.precision = settings.precision;
    quality.passband_end = settings.passbandEnd;
    return quality;
}

bool isWholeHertz(double rate) { return rate == std::floor(rate) && rate <= 2147483647.0; }
} // namespace

const ClassInfo& VMKConverterAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKConverterAudioProcessor, VMKAudioProcessor>(QStringLiteral("VMKConverterAudioProcessor"))
            .property(QStringLiteral("quality"), &VMKConverterAudioProcessor::quality,
                      &VMKConverterAudioProcessor::setQuality)
            .property(QStringLiteral("latencyCompensationEnabled"),
                      &VMKConverterAudioProcessor::isLatencyCompensationEnabled,
                      &VMKConverterAudioProcessor::setLatencyCompensationEnabled)
            .property(QStringLiteral("latency"), &VMKConverterAudioProcessor::latency)
            .addProperty(
                QStringLiteral("inSampleRate"),
                [](const Object* o) {
                    return QVariant(static_cast<const VMKConverterAudioProcessor*>(o)->inSampleRate());
                },
                [](Object* o, const QVariant& value) {
                    static_cast<VMKConverterAudioProcessor*>(o)->setInSampleRate(value.toDouble(), nullptr);
                });
    return info;
}

VMKConverterAudioProcessor::VMKConverterAudioProcessor(float defaultQuality, bool latencyCompensationEnabled)
    : m_quality(defaultQuality), m_latencyCompensationEnabled(latencyCompensationEnabled) {}

VMKConverterAudioProcessor::~VMKConverterAudioProcessor() = default;

void VMKConverterAudioProcessor::deleteResampler(soxr* resampler) { soxr_delete(resampler); }

void VMKConverterAudioProcessor::setQuality(float quality) {
    if (std::isnan(quality))
        return;
    setAndNotify(QStringLiteral("quality"), m_quality, std::clamp(quality, 0.0f, 1.0f));
}

bool VMKConverterAudioProcessor::setInSampleRate(double sampleRate, VMKError* error) {
    if (!(sampleRate > 0.0) || !(sampleRate <= kMaximumSampleRate)) {
        VMKError::set(error, VMKError::errorWithCode(
                                 VMKEngineErrorInvalidArgument, QStringLiteral("Setting the rate of a converter"),
                                 QStringLiteral("%1 Hz is not a sample rate %2 can convert from; it takes rates "
                                                "above 0 Hz and up to %3 Hz")
                                     .arg(sampleRate)
                                     .arg(displayName())
                                     .arg(kMaximumSampleRate, 0, 'f', 0)));
        return false;
    }
    setAndNotify(QStringLiteral("inSampleRate"), m_inSampleRate, sampleRate);
    return true;
}

void VMKConverterAudioProcessor::setLatencyCompensationEnabled(bool enabled) {
    setAndNotify(QStringLiteral("latencyCompensationEnabled"), m_latencyCompensationEnabled, enabled);
}

int64_t VMKConverterAudioProcessor::outputFrameCount(int64_t inputFrames, double inSampleRate,
                                                     double outSampleRate) {
    if (!(inSampleRate > 0.0) || !(outSampleRate > 0.0))
        return 0;
    if (isWholeHertz(inSampleRate) && isWholeHertz(outSampleRate)) {
        // Exact: round(frames * out / in) without going through a rounded ratio.
        const auto in = int64_t(inSampleRate), out = int64_t(outSampleRate);
        const int64_t g = std::gcd(in, out);
        const __int128 scaled = __int128(inputFrames) * (out / g);
        const int64_t q = in / g;
        return int64_t((scaled + q / 2) / q);
    }
    return std::llround(double(inputFrames) * outSampleRate / inSampleRate);
}

VMKError VMKConverterAudioProcessor::conversionError(const QString& reason) const {
    return VMKError::errorWithCode(VMKEngineErrorFormat, kConstructing, reason);
}

double VMKConverterAudioProcessor::effectiveInSampleRate() const {
    if (m_inSampleRate > 0.0)
        return m_inSampleRate;
    const VMKAudioConnection* input = inputConnection();
    return input ? input->sampleRate() : 0.0;
}

// MARK: Negotiation

bool VMKConverterAudioProcessor::proposeOutputFormat(VMKAudioConnection& output, VMKError* error) {
    VMKAudioConnection* input = inputConnection();
    if (!input)
        return true;
    if (m_inSampleRate > 0.0 && input->sampleRate() <= 0.0)
        input->setSampleRate(m_inSampleRate);
    if (!proposeNumberOfChannels(output, input->numberOfChannels(), error))
        return false;
    // The rate that goes out is the output connection's; undecided, nothing changes.
    if (output.sampleRate() <= 0.0 && effectiveInSampleRate() > 0.0)
        output.setSampleRate(effectiveInSampleRate());
    if (output.maxFrames() <= 0 && input->maxFrames() > 0)
        output.setMaxFrames(input->maxFrames());
    return true;
}

bool VMKConverterAudioProcessor::checkFormat(VMKError* error) const {
    const VMKAudioConnection* input = inputConnection();
    const VMKAudioConnection* output = outputConnection();
    if (!input || !output)
        return true;
    if (input->numberOfChannels() != output->numberOfChannels()) {
        VMKError::set(error, formatError(QStringLiteral("%1 receives %2 channels but delivers %3 channels")
                                             .arg(displayName())
                                             .arg(input->numberOfChannels())
                                             .arg(output->numberOfChannels())));
        return false;
    }
    if (m_inSampleRate > 0.0 && input->sampleRate() != m_inSampleRate) {
        VMKError::set(error, formatError(QStringLiteral("%1 converts from %2 Hz but receives %3 Hz")
                                             .arg(displayName())
                                             .arg(m_inSampleRate)
                                             .arg(input->sampleRate())));
        return false;
    }
    return true;
}

// MARK: Preparation

bool VMKConverterAudioProcessor::makeResampler(VMKError* error) {
    const soxr_quality_spec_t quality = qualitySpec(filterSettings());
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    const double in = effectiveInSampleRate();
    const double out = outputConnection()->sampleRate();
    m_soxr.reset();
    soxr_error_t failure = nullptr;
    m_soxr.reset(soxr_create(in, out, outputConnection()->numberOfChannels(), &failure, &io, &quality, &runtime));
    if (!m_soxr || failure) {
        m_soxr.reset();
        VMKError::set(error, conversionError(QStringLiteral("%1 can't convert from %2 Hz to %3 Hz: %4")
                                                 .arg(displayName())
                                                 .arg(in)
                                                 .arg(out)
                                                 .arg(QString::fromUtf8(soxr_strerror(failure)))));
        return false;
    }
    m_soxrFresh = true;
    return true;
}

// Runs one impulse through a mono copy of the filter and reads off how far its
// response reaches before the impulse's instant (the latency) and how long it
// is altogether (the history a fresh start needs to match a continuous run).
bool VMKConverterAudioProcessor::measureResponse(VMKError* error) {
    const soxr_quality_spec_t quality = qualitySpec(filterSettings());
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    const double in = effectiveInSampleRate();
    const double out = outputConnection()->sampleRate();

    for (int64_t leadOut = int64_t(4096 * std::clamp(m_ratio, 1.0, 64.0));; leadOut *= 2) {
        const auto leadIn = int64_t(std::ceil(double(leadOut) / m_ratio));
        std::vector<float> impulse(size_t(2 * leadIn + 1), 0.0f);
        impulse[size_t(leadIn)] = 1.0f;
        std::vector<float> response(size_t(std::ceil(double(impulse.size()) * m_ratio)) + size_t(leadOut) + 16);
        size_t used = 0, made = 0;
        soxr_error_t failure = soxr_oneshot(in, out, 1, impulse.data(), impulse.size(), &used, response.data(),
                                            response.size(), &made, &io, &quality, &runtime);
        if (failure) {
            VMKError::set(error, conversionError(QStringLiteral("%1 can't convert from %2 Hz to %3 Hz: %4")
                                                     .arg(displayName())
                                                     .arg(in)
                                                     .arg(out)
                                                     .arg(QString::fromUtf8(failure))));
            return false;
        }
        float peak = 0.0f;
        for (size_t i = 0; i < made; ++i)
            peak = std::max(peak, std::fabs(response[i]));
        auto reach = [&](float threshold, int64_t& first, int64_t& last) {
            first = -1;
            last = -1;
            for (size_t i = 0; i < made; ++i)
                if (std::fabs(response[i]) > threshold) {
                    if (first < 0)
                        first = int64_t(i);
                    last = int64_t(i);
                }
        };
        int64_t first = 0, last = 0, audibleFirst = 0, audibleLast = 0;
        reach(peak * 1e-9f, first, last);
        reach(peak * 1e-6f, audibleFirst, audibleLast);
        const bool clipped = first <= 0 || last >= int64_t(made) - 1;
        if (peak > 0.0f && (!clipped || leadOut >= (int64_t(1) << 22))) {
            const double centre = double(leadIn) * m_ratio;
            m_latency = std::max<int64_t>(0, int64_t(std::ceil(centre - double(audibleFirst))));
            m_history = last - first + 8;
            return true;
        }
        if (leadOut >= (int64_t(1) << 22)) {
            VMKError::set(error, conversionError(QStringLiteral("%1 gives no response from %2 Hz to %3 Hz")
                                                     .arg(displayName())
                                                     .arg(in)
                                                     .arg(out)));
            return false;
        }
    }
}

bool VMKConverterAudioProcessor::initializeForRender(VMKError* error) {
    VMKAudioConnection* input = inputConnection();
    const VMKAudioConnection* output = outputConnection();
    if (!input || !output) {
        VMKError::set(error, conversionError(QStringLiteral("%1 is not connected on both sides").arg(displayName())));
        return false;
    }
    const double in = effectiveInSampleRate();
    const double out = output->sampleRate();
    if (!(in > 0.0) || !(in <= kMaximumSampleRate) || !(out > 0.0) || !(out <= kMaximumSampleRate)) {
        VMKError::set(error, conversionError(QStringLiteral("%1 can't convert from %2 Hz to %3 Hz: rates must be "
                                                            "above 0 Hz and up to %4 Hz")
                                                 .arg(displayName())
                                                 .arg(in)
                                                 .arg(out)
                                                 .arg(kMaximumSampleRate, 0, 'f', 0)));
        return false;
    }
    if (input->sampleRate() > 0.0 && input->sampleRate() != in) {
        VMKError::set(error, formatError(QStringLiteral("%1 converts from %2 Hz but receives %3 Hz")
                                             .arg(displayName())
                                             .arg(in)
                                             .arg(input->sampleRate())));
        return false;
    }
    input->setSampleRate(in);
    m_converting = in != out;
    m_latency = 0;
    m_history = 0;
    m_positioned = false;
    if (!m_converting)
        return true;

    m_ratio = out / in;
    m_latticeIn = m_latticeOut = 0;
    if (isWholeHertz(in) && isWholeHertz(out)) {
        const int64_t g = std::gcd(int64_t(in), int64_t(out));
        m_latticeIn = int64_t(in) / g;
        m_latticeOut = int64_t(out) / g;
    }
    if (!makeResampler(error) || !measureResponse(error)) {
        uninitialize(nullptr);
        return false;
    }
    const uint32_t channels = output->numberOfChannels();
    const int64_t outputBlock = std::max<int64_t>(1, output->maxFrames());
    const int64_t inputBlock =
        std::max<int64_t>(input->maxFrames(), int64_t(std::ceil(double(outputBlock) / m_ratio)) + 1);
    input->setMaxFrames(inputBlock);
    m_input = VMKAudioBufferList::initWithChannels(channels, inputBlock, error);
    m_scratch = VMKAudioBufferList::initWithChannels(channels, outputBlock, error);
    if (!m_input || !m_scratch) {
        uninitialize(nullptr);
        return false;
    }
    m_inPointers.assign(channels, nullptr);
    m_outPointers.assign(channels, nullptr);
    return true;
}

bool VMKConverterAudioProcessor::uninitialize(VMKError*) {
    m_soxr.reset();
    m_input.reset();
    m_scratch.reset();
    m_inPointers = {};
    m_outPointers = {};
    m_converting = false;
    m_positioned = false;
    return true;
}

// MARK: Rendering

void VMKConverterAudioProcessor::seek(int64_t outputFrame) {
    m_nextOutputFrame = outputFrame;
    int64_t aligned = m_latencyCompensationEnabled ? outputFrame : outputFrame - m_latency;
    m_silence = 0;
    if (aligned < 0) {
        m_silence = -aligned;
        aligned = 0;
    }
    if (!m_soxrFresh)
        soxr_clear(m_soxr.get());
    m_soxrFresh = true;
    // Start early enough that the filter has all the input the first kept
    // frame depends on, at an input frame that falls exactly on an output frame.
    int64_t startIn = 0, startOut = 0;
    if (m_latticeIn > 0) {
        const int64_t step = std::max<int64_t>(0, floorDivide(aligned - m_history, m_latticeOut));
        startIn = step * m_latticeIn;
        startOut = step * m_latticeOut;
    } else {
        startIn = std::max<int64_t>(0, int64_t(std::floor(double(aligned - m_history) / m_ratio)));
        startOut = std::llround(double(startIn) * m_ratio);
    }
    m_discard = std::max<int64_t>(0, aligned - startOut);
    m_nextInputFrame = startIn;
    m_inputRead = m_inputEnd = 0;
    m_positioned = true;
}

bool VMKConverterAudioProcessor::pullInput(const VMKAudioStreamRenderInfo& info) {
    VMKAudioStreamRenderInfo upstream = info;
    upstream.setSampleTime(m_nextInputFrame);
    m_input->setFrames(m_input->frameCapacity());
    const bool ok = inputBus()->render(*m_input, upstream);
    m_nextInputFrame += m_input->frameCapacity();
    m_inputRead = 0;
    m_inputEnd = ok ? m_input->frameCapacity() : 0;
    return ok;
}

bool VMKConverterAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                        const VMKAudioStreamRenderInfo& info) {
    if (!m_converting)
        return VMKAudioProcessor::render(destination, bus, info);
    const int64_t frames = destination.frames();
    const uint32_t channels = std::min(destination.numberOfChannels(), uint32_t(m_outPointers.size()));
    if (!m_positioned || info.sampleTime() != m_nextOutputFrame)
        seek(info.sampleTime());

    int64_t done = 0;
    if (m_silence > 0) {
        const int64_t n = std::min(m_silence, frames);
        for (uint32_t c = 0; c < destination.numberOfChannels(); ++c)
            dsp::clear(destination.channel(c), n);
        m_silence -= n;
        done = n;
    }
    bool ok = true;
    int stalls = 0;
    while (done < frames) {
        if (m_inputRead == m_inputEnd && !pullInput(info)) {
            ok = false;
            break;
        }
        const bool discarding = m_discard > 0;
        for (uint32_t c = 0; c < channels; ++c) {
            m_inPointers[c] = m_input->channel(c) + m_inputRead;
            m_outPointers[c] = discarding ? m_scratch->channel(c) : destination.channel(c) + done;
        }
        const int64_t wanted = discarding ? std::min(m_discard, m_scratch->frameCapacity()) : frames - done;
        size_t used = 0, made = 0;
        const soxr_error_t failure = soxr_process(m_soxr.get(), m_inPointers.data(), size_t(m_inputEnd - m_inputRead),
                                                  &used, m_outPointers.data(), size_t(wanted), &made);
        m_soxrFresh = false;
        stalls = (used == 0 && made == 0) ? stalls + 1 : 0;
        if (failure || stalls > 2) {
            info.reportError(VMKError::errorWithCode(
                VMKEngineErrorRender, QStringLiteral("Converting the sample rate"),
                QStringLiteral("%1 stopped: %2")
                    .arg(displayName(), failure ? QString::fromUtf8(failure) : QStringLiteral("no progress"))));
            ok = false;
            break;
        }
        m_inputRead += int64_t(used);
        if (discarding)
            m_discard -= int64_t(made);
        else
            done += int64_t(made);
    }
    if (!ok) {
        for (uint32_t c = 0; c < destination.numberOfChannels(); ++c)
            dsp::clear(destination.channel(c) + done, frames - done);
        m_positioned = false;
        return false;
    }
    for (uint32_t c = channels; c < destination.numberOfChannels(); ++c)
        dsp::clear(destination.channel(c), frames);
    m_nextOutputFrame += frames;
    return true;
}

} // namespace ondrel
