#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// Concatenates sox-made pieces into one 48 kHz mono 16-bit file: each piece
// is {seconds, level in dBFS (or silence when below -200), frequency}.
struct Piece {
    double seconds;
    double dB;
    double frequency;
};

bool makePieces(const QString& path, const std::vector<Piece>& pieces) {
    QStringList inputs;
    for (size_t i = 0; i < pieces.size(); ++i) {
        const QString piece = path + QStringLiteral(".%1.wav").arg(i);
        // -D: no dither, so silence stays digital silence.
        QStringList arguments{QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("48000"), QStringLiteral("-b"),
                              QStringLiteral("16"), QStringLiteral("-c"), QStringLiteral("1"), piece, QStringLiteral("synth"),
                              QString::number(pieces[i].seconds), QStringLiteral("sine"), QString::number(pieces[i].frequency)};
        arguments << QStringLiteral("vol") << (pieces[i].dB < -200 ? QStringLiteral("0") : QStringLiteral("%1dB").arg(pieces[i].dB));
        if (runTool(QStringLiteral("sox"), arguments).exitCode != 0)
            return false;
        inputs << piece;
    }
    const bool made = runTool(QStringLiteral("sox"), QStringList(inputs) << path).exitCode == 0;
    for (const QString& piece : inputs)
        QFile::remove(piece);
    return made;
}

QList<double> times(const CommandResult& result) {
    QList<double> values;
    for (const QJsonValue& value : QJsonDocument::fromJson(result.out.toUtf8()).array())
        values << value.toDouble();
    return values;
}

} // namespace

// `add` must not return before the measures are in the catalog: a later
// command (another process) reads them from the rows, and `list` shows them.
TEST(AnalyzeCommand, AddReturnsWithTheMeasuresWritten) {
    TemporaryHome home;
    const QString path = home.filePath(QStringLiteral("tone.wav"));
    ASSERT_TRUE(makePieces(path, {{0.5, -6.0, 997.0}}));
    const CommandResult add = runOndrel(home.path(), {QStringLiteral("add"), path});
    ASSERT_EQ(add.exitCode, 0) << add.out.toStdString() << add.err.toStdString();

    const CommandResult show = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("show"), path});
    const QJsonObject fields = QJsonDocument::fromJson(show.out.toUtf8()).object();
    EXPECT_NEAR(fields[QStringLiteral("peak")].toDouble(), -6.0, 0.05) << show.out.toStdString();
    ASSERT_EQ(fields[QStringLiteral("channelDetails")].toArray().size(), 1);
    // A mono sine peaking at -6 dBFS, counted on two loudspeakers, is -6 LUFS;
    // the catalog keeps it on the LU scale, where -23 LUFS is 0.
    EXPECT_NEAR(fields[QStringLiteral("programLoudness")].toDouble(), 17.0, 0.1);

    const CommandResult list = runOndrel(home.path(), {QStringLiteral("list")});
    EXPECT_TRUE(list.out.contains(QStringLiteral("loudness"))) << list.out.toStdString();
    EXPECT_FALSE(list.out.contains(QStringLiteral("not analysed"))) << list.out.toStdString();
}

// The detectors through the command line, on files whose events are known to
// the frame: each answer must fall where the signal says, and the scans must
// move on from one answer to the next (not repeat it, not skip the next, even
// one frame on). Options that make no sense are wrong usage.
TEST(AnalyzeCommand, DetectFindsTheEventsOfKnownSignals) {
    TemporaryHome home;
    const QString bursts = home.filePath(QStringLiteral("bursts.wav"));
    ASSERT_TRUE(makePieces(bursts, {{0.5, -300, 1000}, {0.5, -6, 1000}, {0.5, -300, 1000}, {0.5, -6, 1000}}));
    const QString slow = home.filePath(QStringLiteral("slow.wav"));
    ASSERT_TRUE(makePieces(slow, {{0.1, -6, 50}}));
    // Three frames a period: 0, +, -, 0, +, -, ... for 12 frames.
    const QString fast = home.filePath(QStringLiteral("fast.wav"));
    ASSERT_TRUE(makePieces(fast, {{0.00025, -6, 16000}}));
    ASSERT_EQ(runOndrel(home.path(), {QStringLiteral("--quiet"), QStringLiteral("add"), bursts, slow, fast}).exitCode, 0);

    const double block = 512.0 / 48000.0;
    struct Case {
        const char* name;
        QStringList arguments;
        QList<double> expected;  // each answer lies in [expected - before, expected + after]
        double before;
        double after;
    };
    const Case cases[] = {
        // 50 Hz crosses zero every 10 ms; the scan starts between two crossings.
        {"zero crossings", {QStringLiteral("zero-crossings"), slow, QStringLiteral("--from"), QStringLiteral("0.005")},
         {0.01, 0.02, 0.03, 0.04, 0.05, 0.06, 0.07, 0.08, 0.09}, 0.0001, 0.0001},
        // Crossings on neighbouring frames: + to - at 2, - to 0 at 3, and so on.
        {"zero crossings a frame apart", {QStringLiteral("zero-crossings"), fast},
         {2 / 48000.0, 3 / 48000.0, 5 / 48000.0, 6 / 48000.0, 8 / 48000.0, 9 / 48000.0, 11 / 48000.0}, 1e-7, 1e-7},
        // The first sample at -20 dB comes a few samples into the burst's first
        // cycle; the last lies a few samples before the second burst's end.
        {"thresholds", {QStringLiteral("thresholds"), bursts, QStringLiteral("--threshold"), QStringLiteral("-20"),
                        QStringLiteral("--from"), QStringLiteral("0.1")},
         {0.5, 2.0}, 0.001, 0.001},
        // A burst after digital silence is a beat in the block that holds its start.
        {"beats by energy", {QStringLiteral("beats"), bursts, QStringLiteral("--method"), QStringLiteral("energy")},
         {0.5, 1.5}, block, 0.0},
        {"beats by magnitude", {QStringLiteral("beats"), bursts, QStringLiteral("--method"), QStringLiteral("magnitude"),
                                QStringLiteral("--sensitivity"), QStringLiteral("0")},
         {0.5, 1.5}, block, block},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const CommandResult result = runOndrel(home.path(), QStringList{QStringLiteral("--json"), QStringLiteral("detect")} + c.arguments);
        ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
        const QList<double> found = times(result);
        ASSERT_EQ(found.size(), c.expected.size()) << result.out.toStdString();
        for (qsizetype i = 0; i < found.size(); ++i) {
            EXPECT_GE(found[i], c.expected[i] - c.before - 1e-9) << i;
            EXPECT_LE(found[i], c.expected[i] + c.after + 1e-9) << i;
        }
    }

    const QStringList wrongOptions[] = {
        {QStringLiteral("--sensitivity"), QStringLiteral("2")},
        {QStringLiteral("--to"), QStringLiteral("-1")},  // not "to the end"
    };
    for (const QStringList& options : wrongOptions) {
        const CommandResult wrong =
            runOndrel(home.path(), QStringList{QStringLiteral("detect"), QStringLiteral("beats"), bursts} + options);
        EXPECT_EQ(wrong.exitCode, 2) << options.join(QLatin1Char(' ')).toStdString();
    }
}

} // namespace ondrel
