#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <memory>
#include <vector>

namespace ondrel {

// Sums any number of input buses channel by channel: output channel c is the
// sum of channel c of every input that has one. All inputs run at the
// output's rate; each keeps its own channel count, and the output has as many
// channels as the widest input unless its connection says otherwise.
class VMKMixerAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKMixerAudioProcessor, VMKAudioProcessor)

public:
    VMKMixerAudioProcessor();
    ~VMKMixerAudioProcessor() override;

    uint64_t maximumNumberOfInputBuses() const override { return kUnlimitedInputBuses; }

    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error = nullptr) override;
    bool checkFormat(VMKError* error = nullptr) const override;
    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    std::vector<std::shared_ptr<VMKAudioBufferList>> m_scratch;  // one per input bus
};

} // namespace ondrel
