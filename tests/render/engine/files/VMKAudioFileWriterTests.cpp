#include "tests/support/engine/EngineTestSupport.h"
#include "tests/support/engine/TestGenerator.h"

#include "render/engine/files/VMKAudioFileAudioGenerator.h"
#include "render/engine/files/VMKAudioFileInfo.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "render/engine/graph/VMKAudioStream.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ondrel {

using namespace VMKAudioEncoding;

namespace {

struct WriteCase {
    const char* name;
    const char* format;
    quint32 encoding;
    int bitDepth;
    bool floatingPoint;
    int quantize;        // bits of the test signal; 0: plain floats
    double minimumSNR;   // dB; 0 means sample exact
    double rate = 44100;
    std::vector<int> channelCounts = {1, 2, 6};
    QVariantMap properties = {};
    quint32 bitrate = 0;
};
void PrintTo(const WriteCase& c, std::ostream* os) { *os << c.name; }

class WriterRoundTrip : public ::testing::TestWithParam<WriteCase> {};

TEST_P(WriterRoundTrip, WritesWhatReadsBackAndOpensInOtherTools) {
    const WriteCase& tc = GetParam();
    TestFolder folder;
    for (int channels : tc.channelCounts) {
        SCOPED_TRACE(channels);
        const qint64 frames = qint64(tc.rate * 0.5) + 3;
        TestAudio audio = tc.minimumSNR > 0 ? makeSines(channels, frames, tc.rate, 0.5f)
                                            : makeNoise(channels, frames, 0.9f, 7u + unsigned(channels), tc.quantize);
        // Six channels are 5.1: lossy encoders keep only the lows of the LFE channel.
        if (channels == 6 && tc.minimumSNR > 0)
            for (qint64 i = 0; i < frames; ++i)
                audio[3][size_t(i)] = 0.5f * float(std::sin(2.0 * M_PI * 60.0 * double(i) / tc.rate));
        VMKError error;
        auto writer = writeAudio(audio, tc.rate, [&](VMKAudioFileWriterAudioProcessor& w) {
            w.setFormat(QString::fromUtf8(tc.format));
            w.setEncoding(tc.encoding);
            w.setBitDepth(quint32(tc.bitDepth));
            w.setFloatingPoint(tc.floatingPoint);
            w.setBitrate(tc.bitrate);
            w.setFileContentProperties(tc.properties);
            w.setBaseDirectory(folder.url(QString()));
            w.setBaseFilename(QStringLiteral("out%1").arg(channels));
            // Tags and labels ride along wherever the format has room, so
            // that the other tools below open files that carry them.
            w.metadata() = {{QStringLiteral("title"), QStringLiteral("Round trip")}};
            auto marker = VMKAudioLabel::labelOfType(VMKAudioLabel::marker);
            marker->setLocation(0.1);
            auto region = VMKAudioLabel::labelOfType(VMKAudioLabel::region);
            region->setLocation(0.2);
            region->setLength(0.1);
            w.insertLabels({marker, region}, IndexSet::range(0, 2));
        }, &error);
        ASSERT_TRUE(writer) << error.localizedDescription().toStdString();
        const URL url = writer->resultURL();
        EXPECT_FALSE(QFile::exists(writer->temporaryURL().path()));
        EXPECT_FLOAT_EQ(writer->progress(), 1.0f);

        auto info = VMKAudioFileInfo::initWithURL(url, &error);
        ASSERT_TRUE(info) << error.localizedDescription().toStdString();
        EXPECT_EQ(info->format(), QString::fromUtf8(tc.format));
        EXPECT_EQ(info->numberOfChannels(), quint64(channels));
        EXPECT_EQ(info->sampleRate(), tc.rate);
        EXPECT_EQ(info->frames(), quint64(frames));
        EXPECT_EQ(info->encoding(), tc.encoding);
        EXPECT_EQ(info->bitDepth(), quint64(tc.bitDepth));
        EXPECT_EQ(info->isFloatingPoint(), tc.floatingPoint);

        auto reader = VMKAudioFileReader::initWithURL(url, &error);
        ASSERT_TRUE(reader);
        const TestAudio read = readAllFrames(*reader);
        if (tc.minimumSNR > 0)
            EXPECT_GE(signalToNoise(audio, read), tc.minimumSNR);
        else
            EXPECT_EQ(maximumDifference(audio, read), 0.0f);

        // Independent tools open the file with the same facts.
        if (QString::fromUtf8(tc.format) != QLatin1String("VOX Audio File")) {
            const QString output = probe(url.path(), "stream=channels,sample_rate");
            EXPECT_TRUE(output.contains(QStringLiteral("channels=%1").arg(channels))) << output.toStdString();
            EXPECT_TRUE(output.contains(QStringLiteral("sample_rate=%1").arg(tc.rate))) << output.toStdString();
        }
        const QString extension = url.pathExtension();
        QString output;
        if (QStringList{"wav", "aif", "au", "w64", "flac", "ogg", "mp3"}.contains(extension)) {
            EXPECT_EQ(runTool("sox", {"--i", url.path()}, &output), 0) << output.toStdString();
        }
        if (extension == QLatin1String("flac")) {
            EXPECT_EQ(runTool("flac", {"-t", "-s", url.path()}, &output), 0) << output.toStdString();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, WriterRoundTrip,
    ::testing::Values(
        WriteCase{"Wave8", "WAVE File", PCM, 8, false, 8, 0},
        WriteCase{"Wave16", "WAVE File", PCM, 16, false, 16, 0},
        WriteCase{"Wave24", "WAVE File", PCM, 24, false, 24, 0},
        WriteCase{"Wave32", "WAVE File", PCM, 32, false, 24, 0},
        WriteCase{"WaveFloat", "WAVE File", PCM, 32, true, 0, 0},
        WriteCase{"WaveDouble", "WAVE File", PCM, 64, true, 0, 0},
        WriteCase{"WaveULaw", "WAVE File", uLaw, 8, false, 0, 30},
        WriteCase{"WaveALaw", "WAVE File", aLaw, 8, false, 0, 30},
        WriteCase{"WaveIMA", "WAVE File", IMA4, 4, false, 0, 20, 44100, {1, 2}},
        WriteCase{"AIFF8", "AIFF File", PCM, 8, false, 8, 0},
        WriteCase{"AIFF16", "AIFF File", PCM, 16, false, 16, 0},
        WriteCase{"AIFF24", "AIFF File", PCM, 24, false, 24, 0},
        WriteCase{"AIFF32", "AIFF File", PCM, 32, false, 24, 0},
        WriteCase{"AIFFFloat", "AIFF File", PCM, 32, true, 0, 0},
        WriteCase{"AU16", "AU File", PCM, 16, false, 16, 0},
        WriteCase{"AU24", "AU File", PCM, 24, false, 24, 0},
        WriteCase{"AUFloat", "AU File", PCM, 32, true, 0, 0},
        WriteCase{"AUULaw", "AU File", uLaw, 8, false, 0, 30},
        WriteCase{"Wave64_16", "Wave64 File", PCM, 16, false, 16, 0},
        WriteCase{"Wave64_24", "Wave64 File", PCM, 24, false, 24, 0},
        WriteCase{"Wave64Float", "Wave64 File", PCM, 32, true, 0, 0},
        WriteCase{"CAF16", "CAF File", PCM, 16, false, 16, 0},
        WriteCase{"CAF24", "CAF File", PCM, 24, false, 24, 0},
        WriteCase{"CAFFloat", "CAF File", PCM, 32, true, 0, 0},
        WriteCase{"CAFALAC16", "CAF File", ALAC, 16, false, 16, 0},
        WriteCase{"CAFALAC24", "CAF File", ALAC, 24, false, 24, 0},
        WriteCase{"CAFAAC", "CAF File", AAC, 0, false, 0, 15, 44100, {1, 2, 6}, {}, 512000},
        WriteCase{"FLAC16", "FLAC Audio File", FLAC, 16, false, 16, 0},
        WriteCase{"FLAC24", "FLAC Audio File", FLAC, 24, false, 24, 0},
        WriteCase{"FLAC8", "FLAC Audio File", FLAC, 8, false, 8, 0, 48000},
        WriteCase{"FLACAdvanced", "FLAC Audio File", FLAC, 16, false, 16, 0, 96000, {2},
                  {{"compression", 1.0}, {"midSideEncoding", "adaptive"}, {"qlpPrecision", "12"},
                   {"orderModels", "exhaustive"}, {"maxOrder", 16}}},
        WriteCase{"Vorbis", "Ogg Vorbis Audio File", Vorbis, 0, false, 0, 15},
        WriteCase{"VorbisManaged", "Ogg Vorbis Audio File", Vorbis, 0, false, 0, 15, 48000, {2},
                  {{"method", "constrained"}, {"targetBitRate", 192}, {"minimumBitRate", 128},
                   {"maximumBitRate", 256}, {"lowpassFilter", 18000.0}, {"impulseBias", -7.5}}},
        WriteCase{"MP3", "MP3 Audio File", MPEG3, 0, false, 0, 15, 44100, {1, 2}, {}, 192000},
        WriteCase{"MP3VBRJoint", "MP3 Audio File", MPEG3, 0, false, 0, 15, 48000, {2},
                  {{"method", "vbr"}, {"quality", 0.9}, {"useJointStereo", true}}, 160000},
        WriteCase{"MP3ABR", "MP3 Audio File", MPEG3, 0, false, 0, 15, 32000, {1},
                  {{"method", "abr"}}, 96000},
        WriteCase{"AAC", "M4A Audio File", AAC, 0, false, 0, 15, 44100, {1, 2, 6}, {}, 512000},
        WriteCase{"AACVariable", "M4A Audio File", AAC, 0, false, 0, 15, 48000, {2}, {{"useVariableBitrate", true}},
                  256000},
        WriteCase{"ALAC16", "M4A Audio File", ALAC, 16, false, 16, 0},
        WriteCase{"ALAC24", "M4A Audio File", ALAC, 24, false, 24, 0},
        WriteCase{"VOX", "VOX Audio File", uLaw, 8, false, 0, 30, 8000, {1}}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST(VMKAudioFileWriterAudioProcessor, RefusesWhatAFormatCantHold) {
    TestFolder folder;
    const TestAudio stereo = makeSines(2, 1000, 44100);
    for (const auto& [format, encoding] : {std::pair{"MP4 File", 0u}, {"CAF File", MPEG3}, {"VOX Audio File", uLaw},
                                           {"AIFF File", IMA4}, {"FLAC Audio File", PCM}}) {
        VMKError error;
        auto writer = writeAudio(stereo, 44100, [&](VMKAudioFileWriterAudioProcessor& w) {
            w.setFormat(QString::fromUtf8(format));
            w.setEncoding(encoding);
            w.setBaseDirectory(folder.url(QString()));
        }, &error);
        EXPECT_FALSE(writer) << format;
        EXPECT_EQ(error.code(), VMKAudioFileErrorUnsupported) << format;
        EXPECT_FALSE(error.reason().isEmpty());
    }
    EXPECT_TRUE(QDir(folder.path(QString())).entryList(QDir::Files).isEmpty());
}

TEST(VMKAudioFileWriterAudioProcessor, RangeAndRetainedTail) {
    TestFolder folder;
    const double rate = 8000;
    // A second of tone, then a decay to silence over frames 12000 .. 16000.
    TestAudio audio(1, std::vector<float>(24000, 0.0f));
    for (size_t i = 0; i < 16000; ++i)
        audio[0][i] = (i % 2 ? 0.5f : -0.5f) * (i < 12000 ? 1.0f : float(16000 - i) / 4000.0f);
    auto write = [&](bool retain, double maxTail, VMKTimeRange range) {
        VMKError error;
        auto writer = writeAudio(audio, rate, [&](VMKAudioFileWriterAudioProcessor& w) {
            w.setFormat("WAVE File");
            w.setBitDepth(32);
            w.setFloatingPoint(true);
            w.setRange(range);
            w.setRetainTail(retain);
            w.setMaximumTailLength(maxTail);
            w.setMinimumTailLevel(0.01f);
            w.setBaseDirectory(folder.url(QString()));
        }, &error, 1000);
        EXPECT_TRUE(writer) << error.localizedDescription().toStdString();
        return readFile(writer->resultURL().path()).at(0);
    };
    const auto plain = write(false, 10, {0.5, 1.0});
    ASSERT_EQ(plain.size(), 8000u);
    EXPECT_EQ(plain[0], audio[0][4000]);
    EXPECT_EQ(plain[7999], audio[0][11999]);
    // The tail runs to the last frame at or above the level (0.01 of 0.5: frame 15920).
    const auto tail = write(true, 10, {0.5, 1.0});
    size_t lastLoud = 0;
    for (size_t i = 0; i < audio[0].size(); ++i)
        if (std::abs(audio[0][i]) >= 0.01f)
            lastLoud = i;
    ASSERT_EQ(tail.size(), lastLoud + 1 - 4000);
    for (size_t i = 0; i < tail.size(); ++i)
        ASSERT_EQ(tail[i], audio[0][4000 + i]) << i;
    // The maximum tail length cuts it short.
    EXPECT_EQ(write(true, 0.25, {0.5, 1.0}).size(), 8000u + 2000u);
}

class CancellingWriter : public VMKAudioFileWriterAudioProcessor {
public:
    mutable int asked = 0;
    bool isCancelled() const override { return ++asked > 3; }
};

TEST(VMKAudioFileWriterAudioProcessor, CancellationLeavesNoFile) {
    TestFolder folder;
    auto writer = std::make_shared<CancellingWriter>();
    writer->setFormat("FLAC Audio File");
    writer->setRange({0, 10});
    writer->setBaseDirectory(folder.url(QString()));
    VMKError error;
    EXPECT_FALSE(renderIntoWriter(std::make_shared<TestGenerator>(2, 44100, TestGenerator::ramp), writer, &error));
    EXPECT_EQ(error.code(), VMKAudioFileErrorCancelled);
    EXPECT_FALSE(QFile::exists(writer->temporaryURL().path()));
    EXPECT_TRUE(QDir(folder.path(QString())).entryList(QDir::Files).isEmpty());
    EXPECT_LT(writer->progress(), 1.0f);
}

class RedirectingWriter : public VMKAudioFileWriterAudioProcessor {
public:
    URL target;
    QString extensionAsked;
    URL createResultURLWithExtension(const QString& extension) override {
        extensionAsked = extension;
        return target;
    }
};

TEST(VMKAudioFileWriterAudioProcessor, ResultHooksAndGeneratorChain) {
    TestFolder folder;
    // A file made by sox, played by a generator into a writer of another format.
    const TestAudio audio = makeSines(2, 3000, 22050, 0.5f, 16);
    ASSERT_TRUE(soxWrite(audio, 22050, {"-b", "16"}, folder.path("in.wav")));
    auto reader = VMKAudioFileReader::initWithURL(folder.url("in.wav"));
    ASSERT_TRUE(reader);
    auto generator = std::make_shared<VMKAudioFileAudioGenerator>();
    generator->setAudioFile(reader);
    auto writer = std::make_shared<RedirectingWriter>();
    writer->target = folder.url("elsewhere/result.aif");
    writer->setFormat("AIFF File");
    writer->setRange({100.0 / 22050, 2000.0 / 22050});
    VMKError error;
    ASSERT_TRUE(renderIntoWriter(generator, writer, &error)) << error.localizedDescription().toStdString();
    EXPECT_EQ(writer->extensionAsked, "aif");
    EXPECT_EQ(writer->resultURL(), writer->target);
    auto result = VMKAudioFileReader::initWithURL(writer->target);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->sampleRate(), 22050.0);
    const TestAudio read = readAllFrames(*result);
    ASSERT_EQ(read.at(0).size(), 2000u);
    EXPECT_EQ(maximumDifference(audio, read, 100), 0.0f);
}

TEST(VMKAudioFileAudioGenerator, PullsFileFramesWithAnOptionalFadeIn) {
    TestFolder folder;
    TestAudio audio(1, std::vector<float>(2000, 0.5f));
    ASSERT_TRUE(soxWrite(audio, 48000, {"-e", "floating-point", "-b", "32"}, folder.path("in.wav")));
    auto reader = VMKAudioFileReader::initWithURL(folder.url("in.wav"));
    ASSERT_TRUE(reader);
    for (bool antiClick : {false, true}) {
        auto stream = std::make_shared<VMKAudioStream>();
        auto generator = std::make_shared<VMKAudioFileAudioGenerator>();
        generator->setAudioFile(reader);
        generator->setAntiClickOnStart(antiClick);
        auto recorder = std::make_shared<TestRecorder>();
        recorder->setFrameCount(2500);
        chainProcessors(*stream, {generator, recorder})->setMaxFrames(100);
        VMKError error;
        ASSERT_TRUE(stream->initialize(&error) && stream->start(&error)) << error.localizedDescription().toStdString();
        const auto& out = recorder->recorded.at(0);
        ASSERT_EQ(out.size(), 2500u);
        if (antiClick) {
            EXPECT_EQ(out[0], 0.0f);
            EXPECT_FLOAT_EQ(out[128], 0.25f);
            for (size_t i = 1; i < 256; ++i)
                EXPECT_GT(out[i], out[i - 1]);
        } else {
            EXPECT_EQ(out[0], 0.5f);
        }
        EXPECT_EQ(out[256], 0.5f);
        EXPECT_EQ(out[1999], 0.5f);
        EXPECT_EQ(out[2000], 0.0f);  // past the end of the file
        stream->stop();
        stream->uninitialize();
    }
}

// Writes `frames` frames as folder/take.wav; answers the writer (also when
// it failed) and, given `deleted`, what inotify saw deleted from the folder.
std::shared_ptr<VMKAudioFileWriterAudioProcessor> writeTake(const URL& folder, qint64 frames, bool* ok,
                                                            VMKError* error, QStringList* deleted = nullptr) {
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (deleted)
        inotify_add_watch(watch, QFile::encodeName(folder.path()).constData(), IN_DELETE);
    auto writer = std::make_shared<VMKAudioFileWriterAudioProcessor>();
    writer->setFormat("WAVE File");
    writer->setRange({0, double(frames) / 8000});
    writer->setBaseDirectory(folder);
    writer->setBaseFilename("take");
    *ok = renderIntoWriter(std::make_shared<TestGenerator>(1, 8000, TestGenerator::ramp), writer, error);
    alignas(inotify_event) char buffer[4096];
    for (ssize_t got; deleted && (got = read(watch, buffer, sizeof buffer)) > 0;)
        for (char* at = buffer; at < buffer + got; at += sizeof(inotify_event) + reinterpret_cast<inotify_event*>(at)->len)
            *deleted << QString::fromLocal8Bit(reinterpret_cast<inotify_event*>(at)->name);
    close(watch);
    return writer;
}

// The result's folder on the file system of the temporary files, or on
// another one (where the finished file is first copied beside the result).
class WriterReplacesResult : public ::testing::TestWithParam<bool> {};

TEST_P(WriterReplacesResult, TheOldResultIsNeverRemovedBeforeTheNewOneIsInPlace) {
    QTemporaryDir root(GetParam() ? QStringLiteral("/dev/shm/ondrel-XXXXXX") : QDir::tempPath() + "/ondrel-XXXXXX");
    struct stat here {}, temporary {};
    if (!root.isValid() || stat(QFile::encodeName(root.path()).constData(), &here) != 0 ||
        stat(QFile::encodeName(URL::temporaryDirectory().path()).constData(), &temporary) != 0 ||
        (here.st_dev != temporary.st_dev) != GetParam())
        GTEST_SKIP() << "no folder on the file system wanted";
    const URL folder = URL::fileURLWithPath(root.filePath("made/here"));
    bool ok = false;
    VMKError error;
    writeTake(folder, 500, &ok, &error);
    ASSERT_TRUE(ok) << error.localizedDescription().toStdString();
    QStringList deleted;
    auto writer = writeTake(folder, 700, &ok, &error, &deleted);
    ASSERT_TRUE(ok) << error.localizedDescription().toStdString();
    EXPECT_TRUE(deleted.isEmpty()) << deleted.join(' ').toStdString();  // a moment without a result
    EXPECT_EQ(readFile(writer->resultURL().path()).at(0).size(), 700u);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"take.wav"});
    EXPECT_FALSE(QFile::exists(writer->temporaryURL().path()));
}

INSTANTIATE_TEST_SUITE_P(FileSystems, WriterReplacesResult, ::testing::Values(false, true),
                         [](const auto& testInfo) { return testInfo.param ? "Other" : "Same"; });

// Across file systems the copy is staged under a longer hidden name: a result
// whose name is near the longest allowed still gets in.
TEST(VMKAudioFileWriterAudioProcessor, ALongNameIsInstalledOnAnotherFileSystem) {
    QTemporaryDir root(QStringLiteral("/dev/shm/ondrel-XXXXXX"));
    const URL temporary = URL::temporaryDirectory();
    struct stat here {}, there {};
    if (!root.isValid() || stat(QFile::encodeName(root.path()).constData(), &here) != 0 ||
        stat(QFile::encodeName(temporary.path()).constData(), &there) != 0 || here.st_dev == there.st_dev)
        GTEST_SKIP() << "no second file system";
    const URL from = temporary.URLByAppendingPathComponent(QStringLiteral("finished.wav"));
    const URL to = URL::fileURLWithPath(root.filePath(QString(80, QChar(0x97f3)) + QStringLiteral(".wav")));  // 244 bytes
    QFile file(from.path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("RIFF") == 4);
    file.close();
    VMKError error;
    EXPECT_TRUE(VMKAudioFileWriterAudioProcessor::installFile(from, to, &error))
        << error.localizedDescription().toStdString();
    EXPECT_TRUE(QFile::exists(to.path()));
    EXPECT_FALSE(QFile::exists(from.path()));
    QFile::remove(from.path());
}

TEST(VMKAudioFileWriterAudioProcessor, AFailedMoveKeepsTheFinishedFileAndNamesIt) {
    struct Case {
        const char* name;
        const char* inTheWay;  // made before the take; ending in '/', a folder
        const char* folder;    // the result's folder, in the test folder
    };
    const Case cases[] = {
        {"a folder in the result's place", "take.wav/inside/", ""},
        {"a file in the place of the result's folder", "blocked", "blocked/here"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestFolder folder;
        const QString inTheWay = QString::fromUtf8(c.inTheWay);
        if (inTheWay.endsWith('/')) {
            ASSERT_TRUE(QDir().mkpath(folder.path(inTheWay)));
        } else {
            QFile file(folder.path(inTheWay));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        }
        bool ok = true;
        VMKError error;
        auto writer = writeTake(folder.url(QString::fromUtf8(c.folder)), 500, &ok, &error);
        EXPECT_FALSE(ok);
        EXPECT_EQ(error.code(), VMKAudioFileErrorWrite);
        EXPECT_TRUE(error.localizedDescription().contains(writer->temporaryURL().path()))
            << error.localizedDescription().toStdString();
        const TestAudio kept = readFile(writer->temporaryURL().path());
        ASSERT_EQ(kept.size(), 1u);
        EXPECT_EQ(kept[0].size(), 500u);
        QFile::remove(writer->temporaryURL().path());
    }
}

} // namespace

} // namespace ondrel
