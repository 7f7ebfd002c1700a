#pragma once

#include "render/engine/graph/VMKAudioProcessor.h"
#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/graph/VMKHeadAudioProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

namespace ondrel {

// A NaN and an infinity: the samples that are no number, as an unstable
// filter upstream may send them.
inline constexpr float kBadSamples[] = {std::numeric_limits<float>::quiet_NaN(),
                                        std::numeric_limits<float>::infinity()};

// A source for tests: sample (frame, channel) of a function, at a stated rate
// and channel count. Remembers the pulls it served.
class TestGenerator : public VMKAudioProcessor {
public:
    using Function = std::function<float(int64_t frame, uint32_t channel)>;

    TestGenerator(uint32_t channels, double sampleRate, Function function)
        : m_channels(channels), m_sampleRate(sampleRate), m_function(std::move(function)) {
        setNumberOfInputBuses(0);
    }

    // A value that tells frame and channel apart and stays exact in float.
    static float ramp(int64_t frame, uint32_t channel) {
        return float(frame % 4096) / 4096.0f * (channel % 2 ? -1.0f : 1.0f) + float(channel) / 64.0f;
    }

    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error) override {
        return proposeNumberOfChannels(output, m_channels, error) && proposeSampleRate(output, m_sampleRate, error);
    }

    bool render(VMKAudioBufferList& destination, VMKAudioBus&, const VMKAudioStreamRenderInfo& info) override {
        pulls.push_back({info.sampleTime(), destination.frames()});
        if (failAtFrame >= 0 && info.sampleTime() + destination.frames() > failAtFrame) {
            info.reportError(VMKError::errorWithCode(42, QStringLiteral("Reading a test signal")));
            destination.clear();
            return false;
        }
        for (uint32_t c = 0; c < destination.numberOfChannels(); ++c) {
            float* samples = destination.channel(c);
            for (int64_t i = 0; i < destination.frames(); ++i)
                samples[i] = m_function(info.sampleTime() + i, c);
        }
        return true;
    }

    std::vector<VMKFrameRange> pulls;
    int64_t failAtFrame = -1;

private:
    uint32_t m_channels;
    double m_sampleRate;
    Function m_function;
};

// Adds `processors` to `stream` and connects each to the next; answers the
// last connection (into the head, when the last one is a head).
inline std::shared_ptr<VMKAudioConnection>
chainProcessors(VMKAudioStream& stream, std::initializer_list<std::shared_ptr<VMKAudioProcessor>> processors) {
    std::shared_ptr<VMKAudioConnection> connection;
    VMKAudioProcessor* previous = nullptr;
    for (const auto& processor : processors) {
        stream.addProcessorsObject(processor);
        if (previous)
            connection = stream.connectProcessor(previous, processor.get());
        previous = processor.get();
    }
    return connection;
}

// An entry of the "processors" list of a stream description, with `more`
// keys such as "parameters".
inline QVariantMap processorEntry(const QString& className, const QString& identifier = {}, QVariantMap more = {}) {
    more.insert(QStringLiteral("className"), className);
    if (!identifier.isEmpty())
        more.insert(QStringLiteral("identifier"), identifier);
    return more;
}

// A head for tests that keeps every frame it pulled, channel by channel.
class TestRecorder : public VMKHeadAudioProcessor {
public:
    std::vector<std::vector<float>> recorded;
    std::vector<VMKFrameRange> blocks;

protected:
    bool didPullBlock(const VMKAudioBufferList& block, VMKError*) override {
        recorded.resize(block.numberOfChannels());
        blocks.push_back({info().sampleTime(), block.frames()});
        for (uint32_t c = 0; c < block.numberOfChannels(); ++c)
            recorded[c].insert(recorded[c].end(), block.channel(c), block.channel(c) + block.frames());
        return true;
    }
};

// Pulls `frames` frames of `function` (`channels` channels at `rate`) through
// `processor` into `head` in blocks of `block`, from sample time `start`. The
// processor is taken out of the stream afterwards, so that a test may run it
// again.
inline void pullThrough(const std::shared_ptr<VMKAudioProcessor>& processor,
                        const std::shared_ptr<VMKHeadAudioProcessor>& head, uint32_t channels,
                        TestGenerator::Function function, int64_t frames, int64_t block = 256, double rate = 48000.0,
                        int64_t start = 0) {
    auto stream = std::make_shared<VMKAudioStream>();
    chainProcessors(*stream, {std::make_shared<TestGenerator>(channels, rate, std::move(function)), processor, head})
        ->setMaxFrames(block);
    head->setFrameCount(frames);
    head->info().setSampleTime(start);
    VMKError error;
    EXPECT_TRUE(stream->initialize(&error) && stream->start(&error)) << qPrintable(error.localizedDescription());
    stream->uninitialize();
    stream->removeProcessorsObject(processor);
}

// pullThrough into a recorder; answers what came out.
inline std::vector<std::vector<float>> recordThrough(const std::shared_ptr<VMKAudioProcessor>& processor,
                                                     uint32_t channels, int64_t frames,
                                                     TestGenerator::Function function, int64_t block = 1024,
                                                     double rate = 48000.0, int64_t start = 0) {
    auto head = std::make_shared<TestRecorder>();
    pullThrough(processor, head, channels, std::move(function), frames, block, rate, start);
    return head->recorded;
}

// A sine of `frequency` Hz and peak `amplitude` at `rate` on every channel,
// plus `offset`.
inline TestGenerator::Function sineWave(double frequency, double amplitude, double rate, double offset = 0.0) {
    return [=](int64_t frame, uint32_t) {
        return float(offset + amplitude * std::sin(2.0 * M_PI * frequency * double(frame) / rate));
    };
}

} // namespace ondrel
