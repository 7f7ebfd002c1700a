// Speed of the analysis meters: a stereo 48 kHz tone pulled through the
// loudness meter (with and without true peak) and through the pitch
// detector in blocks of 256 frames, as times realtime, beside the same graph
// with a plain pass-through processor.
#include "render/engine/VMKAudioStream.h"
#include "render/engine/VMKHeadAudioProcessor.h"
#include "render/engine/VMKLoudnessMeterAudioProcessor.h"
#include "render/engine/VMKPitchDetectorAudioProcessor.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {
constexpr double kRate = 48000.0;
constexpr int64_t kFrames = 48000 * 10;

// A stereo source reading a one-second table of a tone with a few harmonics.
class TableSource : public VMKAudioProcessor {
public:
    TableSource() : m_table(size_t(kRate)) {
        setNumberOfInputBuses(0);
        for (size_t i = 0; i < m_table.size(); ++i) {
            const double t = double(i) / kRate;
            m_table[i] = float(0.3 * std::sin(2.0 * M_PI * 220.0 * t) + 0.1 * std::sin(2.0 * M_PI * 440.0 * t) +
                               0.05 * std::sin(2.0 * M_PI * 660.0 * t));
        }
    }
    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error) override {
        return proposeNumberOfChannels(output, 2, error) && proposeSampleRate(output, kRate, error);
    }
    bool render(VMKAudioBufferList& destination, VMKAudioBus&, const VMKAudioStreamRenderInfo& info) override {
        const auto size = int64_t(m_table.size());
        int64_t position = info.sampleTime() % size;
        for (int64_t i = 0; i < destination.frames();) {
            const int64_t run = std::min(destination.frames() - i, size - position);
            for (uint32_t c = 0; c < destination.numberOfChannels(); ++c)
                std::copy_n(m_table.data() + position, run, destination.channel(c) + i);
            i += run;
            position = 0;
        }
        return true;
    }

private:
    std::vector<float> m_table;
};

void runThrough(benchmark::State& state, const std::shared_ptr<VMKAudioProcessor>& meter) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto source = std::make_shared<TableSource>();
    auto head = std::make_shared<VMKHeadAudioProcessor>();
    stream->addProcessorsObject(source);
    stream->addProcessorsObject(meter);
    stream->addProcessorsObject(head);
    stream->connectProcessor(source.get(), meter.get());
    stream->connectProcessor(meter.get(), head.get())->setMaxFrames(256);
    head->setFrameCount(kFrames);
    for (auto _ : state) {
        // A fresh measurement each time, as for each analysed file.
        if (!stream->initialize()) {
            state.SkipWithError("the stream did not initialize");
            return;
        }
        head->info().setSampleTime(0);
        stream->start();
        stream->uninitialize();
    }
    state.counters["xRealtime"] =
        benchmark::Counter(double(kFrames) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}

void PassThrough(benchmark::State& state) { runThrough(state, std::make_shared<VMKAudioProcessor>()); }
BENCHMARK(PassThrough)->Unit(benchmark::kMillisecond);

void LoudnessMeter(benchmark::State& state) {
    auto meter = std::make_shared<VMKLoudnessMeterAudioProcessor>();
    meter->setEnableTruePeak(state.range(0) != 0);
    runThrough(state, meter);
}
BENCHMARK(LoudnessMeter)->ArgName("truePeak")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void PitchDetector(benchmark::State& state) {
    runThrough(state, std::make_shared<VMKPitchDetectorAudioProcessor>());
}
BENCHMARK(PitchDetector)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
