#include "catalog/access/BeatDetector.h"

#include "catalog/access/FileEntityLoad.h"
#include "catalog/access/SilentBlocks.h"
#include "catalog/entities/FileEntity.h"
#include "render/engine/dsp/VectorOps.h"
#include "render/engine/graph/VMKAudioBufferList.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

namespace {

constexpr int64_t kBlockFrames = 512;

// Band edges as 2 pi f, and half of ln 2 times the bandwidth in octaves.
constexpr double kHighBandOmega = 50265.48245743669;  // 8000 Hz
constexpr float kHighBandWidth = 0.05776224194175609f;  // 1/6 octave
constexpr double kLowBandOmega = 628.3185307179587;  // 100 Hz
constexpr float kLowBandWidth = 0.34657359027997264f;  // 1 octave

float bandAlpha(float w0, float width) { return std::sin(w0) * std::sinh(width * w0 / std::sin(w0)); }

} // namespace

BeatDetector::BeatDetector(FileEntity& fileEntity)
    : m_fileEntity(fileEntity),
      m_sampleRate(fileEntity.sampleRate()),
      m_length(fileEntity.length()),
      m_step(m_sampleRate > 0.0 ? double(kBlockFrames) / m_sampleRate : 0.0) {}

double BeatDetector::locationOfNextDetectedBeatUsing(const QString& method, float sensitivity, double location) {
    FileEntityLoad load(m_fileEntity);
    if (method == QLatin1String("magnitude"))
        return locationOfNextDetectedBeatUsingMagnitude(sensitivity, location);
    if (method == QLatin1String("energy"))
        return locationOfNextDetectedBeatUsingEnergy(sensitivity, location);
    if (method == QLatin1String("energyBands"))
        return locationOfNextDetectedBeatUsingEnergyBands(sensitivity, location);
    return 0.0;
}

void BeatDetector::readMix(VMKAudioBufferList& block, float* mix, double location) {
    m_fileEntity.getAudio(block, location);
    dsp::clear(mix, kBlockFrames);
    for (uint32_t c = 0; c < block.numberOfChannels(); ++c)
        dsp::add(mix, block.channel(c), kBlockFrames);
    dsp::divide(mix, float(block.numberOfChannels()), kBlockFrames);
}

double BeatDetector::locationOfNextDetectedBeatUsingMagnitude(float sensitivity, double location) {
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), kBlockFrames);
    auto mix = VMKAudioBufferList::initWithChannels(1, kBlockFrames);
    if (!block || !mix || !(m_step > 0.0))
        return m_length;
    const float threshold = std::pow(3.0f, 1.0f - sensitivity);
    // No previous peak yet: the first block is read again and compared with
    // itself before the search moves on.
    float previous = -1.0f;
    location = SilentBlocks::skipBeforeStart(location, m_step);
    while (location < m_length) {
        readMix(*block, mix->channel(0), location);
        int64_t index = 0;
        const float current = dsp::maximumMagnitude(mix->channel(0), kBlockFrames, &index);
        if (previous != -1.0f) {
            // Both logarithms are negative below full scale: a rise out of
            // a quiet block gives a large ratio, and any sound after digital
            // silence an infinite one.
            const float ratio = std::log10(previous) / std::log10(current);
            if (ratio > threshold)
                return location + double(index) / m_sampleRate;
            location += m_step;
        }
        previous = current;
    }
    return m_length;
}

double BeatDetector::locationOfNextDetectedBeatUsingEnergy(float sensitivity, double location) {
    // Also no number: NaN would never reach the end.
    if (!(location < m_length))
        return m_length;
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), kBlockFrames);
    if (!block || !(m_step > 0.0))
        return m_length;
    location = SilentBlocks::skipBeforeStart(location, m_step);
    const float threshold = 20.0f - 18.5f * sensitivity;
    m_fileEntity.getAudio(*block, location);
    float previous = block->energy();
    for (;;) {
        location += m_step;
        if (location >= m_length)
            return m_length;
        m_fileEntity.getAudio(*block, location);
        const float current = block->energy();
        if (current / previous > threshold)
            return location;
        previous = current;
    }
}

BeatDetector::Biquad BeatDetector::highPass(float w0, float alpha) {
    const float cosine = std::cos(w0);
    const float a0 = 1.0f + alpha;
    Biquad filter;
    filter.coefficients[0] = (1.0f + cosine) / 2.0f / a0;
    filter.coefficients[1] = -(1.0f + cosine) / a0;
    filter.coefficients[2] = filter.coefficients[0];
    filter.coefficients[3] = -2.0f * cosine / a0;
    filter.coefficients[4] = (1.0f - alpha) / a0;
    return filter;
}

BeatDetector::Biquad BeatDetector::lowPass(float w0, float alpha) {
    const float cosine = std::cos(w0);
    const float a0 = 1.0f + alpha;
    Biquad filter;
    filter.coefficients[0] = (1.0f - cosine) / 2.0f / a0;
    filter.coefficients[1] = (1.0f - cosine) / a0;
    filter.coefficients[2] = filter.coefficients[0];
    filter.coefficients[3] = -2.0f * cosine / a0;
    filter.coefficients[4] = (1.0f - alpha) / a0;
    return filter;
}

double BeatDetector::locationOfNextDetectedBeatUsingEnergyBands(float sensitivity, double location) {
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), kBlockFrames);
    auto bands = VMKAudioBufferList::initWithChannels(2, kBlockFrames);  // 0: low, 1: high
    if (!block || !bands || !(m_step > 0.0))
        return m_length;
    const float highW0 = float(kHighBandOmega / m_sampleRate);
    const float lowW0 = float(kLowBandOmega / m_sampleRate);
    Biquad high = highPass(highW0, bandAlpha(highW0, kHighBandWidth));
    Biquad low = lowPass(lowW0, bandAlpha(lowW0, kLowBandWidth));
    const float lowThreshold = 30.0f - 25.0f * sensitivity;
    const float highThreshold = 200.0f - 199.0f * sensitivity;
    float previousLow = -1.0f;
    float previousHigh = -1.0f;
    for (location = SilentBlocks::skipBeforeStart(location, m_step); location < m_length; location += m_step) {
        readMix(*block, bands->channel(0), location);
        dsp::copy(bands->channel(1), bands->channel(0), kBlockFrames);
        dsp::biquad(bands->channel(1), kBlockFrames, high.coefficients, high.state);
        dsp::biquad(bands->channel(0), kBlockFrames, low.coefficients, low.state);
        const float lowEnergy = bands->energyOfChannel(0);
        if (previousLow != -1.0f && lowEnergy / previousLow > lowThreshold)
            return location;
        const float highEnergy = bands->energyOfChannel(1);
        if (previousHigh != -1.0f && highEnergy / previousHigh > highThreshold)
            return location;
        previousLow = lowEnergy;
        previousHigh = highEnergy;
    }
    return m_length;
}

DoubleRange BeatDetector::rangeOfNextDetectedBeatUsingThresholds(float attackThreshold, float releaseThreshold,
                                                                 double releaseLength, double location) {
    const DoubleRange notFound{FileEntity::NotFoundLocation, 0.0};
    // Also no number: NaN would never reach the end.
    if (!(location < m_length))
        return notFound;
    const auto frames = int64_t(m_fileEntity.frames());
    const int64_t releaseFrames = std::llround(m_sampleRate * releaseLength);
    FileEntityLoad load(m_fileEntity);
    // A second's worth of whole frames, counted as 1.0 second.
    auto block = VMKAudioBufferList::initWithChannels(uint32_t(m_fileEntity.channels()), int64_t(m_sampleRate));
    if (!block || block->frames() == 0)
        return notFound;
    location = SilentBlocks::skipBeforeStart(location, 1.0);
    int64_t attack = -1;
    int64_t releaseStart = -1;
    int64_t end = frames;
    for (bool finished = false; !finished; location += 1.0) {
        const int64_t base = std::llround(m_sampleRate * location);
        m_fileEntity.getAudio(*block, location);
        for (int64_t i = 0; i < block->frames(); ++i) {
            const int64_t frame = base + i;
            // The end of the file is tested before the levels. Past it (a
            // rate of a fraction of a hertz can step over it) is the end too.
            if (frame >= frames) {
                end = frames;
                finished = true;
                break;
            }
            float value = 0.0f;
            for (uint32_t c = 0; c < block->numberOfChannels(); ++c)
                value = std::max(value, block->channel(c)[i]);
            if (attack < 0 && value >= attackThreshold)
                attack = frame;
            if (value <= releaseThreshold && attack >= 0) {
                if (releaseStart < 0)
                    releaseStart = frame;
                if (frame - releaseStart >= releaseFrames) {
                    end = frame;
                    finished = true;
                    break;
                }
            } else {
                releaseStart = -1;
            }
        }
    }
    if (attack < 0)
        return notFound;
    const double attackLocation = double(attack) / m_sampleRate;
    return {attackLocation, double(end) / m_sampleRate - attackLocation};
}

float BeatDetector::estimatedTempo(int64_t beats, double length) {
    if (length == 0.0 || beats == 0)
        return 0.0f;
    auto tempo = float(double(beats) * 60.0 / length);
    // A count of no beats, or one that no doubling brings into range, has
    // no tempo (the folding below would never end).
    if (!(tempo > 0.0f) || !std::isfinite(tempo))
        return 0.0f;
    while (tempo < 60.0f)
        tempo *= 2.0f;
    while (tempo > 240.0f)
        tempo /= 2.0f;
    return std::round(tempo * 100.0f) / 100.0f;
}

} // namespace ondrel
