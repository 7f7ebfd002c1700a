// Speed of encoding and decoding audio files: ten seconds of stereo noise at
// 48 kHz through each encoder and back through the reader, reported as times
// realtime, beside a plain interleaving copy of the same frames.
#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/files/VMKAudioFileReader.h"

#include <QtCore/QTemporaryDir>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace ondrel {

namespace {
constexpr double kRate = 48000.0;
constexpr int64_t kFrames = 48000 * 10;
constexpr int64_t kBlock = 4096;

struct Signal {
    std::vector<float> left, right;
    Signal() : left(size_t(kFrames)), right(size_t(kFrames)) {
        std::mt19937 generator(1);
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        for (int64_t i = 0; i < kFrames; ++i) {
            left[size_t(i)] = noise(generator);
            right[size_t(i)] = noise(generator);
        }
    }
};
const Signal& signal() {
    static const Signal s;
    return s;
}

QString encode(const QTemporaryDir& dir, const char* formatName, int bitDepth) {
    VMKAudioFileEncoderSettings settings;
    settings.format = VMKAudioFileFormat::formatNamed(QString::fromLatin1(formatName));
    settings.sampleRate = kRate;
    settings.numberOfChannels = 2;
    settings.bitDepth = bitDepth;
    settings.bitrate = 192000;
    const QString path = dir.filePath(QStringLiteral("bench.") + settings.format->extension());
    auto encoder = VMKAudioFileEncoder::encoderWithSettings(settings, path);
    for (int64_t at = 0; at < kFrames; at += kBlock) {
        const float* channels[2] = {signal().left.data() + at, signal().right.data() + at};
        encoder->write(channels, std::min(kBlock, kFrames - at), nullptr);
    }
    encoder->finish(nullptr);
    return path;
}

void report(benchmark::State& state) {
    state.counters["xRealtime"] =
        benchmark::Counter(double(kFrames) / kRate * double(state.iterations()), benchmark::Counter::kIsRate);
}

void Reference(benchmark::State& state) {
    std::vector<float> interleaved(size_t(kBlock) * 2);
    for (auto _ : state) {
        for (int64_t at = 0; at < kFrames; at += kBlock)
            for (int64_t i = 0; i < kBlock && at + i < kFrames; ++i) {
                interleaved[size_t(2 * i)] = signal().left[size_t(at + i)];
                interleaved[size_t(2 * i + 1)] = signal().right[size_t(at + i)];
            }
        benchmark::DoNotOptimize(interleaved.data());
    }
    report(state);
}

void Encode(benchmark::State& state, const char* format, int bitDepth) {
    QTemporaryDir dir;
    for (auto _ : state)
        benchmark::DoNotOptimize(encode(dir, format, bitDepth));
    report(state);
}

void Decode(benchmark::State& state, const char* format, int bitDepth) {
    QTemporaryDir dir;
    const QString path = encode(dir, format, bitDepth);
    std::vector<float> left(static_cast<size_t>(kBlock)), right(static_cast<size_t>(kBlock));
    float* channels[2] = {left.data(), right.data()};
    for (auto _ : state) {
        auto reader = VMKAudioFileReader::initWithURL(URL::fileURLWithPath(path));
        for (int64_t at = 0; at < int64_t(reader->frames()); at += kBlock)
            reader->readFrames(channels, 2, kBlock, at);
        benchmark::DoNotOptimize(left.data());
    }
    report(state);
}

} // namespace

BENCHMARK(Reference)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Encode, Wave24, "WAVE File", 24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Encode, FLAC16, "FLAC Audio File", 16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Encode, MP3, "MP3 Audio File", 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Encode, Vorbis, "Ogg Vorbis Audio File", 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Encode, AAC, "M4A Audio File", 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, Wave24, "WAVE File", 24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, AIFF24, "AIFF File", 24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, AU16, "AU File", 16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, Wave64_24, "Wave64 File", 24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, CAF24, "CAF File", 24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, FLAC16, "FLAC Audio File", 16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, MP3, "MP3 Audio File", 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, Vorbis, "Ogg Vorbis Audio File", 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, AAC, "M4A Audio File", 0)->Unit(benchmark::kMillisecond);

} // namespace ondrel

BENCHMARK_MAIN();
