#include "catalog/access/CrossingFinder.h"

#include "catalog/access/FileEntityLoad.h"
#include "catalog/access/SilentBlocks.h"
#include "catalog/entities/FileEntity.h"
#include "render/engine/dsp/VectorOps.h"
#include "render/engine/graph/VMKAudioBufferList.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

namespace {

constexpr int64_t kZeroCrossingBlockFrames = 1024;

// The smallest index of a sign change over the block's channels, or -1.
int64_t firstSignChange(const VMKAudioBufferList& block) {
    int64_t first = -1;
    for (uint32_t c = 0; c < block.numberOfChannels(); ++c) {
        const int64_t index = dsp::firstSignChange(block.channel(c), block.frames());
        if (index >= 0 && (first < 0 || index < first))
            first = index;
    }
    return first;
}

} // namespace

CrossingFinder::CrossingFinder(FileEntity& fileEntity) : m_fileEntity(fileEntity) {}

double CrossingFinder::locationOfZeroCrossingAfter(double location) {
    FileEntityLoad load(m_fileEntity);
    const double sampleRate = m_fileEntity.sampleRate();
    const double length = m_fileEntity.length();
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), kZeroCrossingBlockFrames);
    if (!block || !(sampleRate > 0.0))
        return std::min(location, length);
    const double blockDuration = double(kZeroCrossingBlockFrames) / sampleRate;
    location = SilentBlocks::skipBeforeStart(location, blockDuration);
    do {
        m_fileEntity.getAudio(*block, location);
        const int64_t index = firstSignChange(*block);
        if (index >= 0)
            return location + double(index) / sampleRate;
        location += blockDuration;
    } while (location < length);
    return std::min(location, length);
}

double CrossingFinder::locationOfZeroCrossingBefore(double location) {
    FileEntityLoad load(m_fileEntity);
    const double sampleRate = m_fileEntity.sampleRate();
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), kZeroCrossingBlockFrames);
    if (!block || !(sampleRate > 0.0))
        return 0.0;
    const double blockDuration = double(kZeroCrossingBlockFrames) / sampleRate;
    location = SilentBlocks::skipPastEnd(location, blockDuration, m_fileEntity.length());
    do {
        location -= blockDuration;
        m_fileEntity.getAudio(*block, location);
        block->reverse();
        const int64_t index = firstSignChange(*block);
        if (index >= 0)
            return location + blockDuration - double(index) / sampleRate;
    } while (location >= 0.0);
    return 0.0;
}

double CrossingFinder::locationOfNearestZeroCrossingTo(double location) {
    FileEntityLoad load(m_fileEntity);
    const double before = locationOfZeroCrossingBefore(location);
    const double after = locationOfZeroCrossingAfter(location);
    return std::fabs(after - location) < std::fabs(location - before) ? after : before;
}

double CrossingFinder::locationOfThresholdCrossingAfter(double location, float threshold) {
    FileEntityLoad load(m_fileEntity);
    const double sampleRate = m_fileEntity.sampleRate();
    const double length = m_fileEntity.length();
    // A second's worth of whole frames, counted as 1.0 second.
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), int64_t(sampleRate));
    if (!block || !(sampleRate > 0.0))
        return length;
    for (location = SilentBlocks::skipBeforeStart(location, 1.0); location < length; location += 1.0) {
        m_fileEntity.getAudio(*block, location);
        for (uint32_t c = 0; c < block->numberOfChannels(); ++c) {
            const float* samples = block->channel(c);
            for (int64_t frame = 0; frame < block->frames(); ++frame)
                if (threshold <= std::fabs(samples[frame]))
                    return location + double(frame) / sampleRate;
        }
    }
    return length;
}

double CrossingFinder::locationOfThresholdCrossingBefore(double location, float threshold) {
    FileEntityLoad load(m_fileEntity);
    const double sampleRate = m_fileEntity.sampleRate();
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), int64_t(sampleRate));
    if (!block || !(sampleRate > 0.0))
        return 0.0;
    for (location = SilentBlocks::skipPastEnd(location, 1.0, m_fileEntity.length()); location > 0.0; location -= 1.0) {
        m_fileEntity.getAudio(*block, location - 1.0);
        for (uint32_t c = 0; c < block->numberOfChannels(); ++c) {
            const float* samples = block->channel(c);
            const int64_t last = block->frames() - 1;
            for (int64_t back = 0; back <= last; ++back)
                if (threshold <= std::fabs(samples[last - back]))
                    return location - double(back) / sampleRate;
        }
    }
    return 0.0;
}

} // namespace ondrel
