#include "render/engine/VMKAudioFileAudioGenerator.h"

const ClassInfo& VMKAudioFileAudioGenerator::staticClassInfo() {
    using G = VMKAudioFileAudioGenerator;
    static const ClassInfo& info =
        ClassInfo::define<G, VMKAudioProcessor>(QStringLiteral("VMKAudioFileAudioGenerator"))
            .property(QStringLiteral("antiClickOnStart"), &G::isAntiClickOnStart, &G::setAntiClickOnStart)
            .property(QStringLiteral("antiClickOnStop"), &G::isAntiClickOnStop, &G::setAntiClickOnStop);
    return info;
}

VMKAudioFileAudioGenerator::VMKAudioFileAudioGenerator() { setNumberOfInputBuses(0); }

VMKAudioFileAudioGenerator::~VMKAudioFileAudioGenerator() = default;

bool VMKAudioFileAudioGenerator::proposeOutputFormat(VMKAudioConnection& output, VMKError* error) {
    if (!m_audioFile) {
        VMKError::set(error, formatError(QStringLiteral("%1 has no audio file").arg(displayName())));
        return false;
    }
    return proposeNumberOfChannels(output, uint32_t(m_audioFile->numberOfChannels()), error) &&
           proposeSampleRate(output, m_audioFile->sampleRate(), error);
}

bool VMKAudioFileAudioGenerator::initializeForRender(VMKError* error) {
    if (!m_audioFile) {
        VMKError::set(error, formatError(QStringLiteral("%1 has no audio file").arg(displayName())));
        return false;
    }
    return VMKAudioProcessor::initializeForRender(error);
}

bool VMKAudioFileAudioGenerator::render(VMKAudioBufferList& destination, VMKAudioBus&,
                                        const VMKAudioStreamRenderInfo& info) {
    VMKError error;
    if (!m_audioFile->getAudio(destination, info.sampleTime(), &error)) {
        info.reportError(error);
        destination.clear();
        return false;
    }
    return true;
}
