#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <iostream>
#include <random>

namespace ondrel {

namespace {

// The render runs that `ondrel history` lists, one line each.
QStringList runs(const QString& home) {
    QStringList rows;
    for (const QString& line : runOndrel(home, {"history"}).out.split('\n'))
        if (line.contains(QLatin1String(" renders ")))
            rows << line;
    return rows;
}

} // namespace

// A run of 20 files killed (SIGKILL) at ten moments, the same ones each time (a fixed seed): the
// sources stay byte for byte, every file under a final name is whole, the catalog and the history
// open afterwards, and the renders the kill cut short show as unfinished. A hidden temporary file
// may stay in the destination; it is counted and told, with the number of runs the kills cut short. Catches a render that writes under the
// final name before it is done, a source touched before the run ends, and a database left
// unreadable by a kill during a write.
TEST(Kill, KilledRunsLeaveSourcesAndFinishedNamesWhole) {
    TemporaryHome home;
    const QString in = home.filePath("in");
    ASSERT_TRUE(QDir().mkpath(in));
    QStringList paths;
    for (int i = 0; i < 20; ++i) {
        paths << in + QStringLiteral("/take%1.wav").arg(i, 2, 10, QLatin1Char('0'));
        ASSERT_TRUE(makeWav(paths.last(), 4.0));
    }
    ASSERT_EQ(runOndrel(home.path(), QStringList{"add"} + paths).exitCode, 0);
    QList<QByteArray> hashes;
    for (const QString& path : paths)
        hashes << fileHash(path);
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "clear"}).exitCode, 0);
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "add", "changeToFLAC"}).exitCode, 0);

    // One whole run first, to know how long one takes on this machine: the
    // kills then land within a run's span, whatever the machine's speed.
    QElapsedTimer clock;
    clock.start();
    const QString first = home.filePath(QStringLiteral("first"));
    ASSERT_TRUE(QDir().mkpath(first));
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "save-options", "destinationBookmark=" + first}).exitCode, 0);
    ASSERT_EQ(runOndrel(home.path(), {"--quiet", "run"}).exitCode, 0);
    const int span = int(clock.elapsed());
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> moment(span / 20, span * 9 / 10);
    int hiddenLeft = 0;
    int cut = 0;
    QStringList history = runs(home.path());
    for (int trial = 0; trial < 10; ++trial) {
        SCOPED_TRACE(trial);
        const QString out = home.filePath(QStringLiteral("out%1").arg(trial));
        ASSERT_TRUE(QDir().mkpath(out));
        ASSERT_EQ(runOndrel(home.path(), {"workflow", "save-options", "destinationBookmark=" + out}).exitCode, 0);
        const int killAfterMs = moment(random);
        auto run = startOndrel(home.path(), {"--quiet", "run"});
        run->waitForFinished(killAfterMs);
        run->kill();
        run->waitForFinished();

        for (int i = 0; i < paths.size(); ++i)
            EXPECT_EQ(fileHash(paths[i]), hashes[i]) << paths[i].toStdString();
        int whole = 0;
        for (const QString& name : namesIn(out)) {
            whole += name.startsWith('.') ? 0 : 1;
            if (name.startsWith('.')) {
                ++hiddenLeft;
            } else {
                EXPECT_EQ(soxInfo(out + '/' + name).frames, 192000) << name.toStdString() << " after " << killAfterMs << " ms";
            }
        }
        EXPECT_EQ(runOndrel(home.path(), {"list"}).exitCode, 0);
        EXPECT_EQ(runOndrel(home.path(), {"history"}).exitCode, 0);
        // A run that got as far as its history row but not to its last file shows as unfinished.
        const QStringList now = runs(home.path());
        QStringList added = now;
        for (const QString& row : history)
            added.removeOne(row);
        history = now;
        // A kill before the renders' rows were written leaves a run that
        // rendered nothing, and must not show as completed.
        if (!added.isEmpty() && whole < paths.size()) {
            ++cut;
            const QString rows = added.join('\n');
            EXPECT_TRUE(rows.contains("unfinished") || (rows.contains(" 0 renders ") && rows.contains("nothing rendered")))
                << rows.toStdString();
        }
    }
    std::cout << "[ NOTE     ] runs cut short: " << cut << " of 10; hidden temporary files left by the kills: " << hiddenLeft
              << "\n";
}

} // namespace ondrel
