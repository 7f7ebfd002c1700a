// Scaffolding shared by the render benchmarks: a cheap stereo table source,
// a linear chain of processors ending in a head, and the pull loop that
// reports times realtime.
#pragma once

#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/graph/VMKHeadAudioProcessor.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <vector>

namespace ondrel {

// One sine of a table: amplitude and frequency in Hz.
struct BenchPartial {
    double amplitude;
    double frequency;
};

// Reads a one-second table of summed sines; channel c starts `channelOffset * c`
// frames later so the channels are not identical when that matters.
class BenchTableSource : public VMKAudioProcessor {
public:
    BenchTableSource(double sampleRate, std::initializer_list<BenchPartial> partials, int64_t channelOffset = 0)
        : m_sampleRate(sampleRate), m_channelOffset(channelOffset), m_table(size_t(sampleRate)) {
        setNumberOfInputBuses(0);
        for (size_t i = 0; i < m_table.size(); ++i) {
            double value = 0.0;
            for (const BenchPartial& partial : partials)
                value += partial.amplitude * std::sin(2.0 * M_PI * partial.frequency * double(i) / sampleRate);
            m_table[i] = float(value);
        }
    }
    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error) override {
        return proposeNumberOfChannels(output, 2, error) && proposeSampleRate(output, m_sampleRate, error);
    }
    bool render(VMKAudioBufferList& destination, VMKAudioBus&, const VMKAudioStreamRenderInfo& info) override {
        for (uint32_t c = 0; c < destination.numberOfChannels(); ++c)
            fill(destination.channel(c), info.sampleTime() + int64_t(c) * m_channelOffset, destination.frames());
        return true;
    }
    void fill(float* out, int64_t start, int64_t frames) const {
        const auto size = int64_t(m_table.size());
        int64_t position = start % size;
        for (int64_t i = 0; i < frames;) {
            const int64_t run = std::min(frames - i, size - position);
            std::copy_n(m_table.data() + position, run, out + i);
            i += run;
            position = 0;
        }
    }

private:
    double m_sampleRate;
    int64_t m_channelOffset;
    std::vector<float> m_table;
};

inline std::shared_ptr<BenchTableSource> makeTableSource(double sampleRate,
                                                         std::initializer_list<BenchPartial> partials,
                                                         int64_t channelOffset = 0) {
    return std::make_shared<BenchTableSource>(sampleRate, partials, channelOffset);
}

// A stream of `processors` connected in order, the last one feeding a head
// that pulls `frames` frames (in blocks of `maxFrames` when given) through `output`.
struct BenchChain {
    std::shared_ptr<VMKAudioStream> stream = std::make_shared<VMKAudioStream>();
    std::shared_ptr<VMKHeadAudioProcessor> head = std::make_shared<VMKHeadAudioProcessor>();
    std::shared_ptr<VMKAudioConnection> output;

    BenchChain(const std::vector<std::shared_ptr<VMKAudioProcessor>>& processors, int64_t frames,
               int64_t maxFrames = 0) {
        VMKAudioProcessor* previous = nullptr;
        for (const std::shared_ptr<VMKAudioProcessor>& processor : processors) {
            stream->addProcessorsObject(processor);
            if (previous)
                stream->connectProcessor(previous, processor.get());
            previous = processor.get();
        }
        stream->addProcessorsObject(head);
        output = stream->connectProcessor(previous, head.get());
        if (maxFrames > 0)
            output->setMaxFrames(maxFrames);
        head->setFrameCount(frames);
    }

    // Each iteration runs the whole chain from frame 0, initialized afresh as
    // for each file of a batch; reports seconds of audio per second as "xRealtime".
    void pullEachIteration(benchmark::State& state, double seconds) {
        for (auto _ : state) {
            VMKError error;
            head->info().setSampleTime(0);
            if (!stream->initialize(&error) || !stream->start(&error)) {
                state.SkipWithError(qPrintable(error.localizedDescription()));
                return;
            }
            stream->uninitialize();
        }
        state.counters["xRealtime"] = benchmark::Counter(seconds, benchmark::Counter::kIsIterationInvariantRate);
    }
};

} // namespace ondrel
