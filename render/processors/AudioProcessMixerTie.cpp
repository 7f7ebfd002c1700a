#include "render/processors/AudioProcessMixerTie.h"

#include <cmath>

namespace ondrel {

float AudioProcessMixerTie::scalar() const {
    // pow(10, 0) is exactly 1, so a tie at 0 dB passes its channel bit for bit.
    const float magnitude = std::pow(10.0f, gain / 20.0f);
    return invert ? -magnitude : magnitude;
}

size_t AudioProcessMixerTieHash::operator()(const AudioProcessMixerTie& tie) const noexcept {
    size_t seed = std::hash<uint64_t>()(tie.inputBusIndex);
    auto combine = [&seed](size_t value) { seed ^= value + 0x9e3779b97f4a7c15ull + (seed << 6) + (seed >> 2); };
    combine(std::hash<uint64_t>()(tie.inputChannelIndex));
    combine(std::hash<uint64_t>()(tie.outputChannelIndex));
    combine(std::hash<float>()(tie.gain));
    combine(std::hash<bool>()(tie.invert));
    return seed;
}

} // namespace ondrel
