#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <gtest/gtest.h>

namespace ondrel {

// `process` works on a catalog of its own: adding files there must not
// clear the selection the user's catalog keeps for `run --selected`; and
// with --to it never replaces a source.
TEST(RunCommand, ProcessLeavesTheSelectionOfTheUsersCatalogAlone) {
    TemporaryHome home;
    const QString data = home.filePath(QStringLiteral("data"));
    ASSERT_TRUE(QDir().mkpath(data));
    ASSERT_TRUE(writeTone(data + "/kept.wav") && writeTone(data + "/once.wav"));
    ASSERT_EQ(runOndrel(home.path(), {"add", data + "/kept.wav"}).exitCode, 0);
    ASSERT_EQ(runOndrel(home.path(), {"select", data + "/kept.wav"}).exitCode, 0);
    const CommandResult before = runOndrel(home.path(), {"defaults", "read", "EntityControllerSelection"});
    ASSERT_TRUE(before.out.contains(QRegularExpression("[0-9A-F-]{36}"))) << before.out.toStdString();

    // A workflow that replaces its originals: with --to the results go
    // there and the source stays.
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "add", "changeToFLAC"}).exitCode, 0);
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "save-options", "replaceOriginal=true"}).exitCode, 0);
    const CommandResult processed = runOndrel(home.path(), {"process", "--to", data + "/out", data + "/once.wav"});
    ASSERT_EQ(processed.exitCode, 0) << processed.out.toStdString() << processed.err.toStdString();

    EXPECT_EQ(runOndrel(home.path(), {"defaults", "read", "EntityControllerSelection"}).out, before.out);
    EXPECT_TRUE(QFile::exists(data + "/once.wav"));
    EXPECT_TRUE(QFile::exists(data + "/out/once.flac"));
}

// A swap that can't put the result in place (a folder holds its name) logs
// the error and, as designed, still removes the source: the run must not
// report the result as written, and must end with the status of a failed item.
TEST(RunCommand, AResultTheSwapCouldNotPutInPlaceIsAFailure) {
    TemporaryHome home;
    const QString data = home.filePath(QStringLiteral("data"));
    ASSERT_TRUE(QDir().mkpath(data + "/take.flac"));
    ASSERT_TRUE(writeTone(data + "/take.wav"));
    ASSERT_EQ(runOndrel(home.path(), {"add", data + "/take.wav"}).exitCode, 0);
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "add", "changeToFLAC"}).exitCode, 0);
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "save-options", "replaceOriginal=true", "destinationBookmark="}).exitCode, 0);

    const CommandResult result = runOndrel(home.path(), {"run"});
    EXPECT_EQ(result.exitCode, 1) << result.out.toStdString() << result.err.toStdString();
    EXPECT_TRUE(result.out.startsWith(QStringLiteral("failed   take.wav: "))) << result.out.toStdString();
    EXPECT_FALSE(result.out.contains(QStringLiteral("wrote"))) << result.out.toStdString();
}

} // namespace ondrel
