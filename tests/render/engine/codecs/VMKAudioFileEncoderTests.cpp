#include "tests/support/engine/EngineTestSupport.h"

#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/files/VMKAudioFileReader.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace ondrel {

using namespace VMKAudioEncoding;

namespace {

// Settings for `encoding` in a file of `kind` at `rate`.
VMKAudioFileEncoderSettings settingsFor(VMKAudioFileFormat::Kind kind, quint32 encoding, double rate = 44100) {
    VMKAudioFileEncoderSettings settings;
    settings.format = &VMKAudioFileFormat::formatOfKind(kind);
    settings.encoding = encoding;
    settings.sampleRate = rate;
    return settings;
}

// Encodes `audio` into `path` and reads it back; no channels when either fails.
TestAudio encodeAndRead(const TestAudio& audio, const VMKAudioFileEncoderSettings& settings, const QString& path) {
    VMKError error;
    if (!encodeAudio(audio, settings, path, &error)) {
        ADD_FAILURE() << error.localizedDescription().toStdString();
        return {};
    }
    return readFile(path);
}

// The samples of a file as FFmpeg decodes them, interleaved.
std::vector<float> readWithFFmpeg(const QString& path, const QString& rawPath) {
    QString output;
    EXPECT_EQ(runTool(QStringLiteral("ffmpeg"), {"-v", "error", "-y", "-i", path, "-f", "f32le", rawPath}, &output),
              0)
        << output.toStdString();
    QFile file(rawPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    std::vector<float> samples(size_t(bytes.size()) / sizeof(float));
    std::memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(float));
    return samples;
}

} // namespace

// Companding and ADPCM encodings take floats from the library, which must
// clip what lies beyond full scale instead of wrapping it or looking it up
// out of its tables.
TEST(VMKAudioFileEncoder, CompandedAndADPCMSamplesBeyondFullScaleClip) {
    TestFolder folder;
    struct Case {
        const char* name;
        VMKAudioFileFormat::Kind kind;
        quint32 encoding;
        double rate;
    };
    const Case cases[] = {
        {"ulaw.wav", VMKAudioFileFormat::Kind::WAVE, uLaw, 44100},
        {"alaw.wav", VMKAudioFileFormat::Kind::WAVE, aLaw, 44100},
        {"ulaw.au", VMKAudioFileFormat::Kind::AU, uLaw, 44100},
        {"alaw.aif", VMKAudioFileFormat::Kind::AIFF, aLaw, 44100},
        {"ima.wav", VMKAudioFileFormat::Kind::WAVE, IMA4, 44100},
        {"ulaw.vox", VMKAudioFileFormat::Kind::VOX, uLaw, 8000},
    };
    // Held levels well past full scale, each long enough for ADPCM to settle.
    const float levels[] = {1.5f, -1.5f, 4.0f, -4.0f, 1.0f, -1.0f};
    constexpr qint64 hold = 2000;
    TestAudio audio(1);
    for (float level : levels)
        audio[0].insert(audio[0].end(), size_t(hold), level);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const VMKAudioFileEncoderSettings settings = settingsFor(c.kind, c.encoding, c.rate);
        const TestAudio read = encodeAndRead(audio, settings, folder.path(c.name));
        ASSERT_EQ(read.size(), 1u);
        ASSERT_EQ(read[0].size(), audio[0].size());
        for (size_t l = 0; l < std::size(levels); ++l) {
            SCOPED_TRACE(levels[l]);
            // The last frames of each hold: near full scale with the sign of the level.
            const float sample = read[0][(l + 1) * size_t(hold) - 10];
            EXPECT_GT(sample * (levels[l] > 0 ? 1.0f : -1.0f), 0.95f);
            EXPECT_LE(std::abs(sample), 1.0f);
        }
        if (c.kind != VMKAudioFileFormat::Kind::VOX) {
            // (ADPCM blocks may decode a little past the stated length.)
            const std::vector<float> other =
                readWithFFmpeg(folder.path(c.name), folder.path(QStringLiteral("ffmpeg.raw")));
            ASSERT_GE(other.size(), audio[0].size());
            for (size_t l = 0; l < std::size(levels); ++l)
                EXPECT_GT(other[(l + 1) * size_t(hold) - 10] * (levels[l] > 0 ? 1.0f : -1.0f), 0.95f) << levels[l];
        }
    }
}

// Apple Lossless asked for deeper than it goes, or for floating point
// samples, is written at its deepest and keeps every sample.
TEST(VMKAudioFileEncoder, DeepAppleLosslessKeepsItsSamples) {
    TestFolder folder;
    const qint64 frames = 10000;
    const TestAudio audio = makeSines(2, frames, 44100, 0.5f, 24);
    for (auto kind : {VMKAudioFileFormat::Kind::CAF, VMKAudioFileFormat::Kind::M4A}) {
        for (bool floatingPoint : {false, true}) {
            const VMKAudioFileFormat& format = VMKAudioFileFormat::formatOfKind(kind);
            SCOPED_TRACE(format.name.toStdString() + (floatingPoint ? " float" : " 32 bits"));
            const QString path = folder.path(QStringLiteral("deep.") + format.extension());
            VMKAudioFileEncoderSettings settings = settingsFor(kind, ALAC);
            settings.bitDepth = 32;
            settings.isFloatingPoint = floatingPoint;
            const TestAudio read = encodeAndRead(audio, settings, path);
            ASSERT_EQ(read.size(), 2u);
            EXPECT_EQ(maximumDifference(audio, read), 0.0f);
            const std::vector<float> other = readWithFFmpeg(path, folder.path(QStringLiteral("deep.raw")));
            ASSERT_EQ(other.size(), 2 * size_t(frames));
            for (size_t i = 0; i < size_t(frames); i += 997) {
                EXPECT_EQ(other[2 * i], audio[0][i]) << i;
                EXPECT_EQ(other[2 * i + 1], audio[1][i]) << i;
            }
        }
    }
}

// Files state the frames written: with one byte a frame and an odd number
// of frames an AIFF file's sound data needs a pad byte, which must not count
// as a frame; ADPCM data comes in whole blocks, whose last one must not count
// as filled up.
TEST(VMKAudioFileEncoder, FilesStateTheFramesWritten) {
    TestFolder folder;
    using Kind = VMKAudioFileFormat::Kind;
    struct Case {
        const char* name;
        Kind kind;
        quint32 encoding;
        int channels;
        qint64 frames;
    };
    for (const Case& c : {Case{"pcm.aif", Kind::AIFF, PCM, 1, 3}, Case{"ulaw.aif", Kind::AIFF, uLaw, 1, 3},
                          Case{"alaw.aif", Kind::AIFF, aLaw, 1, 3}, Case{"ima1.wav", Kind::WAVE, IMA4, 1, 10001},
                          Case{"ima2.wav", Kind::WAVE, IMA4, 2, 10001}, Case{"ima1.w64", Kind::Wave64, IMA4, 1, 10001},
                          Case{"ima2.w64", Kind::Wave64, IMA4, 2, 10001}}) {
        SCOPED_TRACE(c.name);
        VMKAudioFileEncoderSettings settings = settingsFor(c.kind, c.encoding, 8000);
        settings.bitDepth = c.encoding == IMA4 ? 0 : 8;
        const TestAudio audio = makeSines(c.channels, c.frames, 8000, 0.5f);
        const TestAudio read = encodeAndRead(audio, settings, folder.path(c.name));
        ASSERT_EQ(read.size(), size_t(c.channels));
        EXPECT_EQ(read[0].size(), size_t(c.frames));
        EXPECT_GE(signalToNoise(audio, read), c.encoding == IMA4 ? 20.0 : 10.0);
        const QString output = probe(folder.path(c.name), "stream=duration_ts");
        EXPECT_TRUE(output.contains(QStringLiteral("duration_ts=%1\n").arg(c.frames))) << output.toStdString();
    }
}

// Files say which speaker each channel is for, in the layouts of WAVE files:
// three channels are left, right and centre (no channel may be taken for a
// low frequency one and cut to its lows, and Apple Lossless takes them too);
// four are a quad (AAC must not label the back pair front and back centre);
// eight are 7.1 with side channels last, not the old "wide" 7.1.
TEST(VMKAudioFileEncoder, FilesStateTheirChannelLayout) {
    TestFolder folder;
    using Kind = VMKAudioFileFormat::Kind;
    struct Case {
        const char* name;
        Kind kind;
        quint32 encoding;
        int channels;
        const char* layout;
    };
    for (const Case& c : {Case{"aac.m4a", Kind::M4A, AAC, 3, "3.0"}, Case{"aac.caf", Kind::CAF, AAC, 3, "3.0"},
                          Case{"alac.m4a", Kind::M4A, ALAC, 3, "3.0"}, Case{"quad.m4a", Kind::M4A, AAC, 4, "quad"},
                          Case{"quad.caf", Kind::CAF, AAC, 4, "quad"}, Case{"3.wav", Kind::WAVE, PCM, 3, "3.0"},
                          Case{"4.wav", Kind::WAVE, PCM, 4, "quad"}, Case{"5.wav", Kind::WAVE, PCM, 5, "5.0"},
                          Case{"6.wav", Kind::WAVE, PCM, 6, "5.1"}, Case{"7.wav", Kind::WAVE, PCM, 7, "6.1"},
                          Case{"8.wav", Kind::WAVE, PCM, 8, "7.1"}}) {
        SCOPED_TRACE(c.name);
        VMKAudioFileEncoderSettings settings = settingsFor(c.kind, c.encoding);
        settings.bitrate = 320000;
        const TestAudio audio = makeSines(c.channels, 22050, 44100, 0.4f, 16);
        const TestAudio read = encodeAndRead(audio, settings, folder.path(c.name));
        ASSERT_EQ(read.size(), audio.size());
        for (size_t channel = 0; channel < read.size(); ++channel)
            EXPECT_GE(signalToNoise({audio[channel]}, {read[channel]}), c.encoding == AAC ? 15.0 : 200.0) << channel;
        EXPECT_EQ(probe(folder.path(c.name), "stream=channel_layout", "csv=p=0").trimmed().toStdString(), c.layout);
    }
}

// A sample that is no number (a filter gone unstable upstream) becomes
// silence in integer files, at every depth, never a full scale click.
TEST(VMKAudioFileEncoder, SamplesThatAreNoNumberBecomeSilence) {
    TestFolder folder;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const TestAudio audio{{0.25f, nan, -nan, 0.25f}};
    struct Case {
        const char* name;
        VMKAudioFileFormat::Kind kind;
        quint32 encoding;
        int bits;
    };
    for (const Case& c : {Case{"a8.wav", VMKAudioFileFormat::Kind::WAVE, PCM, 8},
                          Case{"a16.wav", VMKAudioFileFormat::Kind::WAVE, PCM, 16},
                          Case{"a24.wav", VMKAudioFileFormat::Kind::WAVE, PCM, 24},
                          Case{"a32.wav", VMKAudioFileFormat::Kind::WAVE, PCM, 32},
                          Case{"a24.flac", VMKAudioFileFormat::Kind::FLAC, FLAC, 24},
                          Case{"a16.m4a", VMKAudioFileFormat::Kind::M4A, ALAC, 16},
                          Case{"a24.m4a", VMKAudioFileFormat::Kind::M4A, ALAC, 24},
                          Case{"ulaw.wav", VMKAudioFileFormat::Kind::WAVE, uLaw, 8},
                          Case{"alaw.wav", VMKAudioFileFormat::Kind::WAVE, aLaw, 8},
                          Case{"ima.wav", VMKAudioFileFormat::Kind::WAVE, IMA4, 4}}) {
        SCOPED_TRACE(c.name);
        const bool isLossy = c.encoding != PCM && c.encoding != FLAC && c.encoding != ALAC;
        VMKAudioFileEncoderSettings settings = settingsFor(c.kind, c.encoding);
        settings.bitDepth = c.bits;
        const TestAudio read = encodeAndRead(audio, settings, folder.path(c.name));
        ASSERT_EQ(read.size(), 1u);
        ASSERT_EQ(read[0].size(), 4u);
        // (Companding comes near the numbers; ADPCM moves from 0.25 in small steps.)
        const float tolerance = c.encoding == IMA4 ? 0.3f : isLossy ? 0.01f : 0.0f;
        EXPECT_NEAR(read[0][1], 0.0f, tolerance);
        EXPECT_NEAR(read[0][2], 0.0f, tolerance);
        if (!isLossy) {
            EXPECT_EQ(read[0][0], 0.25f);
            EXPECT_EQ(read[0][3], 0.25f);
        }
    }
}

// The lossy encoders, fed NaN or infinite samples, neither abort nor fail
// nor burst into noise far above full scale.
TEST(VMKAudioFileEncoder, LossyEncodersSurviveSamplesThatAreNoNumber) {
    TestFolder folder;
    TestAudio audio = makeSines(2, 44100, 44100, 0.5f);
    for (size_t i = 20000; i < 20010; ++i)
        audio[0][i] = std::numeric_limits<float>::quiet_NaN();
    audio[1][30000] = std::numeric_limits<float>::infinity();
    audio[1][30001] = -std::numeric_limits<float>::infinity();
    struct Case {
        const char* name;
        VMKAudioFileFormat::Kind kind;
        quint32 encoding;
    };
    for (const Case& c : {Case{"a.mp3", VMKAudioFileFormat::Kind::MP3, MPEG3},
                          Case{"a.ogg", VMKAudioFileFormat::Kind::OggVorbis, Vorbis},
                          Case{"a.m4a", VMKAudioFileFormat::Kind::M4A, AAC},
                          Case{"a.caf", VMKAudioFileFormat::Kind::CAF, AAC}}) {
        SCOPED_TRACE(c.name);
        VMKAudioFileEncoderSettings settings = settingsFor(c.kind, c.encoding);
        settings.bitrate = 192000;
        const TestAudio read = encodeAndRead(audio, settings, folder.path(c.name));
        ASSERT_EQ(read.size(), 2u);
        float peak = 0.0f;
        for (const auto& channel : read)
            for (float v : channel) {
                ASSERT_FALSE(std::isnan(v));
                peak = std::max(peak, std::abs(v));
            }
        EXPECT_LT(peak, 2.0f);
    }
}

} // namespace ondrel
