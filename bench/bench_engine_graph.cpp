// Speed of the pull graph: two stereo sources mixed, faded and pulled by a
// head at 48 kHz, reported as times realtime, beside the same arithmetic in
// plain loops without a graph.
#include "bench/BenchSupport.h"
#include "render/engine/effects/VMKFaderAudioProcessor.h"
#include "render/engine/effects/VMKMixerAudioProcessor.h"

namespace ondrel {

namespace {
constexpr double kRate = 48000.0;
constexpr int64_t kFrames = 48000 * 10;

void GraphMixFadeHead(benchmark::State& state) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto a = makeTableSource(kRate, {{0.5, 440.0}});
    auto b = makeTableSource(kRate, {{0.5, 660.0}});
    auto mixer = std::make_shared<VMKMixerAudioProcessor>();
    auto fader = std::make_shared<VMKFaderAudioProcessor>();
    auto head = std::make_shared<VMKHeadAudioProcessor>();
    mixer->setNumberOfInputBuses(2);
    fader->setGain(-3.0f);
    auto fadeIn = std::make_shared<VMKAudioAutomation>();
    fadeIn->setParameterKey(QStringLiteral("scalar"));
    fadeIn->setLength(2.0);
    fadeIn->valueMap()->setType(QStringLiteral("cubic"));
    if (state.range(1))
        fader->insertObjectInAutomationsAtIndex(fadeIn, 0);
    for (const std::shared_ptr<VMKAudioProcessor>& p : std::vector<std::shared_ptr<VMKAudioProcessor>>{a, b, mixer, fader, head})
        stream->addProcessorsObject(p);
    stream->connectProcessor(a.get(), mixer.get(), 0);
    stream->connectProcessor(b.get(), mixer.get(), 1);
    stream->connectProcessor(mixer.get(), fader.get());
    stream->connectProcessor(fader.get(), head.get())->setMaxFrames(state.range(0));
    head->setFrameCount(kFrames);
    if (!stream->initialize()) {
        state.SkipWithError("the stream did not initialize");
        return;
    }
    for (auto _ : state) {
        head->info().setSampleTime(0);
        stream->start();
    }
    state.counters["xRealtime"] =
        benchmark::Counter(double(kFrames) / kRate, benchmark::Counter::kIsIterationInvariantRate);
    stream->uninitialize();
}
BENCHMARK(GraphMixFadeHead)->Args({256, 0})->Args({4096, 0})->Args({256, 1})->Args({4096, 1})->Unit(benchmark::kMillisecond);

// The reference: the same sources, sum and fixed gain in plain loops.
void PlainLoops(benchmark::State& state) {
    const int64_t block = state.range(0);
    const BenchTableSource a(kRate, {{0.5, 440.0}}), b(kRate, {{0.5, 660.0}});
    const auto size = static_cast<size_t>(block);
    std::vector<float> left(size), right(size), other(size);
    const float gain = std::pow(10.0f, -3.0f / 20.0f);
    for (auto _ : state) {
        for (int64_t t = 0; t < kFrames; t += block) {
            const int64_t n = std::min(block, kFrames - t);
            a.fill(left.data(), t, n);
            b.fill(other.data(), t, n);
            for (int64_t i = 0; i < n; ++i) {
                left[size_t(i)] = (left[size_t(i)] + other[size_t(i)]) * gain;
                right[size_t(i)] = left[size_t(i)];
            }
            benchmark::DoNotOptimize(right.data());
        }
    }
    state.counters["xRealtime"] =
        benchmark::Counter(double(kFrames) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(PlainLoops)->Arg(256)->Arg(4096)->Unit(benchmark::kMillisecond);
} // namespace

} // namespace ondrel

BENCHMARK_MAIN();
