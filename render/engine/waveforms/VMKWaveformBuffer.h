#pragma once

#include "core/text/VMKError.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ondrel {

// The columns of a drawn waveform: per channel and column a positive (upper)
// and a negative (lower) value. `frames` is the number of columns in use; a
// new buffer has all its columns in use and every value 0.0.
class VMKWaveformBuffer {
public:
    static std::shared_ptr<VMKWaveformBuffer> initWithChannels(uint32_t numberOfChannels, int64_t frameCapacity,
                                                               VMKError* error = nullptr);

    uint32_t numberOfChannels() const { return m_channels; }
    int64_t frameCapacity() const { return m_capacity; }
    int64_t frames() const { return m_frames; }
    bool setFrames(int64_t frames, VMKError* error = nullptr);

    // Out-of-range frames or channels are ignored.
    void setPositiveValue(float value, int64_t frame, uint32_t channel);
    void setNegativeValue(float value, int64_t frame, uint32_t channel);
    float* positiveValuesForChannel(uint32_t channel);
    float* negativeValuesForChannel(uint32_t channel);
    const float* positiveValuesForChannel(uint32_t channel) const;
    const float* negativeValuesForChannel(uint32_t channel) const;
    void clear();

private:
    VMKWaveformBuffer(uint32_t channels, int64_t capacity);

    uint32_t m_channels;
    int64_t m_capacity;
    int64_t m_frames;
    std::vector<float> m_values;  // per channel: capacity positive values, then capacity negative values
};

} // namespace ondrel
