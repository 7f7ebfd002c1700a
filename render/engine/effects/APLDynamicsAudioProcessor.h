#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <vector>

namespace ondrel {

// A compressor and a downward expander in one, driven by the peak level of
// all channels together (so the stereo image stays put), in decibels re full
// scale:
//   above compressionThreshold T the output level rises ever more slowly
//   towards T + compressionHeadroom H: out = T + H * (1 - e^(-(in - T) / H));
//   below expansionThreshold E it falls expansionRatio R times as fast as the
//   input: out = E + (in - E) * R.
// A threshold of 0 dB or more leaves compression off in practice, a ratio of
// 1 leaves expansion off. The level follows the signal's peaks with
// attackTime and releaseTime (seconds); masterGain (dB) is added at the end.
// Settings may change while running. The parameter keys of the effect
// component ("Compression Threshold", "Headroom", "Expansion Threshold",
// "Expansion Ratio", "Attack Time", "Release Time", "Master Gain") set the
// same values.
class APLDynamicsAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(APLDynamicsAudioProcessor, VMKAudioProcessor)

public:
    APLDynamicsAudioProcessor();
    ~APLDynamicsAudioProcessor() override;

    float compressionThreshold() const { return m_compressionThreshold.load(std::memory_order_relaxed); }
    void setCompressionThreshold(float decibels);
    float compressionHeadroom() const { return m_compressionHeadroom.load(std::memory_order_relaxed); }
    void setCompressionHeadroom(float decibels);  // at least 0.1
    float expansionThreshold() const { return m_expansionThreshold.load(std::memory_order_relaxed); }
    void setExpansionThreshold(float decibels);
    float expansionRatio() const { return m_expansionRatio.load(std::memory_order_relaxed); }
    void setExpansionRatio(float ratio);  // 1 to 50
    double attackTime() const { return m_attackTime.load(std::memory_order_relaxed); }
    void setAttackTime(double seconds);
    double releaseTime() const { return m_releaseTime.load(std::memory_order_relaxed); }
    void setReleaseTime(double seconds);
    float masterGain() const { return m_masterGain.load(std::memory_order_relaxed); }
    void setMasterGain(float decibels);

    // The static curve: the gain in dB for a level in dB.
    float gainForLevel(float level) const;

    void setValueForParameterKey(const QVariant& value, const QString& key) override;

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    std::atomic<float> m_compressionThreshold{-20.0f};
    std::atomic<float> m_compressionHeadroom{5.0f};
    std::atomic<float> m_expansionThreshold{-100.0f};
    std::atomic<float> m_expansionRatio{1.0f};
    std::atomic<double> m_attackTime{0.001};
    std::atomic<double> m_releaseTime{0.05};
    std::atomic<float> m_masterGain{0.0f};
    double m_sampleRate = 0.0;
    float m_envelope = 0.0f;  // linear peak level
    std::vector<float> m_gains;
};

} // namespace ondrel
