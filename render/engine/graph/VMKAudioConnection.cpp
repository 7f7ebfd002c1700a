#include "render/engine/graph/VMKAudioConnection.h"

#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/graph/VMKAudioBus.h"

#include <QtCore/QtGlobal>

namespace ondrel {

VMKAudioConnection::~VMKAudioConnection() = default;

void VMKAudioConnection::conformToConnection(const VMKAudioConnection& other) {
    m_numberOfChannels = other.m_numberOfChannels;
    m_sampleRate = other.m_sampleRate;
    m_maxFrames = other.m_maxFrames;
}

bool VMKAudioConnection::render(VMKAudioBufferList& destination, const VMKAudioStreamRenderInfo& info) {
    // Every processor sizes its scratch memory by the block size of its connections.
    Q_ASSERT(m_maxFrames <= 0 || destination.frames() <= m_maxFrames);
    if (!m_inputBus) {
        destination.clear();
        return false;
    }
    return m_inputBus->render(destination, info);
}

} // namespace ondrel
