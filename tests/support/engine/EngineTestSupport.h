#pragma once

#include "core/files/URL.h"
#include "render/engine/codecs/VMKAudioFileEncoder.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <functional>
#include <memory>
#include <vector>

namespace ondrel {

class VMKAudioFileReader;
class VMKAudioFileWriterAudioProcessor;
class VMKAudioProcessor;

// Audio made by the tests: one vector of floats per channel.
using TestAudio = std::vector<std::vector<float>>;

// Sines of a different frequency on each channel (440 Hz times 1, 1.5, 2 ...),
// at `amplitude`, quantized to `bits` when bits > 0 so that integer formats
// of that depth hold them exactly.
TestAudio makeSines(int channels, qint64 frames, double sampleRate, float amplitude = 0.5f, int bits = 0);
// Uniform noise in [-amplitude, amplitude), seeded, quantized like makeSines.
TestAudio makeNoise(int channels, qint64 frames, float amplitude, unsigned seed, int bits = 0);

// The bytes of a file (empty when it can't be read), and a new file of `bytes`.
QByteArray readBytes(const QString& path);
bool writeBytes(const QString& path, const QByteArray& bytes);
// Encodes `audio` (its channel count goes into the settings) into `path`;
// false with the reason in `error`.
bool encodeAudio(const TestAudio& audio, VMKAudioFileEncoderSettings settings, const QString& path,
                 VMKError* error = nullptr);

// Runs a program; answers its exit code (-1 when it could not run) and
// puts what it printed (both streams) into `output`.
int runTool(const QString& program, const QStringList& arguments, QString* output = nullptr);
// Makes a file of `audio` with sox from raw floats; `formatArguments` go
// before the output path (such as "-b", "24").
bool soxWrite(const TestAudio& audio, double sampleRate, const QStringList& formatArguments, const QString& path);

// What ffprobe says of `entries` (such as "stream=channel_layout") of the
// file at `path`, printed as `printFormat`; expects ffprobe to succeed.
QString probe(const QString& path, const QString& entries,
              const QString& printFormat = QStringLiteral("default=noprint_wrappers=1"));
// Every frame of a reader, read at once or, with `block` above 0, in reads
// of that many frames.
TestAudio readAllFrames(VMKAudioFileReader& reader, qint64 block = 0);
// Every frame of the file at `path`; no channels (and a failure) when it can't be opened.
TestAudio readFile(const QString& path);

// Measurements of one channel, over its frames from `from` on.
double rms(const std::vector<float>& values, size_t from = 0);
double peak(const std::vector<float>& values, size_t from = 0);
int64_t nonFiniteFrames(const std::vector<float>& values, size_t from = 0);
// Amplitude of the component at `frequency` (at `rate`) over
// [from, from + length), Hann windowed.
double amplitudeAt(const std::vector<float>& values, double frequency, double rate, size_t from, size_t length);
// An amplitude ratio in dB.
double decibels(double ratio);
// The first frame where two recordings differ, bit for bit, in any channel;
// 0 when their shapes differ, -1 when they are identical.
int64_t firstDifference(const TestAudio& a, const TestAudio& b);

// Largest absolute difference over all channels and frames, comparing
// `actual` from frame `offset` of `expected` on.
float maximumDifference(const TestAudio& expected, const TestAudio& actual, qint64 offset = 0);
// Signal to noise ratio in dB of `actual` against `expected`.
double signalToNoise(const TestAudio& expected, const TestAudio& actual);

// Renders `source` into `writer` as the render head over the writer's range,
// pulling at most `maxFrames` a block when above 0; answers whether the
// render (and the writer's hand-over of its file) succeeded.
bool renderIntoWriter(const std::shared_ptr<VMKAudioProcessor>& source,
                      const std::shared_ptr<VMKAudioFileWriterAudioProcessor>& writer, VMKError* error = nullptr,
                      int64_t maxFrames = 0);
// Writes `audio` at `rate` through a writer set up by `configure` (its range
// is all of `audio`); answers the writer, or null with `error` set.
std::shared_ptr<VMKAudioFileWriterAudioProcessor>
writeAudio(const TestAudio& audio, double rate, const std::function<void(VMKAudioFileWriterAudioProcessor&)>& configure,
           VMKError* error = nullptr, int64_t maxFrames = 0);

// A folder for one test's files.
class TestFolder {
public:
    TestFolder() = default;
    QString path(const QString& name) const { return m_dir.filePath(name); }
    URL url(const QString& name) const { return URL::fileURLWithPath(path(name)); }

private:
    QTemporaryDir m_dir;
};

} // namespace ondrel
