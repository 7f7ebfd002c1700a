// Speed of the analysis meters: a stereo 48 kHz tone pulled through the
// loudness meter (with and without true peak) and through the pitch
// detector in blocks of 256 frames, as times realtime, beside the same graph
// with a plain pass-through processor.
#include "bench/BenchSupport.h"
#include "render/engine/meters/VMKLoudnessMeterAudioProcessor.h"
#include "render/engine/meters/VMKPitchDetectorAudioProcessor.h"

namespace ondrel {

namespace {
constexpr double kRate = 48000.0;
constexpr int64_t kFrames = 48000 * 10;

// A tone with a few harmonics; a fresh measurement each iteration, as for each analysed file.
void runThrough(benchmark::State& state, const std::shared_ptr<VMKAudioProcessor>& meter) {
    auto source = makeTableSource(kRate, {{0.3, 220.0}, {0.1, 440.0}, {0.05, 660.0}});
    BenchChain({source, meter}, kFrames, 256).pullEachIteration(state, double(kFrames) / kRate);
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

} // namespace ondrel

BENCHMARK_MAIN();
