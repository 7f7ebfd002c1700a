#pragma once

#include "process/interfaces/AudioOutputRouting.h"

#include <functional>

namespace ondrel {

// The program's output routing: ties go to the engine's one process-wide
// router (VMKAudioRouter::router()), the channel count comes from the output
// device. Installed by default; the device layer installs one that counts
// its default output device's channels.
class SharedRouterOutputRouting : public AudioOutputRouting {
public:
    using ChannelCount = std::function<int()>;

    // `numberOfOutputChannels` answers the default output device's channels;
    // without it there is no device, and so no channel to tie.
    explicit SharedRouterOutputRouting(ChannelCount numberOfOutputChannels = {});

    // The count's answer, 0 without one; never negative.
    int numberOfOutputChannels() override;
    // Ties on the shared router. Negative channels are ignored. Call on the
    // main thread.
    void tieInputChannel(int inputChannel, int outputChannel) override;

private:
    ChannelCount m_numberOfOutputChannels;
};

} // namespace ondrel
