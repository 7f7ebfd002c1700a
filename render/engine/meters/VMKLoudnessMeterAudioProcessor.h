#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <memory>
#include <vector>

namespace ondrel {

// Measures the loudness of the audio that passes through it, unchanged, as a
// loudness meter does: integrated loudness (LUFS), loudness range (LU) and the
// peak of all channels (dB; the true peak of the 4x oversampled signal when
// true peak is enabled, else the sample peak).
//
// Channels are weighted by their position in the usual order L R C LFE Ls Rs
// (four channels: L R Ls Rs; five: L R C Ls Rs; from the seventh on, further
// surrounds); the LFE does not count, and a single channel counts as the same
// signal on two loudspeakers, so that mono and its stereo copy measure alike.
//
// A run starts the measurement afresh. The results are read between pulls or
// after the run, on the thread that drives the stream; they stay readable
// after uninitialize. Before any audio: loudness -inf, range 0, peak -inf.
class VMKLoudnessMeterAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKLoudnessMeterAudioProcessor, VMKAudioProcessor)

public:
    VMKLoudnessMeterAudioProcessor();
    ~VMKLoudnessMeterAudioProcessor() override;

    // Takes effect at the next initializeForRender.
    bool enableTruePeak() const { return m_enableTruePeak; }
    void setEnableTruePeak(bool enable);

    // Integrated loudness in LUFS (-inf before any audio, and for silence).
    double integratedLoudness() const;
    // The same on the LU scale of the loudness standard, where 0 LU is
    // -23 LUFS: what the catalog stores and the formatters show.
    double integratedLU() const { return integratedLoudness() + ReferenceLoudness; }
    static constexpr double ReferenceLoudness = 23.0;
    double loudnessRange() const;
    double peak() const;

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    struct Results {
        double integratedLUFS;
        double loudnessRange;
        double peak;
    };
    Results measure() const;

    struct State;  // the library's measurement
    std::unique_ptr<State> m_state;
    bool m_enableTruePeak = false;
    bool m_measuresTruePeak = false;  // the mode of the current state
    Results m_results;                // of the last finished run
    std::vector<float> m_interleaved;
    int64_t m_scratchFrames = 0;
};

} // namespace ondrel
