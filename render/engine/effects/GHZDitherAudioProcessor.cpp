#include "render/engine/effects/GHZDitherAudioProcessor.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

const ClassInfo& GHZDitherAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<GHZDitherAudioProcessor, VMKAudioProcessor>(QStringLiteral("GHZDitherAudioProcessor"))
            .property(QStringLiteral("bitDepth"), &GHZDitherAudioProcessor::bitDepth,
                      &GHZDitherAudioProcessor::setBitDepth)
            .property(QStringLiteral("noiseShaping"), &GHZDitherAudioProcessor::noiseShaping,
                      &GHZDitherAudioProcessor::setNoiseShaping)
            .property(QStringLiteral("amount"), &GHZDitherAudioProcessor::amount, &GHZDitherAudioProcessor::setAmount)
            .property(QStringLiteral("autoBlankingEnabled"), &GHZDitherAudioProcessor::isAutoBlankingEnabled,
                      &GHZDitherAudioProcessor::setAutoBlankingEnabled);
    return info;
}

GHZDitherAudioProcessor::GHZDitherAudioProcessor() = default;

GHZDitherAudioProcessor::~GHZDitherAudioProcessor() = default;

void GHZDitherAudioProcessor::setBitDepth(int bitDepth) {
    willChangeValueForKey(QStringLiteral("bitDepth"));
    m_bitDepth.store(bitDepth, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("bitDepth"));
}

void GHZDitherAudioProcessor::setNoiseShaping(const QString& noiseShaping) {
    willChangeValueForKey(QStringLiteral("noiseShaping"));
    m_noiseShapingName = noiseShaping;
    m_shaping.store(int(noiseShapingNamed(noiseShaping)), std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("noiseShaping"));
}

void GHZDitherAudioProcessor::setAmount(const QString& amount) {
    willChangeValueForKey(QStringLiteral("amount"));
    m_amountName = amount;
    m_amount.store(amountNamed(amount), std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("amount"));
}

void GHZDitherAudioProcessor::setAutoBlankingEnabled(bool enabled) {
    willChangeValueForKey(QStringLiteral("autoBlankingEnabled"));
    m_autoBlanking.store(enabled, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("autoBlankingEnabled"));
}

GHZDitherAudioProcessor::NoiseShaping GHZDitherAudioProcessor::noiseShapingNamed(const QString& name) {
    const QString n = name.trimmed().toLower();
    if (n == QLatin1StringView("none") || n == QLatin1StringView("off") || n == QLatin1StringView("flat"))
        return NoiseShaping::None;
    if (n == QLatin1StringView("light") || n == QLatin1StringView("low") || n == QLatin1StringView("gentle"))
        return NoiseShaping::Light;
    if (n == QLatin1StringView("medium") || n == QLatin1StringView("moderate"))
        return NoiseShaping::Medium;
    if (n == QLatin1StringView("high") || n == QLatin1StringView("heavy") || n == QLatin1StringView("strong"))
        return NoiseShaping::High;
    return NoiseShaping::Optimal;
}

float GHZDitherAudioProcessor::amountNamed(const QString& name) {
    const QString n = name.trimmed().toLower();
    if (n == QLatin1StringView("none") || n == QLatin1StringView("off"))
        return 0.0f;
    if (n == QLatin1StringView("low"))
        return 0.5f;
    if (n == QLatin1StringView("high"))
        return 1.5f;
    bool isNumber = false;
    const float factor = n.toFloat(&isNumber);
    if (isNumber && std::isfinite(factor))
        return std::clamp(factor, 0.0f, 4.0f);
    return 1.0f;  // "optimal" and anything unknown
}

int GHZDitherAudioProcessor::shapingCoefficients(NoiseShaping shaping, double sampleRate, double* h) {
    // Designs for 44.1 and 48 kHz (psychoacoustically weighted error filters).
    static constexpr double kMedium[] = {1.623, -0.982, 0.109};
    static constexpr double kHigh[] = {2.033, -2.165, 1.959, -1.590, 0.6149};
    static constexpr double kOptimal[] = {2.412, -3.370, 3.937, -4.174, 3.353, -2.205, 1.281, -0.569, 0.0847};
    // At high rates the ear's curve would land far above the audible band;
    // a second-order high-pass moves the noise there instead.
    static constexpr double kHighRate[] = {2.0, -1.0};
    auto take = [h](const double* source, int order) {
        std::copy(source, source + order, h);
        return order;
    };
    switch (shaping) {
    case NoiseShaping::None:
        return 0;
    case NoiseShaping::Light:
        h[0] = 0.5;
        return 1;
    case NoiseShaping::Medium:
    case NoiseShaping::High:
    case NoiseShaping::Optimal:
        if (sampleRate > 50000.0)
            return take(kHighRate, 2);
        if (shaping == NoiseShaping::Medium)
            return take(kMedium, 3);
        if (shaping == NoiseShaping::High)
            return take(kHigh, 5);
        return take(kOptimal, 9);
    }
    return 0;
}

void GHZDitherAudioProcessor::resetChannels() {
    for (size_t c = 0; c < m_channels.size(); ++c) {
        m_channels[c] = ChannelState{};
        m_channels[c].random = 0x5DEECE66DULL * (c + 1);
    }
}

bool GHZDitherAudioProcessor::initializeForRender(VMKError*) {
    const VMKAudioConnection* output = outputConnection();
    m_sampleRate = output ? output->sampleRate() : 0.0;
    m_channels.assign(output ? output->numberOfChannels() : 0, ChannelState{});
    resetChannels();
    return true;
}

bool GHZDitherAudioProcessor::uninitialize(VMKError*) {
    m_channels = {};
    return true;
}

namespace {
// SplitMix64: fast, well mixed, and a plain counter as its state.
inline uint64_t nextRandom(uint64_t& state) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

// Round to nearest (ties to even) without a library call; exact for |x| < 2^51.
inline double roundToInteger(double x) {
    constexpr double kMagic = 6755399441055744.0;  // 1.5 * 2^52
    return (x + kMagic) - kMagic;  // not folded: the build keeps strict floating point
}
} // namespace

namespace {

struct DitherParameters {
    double scale;
    double inverse;
    double lowest;
    double highest;
    double errorLimit;  // the largest error when nothing clips
    double amount;
    bool blanking;
};

// Dithers `Count` channels side by side: each channel's error feedback is a
// chain of dependent operations from one sample to the next, so two chains
// in one loop keep the processor busy where one would leave it waiting. The
// order is a constant, so that the error history stays in registers. Each
// channel gets exactly the arithmetic of a channel done alone.
template <int Order, int Count>
void ditherKernel(float* const* samples, int64_t frames, double* const* errors, uint64_t* const* randoms,
                  const double* coefficients, const DitherParameters& p) {
    constexpr int kSize = Order > 0 ? Order : 1;
    constexpr double kUnit = 1.0 / 4294967296.0;
    double h[kSize] = {};
    for (int k = 0; k < Order; ++k)
        h[k] = coefficients[k];
    double e[Count][kSize] = {};
    uint64_t random[Count];
    for (int c = 0; c < Count; ++c) {
        for (int k = 0; k < Order; ++k)
            e[c][k] = errors[c][k];
        random[c] = *randoms[c];
    }
    for (int64_t i = 0; i < frames; ++i) {
#pragma GCC unroll 2
        for (int c = 0; c < Count; ++c) {
            const float x = samples[c][i];
            // The older errors are summed first and the newest one last, so
            // that only one multiply and one add lie between one sample's
            // error and the next sample's feedback.
            double fed = 0.0;
#pragma GCC unroll 9
            for (int k = Order - 1; k > 0; --k)
                fed += h[k] * e[c][k];
            if constexpr (Order > 0)
                fed += h[0] * e[c][0];
            double err = 0.0;
            // A NaN has no place on the grid: it comes out as 0 and feeds no
            // error back, or it would spoil every sample after it.
            if ((p.blanking && x == 0.0f) || std::isnan(x)) {
                samples[c][i] = 0.0f;
            } else {
                const double wanted = double(x) * p.scale - fed;
                const uint64_t r = nextRandom(random[c]);
                const double tpdf = (double(r >> 32) - double(r & 0xFFFFFFFFULL)) * kUnit * p.amount;
                const double quantized = std::clamp(roundToInteger(wanted + tpdf), p.lowest, p.highest);
                err = std::clamp(quantized - wanted, -p.errorLimit, p.errorLimit);
                samples[c][i] = float(quantized * p.inverse);
            }
#pragma GCC unroll 9
            for (int k = Order - 1; k > 0; --k)
                e[c][k] = e[c][k - 1];
            if constexpr (Order > 0)
                e[c][0] = err;
        }
    }
    for (int c = 0; c < Count; ++c) {
        for (int k = 0; k < Order; ++k)
            errors[c][k] = e[c][k];
        *randoms[c] = random[c];
    }
}

template <int Count>
void ditherChannels(float* const* samples, int64_t frames, double* const* errors, uint64_t* const* randoms,
                    const double* h, int order, const DitherParameters& p) {
    switch (order) {
    case 0:
        return ditherKernel<0, Count>(samples, frames, errors, randoms, h, p);
    case 1:
        return ditherKernel<1, Count>(samples, frames, errors, randoms, h, p);
    case 2:
        return ditherKernel<2, Count>(samples, frames, errors, randoms, h, p);
    case 3:
        return ditherKernel<3, Count>(samples, frames, errors, randoms, h, p);
    case 5:
        return ditherKernel<5, Count>(samples, frames, errors, randoms, h, p);
    default:
        Q_ASSERT(order == 9);
        return ditherKernel<9, Count>(samples, frames, errors, randoms, h, p);
    }
}

} // namespace

bool GHZDitherAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                     const VMKAudioStreamRenderInfo& info) {
    const bool ok = VMKAudioProcessor::render(destination, bus, info);
    const int bits = bitDepth();
    if (bits < 1 || bits > 24)
        return ok;
    double h[kMaximumOrder];
    const int order = shapingCoefficients(noiseShapingType(), m_sampleRate, h);
    const double amount = amountFactor();
    const bool blanking = isAutoBlankingEnabled();
    const uint32_t channels = std::min<uint32_t>(destination.numberOfChannels(), uint32_t(m_channels.size()));
    const double scale = std::ldexp(1.0, bits - 1);
    const DitherParameters parameters{scale, 1.0 / scale, -scale, scale - 1.0, amount + 0.5, amount, blanking};
    uint32_t c = 0;
    for (; c + 2 <= channels; c += 2) {
        float* samples[2] = {destination.channel(c), destination.channel(c + 1)};
        double* errors[2] = {m_channels[c].error, m_channels[c + 1].error};
        uint64_t* randoms[2] = {&m_channels[c].random, &m_channels[c + 1].random};
        ditherChannels<2>(samples, destination.frames(), errors, randoms, h, order, parameters);
    }
    if (c < channels) {
        float* samples[1] = {destination.channel(c)};
        double* errors[1] = {m_channels[c].error};
        uint64_t* randoms[1] = {&m_channels[c].random};
        ditherChannels<1>(samples, destination.frames(), errors, randoms, h, order, parameters);
    }
    return ok;
}

} // namespace ondrel
