#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <vector>

namespace ondrel {

// Removes a constant offset: a second-order Butterworth high-pass at
// kCutoffFrequency, per channel. Its loss at 20 Hz is under 0.02 dB, and an
// offset decays to a millionth within half a second. No settings.
class VMKRemoveDCAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKRemoveDCAudioProcessor, VMKAudioProcessor)

public:
    static constexpr double kCutoffFrequency = 5.0;

    VMKRemoveDCAudioProcessor();
    ~VMKRemoveDCAudioProcessor() override;

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    struct State {
        double s1 = 0.0, s2 = 0.0;  // transposed direct form II
    };
    double m_b0 = 1.0, m_b1 = 0.0, m_b2 = 0.0, m_a1 = 0.0, m_a2 = 0.0;
    std::vector<State> m_states;
};

} // namespace ondrel
