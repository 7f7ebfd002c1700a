#include "render/engine/effects/VMKFaderAudioProcessor.h"

#include "render/engine/dsp/VectorOps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ondrel {

const ClassInfo& VMKFaderAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKFaderAudioProcessor, VMKAudioProcessor>(QStringLiteral("VMKFaderAudioProcessor"))
            .property(QStringLiteral("gain"), &VMKFaderAudioProcessor::gain, &VMKFaderAudioProcessor::setGain)
            .property(QStringLiteral("scalar"), &VMKFaderAudioProcessor::scalar, &VMKFaderAudioProcessor::setScalar);
    return info;
}

VMKFaderAudioProcessor::VMKFaderAudioProcessor() = default;

VMKFaderAudioProcessor::~VMKFaderAudioProcessor() = default;

float VMKFaderAudioProcessor::gain() const { return 20.0f * std::log10(scalar()); }

void VMKFaderAudioProcessor::setGain(float decibels) { setScalar(std::pow(10.0f, decibels / 20.0f)); }

void VMKFaderAudioProcessor::setScalar(float scalar) {
    willChangeValueForKey(QStringLiteral("gain"));
    willChangeValueForKey(QStringLiteral("scalar"));
    m_scalar.store(scalar, std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("scalar"));
    didChangeValueForKey(QStringLiteral("gain"));
}

std::shared_ptr<VMKAudioAutomation> VMKFaderAudioProcessor::objectInAutomationsAtIndex(size_t index) const {
    return index < m_automations.size() ? m_automations[index] : nullptr;
}

void VMKFaderAudioProcessor::insertObjectInAutomationsAtIndex(const std::shared_ptr<VMKAudioAutomation>& automation,
                                                              size_t index) {
    if (automation && index <= m_automations.size())
        insertAndNotify(QStringLiteral("automations"), m_automations, automation, qsizetype(index));
}

void VMKFaderAudioProcessor::insertAutomations(const std::vector<std::shared_ptr<VMKAudioAutomation>>& automations,
                                               const IndexSet& indexes) {
    size_t i = 0;
    for (qsizetype index : indexes) {
        if (i == automations.size())
            break;
        insertObjectInAutomationsAtIndex(automations[i++], size_t(index));
    }
}

void VMKFaderAudioProcessor::removeObjectFromAutomationsAtIndex(size_t index) {
    if (index < m_automations.size())
        removeAndNotify(QStringLiteral("automations"), m_automations, qsizetype(index));
}

bool VMKFaderAudioProcessor::initializeForRender(VMKError*) {
    const VMKAudioConnection* output = outputConnection();
    m_sampleRate = output->sampleRate();
    m_gains.assign(size_t(std::max<int64_t>(1, output->maxFrames())), 1.0f);
    m_automated.assign(m_gains.size(), 0);
    for (const auto& automation : m_automations)
        automation->valueMap();  // made here, not on the render thread
    return true;
}

bool VMKFaderAudioProcessor::uninitialize(VMKError*) {
    m_gains = {};
    m_automated = {};
    return true;
}

namespace {
// The first frame whose time (frame / rate) is at or after `time`.
int64_t firstFrameAtOrAfter(double time, double rate) {
    // Past 2^52 frames a double no longer tells neighbouring frames apart (the
    // search below would never end), and such times lie outside any render:
    // they answer a frame far beyond its end, or far before its start. No
    // number at all starts nothing.
    constexpr double kExact = 4503599627370496.0;  // 2^52
    const double frames = time * rate;
    if (std::isnan(frames) || frames >= kExact)
        return std::numeric_limits<int64_t>::max() / 2;
    if (frames <= -kExact)
        return std::numeric_limits<int64_t>::min() / 2;
    auto frame = int64_t(std::ceil(frames));
    while (double(frame - 1) / rate >= time)
        --frame;
    while (double(frame) / rate < time)
        ++frame;
    return frame;
}
} // namespace

void VMKFaderAudioProcessor::applyGain(VMKAudioBufferList& destination, int64_t offset, int64_t frames,
                                       int64_t sampleTime) {
    const float scalar = this->scalar();
    bool automated = false;
    if (m_sampleRate > 0.0) {
        for (const auto& automation : m_automations) {
            if (!automation->isEnabled() || automation->parameterKey() != QLatin1StringView("scalar"))
                continue;
            const double location = automation->location();
            const double length = automation->length();
            if (!(length > 0.0))
                continue;
            const int64_t first = std::max(sampleTime, firstFrameAtOrAfter(location, m_sampleRate));
            const int64_t end = std::min(sampleTime + frames, firstFrameAtOrAfter(location + length, m_sampleRate));
            if (end <= first)
                continue;
            if (!automated) {
                std::fill_n(m_automated.begin(), frames, uint8_t(0));
                automated = true;
            }
            // Each stretch drives the scalar itself. Where several overlap
            // (a fade-in and a fade-out meeting on a short file, each ramping
            // to the gain) they combine by their ratios to the scalar, so the
            // gain counts once. In doubles: the inverse of a gain below
            // about -770 dB is no float.
            const double divisor = scalar != 0.0f ? double(scalar) : 1.0;
            for (int64_t frame = first; frame < end; ++frame) {
                const size_t i = size_t(frame - sampleTime);
                const float value = automation->valueAtTime(double(frame) / m_sampleRate);
                m_gains[i] = m_automated[i] ? float(double(m_gains[i]) * double(value) / divisor) : value;
                m_automated[i] = 1;
            }
        }
    }
    if (!automated) {
        if (scalar != 1.0f)
            for (uint32_t c = 0; c < destination.numberOfChannels(); ++c)
                dsp::scale(destination.channel(c) + offset, scalar, frames);
        return;
    }
    for (int64_t i = 0; i < frames; ++i)
        if (!m_automated[size_t(i)])
            m_gains[size_t(i)] = scalar;
    for (uint32_t c = 0; c < destination.numberOfChannels(); ++c)
        dsp::multiply(destination.channel(c) + offset, m_gains.data(), frames);
}

bool VMKFaderAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                    const VMKAudioStreamRenderInfo& info) {
    const bool ok = VMKAudioProcessor::render(destination, bus, info);
    const int64_t capacity = int64_t(m_gains.size());
    if (capacity == 0)
        return ok;
    for (int64_t offset = 0; offset < destination.frames(); offset += capacity)
        applyGain(destination, offset, std::min(capacity, destination.frames() - offset), info.sampleTime() + offset);
    return ok;
}

} // namespace ondrel
