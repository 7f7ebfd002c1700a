#include "render/engine/VMKAudioConnection.h"

#include "render/engine/VMKAudioBufferList.h"
#include "render/engine/VMKAudioBus.h"

VMKAudioConnection::~VMKAudioConnection() = default;

void VMKAudioConnection::conformToConnection(const VMKAudioConnection& other) {
    m_numberOfChannels = other.m_numberOfChannels;
    m_sampleRate = other.m_sampleRate;
    m_maxFrames = other.m_maxFrames;
}

bool VMKAudioConnection::render(VMKAudioBufferList& destination, const VMKAudioStreamRenderInfo& info) {
    if (!m_inputBus) {
        destination.clear();
        return false;
    }
    return m_inputBus->render(destination, info);
}
