#include "process/application/SharedRouterOutputRouting.h"

#include "render/engine/channels/VMKAudioRouter.h"

#include <algorithm>

namespace ondrel {

SharedRouterOutputRouting::SharedRouterOutputRouting(ChannelCount numberOfOutputChannels)
    : m_numberOfOutputChannels(std::move(numberOfOutputChannels)) {}

int SharedRouterOutputRouting::numberOfOutputChannels() {
    return m_numberOfOutputChannels ? std::max(m_numberOfOutputChannels(), 0) : 0;
}

void SharedRouterOutputRouting::tieInputChannel(int inputChannel, int outputChannel) {
    if (inputChannel < 0 || outputChannel < 0)
        return;
    VMKAudioRouter::router()->tieInputChannel(uint32_t(inputChannel), uint32_t(outputChannel));
}

} // namespace ondrel
