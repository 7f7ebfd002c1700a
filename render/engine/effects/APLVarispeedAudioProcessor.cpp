#include "render/engine/effects/APLVarispeedAudioProcessor.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

const ClassInfo& APLVarispeedAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<APLVarispeedAudioProcessor, VMKAudioProcessor>(QStringLiteral("APLVarispeedAudioProcessor"))
            .property(QStringLiteral("cents"), &APLVarispeedAudioProcessor::cents,
                      &APLVarispeedAudioProcessor::setCents);
    return info;
}

APLVarispeedAudioProcessor::APLVarispeedAudioProcessor() = default;

APLVarispeedAudioProcessor::~APLVarispeedAudioProcessor() = default;

void APLVarispeedAudioProcessor::setCents(float cents) {
    if (!std::isfinite(cents))
        cents = 0.0f;
    willChangeValueForKey(QStringLiteral("cents"));
    m_cents.store(std::clamp(cents, -kMaximumCents, kMaximumCents), std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("cents"));
}

double APLVarispeedAudioProcessor::rate() const { return std::pow(1.059463094359, double(cents()) / 100.0); }

bool APLVarispeedAudioProcessor::initializeForRender(VMKError* error) {
    const VMKAudioConnection* input = inputConnection();
    const VMKAudioConnection* output = outputConnection();
    if (!input || !output)
        return true;
    const int64_t block = std::max<int64_t>(1, input->maxFrames());
    m_pull = VMKAudioBufferList::initWithChannels(input->numberOfChannels(), block, error);
    // A full pull always fits beside the four frames the interpolator keeps.
    m_window = VMKAudioBufferList::initWithChannels(input->numberOfChannels(), block + 8, error);
    m_windowStart = 0;
    m_windowCount = 0;
    m_nextSampleTime = -1;
    return m_pull && m_window;
}

bool APLVarispeedAudioProcessor::uninitialize(VMKError*) {
    m_pull.reset();
    m_window.reset();
    return true;
}

bool APLVarispeedAudioProcessor::fillThrough(int64_t last, const VMKAudioStreamRenderInfo& info) {
    VMKAudioBufferList& window = *m_window;
    const uint32_t channels = window.numberOfChannels();
    bool ok = true;
    while (m_windowStart + m_windowCount <= last) {
        // Keep what the interpolator still needs (from last - 3 on) at the front.
        const int64_t keepFrom = std::max(m_windowStart, last - 3);
        const int64_t drop = std::min(keepFrom - m_windowStart, m_windowCount);
        if (drop > 0) {
            for (uint32_t c = 0; c < channels; ++c)
                std::copy(window.channel(c) + drop, window.channel(c) + m_windowCount, window.channel(c));
            m_windowStart += drop;
            m_windowCount -= drop;
        }
        if (m_windowCount == 0)
            m_windowStart = keepFrom;
        const int64_t next = m_windowStart + m_windowCount;
        const int64_t room = window.frameCapacity() - m_windowCount;
        if (next < 0) {
            // Before the stream's start: silence.
            const int64_t frames = std::min(room, -next);
            for (uint32_t c = 0; c < channels; ++c)
                std::fill_n(window.channel(c) + m_windowCount, frames, 0.0f);
            m_windowCount += frames;
            continue;
        }
        const int64_t frames = std::min(room, m_pull->frameCapacity());
        m_pull->setFrames(frames);
        VMKAudioStreamRenderInfo pullInfo = info;
        pullInfo.setSampleTime(next);
        ok = inputBus()->render(*m_pull, pullInfo) && ok;
        for (uint32_t c = 0; c < channels; ++c)
            std::copy(m_pull->channel(c), m_pull->channel(c) + frames, window.channel(c) + m_windowCount);
        m_windowCount += frames;
    }
    return ok;
}

bool APLVarispeedAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                        const VMKAudioStreamRenderInfo& info) {
    if (!m_window || !inputBus() || !inputBus()->connection())
        return VMKAudioProcessor::render(destination, bus, info);
    const double rate = this->rate();
    const int64_t start = info.sampleTime();
    if (start != m_nextSampleTime) {
        // A jump (or the first pull): output frame t reads input position t * rate.
        m_anchorPosition = 0.0;
        m_anchorTime = 0;
        m_anchorRate = rate;
        m_windowStart = int64_t(std::floor(double(start) * rate)) - 1;
        m_windowCount = 0;
    } else if (rate != m_anchorRate) {
        // New cents: go on from where the last frame left off at the new rate.
        m_anchorPosition += double(start - m_anchorTime) * m_anchorRate;
        m_anchorTime = start;
        m_anchorRate = rate;
    }
    const double base = m_anchorPosition;
    auto positionOf = [&](int64_t frame) { return base + double(start + frame - m_anchorTime) * rate; };
    const uint32_t channels = std::min(destination.numberOfChannels(), m_window->numberOfChannels());
    bool ok = true;
    const int64_t frames = destination.frames();
    int64_t done = 0;
    while (done < frames) {
        // Interpolate as many frames as the window holds.
        const auto index = int64_t(std::floor(positionOf(done)));
        ok = fillThrough(index + 2, info) && ok;
        const int64_t windowEnd = m_windowStart + m_windowCount;
        // Frames j with floor(position of done + j) + 2 < windowEnd.
        int64_t n = frames - done;
        const double reach = double(windowEnd - 3) - positionOf(done);
        n = std::clamp<int64_t>(int64_t(reach / rate) + 1, 1, n);
        while (n > 1 && int64_t(std::floor(positionOf(done + n - 1))) + 2 >= windowEnd)
            --n;
        for (uint32_t c = 0; c < channels; ++c) {
            const float* x = m_window->channel(c) - m_windowStart;  // indexed by input frame
            float* out = destination.channel(c) + done;
            for (int64_t j = 0; j < n; ++j) {
                const double position = positionOf(done + j);
                const auto i = int64_t(std::floor(position));
                const float t = float(position - double(i));
                const float xm1 = x[i - 1], x0 = x[i], x1 = x[i + 1], x2 = x[i + 2];
                const float c1 = 0.5f * (x1 - xm1);
                const float c2 = xm1 - 2.5f * x0 + 2.0f * x1 - 0.5f * x2;
                const float c3 = 0.5f * (x2 - xm1) + 1.5f * (x0 - x1);
                out[j] = ((c3 * t + c2) * t + c1) * t + x0;
            }
        }
        done += n;
    }
    for (uint32_t c = channels; c < destination.numberOfChannels(); ++c)
        std::fill_n(destination.channel(c), frames, 0.0f);
    m_nextSampleTime = info.sampleTime() + frames;
    return ok;
}

} // namespace ondrel
