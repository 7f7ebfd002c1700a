#include "render/engine/effects/APLTimePitchAudioProcessor.h"

#include "render/engine/graph/VMKEngineError.h"
#include "render/engine/dsp/VectorOps.h"

#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <cmath>

namespace ondrel {

using RubberBand::RubberBandStretcher;

const ClassInfo& APLTimePitchAudioProcessor::staticClassInfo() {
    using P = APLTimePitchAudioProcessor;
    static const ClassInfo& info =
        ClassInfo::define<P, VMKAudioProcessor>(QStringLiteral("APLTimePitchAudioProcessor"))
            .property(QStringLiteral("cents"), &P::cents, &P::setCents)
            .property(QStringLiteral("playbackRate"), &P::playbackRate, &P::setPlaybackRate)
            .property(QStringLiteral("latencyCompensationEnabled"), &P::isLatencyCompensationEnabled,
                      &P::setLatencyCompensationEnabled)
            .property(QStringLiteral("inputFrameCount"), &P::inputFrameCount, &P::setInputFrameCount);
    return info;
}

APLTimePitchAudioProcessor::APLTimePitchAudioProcessor() = default;

APLTimePitchAudioProcessor::~APLTimePitchAudioProcessor() = default;

void APLTimePitchAudioProcessor::setCents(float cents) {
    if (!std::isfinite(cents))
        cents = 0.0f;
    willChangeValueForKey(QStringLiteral("cents"));
    m_cents.store(std::clamp(cents, -kMaximumCents, kMaximumCents), std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("cents"));
}

void APLTimePitchAudioProcessor::setPlaybackRate(float rate) {
    // A rate that is no number (a tempo of 0 gives infinity) or out of range is held to the range.
    if (std::isnan(rate))
        rate = 1.0f;
    willChangeValueForKey(QStringLiteral("playbackRate"));
    m_playbackRate.store(std::clamp(rate, kMinimumRate, kMaximumRate), std::memory_order_relaxed);
    didChangeValueForKey(QStringLiteral("playbackRate"));
}

void APLTimePitchAudioProcessor::setLatencyCompensationEnabled(bool enabled) {
    setAndNotify(QStringLiteral("latencyCompensationEnabled"), m_latencyCompensation, enabled);
}

void APLTimePitchAudioProcessor::setInputFrameCount(qint64 frames) {
    setAndNotify(QStringLiteral("inputFrameCount"), m_inputFrameCount, std::max<qint64>(0, frames));
}

void APLTimePitchAudioProcessor::setValueForParameterKey(const QVariant& value, const QString& key) {
    if (key == QLatin1StringView("Rate"))
        return setPlaybackRate(value.toFloat());
    if (key == QLatin1StringView("Pitch"))
        return setCents(value.toFloat());
    VMKAudioProcessor::setValueForParameterKey(value, key);
}

bool APLTimePitchAudioProcessor::initializeForRender(VMKError* error) {
    const VMKAudioConnection* input = inputConnection();
    const VMKAudioConnection* output = outputConnection();
    if (!input || !output)
        return true;
    const uint32_t channels = output->numberOfChannels();
    const int64_t block = std::max<int64_t>(1, input->maxFrames());
    m_offline = m_inputFrameCount > 0;
    RubberBandStretcher::Options options = RubberBandStretcher::OptionEngineFiner |
                                           RubberBandStretcher::OptionThreadingNever |
                                           RubberBandStretcher::OptionChannelsTogether;
    options |= m_offline ? RubberBandStretcher::OptionProcessOffline : RubberBandStretcher::OptionProcessRealTime;
    m_appliedRate = playbackRate();
    m_appliedCents = cents();
    m_stretcher = std::make_unique<RubberBandStretcher>(size_t(std::lround(output->sampleRate())), channels, options,
                                                        1.0 / double(m_appliedRate),
                                                        std::pow(2.0, double(m_appliedCents) / 1200.0));
    m_stretcher->setMaxProcessSize(size_t(block));
    m_pull = VMKAudioBufferList::initWithChannels(channels, block, error);
    m_scratch = VMKAudioBufferList::initWithChannels(channels, block, error);
    if (!m_pull || !m_scratch)
        return false;
    if (m_offline) {
        m_stretcher->setExpectedInputDuration(size_t(m_inputFrameCount));
        m_input = VMKAudioBufferList::initWithChannels(channels, m_inputFrameCount, error);
        if (!m_input) {
            VMKError::set(error, VMKError::errorWithCode(
                                     VMKEngineErrorInvalidArgument, QStringLiteral("Preparing to change time and pitch"),
                                     QStringLiteral("%1 can't hold %2 input frames in memory")
                                         .arg(displayName())
                                         .arg(m_inputFrameCount)));
            return false;
        }
    }
    m_inputPointers.assign(channels, nullptr);
    m_outputPointers.assign(channels, nullptr);
    m_studied = false;
    m_inputPosition = 0;
    m_padToFeed = m_offline || !m_latencyCompensation ? 0 : int64_t(m_stretcher->getPreferredStartPad());
    m_delayToTrim = m_offline || !m_latencyCompensation ? 0 : int64_t(m_stretcher->getStartDelay());
    return true;
}

bool APLTimePitchAudioProcessor::uninitialize(VMKError*) {
    m_stretcher.reset();
    m_pull.reset();
    m_input.reset();
    m_scratch.reset();
    m_inputPointers = {};
    m_outputPointers = {};
    return true;
}

bool APLTimePitchAudioProcessor::readWholeInput(const VMKAudioStreamRenderInfo& info) {
    bool ok = true;
    VMKAudioStreamRenderInfo pullInfo = info;
    for (int64_t position = 0; position < m_inputFrameCount; position += m_pull->frameCapacity()) {
        const int64_t frames = std::min<int64_t>(m_pull->frameCapacity(), m_inputFrameCount - position);
        m_pull->setFrames(frames);
        pullInfo.setSampleTime(position);
        ok = inputBus()->render(*m_pull, pullInfo) && ok;
        m_input->copyFrames({0, frames}, *m_pull, position);
        // One NaN or infinity would spread through the stretcher's state and
        // spoil the rest of the output: it goes in as silence.
        for (uint32_t c = 0; c < m_input->numberOfChannels(); ++c)
            dsp::zeroNonFinite(m_input->channel(c) + position, frames);
    }
    // One pass to study, as the offline stretcher wants the whole input first.
    for (uint32_t c = 0; c < m_input->numberOfChannels(); ++c)
        m_inputPointers[c] = m_input->channel(c);
    m_stretcher->study(m_inputPointers.data(), size_t(m_inputFrameCount), true);
    m_studied = true;
    return ok;
}

bool APLTimePitchAudioProcessor::feedOffline() {
    const int64_t frames = std::min<int64_t>(m_pull->frameCapacity(), m_inputFrameCount - m_inputPosition);
    for (uint32_t c = 0; c < m_input->numberOfChannels(); ++c)
        m_inputPointers[c] = m_input->channel(c) + m_inputPosition;
    m_inputPosition += frames;
    m_stretcher->process(m_inputPointers.data(), size_t(frames), m_inputPosition >= m_inputFrameCount);
    return true;
}

bool APLTimePitchAudioProcessor::feedRealTime(const VMKAudioStreamRenderInfo& info) {
    const int64_t wanted = std::clamp<int64_t>(int64_t(m_stretcher->getSamplesRequired()), 1, m_pull->frameCapacity());
    bool ok = true;
    if (m_padToFeed > 0) {
        const int64_t frames = std::min(wanted, m_padToFeed);
        m_pull->clear();
        for (uint32_t c = 0; c < m_pull->numberOfChannels(); ++c)
            m_inputPointers[c] = m_pull->channel(c);
        m_stretcher->process(m_inputPointers.data(), size_t(frames), false);
        m_padToFeed -= frames;
        return true;
    }
    m_pull->setFrames(wanted);
    VMKAudioStreamRenderInfo pullInfo = info;
    pullInfo.setSampleTime(m_inputPosition);
    ok = inputBus()->render(*m_pull, pullInfo);
    m_inputPosition += wanted;
    for (uint32_t c = 0; c < m_pull->numberOfChannels(); ++c) {
        dsp::zeroNonFinite(m_pull->channel(c), wanted);  // as in readWholeInput
        m_inputPointers[c] = m_pull->channel(c);
    }
    m_stretcher->process(m_inputPointers.data(), size_t(wanted), false);
    return ok;
}

void APLTimePitchAudioProcessor::applyRatios() {
    const float rate = playbackRate(), cents = this->cents();
    if (rate != m_appliedRate) {
        m_stretcher->setTimeRatio(1.0 / double(rate));
        m_appliedRate = rate;
    }
    if (cents != m_appliedCents) {
        m_stretcher->setPitchScale(std::pow(2.0, double(cents) / 1200.0));
        m_appliedCents = cents;
    }
}

bool APLTimePitchAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus& bus,
                                        const VMKAudioStreamRenderInfo& info) {
    if (!m_stretcher || !inputBus() || !inputBus()->connection())
        return VMKAudioProcessor::render(destination, bus, info);
    bool ok = true;
    if (m_offline && !m_studied)
        ok = readWholeInput(info);
    if (!m_offline)
        applyRatios();
    const int64_t frames = destination.frames();
    if (destination.numberOfChannels() != m_outputPointers.size()) {
        // The stretcher writes all its channels: a buffer of another width can't take them.
        destination.clear();
        info.reportError(formatError(QStringLiteral("%1 was pulled for %2 channels but stretches %3")
                                         .arg(displayName())
                                         .arg(destination.numberOfChannels())
                                         .arg(m_outputPointers.size())));
        return false;
    }
    const uint32_t channels = destination.numberOfChannels();
    int64_t done = 0;
    while (done < frames) {
        const int available = m_stretcher->available();
        if (available < 0)
            break;  // offline and finished: silence follows
        if (available == 0) {
            if (m_offline && m_inputPosition >= m_inputFrameCount)
                break;  // everything fed and nothing more to come
            ok = (m_offline ? feedOffline() : feedRealTime(info)) && ok;
            continue;
        }
        if (m_delayToTrim > 0) {
            const int64_t trim = std::min({m_delayToTrim, int64_t(available), m_scratch->frameCapacity()});
            for (uint32_t c = 0; c < channels; ++c)
                m_outputPointers[c] = m_scratch->channel(c);
            m_stretcher->retrieve(m_outputPointers.data(), size_t(trim));
            m_delayToTrim -= trim;
            continue;
        }
        const int64_t take = std::min(int64_t(available), frames - done);
        for (uint32_t c = 0; c < channels; ++c)
            m_outputPointers[c] = destination.channel(c) + done;
        done += int64_t(m_stretcher->retrieve(m_outputPointers.data(), size_t(take)));
    }
    for (uint32_t c = 0; c < channels; ++c)
        std::fill(destination.channel(c) + done, destination.channel(c) + frames, 0.0f);
    return ok;
}

} // namespace ondrel
