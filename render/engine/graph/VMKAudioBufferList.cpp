#include "render/engine/graph/VMKAudioBufferList.h"

#include "render/engine/graph/VMKEngineError.h"
#include "render/engine/dsp/VectorOps.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace ondrel {

namespace {
constexpr int64_t kAlignment = 64;
constexpr int64_t kFloatsPerAlignment = kAlignment / int64_t(sizeof(float));
constexpr int64_t kMaximumBytes = int64_t(1) << 40;

VMKError bufferError(const QString& reason) {
    return VMKError::errorWithCode(VMKEngineErrorInvalidArgument, QStringLiteral("Using an audio buffer"), reason);
}
} // namespace

std::shared_ptr<VMKAudioBufferList> VMKAudioBufferList::initWithChannels(uint32_t numberOfChannels,
                                                                         int64_t frameCapacity, VMKError* error) {
    if (numberOfChannels == 0) {
        VMKError::set(error, bufferError(QStringLiteral("an audio buffer needs at least one channel")));
        return nullptr;
    }
    if (frameCapacity < 0) {
        VMKError::set(error, bufferError(QStringLiteral("the frame capacity %1 is negative").arg(frameCapacity)));
        return nullptr;
    }
    // Checked before any arithmetic, which could otherwise overflow into a
    // small allocation for a huge capacity.
    constexpr int64_t kMaximumFloats = kMaximumBytes / int64_t(sizeof(float));
    const int64_t stride = frameCapacity > kMaximumFloats
                               ? kMaximumFloats + 1
                               : std::max<int64_t>(kFloatsPerAlignment, (frameCapacity + kFloatsPerAlignment - 1) /
                                                                            kFloatsPerAlignment * kFloatsPerAlignment);
    if (stride > kMaximumFloats / int64_t(numberOfChannels)) {
        VMKError::set(error, bufferError(QStringLiteral("%1 channels of %2 frames are too large")
                                             .arg(numberOfChannels)
                                             .arg(frameCapacity)));
        return nullptr;
    }
    const int64_t bytes = stride * int64_t(sizeof(float)) * int64_t(numberOfChannels);
    auto* data = static_cast<float*>(std::aligned_alloc(size_t(kAlignment), size_t(bytes)));
    if (!data) {
        VMKError::set(error, bufferError(QStringLiteral("out of memory for %1 channels of %2 frames")
                                             .arg(numberOfChannels)
                                             .arg(frameCapacity)));
        return nullptr;
    }
    dsp::clear(data, bytes / int64_t(sizeof(float)));
    return std::shared_ptr<VMKAudioBufferList>(new VMKAudioBufferList(numberOfChannels, frameCapacity, stride, data));
}

VMKAudioBufferList::VMKAudioBufferList(uint32_t channels, int64_t capacity, int64_t stride, float* data)
    : m_channels(channels), m_capacity(capacity), m_stride(stride), m_frames(capacity), m_data(data) {}

VMKAudioBufferList::~VMKAudioBufferList() = default;

bool VMKAudioBufferList::setFrames(int64_t frames, VMKError* error) {
    if (frames < 0 || frames > m_capacity) {
        VMKError::set(error, bufferError(QStringLiteral("%1 frames don't fit a capacity of %2 frames")
                                             .arg(frames)
                                             .arg(m_capacity)));
        return false;
    }
    m_frames = frames;
    return true;
}

VMKAudioBuffer VMKAudioBufferList::bufferAtIndex(uint32_t index) {
    if (index >= m_channels)
        return {};
    return {channel(index), uint32_t(m_frames * int64_t(sizeof(float)))};
}

void VMKAudioBufferList::clear() { dsp::clear(m_data.get(), m_stride * int64_t(m_channels)); }

void VMKAudioBufferList::reverse() {
    for (uint32_t c = 0; c < m_channels; ++c)
        dsp::reverse(channel(c), m_frames);
}

bool VMKAudioBufferList::copyFrames(VMKFrameRange range, const VMKAudioBufferList& source, int64_t position,
                                    VMKError* error) {
    if (source.m_channels != m_channels) {
        VMKError::set(error, bufferError(QStringLiteral("copying %1 channels into %2 channels")
                                             .arg(source.m_channels)
                                             .arg(m_channels)));
        return false;
    }
    if (range.location < 0 || range.length < 0 || range.location + range.length > source.m_frames) {
        VMKError::set(error, bufferError(QStringLiteral("frames %1 to %2 lie outside the %3 frames of the source")
                                             .arg(range.location)
                                             .arg(range.location + range.length)
                                             .arg(source.m_frames)));
        return false;
    }
    if (position < 0 || position + range.length > m_capacity) {
        VMKError::set(error, bufferError(QStringLiteral("%1 frames at frame %2 don't fit a capacity of %3 frames")
                                             .arg(range.length)
                                             .arg(position)
                                             .arg(m_capacity)));
        return false;
    }
    for (uint32_t c = 0; c < m_channels; ++c)
        dsp::copy(channel(c) + position, source.channel(c) + range.location, range.length);
    m_frames = std::max(m_frames, position + range.length);
    return true;
}

bool VMKAudioBufferList::copyChannel(uint32_t sourceChannel, const VMKAudioBufferList& source,
                                     uint32_t destinationChannel, VMKError* error) {
    if (sourceChannel >= source.m_channels || destinationChannel >= m_channels) {
        VMKError::set(error, bufferError(QStringLiteral("channel %1 of %2 to channel %3 of %4 doesn't exist")
                                             .arg(sourceChannel)
                                             .arg(source.m_channels)
                                             .arg(destinationChannel)
                                             .arg(m_channels)));
        return false;
    }
    if (source.m_frames > m_capacity) {
        VMKError::set(error, bufferError(QStringLiteral("%1 frames don't fit a capacity of %2 frames")
                                             .arg(source.m_frames)
                                             .arg(m_capacity)));
        return false;
    }
    dsp::copy(channel(destinationChannel), source.channel(sourceChannel), source.m_frames);
    m_frames = std::max(m_frames, source.m_frames);
    return true;
}

float VMKAudioBufferList::valueAtFrame(int64_t frame, uint32_t channelIndex) const {
    if (frame < 0 || frame >= m_frames || channelIndex >= m_channels)
        return 0.0f;
    return channel(channelIndex)[frame];
}

float VMKAudioBufferList::energy() const {
    float sum = 0.0f;
    for (uint32_t c = 0; c < m_channels; ++c)
        sum += dsp::sumOfSquares(channel(c), m_frames);
    return sum;
}

float VMKAudioBufferList::energyOfChannel(uint32_t channelIndex) const {
    if (channelIndex >= m_channels)
        return 0.0f;
    return dsp::sumOfSquares(channel(channelIndex), m_frames);
}

} // namespace ondrel
