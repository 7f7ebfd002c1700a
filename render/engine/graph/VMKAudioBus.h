#pragma once

#include <cstdint>
#include <memory>

namespace ondrel {

class VMKAudioBufferList;
class VMKAudioConnection;
class VMKAudioProcessor;
class VMKAudioStreamRenderInfo;

// One input or output of a processor, owned by it. A bus has at most one
// connection; VMKAudioStream makes and breaks them.
class VMKAudioBus {
public:
    VMKAudioBus(VMKAudioProcessor* processor, bool isInput, uint64_t index);
    ~VMKAudioBus();
    VMKAudioBus(const VMKAudioBus&) = delete;
    VMKAudioBus& operator=(const VMKAudioBus&) = delete;

    VMKAudioProcessor* processor() const { return m_processor; }
    bool isInput() const { return m_isInput; }
    uint64_t index() const { return m_index; }
    const std::shared_ptr<VMKAudioConnection>& connection() const { return m_connection; }

    // On an input bus: pulls the upstream processor through the connection
    // (silence and false when unconnected). On an output bus: asks the owning
    // processor to render for this bus.
    bool render(VMKAudioBufferList& destination, const VMKAudioStreamRenderInfo& info);

private:
    friend class VMKAudioStream;
    friend class VMKAudioProcessor;
    // Attaches to `connection` (detaching from any previous one) or, with
    // null, detaches. Keeps the connection's end pointing back here.
    void attach(const std::shared_ptr<VMKAudioConnection>& connection);

    VMKAudioProcessor* m_processor;
    std::shared_ptr<VMKAudioConnection> m_connection;
    uint64_t m_index;
    bool m_isInput;
};

} // namespace ondrel
