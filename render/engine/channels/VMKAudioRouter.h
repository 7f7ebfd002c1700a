#pragma once

#include "core/objects/IndexSet.h"
#include "core/text/VMKError.h"
#include "render/engine/channels/VMKAudioRouterTie.h"

#include <QtCore/QVariantMap>

#include <memory>
#include <optional>
#include <vector>

namespace ondrel {

// A set of ties from input channels to output channels. An input channel may
// be tied to several outputs and an output fed by several inputs (they add);
// a channel without a tie is not heard.
//
// Its property-list form: {"ties": [{"inputChannel": 0, "outputChannel": 1}, ...]}.
class VMKAudioRouter {
public:
    // The one process-wide router between the program's channels and the
    // output device's, tied at start. Change it on the main thread. A router
    // of one's own (a router processor's) is made with std::make_shared.
    static std::shared_ptr<VMKAudioRouter> router();
    // A new router from its property-list form; null (with an error) for a
    // form that isn't one.
    static std::shared_ptr<VMKAudioRouter> routerWithProperties(const QVariantMap& properties,
                                                                VMKError* error = nullptr);
    QVariantMap properties() const;

    void tieInputChannel(uint32_t inputChannel, uint32_t outputChannel);
    void untieInputChannel(uint32_t inputChannel, uint32_t outputChannel);
    void removeAllTies() { m_ties.clear(); }
    IndexSet outputChannelsTiedToInputChannel(uint32_t inputChannel) const;
    std::optional<VMKAudioRouterTie> tieForInputChannel(uint32_t inputChannel, uint32_t outputChannel) const;
    bool isInputChannel(uint32_t inputChannel, uint32_t tiedToOutputChannel) const;

    // In order of input channel, then output channel.
    const std::vector<VMKAudioRouterTie>& ties() const { return m_ties; }
    size_t countOfTies() const { return m_ties.size(); }

private:
    std::vector<VMKAudioRouterTie> m_ties;
};

} // namespace ondrel
