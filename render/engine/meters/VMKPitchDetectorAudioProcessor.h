#pragma once

#include "render/engine/graph/CHandle.h"
#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <vector>

struct _aubio_pitch_t;

namespace ondrel {

// Follows the pitch of the audio that passes through it, unchanged. The
// channels are mixed to mono and looked at in hops of kHopFrames frames over
// a window long enough for the piano's lowest A (the search runs on a
// low-passed copy at a half, quarter or eighth of the rate, 11025 Hz or
// more, where even the piano's highest C lies below half the rate). After each pull, `semitone` is the note number (MIDI,
// 0 to 127, fractional) heard in the last full hop, and `power` is that hop's
// mean square level when a clear pitch was found there, else 0 (silence under
// -70 dBFS and noise have none). A pull shorter than a hop keeps the last
// values until the hop fills up.
class VMKPitchDetectorAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKPitchDetectorAudioProcessor, VMKAudioProcessor)

public:
    // Two of the analyzer's blocks: a note is looked for every 10.7 ms at 48 kHz.
    static constexpr uint32_t kHopFrames = 512;

    VMKPitchDetectorAudioProcessor();
    ~VMKPitchDetectorAudioProcessor() override;

    float semitone() const { return m_semitone.load(std::memory_order_relaxed); }
    float power() const { return m_power.load(std::memory_order_relaxed); }

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    static void deleteDetector(_aubio_pitch_t* detector);
    void detect();
    void lowPass(float* values, int64_t frames);

    CHandle<_aubio_pitch_t, deleteDetector> m_detector;
    // The mono mix is low-passed and kept at one sample in m_step: the top
    // of the piano still lies below the reduced rate's half, and the search
    // for a period costs a fraction of what it does at the full rate.
    uint32_t m_step = 1;
    float m_lowPass[10] = {};      // two biquads: b0 b1 b2 a1 a2 each
    float m_lowPassState[8] = {};  // x1 x2 y1 y2 each
    std::vector<float> m_hop;      // the reduced mono mix being gathered
    uint32_t m_hopFill = 0;        // frames of the full rate gathered
    float m_hopEnergy = 0.0f;      // their sum of squares
    std::atomic<float> m_semitone{0.0f};
    std::atomic<float> m_power{0.0f};
};

} // namespace ondrel
