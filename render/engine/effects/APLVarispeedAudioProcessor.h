#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <memory>

namespace ondrel {

// Plays its input faster or slower, pitch and tempo together, like a tape
// running at another speed: output frame j takes the input at position
// j * rate, where rate = 1.059463094359^(cents / 100), by four-point cubic
// (Catmull-Rom) interpolation. `cents` may change while running; it is
// limited to +-kMaximumCents. Input frames before the start read as silence.
class APLVarispeedAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(APLVarispeedAudioProcessor, VMKAudioProcessor)

public:
    static constexpr float kMaximumCents = 2400.0f;

    APLVarispeedAudioProcessor();
    ~APLVarispeedAudioProcessor() override;

    float cents() const { return m_cents.load(std::memory_order_relaxed); }
    void setCents(float cents);
    double rate() const;  // input frames per output frame

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    // Makes sure input frames up to `last` are in the window; false when a pull failed.
    bool fillThrough(int64_t last, const VMKAudioStreamRenderInfo& info);

    std::atomic<float> m_cents{0.0f};
    std::shared_ptr<VMKAudioBufferList> m_window;  // input frames from m_windowStart on
    std::shared_ptr<VMKAudioBufferList> m_pull;
    int64_t m_windowStart = 0;
    int64_t m_windowCount = 0;
    // Output frame t reads input position m_anchorPosition + (t - m_anchorTime) * m_anchorRate:
    // computed per frame, never summed, so that the block size doesn't matter.
    double m_anchorPosition = 0.0;
    int64_t m_anchorTime = 0;
    double m_anchorRate = 1.0;
    int64_t m_nextSampleTime = -1;  // output sample time the next render should start at
};

} // namespace ondrel
