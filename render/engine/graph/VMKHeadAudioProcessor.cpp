#include "render/engine/graph/VMKHeadAudioProcessor.h"

#include "render/engine/graph/VMKEngineError.h"

#include <algorithm>

namespace ondrel {

const ClassInfo& VMKHeadAudioProcessor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKHeadAudioProcessor, VMKAudioProcessor>(QStringLiteral("VMKHeadAudioProcessor"))
            .property(QStringLiteral("frameCount"), &VMKHeadAudioProcessor::frameCount,
                      &VMKHeadAudioProcessor::setFrameCount);
    return info;
}

VMKHeadAudioProcessor::VMKHeadAudioProcessor() = default;

VMKHeadAudioProcessor::~VMKHeadAudioProcessor() = default;

bool VMKHeadAudioProcessor::initializeForRender(VMKError* error) {
    const VMKAudioConnection* input = inputConnection();
    if (!input || !input->isFormatComplete()) {
        VMKError::set(error, formatError(QStringLiteral("the channels, rate or block size reaching %1 are undecided")
                                             .arg(displayName())));
        return false;
    }
    // A stop that comes after this, even before start(), ends the coming run.
    m_stopRequested.store(false, std::memory_order_release);
    m_buffer = VMKAudioBufferList::initWithChannels(input->numberOfChannels(), input->maxFrames(), error);
    return bool(m_buffer);
}

bool VMKHeadAudioProcessor::uninitialize(VMKError*) {
    m_buffer.reset();
    return true;
}

bool VMKHeadAudioProcessor::didPullBlock(const VMKAudioBufferList&, VMKError*) { return true; }

bool VMKHeadAudioProcessor::start(VMKError* error) {
    VMKAudioBus* bus = inputBus();
    if (!m_buffer || !bus) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorState, QStringLiteral("Starting an audio stream"),
                                                     QStringLiteral("%1 is not initialized").arg(displayName())));
        return false;
    }
    VMKError renderError;
    m_info.setErrorSlot(&renderError);
    m_info.setRunning(true);
    const int64_t end = m_info.sampleTime() + std::max<int64_t>(0, m_frameCount);
    bool ok = true;
    while (ok && !isStopRequested() && m_info.sampleTime() < end) {
        const int64_t n = std::min(m_buffer->frameCapacity(), end - m_info.sampleTime());
        m_buffer->setFrames(n);
        if (!bus->render(*m_buffer, m_info)) {
            if (!renderError)
                renderError = VMKError::errorWithCode(VMKEngineErrorRender, QStringLiteral("Rendering audio"),
                                                      QStringLiteral("%1 could not pull frames %2 to %3")
                                                          .arg(displayName())
                                                          .arg(m_info.sampleTime())
                                                          .arg(m_info.sampleTime() + n));
            VMKError::set(error, renderError);
            ok = false;
            break;
        }
        ok = didPullBlock(*m_buffer, error);
        m_info.setSampleTime(m_info.sampleTime() + n);
    }
    m_info.setRunning(false);
    m_info.setErrorSlot(nullptr);
    return ok;
}

bool VMKHeadAudioProcessor::stop(VMKError*) {
    m_stopRequested.store(true, std::memory_order_release);
    return true;
}

} // namespace ondrel
