#include "catalog/access/WaveformDrawer.h"

#include "catalog/entities/ChannelDetails.h"
#include "catalog/entities/FileEntity.h"
#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/waveforms/VMKWaveform.h"
#include "render/engine/waveforms/VMKWaveformBuffer.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace ondrel {

namespace {

constexpr float kFramesPerOverviewValue = float(VMKWaveform::kFramesPerValue);

// The waveform class that reduces runs of values: that of the first
// channel, or the plain one (maximum and minimum) when it has none.
std::shared_ptr<VMKWaveform> reducingWaveform(const std::vector<std::shared_ptr<ChannelDetails>>& details) {
    if (!details.empty())
        if (auto waveform = details.front()->waveform())
            return waveform;
    static const auto plain = std::make_shared<VMKWaveform>();
    return plain;
}

} // namespace

WaveformDrawer::WaveformDrawer(FileEntity& fileEntity)
    : m_fileEntity(fileEntity), m_sampleRate(fileEntity.sampleRate()) {}

void WaveformDrawer::draw(VMKWaveformBuffer& buffer, DoubleRange range) {
    if (!(range.length > 0.0) || range.location + range.length < 0.0 || buffer.frames() == 0 ||
        m_fileEntity.countOfChannelDetails() == 0)
        return;
    const double rangeFrames = std::round(m_sampleRate * range.length);
    const auto framesPerColumn = float(rangeFrames / double(buffer.frames()));
    if (framesPerColumn >= kFramesPerOverviewValue)
        drawFromOverview(buffer, range, rangeFrames);
    else if (framesPerColumn > 1.0f)
        drawFromAudio(buffer, range, framesPerColumn);
    else
        drawSamples(buffer, range);
}

void WaveformDrawer::drawFromOverview(VMKWaveformBuffer& buffer, DoubleRange range, double rangeFrames) {
    const auto details = m_fileEntity.channelDetails();
    const auto reducer = details.front()->waveform();
    if (!reducer)
        return;  // not loaded
    const int64_t columns = buffer.frames();
    const float valuesPerColumn = std::trunc(float(rangeFrames) / (float(columns) * kFramesPerOverviewValue));
    const auto count = std::max<int64_t>(1, int64_t(valuesPerColumn));
    std::vector<float> values(size_t(count), 0.0f);
    const double step = range.length / double(columns);
    for (size_t channel = 0; channel < details.size(); ++channel) {
        const auto waveform = details[channel]->waveform();
        if (!waveform)
            continue;
        double t = range.location;
        for (int64_t column = 0; column < columns; ++column, t += step) {
            if (t + step < 0.0)
                continue;  // ends before the file starts: left as it was
            const auto index = int64_t(std::trunc(std::round(m_sampleRate * t) * 0.00390625));
            waveform->getPositiveValues(values.data(), index, count);
            buffer.setPositiveValue(reducer->positiveValueForBuffer(values.data(), count), column, uint32_t(channel));
            waveform->getNegativeValues(values.data(), index, count);
            buffer.setNegativeValue(reducer->negativeValueForBuffer(values.data(), count), column, uint32_t(channel));
        }
    }
}

void WaveformDrawer::drawFromAudio(VMKWaveformBuffer& buffer, DoubleRange range, float framesPerColumn) {
    auto audio = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()),
                                                      int64_t(std::ceil(framesPerColumn)));
    if (!audio)
        return;
    const auto reducer = reducingWaveform(m_fileEntity.channelDetails());
    const int64_t columns = buffer.frames();
    const double step = range.length / double(columns);
    double t = range.location;
    bool read = true;
    for (int64_t column = 0; column < columns && read; ++column, t += step) {
        read = m_fileEntity.getAudio(*audio, t);
        for (uint32_t c = 0; c < audio->numberOfChannels(); ++c) {
            const float* samples = audio->channel(c);
            buffer.setPositiveValue(reducer->positiveValueForBuffer(samples, audio->frames()), column, c);
            buffer.setNegativeValue(std::min(reducer->negativeValueForBuffer(samples, audio->frames()), 0.0f), column,
                                    c);
        }
    }
}

void WaveformDrawer::drawSamples(VMKWaveformBuffer& buffer, DoubleRange range) {
    const auto first = int64_t(std::trunc(m_sampleRate * range.location));
    const auto end = int64_t(std::ceil(m_sampleRate * (range.location + range.length)));
    const int64_t frames = std::llround(m_sampleRate * (double(end + 1) / m_sampleRate - double(first) / m_sampleRate));
    if (frames <= 0)
        return;
    auto audio = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), frames);
    if (!audio || !m_fileEntity.getAudio(*audio, double(first) / m_sampleRate))
        return;
    const int64_t columns = buffer.frames();
    const double step = range.length / double(columns);
    for (int64_t column = 0; column < columns; ++column) {
        const auto frame = int64_t(std::trunc((double(column) * step + range.location) * m_sampleRate));
        // A column shows the one sample it falls on, on its side of zero;
        // the other side keeps what it had.
        for (uint32_t c = 0; c < audio->numberOfChannels(); ++c) {
            const float value = audio->valueAtFrame(frame - first, c);
            if (value > 0.0f)
                buffer.setPositiveValue(value, column, c);
            else
                buffer.setNegativeValue(value, column, c);
        }
    }
}

} // namespace ondrel
