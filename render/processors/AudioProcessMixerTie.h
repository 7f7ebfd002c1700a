#pragma once

#include <cstdint>
#include <functional>

namespace ondrel {

// One term of the mix: channel `inputChannelIndex` of input bus
// `inputBusIndex`, scaled by `gain` decibels (0.0 is exactly 1.0) and
// inverted when asked, is added to output channel `outputChannelIndex`.
struct AudioProcessMixerTie {
    uint64_t inputBusIndex = 0;
    uint64_t inputChannelIndex = 0;
    uint64_t outputChannelIndex = 0;
    float gain = 0.0f;
    bool invert = false;

    // The linear factor: 10^(gain / 20), negative when inverted.
    float scalar() const;

    friend bool operator==(const AudioProcessMixerTie&, const AudioProcessMixerTie&) = default;
};

struct AudioProcessMixerTieHash {
    size_t operator()(const AudioProcessMixerTie& tie) const noexcept;
};

} // namespace ondrel
