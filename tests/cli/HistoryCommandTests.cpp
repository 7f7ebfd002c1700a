#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include "core/files/URL.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// The run history of a program killed during a run of two renders: one
// ended, one never recorded its end.
void writeKilledRun(const QString& home) {
    auto database = VMKDatabaseController::initWithURL(URL::fileURLWithPath(home + QStringLiteral("/AudioProcess.db")));
    for (const char* sql : {
             "CREATE TABLE [Global] (version INTEGER);",
             "INSERT INTO Global (version) VALUES (1);",
             "CREATE TABLE AudioProcessGroup (audioProcessGroupID INTEGER PRIMARY KEY NOT NULL, name TEXT, rehearse INTEGER);",
             "CREATE TABLE AudioProcess (audioProcessID INTEGER PRIMARY KEY NOT NULL, audioProcessGroupID INTEGER, "
             "startDate REAL, endDate REAL, hasError INTEGER);",
             "INSERT INTO AudioProcessGroup (name, rehearse) VALUES ('Killed Run', 1);",
             // 2026-01-01 00:00:00 UTC and two seconds later.
             "INSERT INTO AudioProcess (audioProcessGroupID, startDate, endDate, hasError) VALUES (1, 788918400, 788918402, 0);",
             "INSERT INTO AudioProcess (audioProcessGroupID, startDate) VALUES (1, 788918400);",
         })
        database->executeStatement(QString::fromLatin1(sql));
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// A killed run must show as unfinished, with its count of renders that
// never ended, in the text and in JSON; and reading the history must not
// change the history file.
TEST(HistoryCommand, AKilledRunShowsAsUnfinished) {
    TemporaryHome home;
    writeKilledRun(home.path());
    const QByteArray before = contentsOf(home.filePath(QStringLiteral("AudioProcess.db")));

    const CommandResult text = runOndrel(home.path(), {QStringLiteral("history")});
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    const QString line = text.out.split(QLatin1Char('\n')).first();
    EXPECT_TRUE(line.startsWith(QStringLiteral("\"Killed Run\""))) << line.toStdString();
    EXPECT_TRUE(line.contains(QStringLiteral("2 renders"))) << line.toStdString();
    EXPECT_TRUE(line.contains(QStringLiteral("2026-01-01T00:00:00Z"))) << line.toStdString();
    EXPECT_TRUE(line.contains(QStringLiteral("unfinished (1 of 2 never ended), rehearsal"))) << line.toStdString();

    const CommandResult json = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("history")});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    const QJsonObject document = QJsonDocument::fromJson(json.out.toUtf8()).object();
    const QJsonArray groups = document[QStringLiteral("audioProcessGroups")].toArray();
    ASSERT_EQ(groups.size(), 1);
    const QJsonObject group = groups[0].toObject();
    EXPECT_EQ(group[QStringLiteral("state")].toString(), QStringLiteral("unfinished"));
    EXPECT_EQ(group[QStringLiteral("countUnfinished")].toInt(), 1);
    EXPECT_TRUE(group[QStringLiteral("endDate")].isNull());
    EXPECT_TRUE(group[QStringLiteral("audioProcesses")][1][QStringLiteral("endDate")].isNull());

    EXPECT_EQ(contentsOf(home.filePath(QStringLiteral("AudioProcess.db"))), before) << "the rows stay as they were";
}

// Reading the history where no run was ever made must not make a run
// history file.
TEST(HistoryCommand, WithoutRunsItMakesNoRunHistory) {
    TemporaryHome home;
    const CommandResult result = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("history")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(QJsonDocument::fromJson(result.out.toUtf8())[QStringLiteral("audioProcessGroups")].toArray().isEmpty());
    EXPECT_FALSE(QFile::exists(home.filePath(QStringLiteral("AudioProcess.db"))));
}

} // namespace ondrel
