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

void GHZDitherAudioProcessor::ditherChannel(float* samples, int64_t frames, ChannelState& state, int bits,
                                            const double* h, int order, double amount, bool blanking) {
    const double scale = std::ldexp(1.0, bits - 1);
    const double inverse = 1.0 / scale;
    const double lowest = -scale, highest = scale - 1.0;
    const double errorLimit = amount + 0.5;  // the largest error when nothing clips
    constexpr double kUnit = 1.0 / 4294967296.0;
    double* e = state.error;
    uint64_t random = state.random;
    for (int64_t i = 0; i < frames; ++i) {
        const float x = samples[i];
        double fed = 0.0;
        for (int k = 0; k < order; ++k)
            fed += h[k] * e[k];
        double err = 0.0;
        // A NaN has no place on the grid: it comes out as 0 and feeds no
        // error back, or it would spoil every sample after it.
        if ((blanking && x == 0.0f) || std::isnan(x)) {
            samples[i] = 0.0f;
        } else {
            const double wanted = double(x) * scale - fed;
            const uint64_t r = nextRandom(random);
            const double tpdf = (double(r >> 32) - double(r & 0xFFFFFFFFULL)) * kUnit * amount;
            const double quantized = std::clamp(roundToInteger(wanted + tpdf), lowest, highest);
            err = std::clamp(quantized - wanted, -errorLimit, errorLimit);
            samples[i] = float(quantized * inverse);
        }
        for (int k = order - 1; k > 0; --k)
            e[k] = e[k - 1];
        if (order > 0)
            e[0] = err;
    }
    state.random = random;
}

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
    for (uint32_t c = 0; c < channels; ++c)
        ditherChannel(destination.channel(c), destination.frames(), m_channels[c], bits, h, order, amount, blanking);
    return ok;
}

} // namespace ondrel
