#include "render/engine/effects/VMKMixerAudioProcessor.h"

#include "render/engine/dsp/VectorOps.h"

#include <algorithm>

namespace ondrel {

const ClassInfo& VMKMixerAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKMixerAudioProcessor, VMKAudioProcessor>(QStringLiteral("VMKMixerAudioProcessor"));
    return info;
}

VMKMixerAudioProcessor::VMKMixerAudioProcessor() = default;

VMKMixerAudioProcessor::~VMKMixerAudioProcessor() = default;

bool VMKMixerAudioProcessor::proposeOutputFormat(VMKAudioConnection& output, VMKError* error) {
    uint32_t channels = 0;
    double rate = 0.0;
    const VMKAudioBus* rateBus = nullptr;
    int64_t maxFrames = 0;
    for (const auto& bus : inputBuses()) {
        const VMKAudioConnection* input = bus->connection().get();
        if (!input)
            continue;
        channels = std::max(channels, input->numberOfChannels());
        maxFrames = std::max(maxFrames, input->maxFrames());
        if (input->sampleRate() <= 0.0)
            continue;
        if (rate > 0.0 && input->sampleRate() != rate) {
            VMKError::set(error, formatError(QStringLiteral("%1 is given %2 Hz on input bus %3 and %4 Hz on input bus %5")
                                                 .arg(displayName())
                                                 .arg(rate)
                                                 .arg(rateBus->index())
                                                 .arg(input->sampleRate())
                                                 .arg(bus->index())));
            return false;
        }
        rate = input->sampleRate();
        rateBus = bus.get();
    }
    if (output.maxFrames() <= 0 && maxFrames > 0)
        output.setMaxFrames(maxFrames);
    if (output.numberOfChannels() == 0)
        output.setNumberOfChannels(channels);
    return proposeSampleRate(output, rate, error);
}

bool VMKMixerAudioProcessor::checkFormat(VMKError* error) const {
    const VMKAudioConnection* output = outputConnection();
    for (const auto& bus : inputBuses()) {
        const VMKAudioConnection* input = bus->connection().get();
        if (input->sampleRate() != output->sampleRate()) {
            VMKError::set(error, formatError(QStringLiteral("%1 mixes at %2 Hz but input bus %3 carries %4 Hz")
                                                 .arg(displayName())
                                                 .arg(output->sampleRate())
                                                 .arg(bus->index())
                                                 .arg(input->sampleRate())));
            return false;
        }
        if (input->maxFrames() < output->maxFrames()) {
            VMKError::set(error, formatError(QStringLiteral("input bus %1 of %2 takes blocks of %3 frames, "
                                                            "smaller than the %4 it must deliver")
                                                 .arg(bus->index())
                                                 .arg(displayName())
                                                 .arg(input->maxFrames())
                                                 .arg(output->maxFrames())));
            return false;
        }
    }
    return true;
}

bool VMKMixerAudioProcessor::initializeForRender(VMKError* error) {
    const VMKAudioConnection* output = outputConnection();
    m_scratch.clear();
    for (const auto& bus : inputBuses()) {
        const VMKAudioConnection* input = bus->connection().get();
        auto buffer = VMKAudioBufferList::initWithChannels(input->numberOfChannels(), output->maxFrames(), error);
        if (!buffer) {
            m_scratch.clear();
            return false;
        }
        m_scratch.push_back(std::move(buffer));
    }
    return true;
}

bool VMKMixerAudioProcessor::uninitialize(VMKError*) {
    m_scratch.clear();
    return true;
}

bool VMKMixerAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus&,
                                    const VMKAudioStreamRenderInfo& info) {
    const int64_t frames = destination.frames();
    const auto& buses = inputBuses();
    // One scratch list per input bus, made by initializeForRender: the buses
    // may not change while initialized.
    Q_ASSERT(m_scratch.size() == buses.size());
    bool ok = true;
    destination.clear();
    for (size_t i = 0; i < buses.size() && i < m_scratch.size(); ++i) {
        VMKAudioBufferList& scratch = *m_scratch[i];
        if (!scratch.setFrames(frames)) {
            ok = false;
            continue;
        }
        if (!buses[i]->render(scratch, info)) {
            ok = false;
            continue;
        }
        const uint32_t channels = std::min(scratch.numberOfChannels(), destination.numberOfChannels());
        for (uint32_t c = 0; c < channels; ++c)
            dsp::add(destination.channel(c), scratch.channel(c), frames);
    }
    return ok;
}

} // namespace ondrel
