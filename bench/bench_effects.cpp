// Speed of the effect processors on 2 channels at 48 kHz, reported as times
// realtime, beside a graph with no effect (source and head only).
#include "render/engine/APLDynamicsAudioProcessor.h"
#include "render/engine/APLTimePitchAudioProcessor.h"
#include "render/engine/APLVarispeedAudioProcessor.h"
#include "render/engine/GHZDitherAudioProcessor.h"
#include "render/engine/VMKAudioStream.h"
#include "render/engine/VMKHeadAudioProcessor.h"
#include "render/engine/VMKRemoveDCAudioProcessor.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <functional>
#include <vector>

namespace {
constexpr double kRate = 48000.0;
constexpr int64_t kFrames = 48000 * 5;
constexpr int64_t kBlock = 4096;

// Two chords of sines from a one-second table: music-like and cheap to make.
class TableSource : public VMKAudioProcessor {
public:
    TableSource() : m_table(size_t(kRate)) {
        setNumberOfInputBuses(0);
        for (size_t i = 0; i < m_table.size(); ++i) {
            const double t = double(i) / kRate;
            m_table[i] = float(0.3 * std::sin(2.0 * M_PI * 220.0 * t) + 0.2 * std::sin(2.0 * M_PI * 330.0 * t) +
                               0.1 * std::sin(2.0 * M_PI * 3520.0 * t));
        }
    }
    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error) override {
        return proposeNumberOfChannels(output, 2, error) && proposeSampleRate(output, kRate, error);
    }
    bool render(VMKAudioBufferList& destination, VMKAudioBus&, const VMKAudioStreamRenderInfo& info) override {
        const auto size = int64_t(m_table.size());
        for (uint32_t c = 0; c < destination.numberOfChannels(); ++c) {
            float* out = destination.channel(c);
            for (int64_t i = 0; i < destination.frames(); ++i)
                out[i] = m_table[size_t((info.sampleTime() + i + c * 100) % size)];
        }
        return true;
    }

private:
    std::vector<float> m_table;
};

void runEffect(benchmark::State& state, const std::function<std::shared_ptr<VMKAudioProcessor>()>& make) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto source = std::make_shared<TableSource>();
    auto head = std::make_shared<VMKHeadAudioProcessor>();
    auto effect = make ? make() : nullptr;
    stream->addProcessorsObject(source);
    stream->addProcessorsObject(head);
    if (effect) {
        stream->addProcessorsObject(effect);
        stream->connectProcessor(source.get(), effect.get());
        stream->connectProcessor(effect.get(), head.get())->setMaxFrames(kBlock);
    } else {
        stream->connectProcessor(source.get(), head.get())->setMaxFrames(kBlock);
    }
    head->setFrameCount(kFrames);
    for (auto _ : state) {
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

void NoEffect(benchmark::State& state) { runEffect(state, {}); }
BENCHMARK(NoEffect)->Unit(benchmark::kMillisecond);

void Dither(benchmark::State& state) {
    static const char* const shapes[] = {"none", "light", "optimal"};
    runEffect(state, [&] {
        auto dither = std::make_shared<GHZDitherAudioProcessor>();
        dither->setBitDepth(16);
        dither->setNoiseShaping(QString::fromLatin1(shapes[state.range(0)]));
        return dither;
    });
    state.SetLabel(shapes[state.range(0)]);
}
BENCHMARK(Dither)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void RemoveDC(benchmark::State& state) { runEffect(state, [] { return std::make_shared<VMKRemoveDCAudioProcessor>(); }); }
BENCHMARK(RemoveDC)->Unit(benchmark::kMillisecond);

void Varispeed(benchmark::State& state) {
    runEffect(state, [&] {
        auto varispeed = std::make_shared<APLVarispeedAudioProcessor>();
        varispeed->setCents(float(state.range(0)));
        return varispeed;
    });
}
BENCHMARK(Varispeed)->Arg(-700)->Arg(1200)->Unit(benchmark::kMillisecond);

void Dynamics(benchmark::State& state) {
    runEffect(state, [] {
        auto dynamics = std::make_shared<APLDynamicsAudioProcessor>();
        dynamics->setCompressionThreshold(-20.0f);
        dynamics->setExpansionThreshold(-60.0f);
        dynamics->setExpansionRatio(2.0f);
        return dynamics;
    });
}
BENCHMARK(Dynamics)->Unit(benchmark::kMillisecond);

// Arguments: offline (1) or real time (0), and the rate in percent.
void TimePitch(benchmark::State& state) {
    runEffect(state, [&] {
        auto timePitch = std::make_shared<APLTimePitchAudioProcessor>();
        timePitch->setPlaybackRate(float(state.range(1)) / 100.0f);
        timePitch->setCents(300.0f);
        if (state.range(0))
            timePitch->setInputFrameCount(qint64(double(kFrames) * double(state.range(1)) / 100.0));
        return timePitch;
    });
}
BENCHMARK(TimePitch)->Args({1, 100})->Args({1, 80})->Args({0, 100})->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
