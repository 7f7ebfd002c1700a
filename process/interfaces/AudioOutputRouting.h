#pragma once

namespace ondrel {

// The output side of the audio device layer as start-up needs it: how many
// output channels the default output device has, and the shared router that
// ties the program's channels to the device's. SharedRouterOutputRouting is
// the program's; without a device there are no channels.
class AudioOutputRouting {
public:
    virtual ~AudioOutputRouting() = default;
    // Output channels of the default output device; 0 when there is none.
    virtual int numberOfOutputChannels() = 0;
    // Sends the router's input channel to the device's output channel.
    virtual void tieInputChannel(int inputChannel, int outputChannel) = 0;
};

} // namespace ondrel
