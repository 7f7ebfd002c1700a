#include "cli/CommandLineRunner.h"
#include "support/TestSupport.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

TEST(CommandLine, VersionHelpAndWrongUsage) {
    TemporaryHome home;
    const CommandResult version = runOndrel(home.path(), {QStringLiteral("--version")});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("ondrel "))) << version.out.toStdString();

    const CommandResult help = runOndrel(QString(), {QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains(QStringLiteral("defaults write")));

    EXPECT_EQ(runOndrel(home.path(), {QStringLiteral("no-such-command")}).exitCode, 2);
    EXPECT_EQ(runOndrel(home.path(), {QStringLiteral("--no-such-option")}).exitCode, 2);
    EXPECT_EQ(runOndrel(QString(), {QStringLiteral("--home")}).exitCode, 2);
    EXPECT_EQ(runOndrel(home.path(), {QStringLiteral("defaults"), QStringLiteral("write"), QStringLiteral("k")}).exitCode, 2);
}

TEST(CommandLine, DefaultsWrittenInOneRunAreReadInTheNext) {
    TemporaryHome home;
    auto write = [&](QStringList args) {
        args.prepend(QStringLiteral("write"));
        args.prepend(QStringLiteral("defaults"));
        return runOndrel(home.path(), args).exitCode;
    };
    ASSERT_EQ(write({QStringLiteral("timeFormat"), QStringLiteral("7")}), 0);
    ASSERT_EQ(write({QStringLiteral("levelFormat"), QStringLiteral("linear")}), 0);
    ASSERT_EQ(write({QStringLiteral("confirmRunWorkflow"), QStringLiteral("off")}), 0);
    ASSERT_EQ(write({QStringLiteral("code"), QStringLiteral("string"), QStringLiteral("0042")}), 0);
    ASSERT_EQ(write({QStringLiteral("tags"), QStringLiteral("[\"a\", {\"b\": 1.5}]")}), 0);
    EXPECT_EQ(write({QStringLiteral("bad"), QStringLiteral("int"), QStringLiteral("x")}), 2);

    // The file is where --home puts it, as an XML property list.
    QFile file(home.filePath(QStringLiteral("Defaults.plist")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("<key>timeFormat</key>"));

    const CommandResult json = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("defaults"), QStringLiteral("read")});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    const QJsonObject all = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_EQ(all.value(QStringLiteral("timeFormat")).toInt(), 7);
    EXPECT_EQ(all.value(QStringLiteral("levelFormat")).toString(), QStringLiteral("linear"));
    EXPECT_EQ(all.value(QStringLiteral("confirmRunWorkflow")).toBool(true), false);
    EXPECT_EQ(all.value(QStringLiteral("code")).toString(), QStringLiteral("0042"));
    EXPECT_FALSE(all.contains(QStringLiteral("bad")));

    const CommandResult one = runOndrel(home.path(), {QStringLiteral("defaults"), QStringLiteral("read"), QStringLiteral("tags")});
    EXPECT_EQ(one.out.trimmed(), QStringLiteral("[\"a\",{\"b\":1.5}]"));

    ASSERT_EQ(runOndrel(home.path(), {QStringLiteral("defaults"), QStringLiteral("delete"), QStringLiteral("tags")}).exitCode, 0);
    const CommandResult gone = runOndrel(home.path(), {QStringLiteral("defaults"), QStringLiteral("read"), QStringLiteral("tags")});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_TRUE(gone.err.contains(QStringLiteral("tags")));
}

TEST(CommandLine, HomeThatCannotBeMadeIsReported) {
    TemporaryHome home;
    QFile blocker(home.filePath(QStringLiteral("file")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const CommandResult result = runOndrel(home.filePath(QStringLiteral("file/inner")),
                                           {QStringLiteral("defaults"), QStringLiteral("read")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_FALSE(result.err.isEmpty());
}

TEST(CommandLine, LogShowsEntriesOldestFirstAndIssuesOnly) {
    TemporaryHome home;
    const CommandResult empty = runOndrel(home.path(), {QStringLiteral("log")});
    ASSERT_EQ(empty.exitCode, 0) << empty.err.toStdString();
    EXPECT_TRUE(empty.out.isEmpty());

    // Entries written by another process (here: straight into the log file).
    QProcess sqlite;
    const QString db = home.filePath(QStringLiteral("Log.db"));
    sqlite.start(QStringLiteral("python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import sqlite3,sys; c=sqlite3.connect(sys.argv[1]); "
                                 "c.executemany(\"INSERT INTO Log (timestamp, level, message) VALUES (DateTime('now'), ?, ?)\", "
                                 "[(5,'added a file'),(4,'could not read x.wav'),(3,'render failed')]); c.commit()"),
                  db});
    ASSERT_TRUE(sqlite.waitForFinished(30000));
    ASSERT_EQ(sqlite.exitCode(), 0) << sqlite.readAllStandardError().toStdString();

    const CommandResult all = runOndrel(home.path(), {QStringLiteral("log")});
    const QStringList lines = all.out.trimmed().split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 3) << all.out.toStdString();
    EXPECT_TRUE(lines[0].contains(QStringLiteral("notice")) && lines[0].endsWith(QStringLiteral("added a file")));
    EXPECT_TRUE(lines[2].contains(QStringLiteral("error")) && lines[2].endsWith(QStringLiteral("render failed")));

    const CommandResult issues = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("log"), QStringLiteral("--issues")});
    const QJsonArray rows = QJsonDocument::fromJson(issues.out.toUtf8()).array();
    ASSERT_EQ(rows.size(), 2) << issues.out.toStdString();
    EXPECT_EQ(rows[0].toObject().value(QStringLiteral("level")).toString(), QStringLiteral("warning"));
    EXPECT_EQ(rows[1].toObject().value(QStringLiteral("message")).toString(), QStringLiteral("render failed"));
    EXPECT_EQ(runOndrel(home.path(), {QStringLiteral("log"), QStringLiteral("--bogus")}).exitCode, 2);
}
