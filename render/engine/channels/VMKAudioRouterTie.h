#pragma once

#include <cstdint>

namespace ondrel {

// One tie of a router: an input channel heard on an output channel.
class VMKAudioRouterTie {
public:
    VMKAudioRouterTie() = default;
    VMKAudioRouterTie(uint32_t inputChannel, uint32_t outputChannel)
        : m_inputChannel(inputChannel), m_outputChannel(outputChannel) {}

    uint32_t inputChannel() const { return m_inputChannel; }
    uint32_t outputChannel() const { return m_outputChannel; }

    bool operator==(const VMKAudioRouterTie& other) const = default;
    bool operator<(const VMKAudioRouterTie& other) const {
        return m_inputChannel != other.m_inputChannel ? m_inputChannel < other.m_inputChannel
                                                      : m_outputChannel < other.m_outputChannel;
    }

private:
    uint32_t m_inputChannel = 0;
    uint32_t m_outputChannel = 0;
};

} // namespace ondrel
