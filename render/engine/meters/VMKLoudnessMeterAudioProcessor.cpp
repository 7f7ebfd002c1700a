#include "render/engine/meters/VMKLoudnessMeterAudioProcessor.h"

#include "render/engine/graph/CHandle.h"
#include "render/engine/graph/VMKEngineError.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ondrel {

const ClassInfo& VMKLoudnessMeterAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKLoudnessMeterAudioProcessor, VMKAudioProcessor>(
            QStringLiteral("VMKLoudnessMeterAudioProcessor"))
            .property(QStringLiteral("enableTruePeak"), &VMKLoudnessMeterAudioProcessor::enableTruePeak,
                      &VMKLoudnessMeterAudioProcessor::setEnableTruePeak)
            .property(QStringLiteral("integratedLU"), &VMKLoudnessMeterAudioProcessor::integratedLU)
            .property(QStringLiteral("loudnessRange"), &VMKLoudnessMeterAudioProcessor::loudnessRange)
            .property(QStringLiteral("peak"), &VMKLoudnessMeterAudioProcessor::peak);
    return info;
}

namespace {
void destroyMeasurement(ebur128_state* measurement) { ebur128_destroy(&measurement); }
} // namespace

struct VMKLoudnessMeterAudioProcessor::State {
    CHandle<ebur128_state, destroyMeasurement> measurement;
};

namespace {
constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();

// How a channel counts, by its place in the usual channel order.
int channelWeighting(uint32_t channel, uint32_t channels) {
    if (channels == 1)
        return EBUR128_DUAL_MONO;
    if (channels == 4) {
        static constexpr int quad[] = {EBUR128_LEFT, EBUR128_RIGHT, EBUR128_LEFT_SURROUND, EBUR128_RIGHT_SURROUND};
        return quad[channel];
    }
    if (channels == 5) {
        static constexpr int five[] = {EBUR128_LEFT, EBUR128_RIGHT, EBUR128_CENTER, EBUR128_LEFT_SURROUND,
                                       EBUR128_RIGHT_SURROUND};
        return five[channel];
    }
    static constexpr int usual[] = {EBUR128_LEFT,          EBUR128_RIGHT,         EBUR128_CENTER, EBUR128_UNUSED,
                                    EBUR128_LEFT_SURROUND, EBUR128_RIGHT_SURROUND};
    if (channel < 6)
        return usual[channel];
    return channel % 2 == 0 ? EBUR128_LEFT_SURROUND : EBUR128_RIGHT_SURROUND;
}
} // namespace

VMKLoudnessMeterAudioProcessor::VMKLoudnessMeterAudioProcessor()
    : m_results{kMinusInfinity, 0.0, kMinusInfinity} {}

VMKLoudnessMeterAudioProcessor::~VMKLoudnessMeterAudioProcessor() = default;

void VMKLoudnessMeterAudioProcessor::setEnableTruePeak(bool enable) {
    setAndNotify(QStringLiteral("enableTruePeak"), m_enableTruePeak, enable);
}

VMKLoudnessMeterAudioProcessor::Results VMKLoudnessMeterAudioProcessor::measure() const {
    if (!m_state)
        return m_results;
    ebur128_state* measurement = m_state->measurement.get();
    Results results{kMinusInfinity, 0.0, kMinusInfinity};
    double value = 0.0;
    if (ebur128_loudness_global(measurement, &value) == EBUR128_SUCCESS)
        results.integratedLUFS = value;
    if (ebur128_loudness_range(measurement, &value) == EBUR128_SUCCESS)
        results.loudnessRange = value;
    double maximum = 0.0;
    for (unsigned int c = 0; c < measurement->channels; ++c) {
        const int status = m_measuresTruePeak ? ebur128_true_peak(measurement, c, &value)
                                              : ebur128_sample_peak(measurement, c, &value);
        if (status == EBUR128_SUCCESS)
            maximum = std::max(maximum, value);
    }
    results.peak = 20.0 * std::log10(maximum);
    return results;
}

double VMKLoudnessMeterAudioProcessor::integratedLoudness() const { return measure().integratedLUFS; }

double VMKLoudnessMeterAudioProcessor::loudnessRange() const { return measure().loudnessRange; }

double VMKLoudnessMeterAudioProcessor::peak() const { return measure().peak; }

bool VMKLoudnessMeterAudioProcessor::initializeForRender(VMKError* error) {
    m_state.reset();
    const VMKAudioConnection* output = outputConnection();
    const uint32_t channels = output ? output->numberOfChannels() : 0;
    const double rate = output ? output->sampleRate() : 0.0;
    m_measuresTruePeak = m_enableTruePeak;
    const int mode = EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_SAMPLE_PEAK |
                     (m_measuresTruePeak ? EBUR128_MODE_TRUE_PEAK : 0);
    const auto roundedRate = static_cast<unsigned long>(std::lround(rate));
    ebur128_state* measurement = nullptr;
    if (channels > 0 && rate > 0.0)
        measurement = ebur128_init(channels, roundedRate, mode);
    if (!measurement) {
        VMKError::set(error, VMKError::errorWithCode(
                                 VMKEngineErrorFormat, QStringLiteral("Preparing the loudness meter"),
                                 QStringLiteral("%1 can't measure %2 channels at %3 Hz")
                                     .arg(displayName())
                                     .arg(channels)
                                     .arg(rate)));
        return false;
    }
    m_state.reset(new State{CHandle<ebur128_state, destroyMeasurement>(measurement)});
    for (uint32_t c = 0; c < channels; ++c)
        ebur128_set_channel(measurement, c, channelWeighting(c, channels));
    m_scratchFrames = std::max<int64_t>(1, output->maxFrames());
    m_interleaved.assign(size_t(m_scratchFrames) * channels, 0.0f);
    m_results = Results{kMinusInfinity, 0.0, kMinusInfinity};
    return true;
}

bool VMKLoudnessMeterAudioProcessor::uninitialize(VMKError*) {
    m_results = measure();
    m_state.reset();
    m_interleaved = {};
    m_scratchFrames = 0;
    return true;
}

bool VMKLoudnessMeterAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                            const VMKAudioStreamRenderInfo& info) {
    const bool ok = VMKAudioProcessor::render(destination, bus, info);
    if (!m_state || destination.numberOfChannels() != m_state->measurement->channels)
        return ok;
    ebur128_state* measurement = m_state->measurement.get();
    const uint32_t channels = destination.numberOfChannels();
    for (int64_t offset = 0; offset < destination.frames(); offset += m_scratchFrames) {
        const int64_t frames = std::min(m_scratchFrames, destination.frames() - offset);
        float* interleaved = m_interleaved.data();
        // A sample that is no number (a damaged float file) is measured as
        // silence, so that one bad sample can't become the file's peak.
        for (uint32_t c = 0; c < channels; ++c) {
            const float* source = destination.channel(c) + offset;
            for (int64_t i = 0; i < frames; ++i)
                interleaved[size_t(i) * channels + c] = std::isfinite(source[i]) ? source[i] : 0.0f;
        }
        ebur128_add_frames_float(measurement, interleaved, size_t(frames));
    }
    return ok;
}

} // namespace ondrel
