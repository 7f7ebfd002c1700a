#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace ondrel {

// Reduces its input to the grid of an N-bit integer format with triangular
// (TPDF) dither and optional error-feedback noise shaping. Every output sample
// is k / 2^(N-1) for an integer k in [-2^(N-1), 2^(N-1) - 1], so a writer of
// N-bit integers stores it without further rounding.
//
// Settings (by key, also while running):
//   "bitDepth"             1 to 24; other depths (0, 32, float) pass the audio through.
//   "noiseShaping"         "none", "light", "medium", "high" or "optimal" (see
//                          NoiseShaping); unknown texts mean "optimal".
//   "amount"               "none" (plain rounding), "low", "optimal" (TPDF of
//                          +-1 LSB), "high", or a number: the factor on +-1 LSB.
//   "autoBlankingEnabled"  exact zeros in give exact zeros out, so digital
//                          silence stays silent.
// Each channel has its own error history and its own random sequence, seeded
// the same at every initializeForRender, so a render is reproducible.
class GHZDitherAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(GHZDitherAudioProcessor, VMKAudioProcessor)

public:
    enum class NoiseShaping : int {
        None = 0,  // flat
        Light,     // first order, -6 dB at DC, +3.5 dB at Nyquist
        Medium,    // third order, about -16 dB around 3 kHz
        High,      // fifth order
        Optimal,   // ninth order, following the ear's threshold (up to -24 dB at 3-4 kHz)
    };
    static constexpr int kMaximumOrder = 9;

    GHZDitherAudioProcessor();
    ~GHZDitherAudioProcessor() override;

    int bitDepth() const { return m_bitDepth.load(std::memory_order_relaxed); }
    void setBitDepth(int bitDepth);
    QString noiseShaping() const { return m_noiseShapingName; }
    void setNoiseShaping(const QString& noiseShaping);
    QString amount() const { return m_amountName; }
    void setAmount(const QString& amount);
    bool isAutoBlankingEnabled() const { return m_autoBlanking.load(std::memory_order_relaxed); }
    void setAutoBlankingEnabled(bool enabled);

    // What the texts resolve to.
    static NoiseShaping noiseShapingNamed(const QString& name);
    static float amountNamed(const QString& name);
    NoiseShaping noiseShapingType() const { return NoiseShaping(m_shaping.load(std::memory_order_relaxed)); }
    float amountFactor() const { return m_amount.load(std::memory_order_relaxed); }

    // The error-feedback filter h of a shape at a rate: the noise reaches the
    // output through 1 - sum(h[k] z^-(k+1)). Answers the order.
    static int shapingCoefficients(NoiseShaping shaping, double sampleRate, double* coefficients);

    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    struct ChannelState {
        double error[kMaximumOrder] = {};  // most recent first, in LSB
        uint64_t random = 0;
    };
    void resetChannels();

    std::atomic<int> m_bitDepth{16};
    std::atomic<int> m_shaping{int(NoiseShaping::Optimal)};
    std::atomic<float> m_amount{1.0f};
    std::atomic<bool> m_autoBlanking{true};
    QString m_noiseShapingName = QStringLiteral("optimal");
    QString m_amountName = QStringLiteral("optimal");
    std::vector<ChannelState> m_channels;
    double m_sampleRate = 0.0;
};

} // namespace ondrel
