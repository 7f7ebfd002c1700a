#include "render/engine/effects/VMKRemoveDCAudioProcessor.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ondrel {

const ClassInfo& VMKRemoveDCAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKRemoveDCAudioProcessor, VMKAudioProcessor>(QStringLiteral("VMKRemoveDCAudioProcessor"));
    return info;
}

VMKRemoveDCAudioProcessor::VMKRemoveDCAudioProcessor() = default;

VMKRemoveDCAudioProcessor::~VMKRemoveDCAudioProcessor() = default;

bool VMKRemoveDCAudioProcessor::initializeForRender(VMKError*) {
    const VMKAudioConnection* output = outputConnection();
    const double rate = output && output->sampleRate() > 0.0 ? output->sampleRate() : 44100.0;
    // Bilinear-transform Butterworth high-pass (Q = 1/sqrt(2)).
    const double w = 2.0 * std::numbers::pi * kCutoffFrequency / rate;
    const double alpha = std::sin(w) / std::numbers::sqrt2;
    const double cosw = std::cos(w);
    const double a0 = 1.0 + alpha;
    m_b0 = (1.0 + cosw) / 2.0 / a0;
    m_b1 = -(1.0 + cosw) / a0;
    m_b2 = m_b0;
    m_a1 = -2.0 * cosw / a0;
    m_a2 = (1.0 - alpha) / a0;
    m_states.assign(output ? output->numberOfChannels() : 0, State{});
    return true;
}

bool VMKRemoveDCAudioProcessor::uninitialize(VMKError*) {
    m_states = {};
    return true;
}

bool VMKRemoveDCAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                       const VMKAudioStreamRenderInfo& info) {
    const bool ok = VMKAudioProcessor::render(destination, bus, info);
    const uint32_t channels = std::min<uint32_t>(destination.numberOfChannels(), uint32_t(m_states.size()));
    const double b0 = m_b0, b1 = m_b1, b2 = m_b2, a1 = m_a1, a2 = m_a2;
    constexpr double kTiny = 1e-30;
    for (uint32_t c = 0; c < channels; ++c) {
        float* samples = destination.channel(c);
        double s1 = m_states[c].s1, s2 = m_states[c].s2;
        for (int64_t i = 0; i < destination.frames(); ++i) {
            // A NaN or infinite sample would stay in the state for good: it
            // goes through as silence instead.
            const double x = std::isfinite(samples[i]) ? double(samples[i]) : 0.0;
            const double y = b0 * x + s1;
            s1 = b1 * x - a1 * y + s2;
            s2 = b2 * x - a2 * y;
            // Flush a decaying tail before it turns denormal, sample by
            // sample so that the result doesn't depend on the block size.
            s1 = std::abs(s1) < kTiny ? 0.0 : s1;
            s2 = std::abs(s2) < kTiny ? 0.0 : s2;
            samples[i] = float(y);
        }
        m_states[c] = State{s1, s2};
    }
    return ok;
}

} // namespace ondrel
