#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"
#include "render/engine/channels/VMKAudioRouter.h"

#include <memory>
#include <vector>

namespace ondrel {

class VMKAudioFileReader;
class VMKAudioStream;

// Routes the channels of its input to those of its output through the ties
// of its router: each output channel is the sum of the input channels tied to
// it, silence where none is. The channel counts, when set, fix the formats of
// the input and output connections; left at 0 they follow the connections.
// The router's ties are read by initializeForRender: change them between runs.
class VMKRouterAudioProcessor : public VMKAudioProcessor {
    ONDREL_OBJECT(VMKRouterAudioProcessor, VMKAudioProcessor)

public:
    VMKRouterAudioProcessor();
    ~VMKRouterAudioProcessor() override;

    uint32_t numberOfInputChannels() const { return m_numberOfInputChannels; }
    uint32_t numberOfOutputChannels() const { return m_numberOfOutputChannels; }
    bool setNumberOfInputChannels(uint32_t channels, VMKError* error = nullptr);
    bool setNumberOfOutputChannels(uint32_t channels, VMKError* error = nullptr);

    const std::shared_ptr<VMKAudioRouter>& router() const { return m_router; }
    void setRouter(const std::shared_ptr<VMKAudioRouter>& router);  // null: a router without ties

    // Places one file of a multi-file source among `totalChannels` channels:
    // adds to `stream` a generator reading `reader` and a router that ties
    // the file's channel c to channel `firstChannel` + c, and connects the
    // router to input bus `bus` of `mixer`. Fails, adding nothing, when the
    // file has more channels than fit from `firstChannel` on.
    static bool addFileAtChannels(VMKAudioStream& stream, const std::shared_ptr<VMKAudioFileReader>& reader,
                                  uint32_t firstChannel, uint32_t totalChannels, VMKAudioProcessor& mixer,
                                  uint64_t bus, VMKError* error = nullptr);

    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error = nullptr) override;
    bool checkFormat(VMKError* error = nullptr) const override;
    bool initializeForRender(VMKError* error = nullptr) override;
    bool uninitialize(VMKError* error = nullptr) override;
    bool render(VMKAudioBufferList& destination, VMKAudioBus& bus, const VMKAudioStreamRenderInfo& info) override;

private:
    std::shared_ptr<VMKAudioRouter> m_router;
    std::shared_ptr<VMKAudioBufferList> m_scratch;
    std::vector<VMKAudioRouterTie> m_activeTies;  // the router's ties as of initializeForRender
    uint32_t m_numberOfInputChannels = 0;
    uint32_t m_numberOfOutputChannels = 0;
};

} // namespace ondrel
