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
} // namespace

VMKPitchDetectorAudioProcessor::VMKPitchDetectorAudioProcessor() = default;

VMKPitchDetectorAudioProcessor::~VMKPitchDetectorAudioProcessor() = default;

void VMKPitchDetectorAudioProcessor::deleteDetector(aubio_pitch_t* detector) { del_aubio_pitch(detector); }

bool VMKPitchDetectorAudioProcessor::initializeForRender(VMKError* error) {
    m_detector.reset();
    const VMKAudioConnection* output = outputConnection();
    const double rate = output ? output->sampleRate() : 0.0;
    // Half the window must hold a period of the lowest note to be found:
    // some 47 Hz (a little under note 31) at any rate.
    uint_t window = 2048;
    while (double(window) < rate / 24.0)
        window *= 2;
    if (rate >= 1.0)
        m_detector.reset(new_aubio_pitch("yinfast", window, kHopFrames, uint_t(std::lround(rate))));
    if (!m_detector) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorFormat, QStringLiteral("Preparing the pitch detector"),
                                                     QStringLiteral("%1 can't follow the pitch at %2 Hz")
                                                         .arg(displayName())
                                                         .arg(rate)));
        return false;
    }
    aubio_pitch_set_unit(m_detector.get(), "midi");
    aubio_pitch_set_silence(m_detector.get(), kSilenceThreshold);
    m_hop.assign(kHopFrames, 0.0f);
    m_hopFill = 0;
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
    const fvec_t input{kHopFrames, m_hop.data()};
    fvec_t found{1, &note};
    aubio_pitch_do(m_detector.get(), &input, &found);
    float power = 0.0f;
    if (note > 0.0f && std::isfinite(note) && aubio_pitch_get_confidence(m_detector.get()) >= kMinimumConfidence) {
        for (float x : m_hop)
            power += x * x;
        power /= float(kHopFrames);
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
    for (int64_t offset = 0; offset < destination.frames();) {
        const int64_t frames = std::min<int64_t>(kHopFrames - m_hopFill, destination.frames() - offset);
        float* mono = m_hop.data() + m_hopFill;
        const float* first = destination.channel(0) + offset;
        for (int64_t i = 0; i < frames; ++i)
            mono[i] = first[i] * gain;
        for (uint32_t c = 1; c < channels; ++c) {
            const float* source = destination.channel(c) + offset;
            for (int64_t i = 0; i < frames; ++i)
                mono[i] += source[i] * gain;
        }
        m_hopFill += uint32_t(frames);
        offset += frames;
        if (m_hopFill == kHopFrames) {
            detect();
            m_hopFill = 0;
        }
    }
    return ok;
}

} // namespace ondrel
