#include "render/engine/graph/VMKAudioBus.h"

#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/graph/VMKAudioConnection.h"
#include "render/engine/graph/VMKAudioProcessor.h"

namespace ondrel {

VMKAudioBus::VMKAudioBus(VMKAudioProcessor* processor, bool isInput, uint64_t index)
    : m_processor(processor), m_index(index), m_isInput(isInput) {}

VMKAudioBus::~VMKAudioBus() { attach(nullptr); }

void VMKAudioBus::attach(const std::shared_ptr<VMKAudioConnection>& connection) {
    if (m_connection == connection)
        return;
    if (m_connection) {
        VMKAudioBus*& end = m_isInput ? m_connection->m_outputBus : m_connection->m_inputBus;
        if (end == this)
            end = nullptr;
    }
    m_connection = connection;
    if (m_connection) {
        VMKAudioBus*& end = m_isInput ? m_connection->m_outputBus : m_connection->m_inputBus;
        if (end && end != this)
            end->m_connection.reset();  // the connection had another bus at this end
        end = this;
    }
}

bool VMKAudioBus::render(VMKAudioBufferList& destination, const VMKAudioStreamRenderInfo& info) {
    if (!m_isInput)
        return m_processor ? m_processor->render(destination, *this, info) : (destination.clear(), false);
    if (!m_connection) {
        destination.clear();
        return false;
    }
    return m_connection->render(destination, info);
}

} // namespace ondrel
