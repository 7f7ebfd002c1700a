#include "render/engine/files/VMKAudioFileAudioGenerator.h"

#include <algorithm>

namespace ondrel {

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

void VMKAudioFileAudioGenerator::prepareForPlaybackFromLocation(double location) {
    m_playbackLocation = location;
    m_fadeInDone.store(m_antiClickOnStart ? 0 : kAntiClickFrames, std::memory_order_release);
}

bool VMKAudioFileAudioGenerator::initializeForRender(VMKError* error) {
    m_fadeInDone.store(m_antiClickOnStart ? 0 : kAntiClickFrames, std::memory_order_release);
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
    const int64_t done = m_fadeInDone.load(std::memory_order_acquire);
    if (done < kAntiClickFrames) {
        const int64_t n = std::min(destination.frames(), kAntiClickFrames - done);
        for (uint32_t c = 0; c < destination.numberOfChannels(); ++c) {
            float* samples = destination.channel(c);
            for (int64_t i = 0; i < n; ++i)
                samples[i] *= float(done + i) / float(kAntiClickFrames);
        }
        m_fadeInDone.store(done + n, std::memory_order_release);
    }
    return true;
}

} // namespace ondrel
