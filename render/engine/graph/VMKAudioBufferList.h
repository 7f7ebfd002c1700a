#pragma once

#include "core/text/VMKError.h"
#include "render/engine/graph/CHandle.h"

#include <QtCore/QtGlobal>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace ondrel {

// A range of frames: the first frame and a count.
struct VMKFrameRange {
    int64_t location = 0;
    int64_t length = 0;
};

// One channel's buffer as a plain view: its samples and their size in bytes.
struct VMKAudioBuffer {
    float* data = nullptr;
    uint32_t dataByteSize = 0;
};

// Non-interleaved 32-bit float audio: `numberOfChannels` channels of
// `frameCapacity` frames each, of which the first `frames` are valid. All
// channels live in one allocation, each starting on a 64-byte boundary, so a
// buffer list costs one allocation when it is made and none afterwards.
// A new list has `frames` == `frameCapacity` and holds silence.
class VMKAudioBufferList {
public:
    // Fails for zero channels, a negative capacity or when memory runs out.
    static std::shared_ptr<VMKAudioBufferList> initWithChannels(uint32_t numberOfChannels, int64_t frameCapacity,
                                                                VMKError* error = nullptr);
    ~VMKAudioBufferList();
    VMKAudioBufferList(const VMKAudioBufferList&) = delete;
    VMKAudioBufferList& operator=(const VMKAudioBufferList&) = delete;

    uint32_t numberOfChannels() const { return m_channels; }
    int64_t frames() const { return m_frames; }
    int64_t frameCapacity() const { return m_capacity; }
    // Sets the count of valid frames: at most the capacity.
    bool setFrames(int64_t frames, VMKError* error = nullptr);

    // `index` must be below numberOfChannels().
    float* channel(uint32_t index) {
        Q_ASSERT(index < m_channels);
        return m_data.get() + size_t(index) * size_t(m_stride);
    }
    const float* channel(uint32_t index) const {
        Q_ASSERT(index < m_channels);
        return m_data.get() + size_t(index) * size_t(m_stride);
    }
    VMKAudioBuffer bufferAtIndex(uint32_t index);

    // Zeroes every channel over the whole capacity.
    void clear();
    // Reverses the valid frames of every channel in place.
    void reverse();
    // Copies `range` of the source's frames to `position` onwards in this list,
    // channel for channel; both lists need the same channel count, the range
    // must lie within the source's valid frames and fit this list's capacity.
    // The valid frames grow to cover what was copied.
    bool copyFrames(VMKFrameRange range, const VMKAudioBufferList& source, int64_t position,
                    VMKError* error = nullptr);
    // Copies the valid frames of one source channel to frame 0 onwards of one
    // channel here; the valid frames grow to cover what was copied.
    bool copyChannel(uint32_t sourceChannel, const VMKAudioBufferList& source, uint32_t destinationChannel,
                     VMKError* error = nullptr);

    // The sample, or 0.0 outside the valid frames or channels.
    float valueAtFrame(int64_t frame, uint32_t channel) const;
    // Sum of the squared valid samples of all channels, or of one.
    float energy() const;
    float energyOfChannel(uint32_t channel) const;

private:
    VMKAudioBufferList(uint32_t channels, int64_t capacity, int64_t stride, float* data);

    uint32_t m_channels;
    int64_t m_capacity;
    int64_t m_stride;  // floats from one channel's start to the next
    int64_t m_frames;
    CHandle<float, std::free> m_data;  // from std::aligned_alloc
};

} // namespace ondrel
