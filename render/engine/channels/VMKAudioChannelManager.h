#pragma once

#include "render/engine/channels/VMKAudioChannelSet.h"

#include <QtCore/QStringList>

#include <memory>

namespace ondrel {

// The channel layouts the engine knows: the usual layout for 1 to 8 channels,
// and the common music and surround layouts by their channel abbreviations
// (L R C LFE/Lf Ls Rs Lsb Rsb Rl Rr Lc Rc Lw Rw Lh Rh Cs).
class VMKAudioChannelManager {
public:
    static VMKAudioChannelManager& manager();

    // The usual layout for a channel count (1 to 8), or null.
    std::shared_ptr<VMKAudioChannelSet> setForNumberOfChannels(uint32_t numberOfChannels) const;
    // The layout made of exactly these abbreviations, in any order and any
    // case, with its channels in layout order; each description keeps the
    // abbreviation as the caller wrote it. Null when they make no known
    // layout (also for a repeated channel).
    std::shared_ptr<VMKAudioChannelSet> setForChannelAbbreviations(const QStringList& abbreviations) const;

private:
    VMKAudioChannelManager() = default;
};

} // namespace ondrel
