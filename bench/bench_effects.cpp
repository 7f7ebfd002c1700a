// Speed of the effect processors on 2 channels at 48 kHz, reported as times
// realtime, beside a graph with no effect (source and head only).
#include "bench/BenchSupport.h"
#include "render/engine/effects/APLDynamicsAudioProcessor.h"
#include "render/engine/effects/APLTimePitchAudioProcessor.h"
#include "render/engine/effects/APLVarispeedAudioProcessor.h"
#include "render/engine/effects/GHZDitherAudioProcessor.h"
#include "render/engine/effects/VMKRemoveDCAudioProcessor.h"

#include <functional>

namespace ondrel {

namespace {
constexpr double kRate = 48000.0;
constexpr int64_t kFrames = 48000 * 5;

// Two chords of sines, the channels a little apart: music-like and cheap to make.
void runEffect(benchmark::State& state, const std::function<std::shared_ptr<VMKAudioProcessor>()>& make) {
    std::vector<std::shared_ptr<VMKAudioProcessor>> chain{
        makeTableSource(kRate, {{0.3, 220.0}, {0.2, 330.0}, {0.1, 3520.0}}, 100)};
    if (make)
        chain.push_back(make());
    BenchChain(chain, kFrames, 4096).pullEachIteration(state, double(kFrames) / kRate);
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

} // namespace ondrel

BENCHMARK_MAIN();
