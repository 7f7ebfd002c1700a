#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace ondrel {

// The source: 0.5 s of silence, 1 s of a 100 Hz sine at half scale, 0.25 s of
// silence, mono 48 kHz 16-bit. A run of trims renders what the compiled cut
// names: both ends found by level, to within one render block of the tone; a
// zero-crossing cut starts on a sample near 0 where the plain cut (a quarter
// period in) starts near the crest; a detach keeps exactly the frames named.
// Catches a cut the render doesn't honour, sourceStart and length read in the
// wrong unit, and a zero-crossing search whose answer never reaches the render.
TEST(TrimRender, TheRenderedFileIsThePartTheTrimsName) {
    TemporaryHome home;
    const QString source = home.filePath(QStringLiteral("tone.wav"));
    ASSERT_EQ(runTool("sox", {"-n", "-r", "48000", "-b", "16", "-c", "1", source, "synth", "1", "sine", "100", "vol",
                              "0.5", "pad", "0.5", "0.25"})
                  .exitCode,
              0);
    const std::vector<float> input = samplesOf(source);
    ASSERT_EQ(input.size(), 84000u);
    ASSERT_EQ(runOndrel(home.path(), {"add", source}).exitCode, 0);

    const struct Row {
        QList<QStringList> actions;
        qint64 firstFrame;  // of the source; -1: found by level
        qint64 frames;      // -1: found by level
        float firstAtMost;  // the largest magnitude of the first sample; 0: not looked at
    } rows[] = {
        {{{"trimBeginningBelow", "level=-40"}, {"trimEndBelow", "level=-40"}}, -1, -1, 0.0f},
        {{{"trimBeginningTo", "value=502.5", "units=milliseconds", "zeroCross=true"}}, -1, -1, 0.01f},
        {{{"trimBeginningTo", "value=502.5", "units=milliseconds"}}, 24120, 84000 - 24120, 0.0f},
        {{{"detachBeginningTo", "value=30000", "units=frames"}}, 0, 30000, 0.0f},
    };
    int index = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.actions.first().join(' ').toStdString());
        const QString folder = home.filePath(QStringLiteral("out%1").arg(++index));
        ASSERT_TRUE(QDir().mkpath(folder));
        const CommandResult run = runWorkflow(home.path(), row.actions, {"destinationBookmark=" + folder});
        ASSERT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
        const QStringList names = namesIn(folder);
        ASSERT_EQ(names.size(), 1);
        const std::vector<float> output = samplesOf(folder + '/' + names.first());
        ASSERT_FALSE(output.empty());

        if (row.frames >= 0) {
            ASSERT_EQ(qint64(output.size()), row.frames);
            const auto from = input.begin() + row.firstFrame;
            EXPECT_TRUE(std::equal(output.begin(), output.end(), from, from + row.frames));
        } else if (row.firstAtMost > 0.0f) {
            EXPECT_LE(std::abs(output.front()), row.firstAtMost);
            EXPECT_GT(output.size(), 59000u);
        } else {
            // The tone's frames 24000 .. 71999 and nothing much else.
            EXPECT_LE(std::abs(qint64(output.size()) - 48000), 256);
            EXPECT_LE(std::abs(output.front()), 0.02f);
            const auto loudest = [](auto from, auto to) {
                return std::abs(*std::max_element(from, to, [](float a, float b) { return std::abs(a) < std::abs(b); }));
            };
            EXPECT_GT(loudest(output.begin(), output.begin() + 256), 0.3f);
            EXPECT_GT(loudest(output.end() - 256, output.end()), 0.3f);
        }
    }
}

} // namespace ondrel
