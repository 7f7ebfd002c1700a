#include "render/engine/meters/VMKPitchDetectorAudioProcessor.h"

#include "render/engine/graph/VMKEngineError.h"

#include <aubio/aubio.h>

#include <algorithm>
#include <cmath>

namespace ondrel {

const ClassInfo& VMKPitchDetectorAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKPitchDetectorAudioProcessor, VMKAudioProcessor>(
            QStringLiteral("VMKPitchDetectorAudioProcessor"))
            .property(QStringLiteral("semitone"), &VMKPitchDetectorAudioProcessor::semitone)
            .property(QStringLiteral("power"), &VMKPitchDetectorAudioProcessor::power);
    return info;
}

namespace {
// Quieter hops than this (dBFS) hold no pitch.
constexpr smpl_t kSilenceThreshold = -70.0f;
// A pitch counts when the periodicity found is at least this clear (0..1):
// noise never gets there, a held tone is far above it.
constexpr smpl_t kMinimumConfidence = 0.85f;

// Butterworth low-pass sections (the Q of a fourth-order pair) at `cutoff` Hz.
void makeLowPass(double rate, double cutoff, float* coefficients) {
    const double qs[2] = {0.54119610014619701, 1.3065629648763764};
    const double w0 = 2.0 * M_PI * cutoff / rate;
    for (int section = 0; section < 2; ++section) {
        const double alpha = std::sin(w0) / (2.0 * qs[section]);
        const double a0 = 1.0 + alpha;
        const double c = std::cos(w0);
        float* k = coefficients + 5 * section;
        k[0] = float((1.0 - c) / 2.0 / a0);
        k[1] = float((1.0 - c) / a0);
        k[2] = k[0];
        k[3] = float(-2.0 * c / a0);
        k[4] = float((1.0 - alpha) / a0);
    }
}
} // namespace

VMKPitchDetectorAudioProcessor::VMKPitchDetectorAudioProcessor() = default;

VMKPitchDetectorAudioProcessor::~VMKPitchDetectorAudioProcessor() = default;

void VMKPitchDetectorAudioProcessor::deleteDetector(aubio_pitch_t* detector) { del_aubio_pitch(detector); }

bool VMKPitchDetectorAudioProcessor::initializeForRender(VMKError* error) {
    m_detector.reset();
    const VMKAudioConnection* output = outputConnection();
    const double rate = output ? output->sampleRate() : 0.0;
    // The reduced rate stays at 11025 Hz or more: the highest note of the
    // piano (4186 Hz) lies below its half, under a low-pass at 0.4 of it.
    m_step = 1;
    while (m_step < 8 && rate / double(m_step * 2) >= 11025.0)
        m_step *= 2;
    const double reducedRate = rate / double(m_step);
    makeLowPass(rate >= 1.0 ? rate : 1.0, 0.4 * reducedRate, m_lowPass);
    std::fill(std::begin(m_lowPassState), std::end(m_lowPassState), 0.0f);
    // Half the window must hold a period of the lowest note to be found:
    // 26 Hz, a little under the piano's lowest A (27.5 Hz, note 21).
    uint_t window = 512;
    while (double(window) < reducedRate / 13.0)
        window *= 2;
    if (rate >= 1.0)
        m_detector.reset(new_aubio_pitch("yinfast", window, kHopFrames / m_step, uint_t(std::lround(reducedRate))));
    if (!m_detector) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorFormat, QStringLiteral("Preparing the pitch detector"),
                                                     QStringLiteral("%1 can't follow the pitch at %2 Hz")
                                                         .arg(displayName())
                                                         .arg(rate)));
        return false;
    }
    aubio_pitch_set_unit(m_detector.get(), "midi");
    aubio_pitch_set_silence(m_detector.get(), kSilenceThreshold);
    m_hop.assign(kHopFrames / m_step, 0.0f);
    m_hopFill = 0;
    m_hopEnergy = 0.0f;
    m_semitone.store(0.0f, std::memory_order_relaxed);
    m_power.store(0.0f, std::memory_order_relaxed);
    return true;
}

bool VMKPitchDetectorAudioProcessor::uninitialize(VMKError*) {
    m_detector.reset();
    m_hop = {};
    m_hopFill = 0;
    return true;
}

void VMKPitchDetectorAudioProcessor::detect() {
    float note = 0.0f;
    const fvec_t input{uint_t(m_hop.size()), m_hop.data()};
    fvec_t found{1, &note};
    aubio_pitch_do(m_detector.get(), &input, &found);
    float power = 0.0f;
    if (note > 0.0f && std::isfinite(note) && aubio_pitch_get_confidence(m_detector.get()) >= kMinimumConfidence) {
        power = m_hopEnergy / float(kHopFrames);
    } else {
        note = 0.0f;
    }
    m_semitone.store(std::clamp(note, 0.0f, 127.0f), std::memory_order_relaxed);
    m_power.store(power, std::memory_order_relaxed);
}

bool VMKPitchDetectorAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                            const VMKAudioStreamRenderInfo& info) {
    const bool ok = VMKAudioProcessor::render(destination, bus, info);
    if (!m_detector)
        return ok;
    const uint32_t channels = destination.numberOfChannels();
    const float gain = 1.0f / float(channels);
    float mono[kHopFrames];
    for (int64_t offset = 0; offset < destination.frames();) {
        const int64_t frames = std::min<int64_t>(kHopFrames - m_hopFill, destination.frames() - offset);
        const float* first = destination.channel(0) + offset;
        for (int64_t i = 0; i < frames; ++i)
            mono[i] = first[i] * gain;
        for (uint32_t c = 1; c < channels; ++c) {
            const float* source = destination.channel(c) + offset;
            for (int64_t i = 0; i < frames; ++i)
                mono[i] += source[i] * gain;
        }
        float energy = 0.0f;
        for (int64_t i = 0; i < frames; ++i)
            energy += mono[i] * mono[i];
        m_hopEnergy += energy;
        if (m_step > 1)
            lowPass(mono, frames);
        // Every m_step-th frame of the stream, counted from its first.
        for (int64_t i = 0; i < frames; ++i)
            if ((m_hopFill + uint32_t(i)) % m_step == 0)
                m_hop[(m_hopFill + uint32_t(i)) / m_step] = mono[i];
        m_hopFill += uint32_t(frames);
        offset += frames;
        if (m_hopFill == kHopFrames) {
            detect();
            m_hopFill = 0;
            m_hopEnergy = 0.0f;
        }
    }
    return ok;
}

void VMKPitchDetectorAudioProcessor::lowPass(float* values, int64_t frames) {
    for (int section = 0; section < 2; ++section) {
        const float* k = m_lowPass + 5 * section;
        float* state = m_lowPassState + 4 * section;
        float x1 = state[0], x2 = state[1], y1 = state[2], y2 = state[3];
        for (int64_t i = 0; i < frames; ++i) {
            const float x = values[i];
            const float y = k[0] * x + k[1] * x1 + k[2] * x2 - k[3] * y1 - k[4] * y2;
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = y;
            values[i] = y;
        }
        // A sample that is no number, or infinite, would stay in the
        // filter for ever: it spoils this block only.
        if (!std::isfinite(x1 + x2 + y1 + y2))
            x1 = x2 = y1 = y2 = 0.0f;
        state[0] = x1;
        state[1] = x2;
        state[2] = y1;
        state[3] = y2;
    }
}

} // namespace ondrel
