#include "render/engine/effects/APLDynamicsAudioProcessor.h"

#include "render/engine/dsp/VectorOps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ondrel {

const ClassInfo& APLDynamicsAudioProcessor::staticClassInfo() {
    using P = APLDynamicsAudioProcessor;
    static const ClassInfo& info =
        ClassInfo::define<P, VMKAudioProcessor>(QStringLiteral("APLDynamicsAudioProcessor"))
            .property(QStringLiteral("compressionThreshold"), &P::compressionThreshold, &P::setCompressionThreshold)
            .property(QStringLiteral("compressionHeadroom"), &P::compressionHeadroom, &P::setCompressionHeadroom)
            .property(QStringLiteral("expansionThreshold"), &P::expansionThreshold, &P::setExpansionThreshold)
            .property(QStringLiteral("expansionRatio"), &P::expansionRatio, &P::setExpansionRatio)
            .property(QStringLiteral("attackTime"), &P::attackTime, &P::setAttackTime)
            .property(QStringLiteral("releaseTime"), &P::releaseTime, &P::setReleaseTime)
            .property(QStringLiteral("masterGain"), &P::masterGain, &P::setMasterGain);
    return info;
}

APLDynamicsAudioProcessor::APLDynamicsAudioProcessor() = default;

APLDynamicsAudioProcessor::~APLDynamicsAudioProcessor() = default;

namespace {
template <class T>
T finiteOr(T value, T fallback) {
    return std::isfinite(value) ? value : fallback;
}
} // namespace

void APLDynamicsAudioProcessor::setCompressionThreshold(float decibels) {
    willChangeValueForKey(QStringLiteral("compressionThreshold"));
    m_compressionThreshold.store(std::clamp(finiteOr(decibels, 0.0f), -200.0f, 200.0f));
    didChangeValueForKey(QStringLiteral("compressionThreshold"));
}

void APLDynamicsAudioProcessor::setCompressionHeadroom(float decibels) {
    willChangeValueForKey(QStringLiteral("compressionHeadroom"));
    m_compressionHeadroom.store(std::clamp(finiteOr(decibels, 5.0f), 0.1f, 200.0f));
    didChangeValueForKey(QStringLiteral("compressionHeadroom"));
}

void APLDynamicsAudioProcessor::setExpansionThreshold(float decibels) {
    willChangeValueForKey(QStringLiteral("expansionThreshold"));
    m_expansionThreshold.store(std::clamp(finiteOr(decibels, -200.0f), -200.0f, 200.0f));
    didChangeValueForKey(QStringLiteral("expansionThreshold"));
}

void APLDynamicsAudioProcessor::setExpansionRatio(float ratio) {
    willChangeValueForKey(QStringLiteral("expansionRatio"));
    m_expansionRatio.store(std::clamp(finiteOr(ratio, 1.0f), 1.0f, 50.0f));
    didChangeValueForKey(QStringLiteral("expansionRatio"));
}

void APLDynamicsAudioProcessor::setAttackTime(double seconds) {
    willChangeValueForKey(QStringLiteral("attackTime"));
    m_attackTime.store(std::clamp(finiteOr(seconds, 0.001), 0.0, 10.0));
    didChangeValueForKey(QStringLiteral("attackTime"));
}

void APLDynamicsAudioProcessor::setReleaseTime(double seconds) {
    willChangeValueForKey(QStringLiteral("releaseTime"));
    m_releaseTime.store(std::clamp(finiteOr(seconds, 0.05), 0.0, 60.0));
    didChangeValueForKey(QStringLiteral("releaseTime"));
}

void APLDynamicsAudioProcessor::setMasterGain(float decibels) {
    willChangeValueForKey(QStringLiteral("masterGain"));
    m_masterGain.store(std::clamp(finiteOr(decibels, 0.0f), -96.0f, 96.0f));
    didChangeValueForKey(QStringLiteral("masterGain"));
}

void APLDynamicsAudioProcessor::setValueForParameterKey(const QVariant& value, const QString& key) {
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (ok) {
        if (key == QLatin1StringView("Compression Threshold"))
            return setCompressionThreshold(float(number));
        if (key == QLatin1StringView("Headroom"))
            return setCompressionHeadroom(float(number));
        if (key == QLatin1StringView("Expansion Threshold"))
            return setExpansionThreshold(float(number));
        if (key == QLatin1StringView("Expansion Ratio"))
            return setExpansionRatio(float(number));
        if (key == QLatin1StringView("Attack Time"))
            return setAttackTime(number);
        if (key == QLatin1StringView("Release Time"))
            return setReleaseTime(number);
        if (key == QLatin1StringView("Master Gain"))
            return setMasterGain(float(number));
    }
    VMKAudioProcessor::setValueForParameterKey(value, key);
}

namespace {
struct Curve {
    float threshold, headroom, expansionThreshold, ratio, gain;

    float gainForLevel(float level) const {
        float out = level;
        if (level > threshold)
            out = threshold + headroom * (1.0f - std::exp(-(level - threshold) / headroom));
        else if (level < expansionThreshold && ratio != 1.0f)
            out = std::max(expansionThreshold + (level - expansionThreshold) * ratio, -400.0f);
        return out - level + gain;
    }
};
} // namespace

float APLDynamicsAudioProcessor::gainForLevel(float level) const {
    return Curve{compressionThreshold(), compressionHeadroom(), expansionThreshold(), expansionRatio(), masterGain()}
        .gainForLevel(level);
}

bool APLDynamicsAudioProcessor::initializeForRender(VMKError*) {
    const VMKAudioConnection* output = outputConnection();
    m_sampleRate = output && output->sampleRate() > 0.0 ? output->sampleRate() : 44100.0;
    m_gains.assign(size_t(std::max<int64_t>(1, output ? output->maxFrames() : 1)), 1.0f);
    m_envelope = 0.0f;
    return true;
}

bool APLDynamicsAudioProcessor::uninitialize(VMKError*) {
    m_gains = {};
    return true;
}

bool APLDynamicsAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                       const VMKAudioStreamRenderInfo& info) {
    const bool ok = VMKAudioProcessor::render(destination, bus, info);
    const int64_t capacity = int64_t(m_gains.size());
    if (capacity == 0 || m_sampleRate <= 0.0)
        return ok;
    auto coefficient = [this](double seconds) {
        return seconds > 0.0 ? float(std::exp(-1.0 / (seconds * m_sampleRate))) : 0.0f;
    };
    const float attack = coefficient(attackTime()), release = coefficient(releaseTime());
    const Curve curve{compressionThreshold(), compressionHeadroom(), expansionThreshold(), expansionRatio(),
                      masterGain()};
    const uint32_t channels = destination.numberOfChannels();
    constexpr float kFloor = 1e-10f;  // -200 dB
    constexpr float kTiny = 1e-30f;
    float envelope = m_envelope;
    for (int64_t offset = 0; offset < destination.frames(); offset += capacity) {
        const int64_t frames = std::min(capacity, destination.frames() - offset);
        for (int64_t i = 0; i < frames; ++i) {
            // NaN and infinite samples are not heard by the detector: one of
            // them would leave the envelope NaN for the rest of the run.
            float peak = 0.0f;
            for (uint32_t c = 0; c < channels; ++c) {
                const float magnitude = std::abs(destination.channel(c)[offset + i]);
                peak = magnitude > peak && magnitude <= std::numeric_limits<float>::max() ? magnitude : peak;
            }
            const float k = peak > envelope ? attack : release;
            envelope = peak + k * (envelope - peak);
            // A decaying tail is flushed long before it turns denormal; doing
            // it here, not at the end of the block, keeps the result
            // independent of the block size.
            envelope = envelope < kTiny ? 0.0f : envelope;
            const float level = 20.0f * std::log10(std::max(envelope, kFloor));
            m_gains[size_t(i)] = std::pow(10.0f, curve.gainForLevel(level) / 20.0f);
        }
        for (uint32_t c = 0; c < channels; ++c)
            dsp::multiply(destination.channel(c) + offset, m_gains.data(), frames);
    }
    m_envelope = envelope;
    return ok;
}

} // namespace ondrel
