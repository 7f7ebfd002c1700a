#include "tests/support/engine/EngineTestSupport.h"

#include "render/engine/files/VMKAudioChunkFile.h"
#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/engine/files/VMKAudioFileInfo.h"
#include "render/engine/files/VMKAudioFileReader.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

using namespace VMKAudioEncoding;

// A file made by an independent tool: by sox from raw floats with
// `arguments` before the output path, or by another program from a 16-bit
// stereo WAVE file (%in and %out in `arguments` are replaced).
struct ToolCase {
    const char* name;
    const char* file;
    QString program;
    QStringList arguments;
    int channels;  // of the sox-made files; the others are stereo
    int bits;      // quantization of the test signal (0: none)
    const char* format;
    int bitDepth;
    bool floatingPoint;
    quint32 encoding;
    double minimumSNR;  // dB; 200 for sample exact
    double rate = 44100;
    // Random access against a sequential read. AAC decoders keep a noise
    // generator that a seek doesn't rewind, so its samples differ slightly.
    double seekTolerance = 1e-6;
};
void PrintTo(const ToolCase& tc, std::ostream* os) { *os << tc.name; }

class ToolMadeFiles : public ::testing::TestWithParam<ToolCase> {};

TEST_P(ToolMadeFiles, ReadWithTheirFactsAndSamplesInAnyOrder) {
    const ToolCase& tc = GetParam();
    TestFolder folder;
    const bool bySox = tc.program == QLatin1String("sox");
    const int channels = bySox ? tc.channels : 2;
    const qint64 frames = qint64(tc.rate) + 1234;
    const TestAudio audio = makeSines(channels, frames, tc.rate, 0.5f, bySox ? tc.bits : 16);
    const QString out = folder.path(tc.file);
    if (bySox) {
        ASSERT_TRUE(soxWrite(audio, tc.rate, QStringList{"-D"} + tc.arguments, out));
    } else {
        const QString source = folder.path(QStringLiteral("source.wav"));
        ASSERT_TRUE(soxWrite(audio, tc.rate, {"-D", "-b", "16"}, source));
        QStringList arguments = tc.arguments;
        arguments.replaceInStrings(QStringLiteral("%in"), source);
        arguments.replaceInStrings(QStringLiteral("%out"), out);
        QString output;
        ASSERT_EQ(runTool(tc.program, arguments, &output), 0) << output.toStdString();
    }

    VMKError error;
    auto info = VMKAudioFileInfo::initWithURL(URL::fileURLWithPath(out), &error);
    ASSERT_TRUE(info) << error.localizedDescription().toStdString();
    EXPECT_EQ(info->format(), QString::fromUtf8(tc.format));
    EXPECT_EQ(info->encoding(), tc.encoding);
    EXPECT_EQ(info->numberOfChannels(), quint64(channels));
    EXPECT_EQ(info->sampleRate(), tc.rate);
    EXPECT_EQ(info->frames(), quint64(frames));
    EXPECT_EQ(info->bitDepth(), quint64(tc.bitDepth));
    EXPECT_EQ(info->isFloatingPoint(), tc.floatingPoint);
    EXPECT_EQ(info->fileSize(), quint64(QFile(out).size()));
    if (!bySox && tc.encoding != PCM) {
        EXPECT_GT(info->bitrate(), 0u);
    }

    auto reader = VMKAudioFileReader::initWithURL(URL::fileURLWithPath(out), &error);
    ASSERT_TRUE(reader);
    const TestAudio read = readAllFrames(*reader, 4000);
    EXPECT_GE(signalToNoise(audio, read), tc.minimumSNR);

    // Random access gives the samples of a sequential read, also when it
    // goes back a little after reading up to the end; past the end is silence.
    for (qint64 at : {qint64(30000), qint64(5), qint64(44000), qint64(0), qint64(frames - 10), qint64(frames - 1),
                      qint64(frames - 3), qint64(30000), qint64(29990)}) {
        std::vector<std::vector<float>> part(size_t(channels), std::vector<float>(10));
        std::vector<float*> pointers;
        for (auto& channel : part)
            pointers.push_back(channel.data());
        ASSERT_TRUE(reader->readFrames(pointers.data(), channels, 10, at, &error))
            << error.localizedDescription().toStdString();
        for (size_t c = 0; c < size_t(channels); ++c)
            for (int i = 0; i < 10; ++i)
                EXPECT_NEAR(part[c][size_t(i)], at + i < frames ? read[c][size_t(at + i)] : 0.0f, tc.seekTolerance)
                    << "channel " << c << " at " << at + i;
    }
}

ToolCase soxMade(const char* name, const char* file, QStringList arguments, int channels, int bits,
                       const char* format, int bitDepth, bool floatingPoint, quint32 encoding, double minimumSNR,
                       double rate = 44100) {
    return {name, file, "sox", arguments, channels, bits, format, bitDepth, floatingPoint, encoding, minimumSNR, rate};
}
ToolCase encoded(const char* name, const char* file, QString program, QStringList arguments,
                       const char* format, quint32 encoding, int bitDepth, double minimumSNR,
                       double seekTolerance = 1e-6) {
    return {name, file, program, arguments, 2, 16, format, bitDepth, false, encoding, minimumSNR, 44100, seekTolerance};
}
constexpr double exact = 200.0;
constexpr double soxFloat = 120.0;  // sox passes floats through 32-bit integers

INSTANTIATE_TEST_SUITE_P(
    Tools, ToolMadeFiles,
    ::testing::Values(
        soxMade("Wave8", "a.wav", {"-b", "8"}, 1, 8, "WAVE File", 8, false, PCM, exact),
        soxMade("Wave16", "a.wav", {"-b", "16"}, 2, 16, "WAVE File", 16, false, PCM, exact),
        soxMade("Wave24", "a.wav", {"-b", "24"}, 6, 24, "WAVE File", 24, false, PCM, exact),
        soxMade("Wave32", "a.wav", {"-e", "signed-integer", "-b", "32"}, 2, 24, "WAVE File", 32, false, PCM, exact),
        soxMade("WaveFloat", "a.wav", {"-e", "floating-point", "-b", "32"}, 2, 0, "WAVE File", 32, true, PCM, soxFloat),
        soxMade("WaveDouble", "a.wav", {"-e", "floating-point", "-b", "64"}, 1, 0, "WAVE File", 64, true, PCM, soxFloat),
        soxMade("WaveULaw", "a.wav", {"-e", "u-law"}, 1, 0, "WAVE File", 8, false, uLaw, 30),
        soxMade("WaveALaw", "a.wav", {"-e", "a-law"}, 2, 0, "WAVE File", 8, false, aLaw, 30),
        soxMade("WaveIMA", "a.wav", {"-e", "ima-adpcm"}, 1, 0, "WAVE File", 4, false, IMA4, 15),
        soxMade("AIFF16", "a.aiff", {"-b", "16"}, 2, 16, "AIFF File", 16, false, PCM, exact),
        soxMade("AIFF24", "a.aif", {"-b", "24"}, 6, 24, "AIFF File", 24, false, PCM, exact),
        soxMade("AIFCFloat", "a.aifc", {"-e", "floating-point", "-b", "32"}, 2, 0, "AIFF File", 32, true, PCM, soxFloat),
        soxMade("AU16", "a.au", {"-b", "16"}, 2, 16, "AU File", 16, false, PCM, exact),
        soxMade("AUULaw", "a.au", {"-e", "u-law"}, 1, 0, "AU File", 8, false, uLaw, 30),
        soxMade("Wave64", "a.w64", {"-b", "24"}, 2, 24, "Wave64 File", 24, false, PCM, exact),
        soxMade("FLAC16", "a.flac", {"-b", "16"}, 2, 16, "FLAC Audio File", 16, false, FLAC, exact),
        soxMade("FLAC24", "a.flac", {"-b", "24"}, 6, 24, "FLAC Audio File", 24, false, FLAC, exact),
        soxMade("VOX", "a.vox", {"-t", "ul"}, 1, 0, "VOX Audio File", 8, false, uLaw, 30, 8000),
        encoded("flac", "a.flac", "flac", {"-s", "-f", "-o", "%out", "%in"}, "FLAC Audio File", FLAC, 16, exact),
        encoded("lame", "a.mp3", "lame", {"--quiet", "-b", "192", "%in", "%out"}, "MP3 Audio File", MPEG3, 0, 25),
        encoded("oggenc", "a.ogg", "oggenc", {"-Q", "-q", "6", "-o", "%out", "%in"}, "Ogg Vorbis Audio File", Vorbis,
                0, 25),
        encoded("ffmpegAAC", "a.m4a", "ffmpeg",
                {"-v", "error", "-y", "-i", "%in", "-c:a", "aac", "-b:a", "256k", "-movie_timescale", "44100", "%out"},
                "M4A Audio File", AAC, 0, 25, 0.005),
        encoded("ffmpegALAC", "a.m4a", "ffmpeg", {"-v", "error", "-y", "-i", "%in", "-c:a", "alac", "%out"},
                "M4A Audio File", ALAC, 16, exact),
        encoded("ffmpegCAF", "a.caf", "ffmpeg", {"-v", "error", "-y", "-i", "%in", "-c:a", "pcm_s24be", "%out"},
                "CAF File", PCM, 24, exact),
        encoded("ffmpegCAFALAC", "a.caf", "ffmpeg", {"-v", "error", "-y", "-i", "%in", "-c:a", "alac", "%out"},
                "CAF File", ALAC, 16, exact)),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

// Bad input gives an error that says what was done and why, never a crash.
class BrokenFiles : public ::testing::Test {
protected:
    TestFolder folder;

    VMKError openExpectingFailure(const QString& path) {
        VMKError infoError, readerError;
        EXPECT_FALSE(VMKAudioFileInfo::initWithURL(URL::fileURLWithPath(path), &infoError));
        EXPECT_FALSE(VMKAudioFileReader::initWithURL(URL::fileURLWithPath(path), &readerError));
        EXPECT_TRUE(infoError.isError());
        EXPECT_EQ(infoError.code(), readerError.code());
        EXPECT_TRUE(infoError.action().contains(URL::fileURLWithPath(path).lastPathComponent()))
            << infoError.action().toStdString();
        return infoError;
    }

    // A compressed file made by a tool from `source` (a program and its
    // arguments; the output path goes last).
    struct ToolFile {
        const char* name;
        QString program;
        QStringList arguments;
    };
    static std::vector<ToolFile> compressedFiles(const QString& source) {
        return {{"cut.m4a", "ffmpeg", {"-v", "error", "-y", "-i", source, "-c:a", "aac", "-movflags", "+faststart"}},
                {"cut.ogg", "oggenc", {"-Q", source, "-o"}},
                {"cut.mp3", "lame", {"--quiet", source}},
                {"cut.flac", "flac", {"-s", "-f", source, "-o"}}};
    }
    // The bytes of `file` made from a second of 16-bit stereo sines.
    QByteArray makeToolFile(const ToolFile& file) {
        const QString source = folder.path("source.wav");
        if (!QFile::exists(source)) {
            EXPECT_TRUE(soxWrite(makeSines(2, 44100, 44100, 0.5f, 16), 44100, {"-b", "16"}, source));
        }
        const QString full = folder.path(QStringLiteral("full_") + file.name);
        EXPECT_EQ(runTool(file.program, file.arguments + QStringList{full}), 0);
        return readBytes(full);
    }
};

TEST_F(BrokenFiles, MissingEmptyGarbageAndTruncatedHeaders) {
    QDir().mkpath(folder.path("folder.wav"));
    QByteArray garbage(5000, '\0');
    for (int i = 0; i < garbage.size(); ++i)
        garbage[i] = char((i * 7919) ^ (i >> 3));
    writeBytes(folder.path("empty.wav"), {});
    writeBytes(folder.path("garbage.wav"), garbage);
    writeBytes(folder.path("garbage.mp3"), QByteArray("\xFF\xFB\x90\x00", 4) + garbage);
    const std::pair<const char*, int> cases[] = {{"missing.wav", VMKAudioFileErrorNotFound},
                                                 {"folder.wav", VMKAudioFileErrorNotFound},
                                                 {"empty.wav", VMKAudioFileErrorUnknownFormat},
                                                 {"garbage.wav", VMKAudioFileErrorUnknownFormat},
                                                 {"garbage.mp3", 0}};
    for (const auto& [name, code] : cases) {
        const VMKError error = openExpectingFailure(folder.path(name));
        if (code) {
            EXPECT_EQ(error.code(), code) << name;
        }
        if (QLatin1String(name) == QLatin1String("folder.wav")) {
            EXPECT_TRUE(error.reason().contains("folder"));
        }
    }
    // Files whose header is cut off after 20 bytes.
    const TestAudio audio = makeSines(2, 1000, 44100, 0.5f, 16);
    for (const char* name : {"cut.wav", "cut.aiff", "cut.flac", "cut.caf", "cut.au", "cut.w64"}) {
        const QString full = folder.path(QStringLiteral("full_") + name);
        if (QString(name).endsWith("caf"))
            ASSERT_EQ(runTool("ffmpeg", {"-v", "error", "-y", "-f", "f32le", "-ar", "44100", "-ac", "1", "-i",
                                         "/dev/zero", "-t", "0.1", "-c:a", "pcm_s16be", full}),
                      0);
        else
            ASSERT_TRUE(soxWrite(audio, 44100, {"-b", "16"}, full));
        writeBytes(folder.path(name), readBytes(full).left(20));
        openExpectingFailure(folder.path(name));
    }
}

// A compressed file cut short either fails to open with a reason or reads
// to its end without hanging: what is there, and silence (never what the
// caller's buffer held) past the end or where the data breaks off, with the
// reader able to go on where it was.
TEST_F(BrokenFiles, TruncatedCompressedFilesFailOrReadWhatIsThere) {
    const QString source = folder.path("source.wav");
    auto files = compressedFiles(source);
    files.push_back({"cut.caf", "ffmpeg", {"-v", "error", "-y", "-i", source, "-c:a", "alac"}});
    for (const ToolFile& c : files) {
        SCOPED_TRACE(c.name);
        const QByteArray bytes = makeToolFile(c);
        ASSERT_FALSE(bytes.isEmpty());
        for (qsizetype keep : {qsizetype(20), qsizetype(200), bytes.size() / 2, bytes.size() * 3 / 4}) {
            SCOPED_TRACE(keep);
            writeBytes(folder.path(c.name), bytes.left(keep));
            VMKError error;
            auto reader = VMKAudioFileReader::initWithURL(folder.url(c.name), &error);
            if (!reader) {
                EXPECT_FALSE(error.reason().isEmpty());
                continue;
            }
            EXPECT_LE(reader->frames(), 44100u);
            auto fresh = VMKAudioFileReader::initWithURL(folder.url(c.name));
            ASSERT_TRUE(fresh);
            std::vector<float> expected(1000), unused(1000);
            float* expectedChannels[2] = {expected.data(), unused.data()};
            fresh->readFrames(expectedChannels, 2, 1000, 1100);
            const qint64 frames = qint64(reader->frames());
            for (qint64 at : {qint64(0), qint64(100), frames - 100, frames / 2 + 7, qint64(1100), frames + 100}) {
                SCOPED_TRACE(at);
                std::vector<float> left(1000, 0.75f), right(1000, 0.75f);
                float* channels[2] = {left.data(), right.data()};
                if (!reader->readFrames(channels, 2, 1000, at, &error)) {
                    EXPECT_EQ(error.code(), VMKAudioFileErrorRead);
                    EXPECT_EQ(*std::max_element(left.begin(), left.end()), 0.0f);
                    EXPECT_EQ(*std::max_element(right.begin(), right.end()), 0.0f);
                    EXPECT_EQ(*std::min_element(right.begin(), right.end()), 0.0f);
                }
                for (size_t i = 0; i < 1000; ++i)
                    ASSERT_NE(left[i], 0.75f) << "at " << at + qint64(i) << " of " << frames;
                if (at > frames) {
                    EXPECT_EQ(*std::max_element(left.begin(), left.end()), 0.0f);
                }
                if (at == 1100 && frames > 2100) {
                    // (AAC's noise generator isn't rewound by a seek.)
                    for (size_t i = 0; i < 1000; ++i)
                        ASSERT_NEAR(left[i], expected[i], 0.01f) << "at " << at + qint64(i);
                }
            }
        }
    }
}

TEST_F(BrokenFiles, TruncatedDataReadsWhatIsThere) {
    const TestAudio audio = makeSines(1, 10000, 44100, 0.5f, 16);
    const QString full = folder.path("full.wav");
    ASSERT_TRUE(soxWrite(audio, 44100, {"-b", "16"}, full));
    const QByteArray bytes = readBytes(full);
    writeBytes(folder.path("cut.wav"), bytes.left(bytes.size() - 2000));  // the header still says 10000
    VMKError error;
    auto reader = VMKAudioFileReader::initWithURL(folder.url("cut.wav"), &error);
    ASSERT_TRUE(reader) << error.localizedDescription().toStdString();
    EXPECT_EQ(reader->frames(), 9000u);
    const TestAudio read = readAllFrames(*reader, 3000);
    EXPECT_EQ(maximumDifference(audio, read), 0.0f);
}

// The content decides the format: MPEG audio behind junk, FLAC named .wav.
TEST_F(BrokenFiles, TheContentDecidesTheFormat) {
    const TestAudio audio = makeSines(2, 22050, 44100, 0.5f, 16);
    ASSERT_TRUE(soxWrite(audio, 44100, {"-b", "16"}, folder.path("in.wav")));
    ASSERT_EQ(runTool("lame", {"--quiet", "-b", "128", folder.path("in.wav"), folder.path("clean.mp3")}), 0);
    writeBytes(folder.path("junk.mp3"), QByteArray(333, '\0') + readBytes(folder.path("clean.mp3")));
    ASSERT_TRUE(soxWrite(audio, 44100, {"-t", "flac", "-b", "16"}, folder.path("really.wav")));
    for (const auto& [name, format] : {std::pair{"junk.mp3", "MP3 Audio File"}, std::pair{"really.wav", "FLAC Audio File"}}) {
        VMKError error;
        auto info = VMKAudioFileInfo::initWithURL(folder.url(name), &error);
        ASSERT_TRUE(info) << error.localizedDescription().toStdString();
        EXPECT_EQ(info->format(), format);
    }
    EXPECT_EQ(maximumDifference(audio, readFile(folder.path("really.wav"))), 0.0f);
}

// Ogg streams can be chained, and a later link may have fewer channels than
// the first: reading such a file never goes past the channels a link has.
TEST_F(BrokenFiles, ChainedOggWithFewerChannelsLater) {
    const TestAudio two = makeSines(2, 22050, 44100, 0.5f, 16);
    ASSERT_TRUE(soxWrite(two, 44100, {"-b", "16"}, folder.path("two.wav")));
    ASSERT_TRUE(soxWrite(makeSines(1, 22050, 44100, 0.5f, 16), 44100, {"-b", "16"}, folder.path("one.wav")));
    ASSERT_EQ(runTool("oggenc", {"-Q", folder.path("two.wav"), "-o", folder.path("two.ogg")}), 0);
    ASSERT_EQ(runTool("oggenc", {"-Q", folder.path("one.wav"), "-o", folder.path("one.ogg")}), 0);
    writeBytes(folder.path("chain.ogg"), readBytes(folder.path("two.ogg")) + readBytes(folder.path("one.ogg")));
    VMKError error;
    auto reader = VMKAudioFileReader::initWithURL(folder.url("chain.ogg"), &error);
    if (!reader) {
        EXPECT_TRUE(error.isError());
        return;
    }
    const qint64 frames = qint64(reader->frames());
    std::vector<float> left(size_t(frames), 0.75f), right(size_t(frames), 0.75f);
    float* channels[2] = {left.data(), right.data()};
    if (!reader->readFrames(channels, 2, frames, 0, &error)) {
        EXPECT_FALSE(error.reason().isEmpty());
    }
    // The first link reads as it was written.
    EXPECT_EQ(reader->numberOfChannels(), 2u);
    EXPECT_NEAR(left[1000], two[0][1000], 0.05f);
    EXPECT_NEAR(right[1000], two[1][1000], 0.05f);
}

// A damaged first AAC packet can make FFmpeg announce more channels (here
// 30) than the packets decode to (2): reading never goes past the channels
// a decoded frame has.
TEST_F(BrokenFiles, AACFramesWithFewerChannelsThanAnnounced) {
    VMKAudioFileEncoderSettings settings;
    settings.format = &VMKAudioFileFormat::formatOfKind(VMKAudioFileFormat::Kind::CAF);
    settings.encoding = AAC;
    settings.sampleRate = 44100;
    settings.bitrate = 128000;
    const QString path = folder.path("damaged.caf");
    VMKError error;
    ASSERT_TRUE(encodeAudio(makeSines(2, 20000, 44100, 0.5f), settings, path, &error))
        << error.localizedDescription().toStdString();
    const auto chunks = VMKAudioChunkFile::chunkFileWithPath(path);
    ASSERT_TRUE(chunks.chunk("data"));
    const qint64 firstPacket = chunks.chunk("data")->offset + 4;  // behind the edit count
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.seek(firstPacket + 1);
    file.write(QByteArray(1, char(0x85)));
    file.close();

    auto reader = VMKAudioFileReader::initWithURL(URL::fileURLWithPath(path), &error);
    if (!reader)
        return;
    const int channels = int(std::min<quint64>(reader->numberOfChannels(), 64));
    const qint64 frames = qint64(reader->frames());
    TestAudio read(size_t(channels), std::vector<float>(size_t(frames), 0.75f));
    std::vector<float*> out;
    for (auto& channel : read)
        out.push_back(channel.data());
    reader->readFrames(out.data(), channels, frames, 0, &error);
    for (const auto& channel : read)
        for (float v : channel)
            ASSERT_LE(std::abs(v), 2.0f);
}

TEST(VMKAudioFileReader, SilenceOutsideTheFileAndChannelMismatch) {
    TestFolder folder;
    const TestAudio audio = makeSines(2, 1000, 44100, 0.5f, 16);
    ASSERT_TRUE(soxWrite(audio, 44100, {"-b", "16"}, folder.path("a.wav")));
    auto reader = VMKAudioFileReader::initWithURL(folder.url("a.wav"));
    ASSERT_TRUE(reader);
    // Frames [from, from + 300) of a channel of the file: silence outside it.
    auto expected = [&](size_t channel, qint64 from) {
        std::vector<float> frames(300, 0.0f);
        for (qint64 i = std::max<qint64>(0, -from); i < 300 && channel < 2 && from + i < 1000; ++i)
            frames[size_t(i)] = audio[channel][size_t(from + i)];
        return frames;
    };
    std::vector<float> a(300, 9.0f), b(300, 9.0f), c(300, 9.0f);
    float* three[3] = {a.data(), b.data(), c.data()};
    ASSERT_TRUE(reader->readFrames(three, 3, 300, -100));  // a channel more than the file has
    EXPECT_EQ(a, expected(0, -100));
    EXPECT_EQ(b, expected(1, -100));
    EXPECT_EQ(c, expected(2, -100));
    for (qint64 from : {900, 5000}) {
        float* one[1] = {a.data()};
        ASSERT_TRUE(reader->readFrames(one, 1, 300, from));  // a channel less
        EXPECT_EQ(a, expected(0, from));
    }
}

} // namespace

} // namespace ondrel
