#include "tests/support/engine/EngineTestSupport.h"

#include "tests/support/engine/TestGenerator.h"

#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"
#include "render/engine/graph/VMKAudioStream.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <cmath>
#include <cstring>
#include <random>

namespace ondrel {

namespace {
float quantize(float value, int bits) {
    if (bits <= 0)
        return value;
    const double scale = std::ldexp(1.0, bits - 1);
    return float(std::clamp(std::round(double(value) * scale), -scale, scale - 1) / scale);
}
} // namespace

TestAudio makeSines(int channels, qint64 frames, double sampleRate, float amplitude, int bits) {
    TestAudio audio(size_t(channels), std::vector<float>(size_t(frames), 0.0f));
    for (int c = 0; c < channels; ++c) {
        const double frequency = 440.0 * (1.0 + 0.5 * c);
        for (qint64 i = 0; i < frames; ++i)
            audio[size_t(c)][size_t(i)] =
                quantize(float(amplitude * std::sin(2.0 * M_PI * frequency * double(i) / sampleRate)), bits);
    }
    return audio;
}

TestAudio makeNoise(int channels, qint64 frames, float amplitude, unsigned seed, int bits) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> distribution(-amplitude, amplitude);
    TestAudio audio(size_t(channels), std::vector<float>(size_t(frames), 0.0f));
    for (qint64 i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            audio[size_t(c)][size_t(i)] = quantize(distribution(generator), bits);
    return audio;
}

QByteArray readBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeBytes(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool encodeAudio(const TestAudio& audio, VMKAudioFileEncoderSettings settings, const QString& path, VMKError* error) {
    settings.numberOfChannels = int(audio.size());
    auto encoder = VMKAudioFileEncoder::encoderWithSettings(settings, path, error);
    if (!encoder)
        return false;
    std::vector<const float*> pointers;
    for (const auto& channel : audio)
        pointers.push_back(channel.data());
    return encoder->write(pointers.data(), qint64(audio[0].size()), error) && encoder->finish(error);
}

// Writes `audio` as raw interleaved 32-bit floats (native order).
static bool writeRawFloat(const QString& path, const TestAudio& audio) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const size_t frames = audio.empty() ? 0 : audio[0].size();
    std::vector<float> interleaved(frames * audio.size());
    for (size_t i = 0; i < frames; ++i)
        for (size_t c = 0; c < audio.size(); ++c)
            interleaved[i * audio.size() + c] = audio[c][i];
    const qint64 bytes = qint64(interleaved.size() * sizeof(float));
    return file.write(reinterpret_cast<const char*>(interleaved.data()), bytes) == bytes;
}

int runTool(const QString& program, const QStringList& arguments, QString* output) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted(10000))
        return -1;
    process.closeWriteChannel();
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return -1;
    }
    if (output)
        *output = QString::fromUtf8(process.readAll());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool soxWrite(const TestAudio& audio, double sampleRate, const QStringList& formatArguments, const QString& path) {
    const QString raw = path + QStringLiteral(".raw");
    if (!writeRawFloat(raw, audio))
        return false;
    QStringList arguments = {QStringLiteral("-D"), QStringLiteral("-t"), QStringLiteral("f32"), QStringLiteral("-r"),
                             QString::number(sampleRate), QStringLiteral("-c"), QString::number(audio.size()), raw};
    arguments += formatArguments;
    arguments += path;
    const int code = runTool(QStringLiteral("sox"), arguments);
    QFile::remove(raw);
    return code == 0;
}

QString probe(const QString& path, const QString& entries, const QString& printFormat) {
    QString output;
    EXPECT_EQ(runTool(QStringLiteral("ffprobe"),
                      {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"), entries,
                       QStringLiteral("-of"), printFormat, path},
                      &output),
              0)
        << output.toStdString();
    return output;
}

TestAudio readAllFrames(VMKAudioFileReader& reader, qint64 block) {
    const qint64 frames = qint64(reader.frames());
    block = block > 0 ? block : std::max<qint64>(frames, 1);
    TestAudio audio(reader.numberOfChannels(), std::vector<float>(size_t(frames), 0.0f));
    std::vector<float*> pointers(audio.size());
    for (qint64 at = 0; at < frames; at += block) {
        for (size_t c = 0; c < audio.size(); ++c)
            pointers[c] = audio[c].data() + at;
        EXPECT_TRUE(reader.readFrames(pointers.data(), int(pointers.size()), std::min(block, frames - at), at));
    }
    return audio;
}

TestAudio readFile(const QString& path) {
    VMKError error;
    auto reader = VMKAudioFileReader::initWithURL(URL::fileURLWithPath(path), &error);
    EXPECT_TRUE(reader) << error.localizedDescription().toStdString();
    return reader ? readAllFrames(*reader) : TestAudio{};
}

double rms(const std::vector<float>& values, size_t from) {
    double sum = 0.0;
    for (size_t i = from; i < values.size(); ++i)
        sum += double(values[i]) * values[i];
    return std::sqrt(sum / double(values.size() - from));
}

double peak(const std::vector<float>& values, size_t from) {
    float result = 0.0f;
    for (size_t i = from; i < values.size(); ++i)
        result = std::max(result, std::abs(values[i]));
    return result;
}

int64_t nonFiniteFrames(const std::vector<float>& values, size_t from) {
    int64_t count = 0;
    for (size_t i = from; i < values.size(); ++i)
        count += std::isfinite(values[i]) ? 0 : 1;
    return count;
}

double amplitudeAt(const std::vector<float>& values, double frequency, double rate, size_t from, size_t length) {
    double re = 0.0, im = 0.0, windowSum = 0.0;
    for (size_t i = 0; i < length; ++i) {
        const double w = 0.5 - 0.5 * std::cos(2.0 * M_PI * double(i) / double(length));
        const double phase = 2.0 * M_PI * frequency * double(from + i) / rate;
        re += w * double(values[from + i]) * std::cos(phase);
        im += w * double(values[from + i]) * std::sin(phase);
        windowSum += w;
    }
    return 2.0 * std::hypot(re, im) / windowSum;
}

double decibels(double ratio) { return 20.0 * std::log10(ratio); }

int64_t firstDifference(const TestAudio& a, const TestAudio& b) {
    if (a.size() != b.size())
        return 0;
    for (size_t c = 0; c < a.size(); ++c) {
        if (a[c].size() != b[c].size())
            return 0;
        for (size_t i = 0; i < a[c].size(); ++i)
            if (std::memcmp(&a[c][i], &b[c][i], sizeof(float)) != 0)
                return int64_t(i);
    }
    return -1;
}

float maximumDifference(const TestAudio& expected, const TestAudio& actual, qint64 offset) {
    float worst = 0.0f;
    for (size_t c = 0; c < std::min(expected.size(), actual.size()); ++c)
        for (size_t i = 0; i < actual[c].size() && i + size_t(offset) < expected[c].size(); ++i)
            worst = std::max(worst, std::abs(expected[c][i + size_t(offset)] - actual[c][i]));
    return worst;
}

// A generator function that plays `audio` from frame 0 and is silent
// outside it; `audio` must outlive the function.
static std::function<float(int64_t, uint32_t)> playing(const TestAudio& audio) {
    return [&audio](int64_t frame, uint32_t c) {
        return frame >= 0 && frame < int64_t(audio[c].size()) ? audio[c][size_t(frame)] : 0.0f;
    };
}

bool renderIntoWriter(const std::shared_ptr<VMKAudioProcessor>& source,
                      const std::shared_ptr<VMKAudioFileWriterAudioProcessor>& writer, VMKError* error,
                      int64_t maxFrames) {
    auto stream = std::make_shared<VMKAudioStream>();
    writer->setIsRenderHead(true);
    auto connection = chainProcessors(*stream, {source, writer});
    if (!connection)
        return false;
    if (maxFrames > 0)
        connection->setMaxFrames(maxFrames);
    const bool ok = stream->initialize(error) && stream->start(error);
    stream->stop();
    stream->uninitialize();
    return ok;
}

std::shared_ptr<VMKAudioFileWriterAudioProcessor>
writeAudio(const TestAudio& audio, double rate, const std::function<void(VMKAudioFileWriterAudioProcessor&)>& configure,
           VMKError* error, int64_t maxFrames) {
    auto source = std::make_shared<TestGenerator>(uint32_t(audio.size()), rate, playing(audio));
    auto writer = std::make_shared<VMKAudioFileWriterAudioProcessor>();
    writer->setRange({0.0, double(audio[0].size()) / rate});
    configure(*writer);
    return renderIntoWriter(source, writer, error, maxFrames) ? writer : nullptr;
}

double signalToNoise(const TestAudio& expected, const TestAudio& actual) {
    double signal = 0.0, noise = 0.0;
    for (size_t c = 0; c < std::min(expected.size(), actual.size()); ++c)
        for (size_t i = 0; i < std::min(expected[c].size(), actual[c].size()); ++i) {
            signal += double(expected[c][i]) * expected[c][i];
            const double d = double(expected[c][i]) - actual[c][i];
            noise += d * d;
        }
    if (noise == 0.0)
        return 200.0;
    return 10.0 * std::log10(signal / noise);
}

} // namespace ondrel
