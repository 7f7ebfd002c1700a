#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <memory>
#include <vector>

namespace RubberBand {
class RubberBandStretcher;
}

namespace ondrel {

// Changes tempo and pitch independently with Rubber Band's finer engine.
// `playbackRate` r plays the input r times as fast (r = 2: half the length),
// `cents` shifts the pitch (1200: an octave up) without changing the length.
// The parameter keys "Rate" and "Pitch" (in cents) set the same values.
//
// Two ways of working:
//  - With `inputFrameCount` N set (the frames the input will deliver from
//    sample time 0), it works offline at the highest quality: the first pull
//    reads all N input frames (kept in memory for the run), studies them, and
//    the output is exactly N / r frames long and aligned with the input;
//    silence follows. Rate and pitch are fixed when the run starts.
//  - Without it (0), it streams in real time, for previews: rate and pitch may
//    change while running, nothing is allocated while rendering, and with
//    latencyCompensationEnabled (default) the stretcher's start delay is
//    trimmed so that the output is aligned with the input.
// Either way the output is pulled in sequence from its first frame on.
class APLTimePitchAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(APLTimePitchAudioProcessor, VMKAudioProcessor)

public:
    static constexpr float kMinimumRate = 1.0f / 16.0f;
    static constexpr float kMaximumRate = 16.0f;
    static constexpr float kMaximumCents = 4800.0f;

    APLTimePitchAudioProcessor();
    ~APLTimePitchAudioProcessor() override;

    float cents() const { return m_cents.load(std::memory_order_relaxed); }
    void setCents(float cents);
    float playbackRate() const { return m_playbackRate.load(std::memory_order_relaxed); }
    void setPlaybackRate(float rate);
    bool isLatencyCompensationEnabled() const { return m_latencyCompensation; }
    void setLatencyCompensationEnabled(bool enabled);
    qint64 inputFrameCount() const { return m_inputFrameCount; }
    void setInputFrameCount(qint64 frames);

    void setValueForParameterKey(const QVariant& value, const QString& key) override;

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    bool readWholeInput(const VMKAudioStreamRenderInfo& info);
    bool feedOffline();
    bool feedRealTime(const VMKAudioStreamRenderInfo& info);
    void applyRatios();

    std::atomic<float> m_cents{0.0f};
    std::atomic<float> m_playbackRate{1.0f};
    bool m_latencyCompensation = true;
    qint64 m_inputFrameCount = 0;

    std::unique_ptr<RubberBand::RubberBandStretcher> m_stretcher;
    std::shared_ptr<VMKAudioBufferList> m_pull;    // one input block
    std::shared_ptr<VMKAudioBufferList> m_input;   // offline: the whole input
    std::shared_ptr<VMKAudioBufferList> m_scratch; // output frames being trimmed
    std::vector<const float*> m_inputPointers;
    std::vector<float*> m_outputPointers;
    bool m_offline = false;
    bool m_studied = false;
    int64_t m_inputPosition = 0;  // next input frame to read (real time) or to process (offline)
    int64_t m_padToFeed = 0;      // real time: zeros still to feed at the start
    int64_t m_delayToTrim = 0;    // real time: output frames still to drop at the start
    float m_appliedRate = 1.0f;
    float m_appliedCents = 0.0f;
};

} // namespace ondrel
