#include "render/processors/AudioProcessMixerAudioProcessor.h"

#include <algorithm>
#include <limits>
#include <map>

namespace ondrel {

namespace {

// destination += scalar x source, over n frames: a loop the compiler
// vectorises (the arrays never overlap).
void multiplyAdd(float* __restrict destination, const float* __restrict source, float scalar, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        destination[i] += scalar * source[i];
}

} // namespace

const ClassInfo& AudioProcessMixerAudioProcessor::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<AudioProcessMixerAudioProcessor, VMKAudioProcessor>(
        QStringLiteral("AudioProcessMixerAudioProcessor"));
    return info;
}

AudioProcessMixerAudioProcessor::AudioProcessMixerAudioProcessor() = default;

AudioProcessMixerAudioProcessor::~AudioProcessMixerAudioProcessor() = default;

void AudioProcessMixerAudioProcessor::setConductorOfInputBus(
    uint64_t busIndex, std::shared_ptr<const AudioProcessSourceConductor> conductor) {
    Q_ASSERT(busIndex < numberOfInputBuses());
    Q_ASSERT(!isInitialized());
    if (m_conductors.size() <= busIndex)
        m_conductors.resize(busIndex + 1);
    m_conductors[busIndex] = std::move(conductor);
}

bool AudioProcessMixerAudioProcessor::proposeOutputFormat(VMKAudioConnection& output, VMKError* error) {
    // The mix runs at the first source's rate and, unless the graph's builder
    // decided otherwise, has its channels.
    const VMKAudioConnection* first = inputConnection();
    if (!first)
        return true;
    if (output.maxFrames() <= 0 && first->maxFrames() > 0)
        output.setMaxFrames(first->maxFrames());
    return proposeNumberOfChannels(output, output.numberOfChannels() == 0 ? first->numberOfChannels() : 0, error) &&
           proposeSampleRate(output, first->sampleRate(), error);
}

bool AudioProcessMixerAudioProcessor::checkFormat(VMKError* error) const {
    const VMKAudioConnection* output = outputConnection();
    if (!output)
        return true;
    for (const auto& bus : inputBuses()) {
        const VMKAudioConnection* input = bus->connection().get();
        if (input && input->sampleRate() != output->sampleRate()) {
            VMKError::set(error, formatError(QStringLiteral("%1 mixes at %2 Hz but input bus %3 carries %4 Hz")
                                                 .arg(displayName())
                                                 .arg(output->sampleRate())
                                                 .arg(bus->index())
                                                 .arg(input->sampleRate())));
            return false;
        }
    }
    return true;
}

bool AudioProcessMixerAudioProcessor::initializeForRender(VMKError* error) {
    const VMKAudioConnection* output = outputConnection();
    Q_ASSERT(output);
    m_buffers.clear();
    m_busTies.assign(inputBuses().size(), {});
    std::map<uint32_t, std::shared_ptr<VMKAudioBufferList>> byChannels;
    for (const auto& bus : inputBuses()) {
        VMKAudioConnection* input = bus->connection().get();
        Q_ASSERT(input);  // the stream refuses loose buses
        // Every source plays at the mix's rate and block size; its channel
        // count stays its own.
        input->setSampleRate(output->sampleRate());
        input->setMaxFrames(output->maxFrames());
        std::shared_ptr<VMKAudioBufferList>& buffer = byChannels[input->numberOfChannels()];
        if (!buffer)
            buffer = VMKAudioBufferList::initWithChannels(input->numberOfChannels(), output->maxFrames(), error);
        if (!buffer) {
            m_buffers.clear();
            m_busTies.clear();
            return false;
        }
        m_buffers.push_back(buffer);
    }
    // The conductors lie upstream and are initialized after the mix: their
    // frames are read at the first render.
    m_audible.clear();
    // The ties that can be heard, by bus; one that names a bus or channel
    // that isn't there is passed over.
    for (const AudioProcessMixerTie& tie : m_ties) {
        if (tie.inputBusIndex >= m_buffers.size() || tie.inputChannelIndex >= m_buffers[tie.inputBusIndex]->numberOfChannels() ||
            tie.outputChannelIndex >= output->numberOfChannels())
            continue;
        m_busTies[tie.inputBusIndex].push_back(
            {uint32_t(tie.inputChannelIndex), uint32_t(tie.outputChannelIndex), tie.scalar()});
    }
    // A fixed order of summing, so that a render comes out the same bit for
    // bit whatever order the set holds its ties in.
    for (auto& ties : m_busTies)
        std::sort(ties.begin(), ties.end(), [](const BusTie& a, const BusTie& b) {
            return a.outputChannel != b.outputChannel ? a.outputChannel < b.outputChannel
                   : a.inputChannel != b.inputChannel ? a.inputChannel < b.inputChannel
                                                      : a.scalar < b.scalar;
        });
    return true;
}

bool AudioProcessMixerAudioProcessor::uninitialize(VMKError*) {
    m_buffers.clear();
    m_busTies.clear();
    m_audible.clear();
    return true;
}

void AudioProcessMixerAudioProcessor::readAudibleFrames() {
    m_audible.assign(inputBuses().size(), {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()});
    for (size_t i = 0; i < m_conductors.size() && i < m_audible.size(); ++i)
        if (const auto& conductor = m_conductors[i]) {
            Q_ASSERT(conductor->isInitialized());
            m_audible[i] = {conductor->startFrame(), conductor->endFrame()};
        }
}

bool AudioProcessMixerAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus&,
                                             const VMKAudioStreamRenderInfo& info) {
    destination.clear();
    const int64_t frames = destination.frames();
    const auto& buses = inputBuses();
    if (m_audible.size() != buses.size())
        readAudibleFrames();
    // Buffers and ties are made by initializeForRender; the buses can't
    // change while the stream is initialized.
    Q_ASSERT(m_buffers.size() == buses.size());
    const int64_t t = info.sampleTime();
    bool ok = true;
    for (size_t i = 0; i < buses.size() && i < m_buffers.size(); ++i) {
        // A source silent in this block is left alone: the conductor would
        // render silence, and nothing after it keeps state.
        if (std::min(t + frames, m_audible[i].end) <= std::max(t, m_audible[i].start))
            continue;
        VMKAudioBufferList& source = *m_buffers[i];
        // All sources are pulled with the mix's own info: they share its sample time.
        if (!source.setFrames(frames) || !buses[i]->render(source, info)) {
            ok = false;
            continue;
        }
        for (const BusTie& tie : m_busTies[i])
            multiplyAdd(destination.channel(tie.outputChannel), source.channel(tie.inputChannel), tie.scalar, frames);
    }
    return ok;
}

} // namespace ondrel
