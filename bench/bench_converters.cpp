// Speed of the sample-rate converters: ten seconds of stereo at 48 kHz
// converted to 44.1 kHz through the pull graph, for each converter, reported
// as times realtime ("xRealtime"), beside `sox in.wav -r 44100 out.wav rate -v`
// timed on the same file in the same run (that one includes starting the
// process and reading and writing the files).
#include "bench/BenchSupport.h"
#include "render/engine/effects/APLConverterAudioProcessor.h"
#include "render/engine/effects/GHZConverterAudioProcessor.h"

#include <QtCore/QTemporaryDir>

#include <sndfile.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace ondrel {

namespace {
constexpr double kInRate = 48000.0;
constexpr double kOutRate = 44100.0;
constexpr double kSeconds = 10.0;

// The test file, made once by sox and read back into memory.
struct TestFile {
    QTemporaryDir folder;
    QString input, output;
    std::vector<std::vector<float>> channels;
    bool ok = false;

    TestFile() {
        input = folder.filePath(QStringLiteral("in.wav"));
        output = folder.filePath(QStringLiteral("out.wav"));
        const QString make = QStringLiteral("sox -n -r 48000 -c 2 -b 32 -e floating-point '%1' synth %2 "
                                            "sine 1000 sine 1500 gain -6 2>/dev/null")
                                 .arg(input)
                                 .arg(kSeconds);
        if (std::system(make.toLocal8Bit().constData()) != 0)
            return;
        SF_INFO info{};
        SNDFILE* file = sf_open(input.toLocal8Bit().constData(), SFM_READ, &info);
        if (!file || info.channels != 2)
            return;
        std::vector<float> interleaved(size_t(info.frames) * 2);
        sf_readf_float(file, interleaved.data(), info.frames);
        sf_close(file);
        channels.assign(2, std::vector<float>(size_t(info.frames)));
        for (size_t i = 0; i < size_t(info.frames); ++i) {
            channels[0][i] = interleaved[2 * i];
            channels[1][i] = interleaved[2 * i + 1];
        }
        ok = true;
    }
};

TestFile& testFile() {
    static TestFile file;
    return file;
}

class MemorySource : public VMKAudioProcessor {
public:
    explicit MemorySource(const std::vector<std::vector<float>>& channels) : m_channels(channels) {
        setNumberOfInputBuses(0);
    }
    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error) override {
        return proposeNumberOfChannels(output, uint32_t(m_channels.size()), error) &&
               proposeSampleRate(output, kInRate, error);
    }
    bool render(VMKAudioBufferList& destination, VMKAudioBus&, const VMKAudioStreamRenderInfo& info) override {
        const auto size = int64_t(m_channels[0].size());
        const int64_t start = std::clamp<int64_t>(info.sampleTime(), 0, size);
        const int64_t available = std::clamp<int64_t>(size - start, 0, destination.frames());
        for (uint32_t c = 0; c < destination.numberOfChannels(); ++c) {
            std::copy_n(m_channels[c].data() + start, available, destination.channel(c));
            std::fill(destination.channel(c) + available, destination.channel(c) + destination.frames(), 0.0f);
        }
        return true;
    }

private:
    const std::vector<std::vector<float>>& m_channels;
};

void convertThroughGraph(benchmark::State& state, const std::function<std::shared_ptr<VMKConverterAudioProcessor>()>& make) {
    TestFile& file = testFile();
    if (!file.ok) {
        state.SkipWithError("sox could not make the test file");
        return;
    }
    auto converter = make();
    converter->setInSampleRate(kInRate);
    const auto frames = int64_t(file.channels[0].size());
    BenchChain chain({std::make_shared<MemorySource>(file.channels), converter},
                     VMKConverterAudioProcessor::outputFrameCount(frames, kInRate, kOutRate));
    chain.output->setSampleRate(kOutRate);
    chain.pullEachIteration(state, kSeconds);
}

void ConverterAppleStandard(benchmark::State& state) {
    convertThroughGraph(state, [] {
        auto c = std::make_shared<APLConverterAudioProcessor>();
        c->setComplexity(APLConverterAudioProcessor::kComplexityNormal);
        return c;
    });
}
void ConverterAppleHighQuality(benchmark::State& state) {
    convertThroughGraph(state, [] {
        auto c = std::make_shared<APLConverterAudioProcessor>();
        c->setComplexity(APLConverterAudioProcessor::kComplexityMastering);
        return c;
    });
}
void ConverterGoodhertzLinearPhase(benchmark::State& state) {
    convertThroughGraph(state, [] {
        auto c = std::make_shared<GHZConverterAudioProcessor>();
        c->setLatencyCompensationEnabled(true);
        return c;
    });
}
void ConverterGoodhertzMinimumPhase(benchmark::State& state) {
    convertThroughGraph(state, [] {
        auto c = std::make_shared<GHZConverterAudioProcessor>();
        c->setFilterType(QStringLiteral("minimumPhase"));
        c->setLatencyCompensationEnabled(true);
        return c;
    });
}

void SoxRateVeryHigh(benchmark::State& state) {
    TestFile& file = testFile();
    if (!file.ok) {
        state.SkipWithError("sox could not make the test file");
        return;
    }
    const QByteArray command =
        QStringLiteral("sox '%1' -r 44100 '%2' rate -v").arg(file.input, file.output).toLocal8Bit();
    for (auto _ : state)
        if (std::system(command.constData()) != 0) {
            state.SkipWithError("sox failed");
            return;
        }
    state.counters["xRealtime"] = benchmark::Counter(kSeconds, benchmark::Counter::kIsIterationInvariantRate);
}
} // namespace

BENCHMARK(ConverterAppleStandard)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ConverterAppleHighQuality)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ConverterGoodhertzLinearPhase)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ConverterGoodhertzMinimumPhase)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SoxRateVeryHigh)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace ondrel

BENCHMARK_MAIN();
