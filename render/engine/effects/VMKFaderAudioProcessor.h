#pragma once

#include "core/objects/IndexSet.h"
#include "render/engine/automation/VMKAudioAutomation.h"
#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <memory>
#include <vector>

namespace ondrel {

// Multiplies its input by a gain. The fader's own gain is `scalar` (linear;
// `gain` is the same in decibels). Enabled automations with the parameter key
// "scalar" drive the gain, sample by sample, over their stretch of stream time
// (the sample time of the pull over the output's rate): where one covers a
// frame, the gain is its value; where several do, the scalar times the
// product of their ratios to it (two fades that each ramp to the scalar
// apply it once); elsewhere it is the fader's scalar. Gain and scalar may change while the stream runs;
// automations are inserted and removed between runs (their values may change
// at any time).
class VMKFaderAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKFaderAudioProcessor, VMKAudioProcessor)

public:
    VMKFaderAudioProcessor();
    ~VMKFaderAudioProcessor() override;

    float gain() const;  // decibels
    void setGain(float decibels);
    float scalar() const { return m_scalar.load(std::memory_order_relaxed); }
    void setScalar(float scalar);

    const std::vector<std::shared_ptr<VMKAudioAutomation>>& automations() const { return m_automations; }
    size_t countOfAutomations() const { return m_automations.size(); }
    std::shared_ptr<VMKAudioAutomation> objectInAutomationsAtIndex(size_t index) const;
    void insertObjectInAutomationsAtIndex(const std::shared_ptr<VMKAudioAutomation>& automation, size_t index);
    void insertAutomations(const std::vector<std::shared_ptr<VMKAudioAutomation>>& automations,
                           const IndexSet& indexes);
    void removeObjectFromAutomationsAtIndex(size_t index);

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    void applyGain(VMKAudioBufferList& destination, int64_t offset, int64_t frames, int64_t sampleTime);

    std::atomic<float> m_scalar{1.0f};
    std::vector<std::shared_ptr<VMKAudioAutomation>> m_automations;
    std::vector<float> m_gains;        // per frame of a block
    std::vector<uint8_t> m_automated;  // per frame: some automation covered it
    double m_sampleRate = 0.0;
};

} // namespace ondrel
