#include "render/engine/waveforms/VMKWaveformBuffer.h"

#include "render/engine/graph/VMKEngineError.h"

#include <algorithm>
#include <new>

namespace ondrel {

std::shared_ptr<VMKWaveformBuffer> VMKWaveformBuffer::initWithChannels(uint32_t numberOfChannels,
                                                                       int64_t frameCapacity, VMKError* error) {
    if (numberOfChannels == 0 || frameCapacity < 0 || frameCapacity > (int64_t(1) << 32)) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorInvalidArgument,
                                                     QStringLiteral("Making a waveform buffer"),
                                                     QStringLiteral("%1 channels of %2 columns can't be drawn")
                                                         .arg(numberOfChannels)
                                                         .arg(frameCapacity)));
        return nullptr;
    }
    try {
        return std::shared_ptr<VMKWaveformBuffer>(new VMKWaveformBuffer(numberOfChannels, frameCapacity));
    } catch (const std::bad_alloc&) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorInvalidArgument,
                                                     QStringLiteral("Making a waveform buffer"),
                                                     QStringLiteral("out of memory")));
        return nullptr;
    }
}

VMKWaveformBuffer::VMKWaveformBuffer(uint32_t channels, int64_t capacity)
    : m_channels(channels), m_capacity(capacity), m_frames(capacity),
      m_values(size_t(channels) * size_t(capacity) * 2, 0.0f) {}

bool VMKWaveformBuffer::setFrames(int64_t frames, VMKError* error) {
    if (frames < 0 || frames > m_capacity) {
        VMKError::set(error, VMKError::errorWithCode(VMKEngineErrorInvalidArgument,
                                                     QStringLiteral("Setting the columns of a waveform buffer"),
                                                     QStringLiteral("%1 columns don't fit a capacity of %2")
                                                         .arg(frames)
                                                         .arg(m_capacity)));
        return false;
    }
    m_frames = frames;
    return true;
}

void VMKWaveformBuffer::setPositiveValue(float value, int64_t frame, uint32_t channel) {
    if (channel < m_channels && frame >= 0 && frame < m_capacity)
        positiveValuesForChannel(channel)[frame] = value;
}

void VMKWaveformBuffer::setNegativeValue(float value, int64_t frame, uint32_t channel) {
    if (channel < m_channels && frame >= 0 && frame < m_capacity)
        negativeValuesForChannel(channel)[frame] = value;
}

float* VMKWaveformBuffer::positiveValuesForChannel(uint32_t channel) {
    return channel < m_channels ? m_values.data() + size_t(channel) * size_t(m_capacity) * 2 : nullptr;
}

float* VMKWaveformBuffer::negativeValuesForChannel(uint32_t channel) {
    return channel < m_channels ? m_values.data() + (size_t(channel) * 2 + 1) * size_t(m_capacity) : nullptr;
}

const float* VMKWaveformBuffer::positiveValuesForChannel(uint32_t channel) const {
    return const_cast<VMKWaveformBuffer*>(this)->positiveValuesForChannel(channel);
}

const float* VMKWaveformBuffer::negativeValuesForChannel(uint32_t channel) const {
    return const_cast<VMKWaveformBuffer*>(this)->negativeValuesForChannel(channel);
}

void VMKWaveformBuffer::clear() { std::fill(m_values.begin(), m_values.end(), 0.0f); }

} // namespace ondrel
