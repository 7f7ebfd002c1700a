#include "render/engine/graph/VMKAudioProcessor.h"

#include "render/engine/graph/VMKEngineError.h"

namespace ondrel {

const ClassInfo& VMKAudioProcessor::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<VMKAudioProcessor, Object>(QStringLiteral("VMKAudioProcessor"))
                                       .property(QStringLiteral("identifier"), &VMKAudioProcessor::identifier,
                                                 &VMKAudioProcessor::setIdentifier);
    return info;
}

VMKAudioProcessor::VMKAudioProcessor() : m_outputBus(std::make_unique<VMKAudioBus>(this, false, 0)) {
    m_inputBuses.push_back(std::make_unique<VMKAudioBus>(this, true, 0));
}

VMKAudioProcessor::~VMKAudioProcessor() = default;

void VMKAudioProcessor::setValueForParameterKey(const QVariant& value, const QString& key) {
    setValueForKey(value, key);
}

bool VMKAudioProcessor::setNumberOfInputBuses(uint64_t count, VMKError* error) {
    if (count > maximumNumberOfInputBuses()) {
        VMKError::set(error, VMKError::errorWithCode(
                                 VMKEngineErrorInvalidArgument, QStringLiteral("Setting the input buses of a processor"),
                                 QStringLiteral("%1 takes at most %2 input buses, not %3")
                                     .arg(displayName())
                                     .arg(maximumNumberOfInputBuses())
                                     .arg(count)));
        return false;
    }
    while (m_inputBuses.size() > count)
        m_inputBuses.pop_back();  // the bus's destructor disconnects it
    while (m_inputBuses.size() < count)
        m_inputBuses.push_back(std::make_unique<VMKAudioBus>(this, true, m_inputBuses.size()));
    return true;
}

VMKAudioConnection* VMKAudioProcessor::inputConnection() const {
    VMKAudioBus* bus = inputBus();
    return bus ? bus->connection().get() : nullptr;
}

VMKAudioConnection* VMKAudioProcessor::outputConnection() const { return m_outputBus->connection().get(); }

bool VMKAudioProcessor::initializeForRender(VMKError*) { return true; }

bool VMKAudioProcessor::uninitialize(VMKError*) { return true; }

bool VMKAudioProcessor::render(VMKAudioBufferList& destination, VMKAudioBus&, const VMKAudioStreamRenderInfo& info) {
    VMKAudioBus* bus = inputBus();
    if (!bus) {
        destination.clear();
        return true;
    }
    return bus->render(destination, info);
}

QString VMKAudioProcessor::displayName() const {
    return m_identifier.isEmpty() ? className() : QStringLiteral("\"%1\"").arg(m_identifier);
}

VMKError VMKAudioProcessor::formatError(const QString& reason) const {
    return VMKError::errorWithCode(VMKEngineErrorFormat, QStringLiteral("Negotiating the format of an audio stream"),
                                   reason);
}

bool VMKAudioProcessor::proposeNumberOfChannels(VMKAudioConnection& output, uint32_t channels,
                                                VMKError* error) const {
    if (channels == 0)
        return true;
    if (output.numberOfChannels() == 0) {
        output.setNumberOfChannels(channels);
        return true;
    }
    if (output.numberOfChannels() != channels) {
        VMKError::set(error, formatError(QStringLiteral("%1 delivers %2 channels but its output connection carries %3")
                                             .arg(displayName())
                                             .arg(channels)
                                             .arg(output.numberOfChannels())));
        return false;
    }
    return true;
}

bool VMKAudioProcessor::proposeSampleRate(VMKAudioConnection& output, double sampleRate, VMKError* error) const {
    if (sampleRate <= 0.0)
        return true;
    if (output.sampleRate() <= 0.0) {
        output.setSampleRate(sampleRate);
        return true;
    }
    if (output.sampleRate() != sampleRate) {
        VMKError::set(error, formatError(QStringLiteral("%1 delivers %2 Hz but its output connection carries %3 Hz")
                                             .arg(displayName())
                                             .arg(sampleRate)
                                             .arg(output.sampleRate())));
        return false;
    }
    return true;
}

bool VMKAudioProcessor::proposeOutputFormat(VMKAudioConnection& output, VMKError* error) {
    const VMKAudioConnection* input = inputConnection();
    if (!input)
        return true;
    if (!proposeNumberOfChannels(output, input->numberOfChannels(), error) ||
        !proposeSampleRate(output, input->sampleRate(), error))
        return false;
    if (output.maxFrames() <= 0 && input->maxFrames() > 0)
        output.setMaxFrames(input->maxFrames());
    return true;
}

bool VMKAudioProcessor::checkFormat(VMKError* error) const {
    const VMKAudioConnection* output = outputConnection();
    if (!output)
        return true;
    for (const auto& bus : m_inputBuses) {
        const VMKAudioConnection* input = bus->connection().get();
        if (!input)
            continue;
        if (input->sampleRate() != output->sampleRate()) {
            VMKError::set(error, formatError(QStringLiteral("%1 receives %2 Hz on input bus %3 but delivers %4 Hz")
                                                 .arg(displayName())
                                                 .arg(input->sampleRate())
                                                 .arg(bus->index())
                                                 .arg(output->sampleRate())));
            return false;
        }
        if (input->numberOfChannels() != output->numberOfChannels()) {
            VMKError::set(error,
                          formatError(QStringLiteral("%1 receives %2 channels on input bus %3 but delivers %4 channels")
                                          .arg(displayName())
                                          .arg(input->numberOfChannels())
                                          .arg(bus->index())
                                          .arg(output->numberOfChannels())));
            return false;
        }
    }
    return true;
}

} // namespace ondrel
