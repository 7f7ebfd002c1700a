#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"
#include "render/processors/AudioProcessMixerTie.h"
#include "render/processors/AudioProcessSourceConductor.h"

#include <memory>
#include <unordered_set>
#include <vector>

namespace ondrel {

// Sums any number of input buses through an explicit set of ties: each
// output channel is the sum of the input channels tied to it, each scaled
// by its tie. A bus keeps its own channel count; every bus runs at the
// output's rate and sample time. A tie that names a bus or channel out of
// range is passed over; an input channel without a tie is not heard; an
// output channel without one is silent. Nothing limits the sum.
class AudioProcessMixerAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(AudioProcessMixerAudioProcessor, VMKAudioProcessor)

public:
    using Ties = std::unordered_set<AudioProcessMixerTie, AudioProcessMixerTieHash>;

    AudioProcessMixerAudioProcessor();
    ~AudioProcessMixerAudioProcessor() override;

    uint64_t maximumNumberOfInputBuses() const override { return kUnlimitedInputBuses; }

    // The ties, changed between runs only.
    const Ties& ties() const { return m_ties; }
    size_t countOfTies() const { return m_ties.size(); }
    bool memberOfTies(const AudioProcessMixerTie& tie) const { return m_ties.count(tie) != 0; }
    void addTiesObject(const AudioProcessMixerTie& tie) { m_ties.insert(tie); }
    void removeTiesObject(const AudioProcessMixerTie& tie) { m_ties.erase(tie); }

    // Lets the mix leave input bus `busIndex` unpulled in every block where
    // `conductor` plays nothing. Only for a bus whose chain from the
    // conductor to the mix keeps no state from block to block (a fader, no
    // effects): the render stays the same sample for sample, and a timeline
    // of many short sources costs what its audible ones cost. Set before the
    // stream is initialized; `conductor` must feed that bus.
    void setConductorOfInputBus(uint64_t busIndex, std::shared_ptr<const AudioProcessSourceConductor> conductor);

    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error = nullptr) override;
    bool checkFormat(VMKError* error = nullptr) const override;
    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    void readAudibleFrames();

    struct BusTie {
        uint32_t inputChannel;
        uint32_t outputChannel;
        float scalar;
    };

    Ties m_ties;
    // By input bus; null where every block is pulled.
    std::vector<std::shared_ptr<const AudioProcessSourceConductor>> m_conductors;
    // Read at the first render, by input bus: the mix frames outside which
    // the bus is not pulled (all frames for a bus with no conductor).
    struct AudibleFrames {
        int64_t start;
        int64_t end;
    };
    std::vector<AudibleFrames> m_audible;
    // Made by initializeForRender: per input bus, a scratch buffer and the
    // ties that apply to it. The buses are pulled one after the other, so
    // buses with the same channel count share one buffer.
    std::vector<std::shared_ptr<VMKAudioBufferList>> m_buffers;
    std::vector<std::vector<BusTie>> m_busTies;
};

} // namespace ondrel
