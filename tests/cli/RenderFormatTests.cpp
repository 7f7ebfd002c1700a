#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/engine/files/VMKAudioFileLabels.h"
#include "render/engine/files/VMKAudioFileTags.h"
#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>

namespace ondrel {

namespace {

// The source of every row: 72001 frames (so that a conversion rounds) of stereo 48 kHz 24-bit,
// a marker at 1.0 s and a title.
constexpr qint64 sourceFrames = 72001;
const QString title = QStringLiteral("Matrix Tone");

qint64 converted(double rate) { return qRound64(double(sourceFrames) * rate / 48000.0); }

struct Facts {
    int channels = 0;
    double sampleRate = 0.0;
    int bits = 0;
    QString encoding;
};

// What an independent tool reads of the file: sox where it can, else ffprobe (MP4, AAC in CAF).
Facts factsOf(const QString& path) {
    const SoxInfo info = soxInfo(path);
    if (info.channels > 0)
        return {info.channels, info.sampleRate, info.precision, info.encoding};
    return {ffprobeValue(path, "stream=channels").toInt(), ffprobeValue(path, "stream=sample_rate").toDouble(),
            ffprobeValue(path, "stream=bits_per_raw_sample").toInt(), ffprobeValue(path, "stream=codec_name")};
}

} // namespace

// Each format action renders the file it promises, as sox, ffprobe and flac read it: container and
// encoding, rate, channels and depth, the frame count exact to the conversion's rounding (within
// one codec frame for the lossy codecs, whose decoders disagree on priming), the encoder settings
// that can be seen in the file, the marker moved with the rate, the title carried over, dithered
// 16-bit samples on the 16-bit grid, and the tone still there. Catches a format written under the
// wrong container or depth, an encoder argument lost on its way, an off-by-one in the converted
// length, a label left at its old frame and metadata dropped.
TEST(RenderFormat, EachFormatActionWritesWhatItPromises) {
    TemporaryHome home;
    const QString source = home.filePath(QStringLiteral("tone.wav"));
    ASSERT_TRUE(makeWav(source, double(sourceFrames) / 48000.0, 48000, 24, 2));
    const VMKAudioFileFormat& wave = VMKAudioFileFormat::formatOfKind(VMKAudioFileFormat::Kind::WAVE);
    auto marker = VMKAudioLabel::labelOfType(VMKAudioLabel::marker);
    marker->setLocation(1.0);
    ASSERT_TRUE(VMKAudioFileLabels::writeLabels(source, wave, 48000.0, {marker}, nullptr));
    ASSERT_TRUE(VMKAudioFileTags::writeMetadata(source, wave, {{QStringLiteral("title"), title}}, nullptr));
    ASSERT_EQ(runOndrel(home.path(), {"add", source}).exitCode, 0);
    // Labels and metadata reach the catalog by the analysis; where it has not read them there is
    // nothing for a render to carry over, and those two checks wait.
    const QJsonObject entity = QJsonDocument::fromJson(runOndrel(home.path(), {"--json", "show", source}).out.toUtf8()).object();
    const bool cataloged = !entity.value("labels").toArray().isEmpty() && entity.value("metadata").toObject().contains("title");
    if (!cataloged)
        std::cout << "[ NOTE     ] the catalog holds neither the marker nor the title of the source: not looked for\n";

    const struct Row {
        QStringList action;
        const char* extension;
        QStringList soxType;  // how sox reads a headerless file
        double rate;
        int channels;
        int bits;                 // 0: not looked at
        const char* encoding;     // what sox or ffprobe names it; "" not looked at
        qint64 frames;
        bool lossy;
        qint64 markerFrame;       // -1: the format holds no labels
        bool tagged;              // the format holds a title
        bool on16BitGrid;
        const char* probe;        // an encoder setting ffprobe shows, "" none
        const char* probed;
    } rows[] = {
        {{"changeToWAVE"}, "wav", {}, 48000, 2, 24, "Signed Integer PCM", converted(48000), false, 48000, true, false, "", ""},
        {{"changeToWAVE", "encoding=µLaw"}, "wav", {}, 48000, 2, 0, "u-law", converted(48000), false, 48000, true, false, "", ""},
        {{"changeToAIFF"}, "aif", {}, 48000, 2, 24, "Signed Integer PCM", converted(48000), false, 48000, true, false, "", ""},
        {{"changeToAU", "encoding=ALaw"}, "au", {}, 48000, 2, 0, "A-law", converted(48000), false, -1, false, false, "", ""},
        {{"changeToCAF"}, "caf", {}, 48000, 2, 24, "Signed Integer PCM", converted(48000), false, 48000, true, false, "", ""},
        {{"changeToCAF", "encoding=AAC", "bitrate=96000"}, "caf", {}, 48000, 2, 0, "aac", converted(48000), true, -1, true, false,
         "", ""},
        {{"changeToWAV64"}, "w64", {}, 48000, 2, 24, "Signed Integer PCM", converted(48000), false, -1, false, false, "", ""},
        {{"changeToALAC"}, "m4a", {}, 48000, 2, 24, "alac", converted(48000), false, -1, true, false, "", ""},
        {{"changeToAAC", "bitrate=128000"}, "m4a", {}, 48000, 2, 0, "aac", converted(48000), true, -1, true, false, "", ""},
        {{"changeToFLAC", "compression=0.5"}, "flac", {}, 48000, 2, 24, "FLAC", converted(48000), false, -1, true, false, "", ""},
        {{"changeToFLACAdvanced", "encoding=disabled", "maxOrder=8"}, "flac", {}, 48000, 2, 24, "FLAC", converted(48000), false, -1,
         true, false, "", ""},
        {{"changeToMP3", "bitrate=128000"}, "mp3", {}, 48000, 2, 0, "MPEG audio", converted(48000), true, -1, true, false,
         "stream=bit_rate", "128000"},
        {{"changeToVorbis", "quality=0.2"}, "ogg", {}, 48000, 2, 0, "Vorbis", converted(48000), false, -1, true, false, "", ""},
        {{"changeToVorbisAdvanced", "bit=average", "target=96"}, "ogg", {}, 48000, 2, 0, "Vorbis", converted(48000), false, -1, true,
         false, "stream=bit_rate", "96000"},
        {{"changeToVOX"}, "vox", {"-t", "ul", "-r", "8000", "-c", "1"}, 8000, 1, 0, "", converted(8000), false, -1, false,
         false, "", ""},
        {{"changeBitDepth", "bitDepth=16"}, "wav", {}, 48000, 2, 16, "Signed Integer PCM", converted(48000), false, 48000, true, true,
         "", ""},
        {{"goodhertzDither", "bitDepth=16"}, "wav", {}, 48000, 2, 24, "Signed Integer PCM", converted(48000), false, 48000, true, true,
         "", ""},
        {{"changeSampleRateApple", "sampleRate=44100"}, "wav", {}, 44100, 2, 24, "", converted(44100), false, 44100, true, false, "", ""},
        {{"changeSampleRateGoodhertz", "sampleRate=96000"}, "wav", {}, 96000, 2, 24, "", converted(96000), false, 96000, true, false,
         "", ""},
        // Only the header's rate changes: the same frames, the marker at its frame (now at 2.0 s).
        {{"fixSampleRate", "sampleRate=24000"}, "wav", {}, 24000, 2, 24, "", sourceFrames, false, 48000, true, false, "", ""},
        // Film retiming sets the length to the rate ratio over the file's length (0.8 / 1.5 s); the marker
        // at 1.0 s lies past that end.
        {{"changeFrameRate"}, "wav", {}, 48000, 2, 24, "", qRound64(0.8f / (double(sourceFrames) / 48000.0) * 48000.0),
         false, -1, true, false, "", ""},
    };
    int index = 0;
    for (const Row& row : rows) {
        const std::string call = row.action.join(' ').toStdString();
        SCOPED_TRACE(call);
        const QString folder = home.filePath(QStringLiteral("out%1").arg(++index));
        ASSERT_TRUE(QDir().mkpath(folder));
        const CommandResult run = runWorkflow(home.path(), {row.action}, {"destinationBookmark=" + folder});
        ASSERT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
        const QStringList names = namesIn(folder);
        ASSERT_EQ(names, QStringList{QStringLiteral("tone.") + row.extension});
        const QString path = folder + '/' + names.first();

        if (row.soxType.isEmpty()) {
            const Facts facts = factsOf(path);
            EXPECT_EQ(facts.channels, row.channels);
            EXPECT_EQ(facts.sampleRate, row.rate);
            if (row.bits) {
                EXPECT_EQ(facts.bits, row.bits);
            }
            EXPECT_TRUE(facts.encoding.contains(QLatin1String(row.encoding))) << facts.encoding.toStdString();
        } else {  // headerless: one byte per sample and channel, and it must decode as the type says
            EXPECT_EQ(QFileInfo(path).size(), row.frames * row.channels);
        }
        if (*row.probe) {
            EXPECT_EQ(ffprobeValue(path, row.probe), QLatin1String(row.probed));
        }
        if (row.extension == QLatin1String("flac")) {
            EXPECT_EQ(runTool("flac", {"-t", "-s", path}).exitCode, 0);
        }

        const std::vector<float> samples = samplesOf(path, row.soxType);
        const qint64 frames = qint64(samples.size()) / row.channels;
        if (row.lossy) {
            EXPECT_LE(std::abs(frames - row.frames), 2048) << frames;
        } else {
            EXPECT_EQ(frames, row.frames);
        }
        float peak = 0.0f;
        bool onGrid = true;
        for (const float sample : samples) {
            peak = std::max(peak, std::abs(sample));
            onGrid = onGrid && std::nearbyint(sample * 32768.0f) == sample * 32768.0f;
        }
        EXPECT_NEAR(peak, 0.5f, 0.05f);
        if (row.on16BitGrid) {
            EXPECT_TRUE(onGrid);
        }

        if (cataloged && row.markerFrame >= 0) {
            const auto labels = VMKAudioFileLabels::labelsOfFile(path, row.rate);
            ASSERT_EQ(labels.size(), 1u);
            EXPECT_EQ(qRound64(labels.front()->location() * row.rate), row.markerFrame);
        }
        if (cataloged && row.tagged) {
            EXPECT_EQ(ffprobeValue(path, "format_tags=title:stream_tags=title"), title);
        }
    }
}

} // namespace ondrel
