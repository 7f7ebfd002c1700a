#include "analysis/processors/AnalyzerAudioProcessor.h"
#include "render/engine/waveforms/VMKMinMaxWaveform.h"
#include "tests/support/analysis/AnalysisTestSupport.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QtEndian>

#include <cmath>
#include <functional>
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

// The numbers after `label` in a tool's report: the last one (ffmpeg's
// summary), or those of the line (sox stats: overall first, then channels).
std::vector<double> numbersAfter(const QString& text, const QString& label) {
    std::vector<double> values;
    const QRegularExpression line(QStringLiteral("(?:^|\\n)\\s*") + QRegularExpression::escape(label) +
                                  QStringLiteral("([ 0-9.-]+)"));
    for (auto it = line.globalMatch(text); it.hasNext();) {
        values.clear();
        for (const QString& word : it.next().captured(1).split(QLatin1Char(' '), Qt::SkipEmptyParts))
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
// loudness, a true peak that is only the sample peak, a stereo correlation or
// mid/side peak of the wrong samples or scale): each file is checked against
// ffmpeg's EBU R128 meter, sox's statistics and, for a stereo pair, the
// correlation and mid/side sums made here in double.
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

    QString report;
    const QString filter = QStringLiteral("ebur128=peak=true") + (audio.size() == 1 ? ":dualmono=true" : "");
    ASSERT_EQ(runTool(QStringLiteral("ffmpeg"), {"-nostats", "-i", path, "-af", filter, "-f", "null", "-"}, &report), 0);
    // The catalog keeps loudness on the LU scale, 0 LU being -23 LUFS.
    EXPECT_NEAR(measure(results.properties, "programLoudness") - 23.0, numbersAfter(report, "I:").at(0), 0.1);
    EXPECT_NEAR(measure(results.properties, "loudnessRange"), numbersAfter(report, "LRA:").at(0), 0.5);
    EXPECT_NEAR(measure(results.properties, "truePeak"), numbersAfter(report, "Peak:").at(0), 0.2);

    ASSERT_EQ(runTool(QStringLiteral("sox"), {path, "-n", "stats"}, &report), 0);
    std::vector<QVariantMap> measured = {results.properties};
    for (const QVariant& channel : results.channels)
        if (audio.size() > 1)
            measured.push_back(channel.toMap());
    const std::pair<const char*, double> columns[] = {{"Pk lev dB", 0.01}, {"RMS lev dB", 0.01}, {"DC offset", 0.001}};
    const char* keys[] = {"peak", "RMS", "DCOffset"};
    for (size_t k = 0; k < 3; ++k) {
        const auto values = numbersAfter(report, QLatin1String(columns[k].first));
        ASSERT_EQ(values.size(), measured.size()) << report.toStdString();
        for (size_t i = 0; i < measured.size(); ++i)
            EXPECT_NEAR(measure(measured[i], keys[k]), values[i], columns[k].second) << keys[k] << " of column " << i;
    }

    if (audio.size() == 2) {
        double signs = 0.0, mid = 0.0, side = 0.0;
        for (size_t i = 0; i < audio[0].size(); ++i) {
            const float l = audio[0][i], r = audio[1][i];
            signs += (l >= 0.0f ? 1.0 : -1.0) * (r >= 0.0f ? 1.0 : -1.0);
            mid = std::max(mid, std::fabs(double(l) + double(r)));
            side = std::max(side, std::fabs(double(l) - double(r)));
        }
        const double s = signs / double(audio[0].size());
        EXPECT_NEAR(measure(results.properties, "difference"), s >= 0.0 ? (1.0 - s) * 100.0 : (s + 1.0) * -100.0, 1e-3);
        EXPECT_NEAR(measure(results.properties, "midPeak"), 20.0 * std::log10(mid * 0.5), 1e-4);
        EXPECT_NEAR(measure(results.properties, "sidePeak"), 20.0 * std::log10(side * 0.5), 1e-4);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, AnalyzerAgainstTools,
    ::testing::Values(
        ToolCase{"sine", [] { return TestAudio{sine(997.0, 0.5f, qint64(6 * kRate))}; }},
        ToolCase{"dcOffset", [] { return TestAudio{sine(440.0, 0.3f, qint64(6 * kRate), 0.1f)}; }},
        // Forty tones below 4 kHz at random phases: white noise peaks between
        // its samples by amounts that depend on each meter's oversampling filter.
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
        // A pair related but not alike, two seconds loud and two quiet, over
        // and over: a loudness range of about 12 LU.
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

// Catches a pitch histogram that counts the wrong bin, rounds the wrong way
// or loses the low or high notes: sines from the bottom to the top of the
// piano.
TEST(AnalyzerAudioProcessor, DetectsTheSemitoneOfSinesAcrossThePianoRange) {
    const std::pair<double, quint64> notes[] = {{27.5, 21},   {32.703, 24},   {61.735, 35}, {110.0, 45}, {261.626, 60},
                                                {440.0, 69},  {1046.50, 84}, {4186.01, 108}};
    TestFolder folder;
    for (const auto& [frequency, semitone] : notes) {
        const QString path = folder.path(QStringLiteral("%1.wav").arg(semitone));
        writeFloatWave({sine(frequency, 0.5f, qint64(2 * kRate))}, kRate, path);
        const AnalysisResults results = analyzeFiles({URL::fileURLWithPath(path)});
        EXPECT_EQ(results.properties.value(QStringLiteral("detectedSemitone")).toULongLong(), semitone) << frequency;
    }
}

// Catches clip events counted per sample or per block instead of per run,
// full scale taken for a clip, a lost last partial block, an overview entry
// off by one block, a value rounded instead of cut, and a last entry written
// for a file that ends on a block boundary.
TEST(AnalyzerAudioProcessor, ClipEventsAndOverviewOfKnownBlocks) {
    struct BlockCase {
        qint64 frames;
        std::function<float(qint64)> sample;
        quint64 clipEvents;
        std::vector<std::pair<qint16, qint16>> table;  // largest, smallest per 256 frames
    };
    const BlockCase cases[] = {
        {600,
         [](qint64 i) {
             if (i >= 250 && i < 260)
                 return 1.5f;  // one run, across frame 256
             if (i == 300)
                 return 1.0f;  // full scale: no clip
             if (i >= 400 && i < 402)
                 return -1.2f;
             return i >= 512 ? -0.25f : 0.1f;
         },
         2,
         {{32767, 3276}, {32767, -32768}, {-8191, -8191}}},
        {512, [](qint64) { return 1.0f; }, 0, {{32767, 32767}, {32767, 32767}, {0, 0}}},
    };
    TestFolder folder;
    for (const BlockCase& c : cases) {
        SCOPED_TRACE(c.frames);
        std::vector<float> samples(static_cast<size_t>(c.frames));
        for (qint64 i = 0; i < c.frames; ++i)
            samples[size_t(i)] = c.sample(i);
        const QString path = folder.path(QStringLiteral("%1.wav").arg(c.frames));
        writeFloatWave({samples}, kRate, path);
        const AnalysisResults results = analyzeFiles({URL::fileURLWithPath(path)});
        ASSERT_EQ(results.channels.size(), 1);
        const QVariantMap channel = results.channels[0].toMap();
        EXPECT_EQ(channel.value(QStringLiteral("countOfClipEvents")).toULongLong(), c.clipEvents);
        EXPECT_EQ(results.properties.value(QStringLiteral("countOfClipEvents")).toULongLong(), c.clipEvents);
        QByteArray expected(qsizetype(4 * c.table.size()), '\0');
        for (size_t b = 0; b < c.table.size(); ++b) {
            qToLittleEndian<qint16>(c.table[b].first, expected.data() + 4 * b);
            qToLittleEndian<qint16>(c.table[b].second, expected.data() + 4 * b + 2);
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
    for (const QVariantMap& m : {results.properties, results.channels[0].toMap(), results.channels[1].toMap()}) {
        for (const char* key : {"peak", "positiveMaximum", "negativeMaximum", "RMS", "average"})
            EXPECT_EQ(measure(m, key), -INFINITY) << key;
        EXPECT_TRUE(std::isnan(measure(m, "formFactor")) && std::isnan(measure(m, "crestFactor")));
    }
    EXPECT_EQ(measure(results.properties, "difference"), 0.0f);
    const auto waveform = Variant::object<VMKMinMaxWaveform>(results.channels[1].toMap().value(QStringLiteral("waveform")));
    ASSERT_TRUE(waveform);
    EXPECT_EQ(waveform->table(), QByteArray(16, '\0'));
}

} // namespace
} // namespace ondrel
