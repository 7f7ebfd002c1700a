#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QDir>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cmath>
#include <optional>

namespace ondrel {

namespace {

// Writes a mono 32-bit float file of `seconds` at 48 kHz with sox: a 440 Hz
// sine of amplitude `amplitude`, or with `constant` that value throughout.
bool makeFloatFile(const QString& path, double seconds, double amplitude, bool constant = false) {
    QStringList arguments{"-n", "-r", "48000", "-c", "1", "-b", "32", "-e", "floating-point", path, "synth",
                          QStringLiteral("%1s").arg(qRound64(seconds * 48000))};
    arguments += constant ? QStringList{"sine", "0", "dcshift", QString::number(amplitude)}
                          : QStringList{"sine", "440", "vol", QString::number(amplitude)};
    return runTool(QStringLiteral("sox"), arguments).exitCode == 0;
}

double peakDb(const std::vector<float>& samples) {
    float peak = 0.0f;
    for (float sample : samples)
        peak = std::max(peak, std::fabs(sample));
    return 20.0 * std::log10(double(peak));
}


// Integrated loudness as FFmpeg's EBU R128 filter measures it, a mono file
// counting as dual mono as the catalog's meter counts it.
std::optional<double> integratedLoudness(const QString& path) {
    const CommandResult result =
        runTool(QStringLiteral("ffmpeg"), {"-nostats", "-i", path, "-af", "ebur128=dualmono=true", "-f", "null", "-"});
    auto matches = QRegularExpression(QStringLiteral("I:\\s+(-?[0-9.]+) LUFS")).globalMatch(result.err);
    std::optional<double> last;  // the summary comes after the running values
    while (matches.hasNext())
        last = matches.next().captured(1).toDouble();
    return last;
}

class LevelRender : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(makeFloatFile(m_home.filePath("dc.wav"), 2.0, 0.5, true));
        ASSERT_TRUE(makeFloatFile(m_home.filePath("tone.wav"), 4.0, 0.5));
        ASSERT_TRUE(makeFloatFile(m_home.filePath("quiet.wav"), 4.0, 0.125));
        m_tone = samplesOf(m_home.filePath("tone.wav"));
        ASSERT_EQ(runOndrel(m_home.path(), {"add", m_home.filePath("dc.wav"), m_home.filePath("tone.wav"),
                                            m_home.filePath("quiet.wav")})
                      .exitCode,
                  0);
    }
    // Runs the actions over the named sources into a new folder, and answers
    // that folder; empty when the run failed.
    QString render(const QList<QStringList>& actions, const QStringList& sources, CommandResult* run = nullptr) {
        const QString folder = m_home.filePath(QStringLiteral("out%1").arg(++m_outputs));
        QDir().mkpath(folder);
        QStringList paths;
        for (const QString& source : sources)
            paths << m_home.filePath(source);
        EXPECT_EQ(runOndrel(m_home.path(), QStringList{"select"} + paths).exitCode, 0);
        const CommandResult result =
            runWorkflow(m_home.path(), actions, {"destinationBookmark=" + folder}, {"--selected"});
        if (run)
            *run = result;
        return result.exitCode == 0 ? folder : QString();
    }

    // The note the catalog's pitch detector hears in a file (a MIDI number), once
    // the file is added and measured; absent when it can't be read.
    std::optional<int> detectedSemitone(const QString& path) {
        if (runOndrel(m_home.path(), {"add", path}).exitCode != 0)
            return {};
        const CommandResult shown = runOndrel(m_home.path(), {"--json", "show", path});
        const QJsonValue value = QJsonDocument::fromJson(shown.out.toUtf8()).object().value("detectedSemitone");
        return value.isDouble() ? std::optional<int>(value.toInt()) : std::nullopt;
    }

    TemporaryHome m_home;
    std::vector<float> m_tone;
    int m_outputs = 0;
};

} // namespace

// What the level and length actions do to the samples, read back by sox and
// measured by FFmpeg: each fade starts at exactly 0 and is at its curve's
// midpoint half way (0.5 x the Bezier of the shape's points at x = 0.5), a
// peak normalise brings the -6 dBFS tone to 0 dBFS, a loudness normalise to
// -23 LUFS, repeat 3 of 4 s is 12 s to the frame, reverse is the source back
// to front, and a length change that keeps the pitch keeps the tone's note
// as the catalog's pitch detector hears it (one that doesn't moves it a
// fifth up). Catches fades placed or shaped wrongly, the loudness scale off
// by 23, copies that overlap or leave gaps, and the pitch following the rate
// when it shouldn't or not when it should.
TEST_F(LevelRender, LevelAndLengthActionsShapeTheSamples) {
    const struct Row {
        QList<QStringList> actions;
        const char* source;
        qint64 frames;                        // -1: not looked at
        std::vector<std::pair<double, float>> probes;  // seconds, value (within 0.002; 0 exactly)
        std::optional<double> peakDb, lufs;
        std::optional<int> semitone;  // as the pitch detector hears it
        bool reversed;
    } rows[] = {
        {{{"fadeInFor", "value=1", "units=seconds", "curve=linear"},
          {"fadeOutFor", "value=0.5", "units=seconds", "curve=ease in"}},
         "dc.wav", 96000, {{0.0, 0.0f}, {0.5, 0.25f}, {1.75, 0.5f * 0.31536f}}, {}, {}, {}, false},
        {{{"fadeInFor", "value=1", "units=seconds", "curve=power"},
          {"fadeOutFor", "value=0.5", "units=seconds", "curve=ease out"}},
         "dc.wav", 96000, {{0.0, 0.0f}, {0.5, 0.5f * 0.6875f}, {1.75, 0.5f * 0.68464f}}, {}, {}, {}, false},
        {{{"fadeInFor", "value=1", "units=seconds", "curve=ease in"},
          {"fadeOutFor", "value=0.5", "units=seconds", "curve=ease in and out"}},
         "dc.wav", 96000, {{0.0, 0.0f}, {0.5, 0.5f * 0.68464f}, {1.75, 0.25f}}, {}, {}, {}, false},
        {{{"fadeInFor", "value=1", "units=seconds", "curve=ease out"},
          {"fadeOutFor", "value=0.5", "units=seconds", "curve=power"}},
         "dc.wav", 96000, {{0.0, 0.0f}, {0.5, 0.5f * 0.31536f}, {1.75, 0.5f * 0.6875f}}, {}, {}, {}, false},
        {{{"fadeInFor", "value=1", "units=seconds", "curve=ease in and out"},
          {"fadeOutFor", "value=0.5", "units=seconds", "curve=linear"}},
         "dc.wav", 96000, {{0.0, 0.0f}, {0.5, 0.25f}, {1.75, 0.25f}}, {}, {}, {}, false},
        {{{"normalize"}}, "tone.wav", 192000, {}, 0.0, {}, {}, false},
        {{{"normalize", "level=-23", "measurementType=programLoudness"}}, "tone.wav", 192000, {}, {}, -23.0, {}, false},
        {{{"repeat", "count=3"}}, "tone.wav", 576000, {}, {}, {}, {}, false},
        {{{"reverse"}}, "tone.wav", 192000, {}, {}, {}, {}, true},
        // 6 s on the 4 s file: a rate of 1.5 and 4 / 1.5 s out, at 440 Hz (A4)
        // still, or a fifth up (E5) when the pitch follows the rate.
        {{{"changeLength", "length=6", "retainPitch=on"}}, "tone.wav", 128000, {}, {}, {}, 69, false},
        {{{"changeLength", "length=6", "retainPitch=off"}}, "tone.wav", 128000, {}, {}, {}, 76, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.actions.first().join(' ').toStdString());
        const QString folder = render(row.actions, {QLatin1String(row.source)});
        ASSERT_FALSE(folder.isEmpty());
        const QString path = folder + '/' + QLatin1String(row.source);
        const std::vector<float> samples = samplesOf(path);
        if (row.frames >= 0) {
            EXPECT_EQ(qint64(samples.size()), row.frames);
        }
        for (const auto& [seconds, value] : row.probes) {
            const size_t frame = size_t(std::llround(seconds * 48000.0));
            ASSERT_LT(frame, samples.size());
            if (value == 0.0f) {
                EXPECT_EQ(samples[frame], 0.0f) << seconds;
            } else {
                EXPECT_NEAR(samples[frame], value, 0.002) << seconds;
            }
        }
        if (row.peakDb) {
            EXPECT_NEAR(peakDb(samples), *row.peakDb, 0.01);
        }
        if (row.lufs) {
            const auto measured = integratedLoudness(path);
            ASSERT_TRUE(measured);
            EXPECT_NEAR(*measured, *row.lufs, 0.2);
        }
        if (row.semitone) {
            EXPECT_EQ(detectedSemitone(path), row.semitone);
        }
        if (row.reversed) {
            ASSERT_EQ(samples.size(), m_tone.size());
            EXPECT_TRUE(std::equal(samples.begin(), samples.end(), m_tone.rbegin()));
        }
    }
}

// A group normalise gives every file of the run one gain: the outputs keep
// the ratio of the sources' peaks, and the loudest reaches the level. Catches
// a normalise that measures each file of the group alone.
TEST_F(LevelRender, AGroupNormaliseGivesEveryFileOneGain) {
    const QString folder = render({{"normalize", "level=-1", "isGroup=on"}}, {"tone.wav", "quiet.wav"});
    ASSERT_FALSE(folder.isEmpty());
    const double loud = peakDb(samplesOf(folder + "/tone.wav"));
    const double quiet = peakDb(samplesOf(folder + "/quiet.wav"));
    EXPECT_NEAR(loud, -1.0, 0.01);
    EXPECT_NEAR(loud - quiet, 20.0 * std::log10(4.0), 0.01);
}

// A stored length of 0 stretches the output to infinity: that render fails
// with its reason, and the other render of the run (an intermediate save
// before the action) is written. Catches an empty file written in silence, or
// a render that never ends.
TEST_F(LevelRender, ALengthOfZeroFailsItsRenderAndTheOtherRenders) {
    const QString before = m_home.filePath("before");
    QDir().mkpath(before);
    CommandResult run;
    const QString folder =
        render({{"SaveAction", "destinationBookmark=" + before}, {"changeLength", "length=0"}}, {"tone.wav"}, &run);
    EXPECT_TRUE(folder.isEmpty());
    EXPECT_EQ(run.exitCode, 1) << run.out.toStdString() << run.err.toStdString();
    EXPECT_TRUE((run.out + run.err).contains("the output length is not finite")) << run.out.toStdString();
    EXPECT_EQ(namesIn(m_home.filePath("out1")), QStringList());
    EXPECT_EQ(soxInfo(before + "/tone.wav").frames, 192000);
}

// A repeat of hundreds of copies of a short noise file, under a limit of
// open files far below the count: the output is the source tiled, sample for
// sample. Catches a render that opens the file once per copy (and fails
// with too many open files), and a mix that skips a source in a block where
// it plays a single frame (1,000-frame copies end inside the 4,096-frame
// blocks).
TEST_F(LevelRender, HundredsOfCopiesOpenTheFileOnceAndTileIt) {
    ASSERT_EQ(runTool("sox", {"-n", "-r", "48000", "-c", "1", "-b", "24", m_home.filePath("noise.wav"), "synth", "1000s",
                              "whitenoise", "vol", "0.5"})
                  .exitCode,
              0);
    ASSERT_EQ(runOndrel(m_home.path(), {"--quiet", "add", m_home.filePath("noise.wav")}).exitCode, 0);
    const std::vector<float> noise = samplesOf(m_home.filePath("noise.wav"));
    ASSERT_EQ(noise.size(), 1000u);
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit low = saved;
    low.rlim_cur = std::min<rlim_t>(saved.rlim_cur, 128);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    CommandResult run;
    const QString folder = render({{"repeat", "count=400"}}, {"noise.wav"}, &run);
    ::setrlimit(RLIMIT_NOFILE, &saved);
    ASSERT_FALSE(folder.isEmpty()) << run.out.toStdString() << run.err.toStdString();
    const std::vector<float> samples = samplesOf(folder + "/noise.wav");
    ASSERT_EQ(samples.size(), 400u * 1000u);
    for (size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(samples[i], noise[i % 1000]) << "frame " << i;
}

} // namespace ondrel
