#include "analysis/processors/AnalyzerAudioProcessor.h"
#include "render/engine/waveforms/VMKMinMaxWaveform.h"
#include "tests/support/analysis/AnalysisTestSupport.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QtEndian>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include <gtest/gtest.h>

namespace ondrel {
namespace {

constexpr double kRate = 48000.0;

std::vector<float> sine(double frequency, float amplitude, qint64 frames, float offset = 0.0f) {
    std::vector<float> out(static_cast<size_t>(frames));
    for (qint64 i = 0; i < frames; ++i)
        out[size_t(i)] = offset + amplitude * float(std::sin(2.0 * M_PI * frequency * double(i) / kRate));
    return out;
}

// The last number after `label` in a tool's report.
double lastNumberAfter(const QString& text, const QString& label) {
    const QRegularExpression pattern(QRegularExpression::escape(label) + QStringLiteral("\\s+(-?[0-9.]+|-inf)"));
    double value = std::numeric_limits<double>::quiet_NaN();
    for (auto it = pattern.globalMatch(text); it.hasNext();) {
        const QString number = it.next().captured(1);
        value = number == QLatin1String("-inf") ? -INFINITY : number.toDouble();
    }
    return value;
}

// The columns of one line of `sox stats` (overall first when there are several channels).
std::vector<double> soxColumns(const QString& text, const QString& label) {
    std::vector<double> values;
    for (const QString& line : text.split(QLatin1Char('\n')))
        if (line.startsWith(label)) {
            const QStringList words = line.mid(label.size()).split(QLatin1Char(' '), Qt::SkipEmptyParts);
            for (const QString& word : words)
                values.push_back(word.toDouble());
        }
    return values;
}

struct ToolCase {
    const char* name;
    std::function<TestAudio()> audio;
};

class AnalyzerAgainstTools : public ::testing::TestWithParam<ToolCase> {};

// Catches a measure computed the wrong way (a per-block mean taken for the
// whole, a sum kept in float that drifts, a channel weighted wrongly in the
// loudness, a true peak that is only the sample peak): each file's results
// are checked against ffmpeg's EBU R128 meter and sox's statistics.
TEST_P(AnalyzerAgainstTools, MeasuresAsFfmpegAndSoxDo) {
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty() ||
        QStandardPaths::findExecutable(QStringLiteral("sox")).isEmpty())
        GTEST_SKIP() << "ffmpeg or sox is missing";
    TestFolder folder;
    const TestAudio audio = GetParam().audio();
    const QString path = folder.path(QStringLiteral("file.wav"));
    writeFloatWave(audio, kRate, path);
    const AnalysisResults results = analyzeFiles({URL::fileURLWithPath(path)});
    ASSERT_EQ(results.channels.size(), qsizetype(audio.size()));

    QString loudness;
    const QString filter = audio.size() == 1 ? QStringLiteral("ebur128=peak=true:dualmono=true")
                                             : QStringLiteral("ebur128=peak=true");
    ASSERT_EQ(runTool(QStringLiteral("ffmpeg"), {"-nostats", "-i", path, "-af", filter, "-f", "null", "-"}, &loudness), 0);
    const QString summary = loudness.mid(loudness.lastIndexOf(QLatin1String("Summary:")));
    EXPECT_NEAR(measure(results.properties, "programLoudness"), lastNumberAfter(summary, "I:"), 0.1);
    EXPECT_NEAR(measure(results.properties, "loudnessRange"), lastNumberAfter(summary, "LRA:"), 0.5);
    EXPECT_NEAR(measure(results.properties, "truePeak"), lastNumberAfter(summary, "Peak:"), 0.2);

    QString stats;
    ASSERT_EQ(runTool(QStringLiteral("sox"), {path, "-n", "stats"}, &stats), 0);
    const auto peaks = soxColumns(stats, "Pk lev dB");
    const auto levels = soxColumns(stats, "RMS lev dB");
    const auto offsets = soxColumns(stats, "DC offset");
    ASSERT_EQ(peaks.size(), audio.size() == 1 ? 1u : audio.size() + 1) << stats.toStdString();
    ASSERT_EQ(levels.size(), peaks.size());
    ASSERT_EQ(offsets.size(), peaks.size());
    std::vector<QVariantMap> measured = {results.properties};
    for (const QVariant& channel : results.channels)
        if (audio.size() > 1)
            measured.push_back(channel.toMap());
    for (size_t i = 0; i < measured.size(); ++i) {
        SCOPED_TRACE(i == 0 ? "overall" : "channel " + std::to_string(i));
        EXPECT_NEAR(measure(measured[i], "peak"), peaks[i], 0.01);
        EXPECT_NEAR(measure(measured[i], "RMS"), levels[i], 0.01);
        EXPECT_NEAR(measure(measured[i], "DCOffset"), offsets[i], 0.001);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, AnalyzerAgainstTools,
    ::testing::Values(
        ToolCase{"sine", [] { return TestAudio{sine(997.0, 0.5f, qint64(6 * kRate))}; }},
        // Noise of forty tones below 4 kHz at random phases: white noise
        // peaks between its samples by amounts that depend on each meter's
        // oversampling filter, band-limited noise does not.
        ToolCase{"noise",
                 [] {
                     std::mt19937 random(7);
                     std::uniform_real_distribution<double> frequency(50.0, 4000.0), phase(0.0, 2.0 * M_PI);
                     TestAudio audio(2, std::vector<float>(size_t(6 * kRate), 0.0f));
                     for (auto& channel : audio)
                         for (int tone = 0; tone < 40; ++tone) {
                             const double f = frequency(random), p = phase(random);
                             for (size_t i = 0; i < channel.size(); ++i)
                                 channel[i] += 0.03f * float(std::sin(2.0 * M_PI * f * double(i) / kRate + p));
                         }
                     return audio;
                 }},
        ToolCase{"dcOffset", [] { return TestAudio{sine(440.0, 0.3f, qint64(6 * kRate), 0.1f)}; }},
        // Two seconds loud, two quiet, over and over: a loudness range of about 12 LU.
        ToolCase{"levelSteps",
                 [] {
                     TestAudio audio = {sine(500.0, 0.5f, qint64(12 * kRate)), sine(750.0, 0.4f, qint64(12 * kRate))};
                     for (auto& channel : audio)
                         for (size_t i = 0; i < channel.size(); ++i)
                             if ((i / size_t(2 * kRate)) % 2 == 1)
                                 channel[i] *= 0.25f;
                     return audio;
                 }}),
    [](const auto& test) { return std::string(test.param.name); });

// Catches a stereo correlation or mid/side peak taken from the wrong samples
// or scaled wrongly: a pair whose right channel is the left one, half as loud,
// with noise added, checked against the same sums made here in double.
TEST(AnalyzerAudioProcessor, StereoCorrelationAndMidSidePeaksOfAKnownPair) {
    TestFolder folder;
    const qint64 frames = 48000 + 77;
    TestAudio audio = {sine(220.0, 0.6f, frames), {}};
    const auto noise = makeNoise(1, frames, 0.2f, 3)[0];
    for (qint64 i = 0; i < frames; ++i)
        audio[1].push_back(0.5f * audio[0][size_t(i)] + noise[size_t(i)]);
    writeFloatWave(audio, kRate, folder.path(QStringLiteral("pair.wav")));
    const AnalysisResults results = analyzeFiles({folder.url(QStringLiteral("pair.wav"))});

    double signs = 0.0, mid = 0.0, side = 0.0;
    for (qint64 i = 0; i < frames; ++i) {
        const float l = audio[0][size_t(i)], r = audio[1][size_t(i)];
        signs += (l >= 0.0f ? 1.0 : -1.0) * (r >= 0.0f ? 1.0 : -1.0);
        mid = std::max(mid, std::fabs(double(l) + double(r)));
        side = std::max(side, std::fabs(double(l) - double(r)));
    }
    const double s = signs / double(frames);
    const double difference = s >= 0.0 ? (1.0 - s) * 100.0 : (s + 1.0) * -100.0;
    EXPECT_NEAR(measure(results.properties, "difference"), difference, 1e-3);
    EXPECT_GT(measure(results.properties, "difference"), 1.0);  // related, but not alike
    EXPECT_NEAR(measure(results.properties, "midPeak"), 20.0 * std::log10(mid * 0.5), 1e-4);
    EXPECT_NEAR(measure(results.properties, "sidePeak"), 20.0 * std::log10(side * 0.5), 1e-4);
}

// Catches a pitch histogram that counts the wrong bin, rounds the wrong way
// or loses the low or high notes: sines across the piano keyboard.
TEST(AnalyzerAudioProcessor, DetectsTheSemitoneOfSinesAcrossThePianoRange) {
    struct Note {
        const char* name;
        double frequency;
        quint64 semitone;
    };
    // From the lowest note the detector follows (some 47 Hz) to the top of the piano.
    const Note notes[] = {{"B1", 61.735, 35},  {"A2", 110.0, 45},   {"C4", 261.626, 60},
                          {"A4", 440.0, 69}, {"C6", 1046.50, 84}, {"C8", 4186.01, 108}};
    TestFolder folder;
    for (const Note& note : notes) {
        SCOPED_TRACE(note.name);
        const QString path = folder.path(QString::fromLatin1(note.name) + QStringLiteral(".wav"));
        writeFloatWave({sine(note.frequency, 0.5f, qint64(2 * kRate))}, kRate, path);
        const AnalysisResults results = analyzeFiles({URL::fileURLWithPath(path)});
        EXPECT_EQ(results.properties.value(QStringLiteral("detectedSemitone")).toULongLong(), note.semitone);
    }
}

struct BlockCase {
    const char* name;
    qint64 frames;
    std::function<float(qint64)> sample;
    quint64 clipEvents;
    std::vector<std::pair<qint16, qint16>> table;  // largest, smallest per 256 frames
};

// Catches clip events counted per sample or per block instead of per run,
// full scale taken for a clip, a lost last partial block, an overview entry
// off by one block, a value rounded instead of cut, and a last entry written
// for a file that ends on a block boundary.
TEST(AnalyzerAudioProcessor, ClipEventsAndOverviewOfKnownBlocks) {
    const BlockCase cases[] = {
        {"runAcrossABlockBoundary", 600,
         [](qint64 i) {
             if (i >= 250 && i < 260)
                 return 1.5f;  // one run, crossing frame 256
             if (i == 300)
                 return 1.0f;  // full scale: no clip
             if (i >= 400 && i < 402)
                 return -1.2f;
             return i >= 512 ? -0.25f : 0.1f;
         },
         2,
         {{32767, 3276}, {32767, -32768}, {-8191, -8191}}},
        {"wholeBlocksAtFullScale", 512, [](qint64) { return 1.0f; }, 0, {{32767, 32767}, {32767, 32767}, {0, 0}}},
    };
    TestFolder folder;
    for (const BlockCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<float> samples(size_t(c.frames));
        for (qint64 i = 0; i < c.frames; ++i)
            samples[size_t(i)] = c.sample(i);
        const QString path = folder.path(QString::fromLatin1(c.name) + QStringLiteral(".wav"));
        writeFloatWave({samples}, kRate, path);
        const AnalysisResults results = analyzeFiles({URL::fileURLWithPath(path)});
        ASSERT_EQ(results.channels.size(), 1);
        const QVariantMap channel = results.channels[0].toMap();
        EXPECT_EQ(channel.value(QStringLiteral("countOfClipEvents")).toULongLong(), c.clipEvents);
        EXPECT_EQ(results.properties.value(QStringLiteral("countOfClipEvents")).toULongLong(), c.clipEvents);

        QByteArray expected;
        for (const auto& [largest, smallest] : c.table) {
            char entry[4];
            qToLittleEndian<qint16>(largest, entry);
            qToLittleEndian<qint16>(smallest, entry + 2);
            expected.append(entry, 4);
        }
        const auto waveform = Variant::object<VMKMinMaxWaveform>(channel.value(QStringLiteral("waveform")));
        ASSERT_TRUE(waveform);
        EXPECT_EQ(waveform->table().toHex(' '), expected.toHex(' '));
    }
}

// Catches divisions that turn silence into numbers (0 instead of -inf, a
// form factor of 0 instead of no number) and a correlation that counts
// silent samples as opposed: a silent stereo file.
TEST(AnalyzerAudioProcessor, SilenceGivesNegativeInfinityAndNoRatios) {
    TestFolder folder;
    writeFloatWave(TestAudio(2, std::vector<float>(1000, 0.0f)), kRate, folder.path(QStringLiteral("silence.wav")));
    const AnalysisResults results = analyzeFiles({folder.url(QStringLiteral("silence.wav"))});
    ASSERT_EQ(results.channels.size(), 2);
    std::vector<QVariantMap> all = {results.properties, results.channels[0].toMap(), results.channels[1].toMap()};
    for (const QVariantMap& m : all) {
        for (const char* key : {"peak", "positiveMaximum", "negativeMaximum", "RMS", "average"})
            EXPECT_EQ(measure(m, key), -INFINITY) << key;
        EXPECT_TRUE(std::isnan(measure(m, "formFactor")));
        EXPECT_TRUE(std::isnan(measure(m, "crestFactor")));
        EXPECT_EQ(measure(m, "peakToPeak"), 0.0f);
    }
    EXPECT_EQ(measure(results.properties, "difference"), 0.0f);
    EXPECT_EQ(measure(results.properties, "midPeak"), -INFINITY);
    const auto waveform = Variant::object<VMKMinMaxWaveform>(all[1].value(QStringLiteral("waveform")));
    ASSERT_TRUE(waveform);
    EXPECT_EQ(waveform->table(), QByteArray(16, '\0'));
}

} // namespace
} // namespace ondrel
