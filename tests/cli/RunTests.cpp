#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <unistd.h>

namespace ondrel {

namespace {

// Makes a folder `name` in `home` with 16-bit stereo tones of `seconds` under `files` (the format by
// the extension), adds them
// to the catalog and answers the folder.
QString addTones(const TemporaryHome& home, const QString& name, const QStringList& files, double seconds = 0.5) {
    const QString folder = home.filePath(name);
    QDir().mkpath(folder);
    QStringList paths;
    for (const QString& file : files) {
        paths << folder + '/' + file;
        if (!makeWav(paths.last(), seconds))
            return {};
    }
    return runOndrel(home.path(), QStringList{"add"} + paths).exitCode == 0 ? folder : QString();
}

int linesStartingWith(const QString& text, const QString& start) {
    int count = 0;
    for (const QString& line : text.split('\n'))
        count += line.startsWith(start) ? 1 : 0;
    return count;
}

// Every file of `folder` that has a final (not hidden) name opens and has `frames` frames.
void expectWholeFiles(const QString& folder, qint64 frames) {
    for (const QString& name : namesIn(folder)) {
        if (!name.startsWith('.')) {
            EXPECT_EQ(soxInfo(folder + '/' + name).frames, frames) << name.toStdString();
        }
    }
}

// A small file system of its own (tmpfs), unmounted with the object.
class SmallFileSystem {
public:
    SmallFileSystem(const QString& path, const char* size) : m_path(path) {
        QDir().mkpath(path);
        m_mounted = runTool("mount", {"-t", "tmpfs", "-o", QStringLiteral("size=%1").arg(size), "tmpfs", path}).exitCode == 0;
    }
    ~SmallFileSystem() {
        if (m_mounted)
            runTool("umount", {m_path});
    }
    bool isMounted() const { return m_mounted; }

private:
    QString m_path;
    bool m_mounted = false;
};

} // namespace

// Outputs that meet a taken name get the next free number, each checked against what exists at its
// own time; a name that ends in a channel suffix gets the number before the suffix, so that the
// suffix still ends it. Catches an overwrite of an earlier result and a number put after the suffix.
TEST(Run, TakenNamesGetTheNextNumberBeforeAChannelSuffix) {
    TemporaryHome home;
    ASSERT_FALSE(addTones(home, "in", {"tone.wav", "take_L.wav"}).isEmpty());
    const QString out = home.filePath("out");
    ASSERT_TRUE(QDir().mkpath(out));
    for (int run = 0; run < 2; ++run) {
        const CommandResult result = runWorkflow(home.path(), {}, {"destinationBookmark=" + out});
        ASSERT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
    }
    EXPECT_EQ(namesIn(out), QStringList({"take 1_L.wav", "take_L.wav", "tone 1.wav", "tone.wav"}));
}

// A rehearsal computes the name and logs it as if it kept the file, and leaves no file behind.
// Catches a rehearsal that writes, or one that stops before the name is found.
TEST(Run, RehearsalLogsTheNameAndWritesNothing) {
    TemporaryHome home;
    ASSERT_FALSE(addTones(home, "in", {"tone.wav"}).isEmpty());
    const QString out = home.filePath("out");
    ASSERT_TRUE(QDir().mkpath(out));
    ASSERT_TRUE(makeWav(out + "/tone.wav", 0.1));
    const CommandResult result = runWorkflow(home.path(), {}, {"destinationBookmark=" + out}, {"--rehearse"});
    ASSERT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
    EXPECT_EQ(namesIn(out), QStringList{"tone.wav"});
    EXPECT_TRUE(runOndrel(home.path(), {"log"}).out.contains("tone 1.wav"));
}

// Replacing originals: in the same format the file is replaced at its own path; in another the new
// file appears beside it and the source is removed once the renders are done. Either way nothing
// else stays in the folder. Catches a replace that leaves its temporary file, numbers the name, or
// keeps the source of another format.
TEST(Run, ReplaceOriginalLeavesOnlyTheResult) {
    const struct {
        QStringList action;
        const char* result;
        int precision;
    } rows[] = {
        {{"changeBitDepth", "bitDepth=24", "applyDither=false"}, "tone.wav", 24},
        {{"changeToFLAC"}, "tone.flac", 16},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.action.join(' ').toStdString());
        TemporaryHome home;
        const QString folder = addTones(home, "in", {"tone.wav"});
        ASSERT_FALSE(folder.isEmpty());
        const CommandResult result = runWorkflow(home.path(), {row.action}, {"replaceOriginal=true", "destinationBookmark="});
        ASSERT_EQ(result.exitCode, 0) << result.out.toStdString() << result.err.toStdString();
        EXPECT_EQ(namesIn(folder), QStringList{row.result});
        EXPECT_EQ(soxInfo(folder + '/' + row.result).precision, row.precision);
        EXPECT_EQ(soxInfo(folder + '/' + row.result).frames, 24000);
    }
}

// A source damaged after it was added (its FLAC frames overwritten, its size and header as they
// were, so that the catalog still takes it) costs its own output alone: one failure printed and
// logged, the others written, exit status 1. Catches a failure that stops the run or goes unsaid.
TEST(Run, CorruptSourceFailsOnlyItself) {
    TemporaryHome home;
    const QString folder = addTones(home, "in", {"a.flac", "b.flac", "c.flac"});
    ASSERT_FALSE(folder.isEmpty());
    QFile corrupt(folder + "/b.flac");
    const QDateTime modified = QFileInfo(corrupt).lastModified();
    ASSERT_TRUE(corrupt.open(QIODevice::ReadWrite));
    const qint64 size = corrupt.size();
    ASSERT_TRUE(corrupt.seek(size / 3));
    corrupt.write(QByteArray(int(size - size / 3 - 16), '\xff'));
    // Its date as it was: a changed file is analysed again at start, and a
    // file under analysis is left out of a run instead of failing in it.
    ASSERT_TRUE(corrupt.flush() && corrupt.setFileTime(modified, QFileDevice::FileModificationTime));
    corrupt.close();
    const QString out = home.filePath("out");
    ASSERT_TRUE(QDir().mkpath(out));
    const CommandResult result = runWorkflow(home.path(), {}, {"destinationBookmark=" + out});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(linesStartingWith(result.out, "failed"), 1) << result.out.toStdString();
    EXPECT_EQ(namesIn(out), QStringList({"a.flac", "c.flac"}));
    expectWholeFiles(out, 24000);
    const QString issues = runOndrel(home.path(), {"log", "--issues"}).out;
    EXPECT_TRUE(issues.contains("b.flac")) << issues.toStdString();
}

// A destination that can't be written, or that runs out of space midway, fails with an error that
// says why, and leaves no partial file under a final name and no temporary file behind. Catches a
// writer that moves a broken file into place, or leaves its temporary file on a full disk.
TEST(Run, UnwritableOrFullDestinationLeavesNoPartialFile) {
    TemporaryHome home;
    ASSERT_FALSE(addTones(home, "in", {"a.wav", "b.wav", "c.wav"}, 3.0).isEmpty());

    const QString locked = home.filePath("locked");
    ASSERT_TRUE(QDir().mkpath(locked));
    if (geteuid() == 0) {
        std::cout << "[ NOTE     ] running as root: a folder without write permission is still writable; "
                     "the read-only folder case is not tried\n";
    } else {
        QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup |
                                          QFile::ReadOther | QFile::ExeOther);
        const CommandResult result = runWorkflow(home.path(), {}, {"destinationBookmark=" + locked});
        QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(linesStartingWith(result.out, "failed"), 3) << result.out.toStdString();
        EXPECT_TRUE(result.out.contains("ermission")) << result.out.toStdString();
        EXPECT_EQ(namesIn(locked), QStringList());
    }

    // Three 3 s stereo 16-bit files of 576 kB each: the first fits in 1 MB, the second does not.
    SmallFileSystem full(home.filePath("full"), "1M");
    if (!full.isMounted())
        GTEST_SKIP() << "no tmpfs could be mounted here: the full disk case is not tried";
    const CommandResult result = runWorkflow(home.path(), {}, {"destinationBookmark=" + home.filePath("full")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_GE(linesStartingWith(result.out, "failed"), 1) << result.out.toStdString();
    EXPECT_TRUE(result.out.contains("space", Qt::CaseInsensitive)) << result.out.toStdString();
    const QStringList names = namesIn(home.filePath("full"));
    EXPECT_FALSE(names.isEmpty());
    for (const QString& name : names) {
        EXPECT_FALSE(name.startsWith('.')) << name.toStdString();
    }
    expectWholeFiles(home.filePath("full"), 144000);
}

} // namespace ondrel
