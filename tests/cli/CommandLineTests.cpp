#include "core/storage/PropertyList.h"
#include "tests/support/cli/CommandLineRunner.h"
#include "tests/support/cli/FolderWriteWatch.h"
#include "tests/support/TestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

namespace ondrel {

// Each way of calling it wrongly is told apart from success and from a
// file that can't be opened.
TEST(CommandLine, WrongUsageExitsWithTwo) {
    TemporaryHome home;
    const QStringList cases[] = {
        {QStringLiteral("no-such-command")},
        {QStringLiteral("--no-such-option")},
        {QStringLiteral("defaults")},
        {QStringLiteral("defaults"), QStringLiteral("write"), QStringLiteral("k")},
        {QStringLiteral("defaults"), QStringLiteral("write"), QStringLiteral("bad"), QStringLiteral("int"), QStringLiteral("x")},
        {QStringLiteral("workflow")},
        {QStringLiteral("workflow"), QStringLiteral("show"), QStringLiteral("x")},
        {QStringLiteral("workflow"), QStringLiteral("disable"), QStringLiteral("1")},  // no action 1
    };
    for (const QStringList& arguments : cases)
        EXPECT_EQ(runOndrel(home.path(), arguments).exitCode, 2) << arguments.join(QLatin1Char(' ')).toStdString();
    EXPECT_EQ(runOndrel(QString(), {QStringLiteral("--home")}).exitCode, 2);
    for (const char* written : {"Workflow.plist", "Defaults.plist"})
        EXPECT_FALSE(QFileInfo::exists(home.filePath(QString::fromLatin1(written)))) << written;
}

// Output that can't be written is no success: a script reading it would
// take nothing for the whole answer.
TEST(CommandLine, OutputThatCannotBeWrittenIsReported) {
    TemporaryHome home;
    for (const QStringList& arguments :
         {QStringList{QStringLiteral("--help")},
          QStringList{QStringLiteral("--home"), home.path(), QStringLiteral("--json"), QStringLiteral("workflow"),
                      QStringLiteral("show")}}) {
        QProcess process;
        process.setStandardOutputFile(QStringLiteral("/dev/full"));
        process.start(QStringLiteral(ONDREL_CLI_PATH), arguments);
        ASSERT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 3) << arguments.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(QString::fromUtf8(process.readAllStandardError()).contains(QStringLiteral("output")));
    }
}

// Each value keeps the type its text asks for from one run to the next.
TEST(CommandLine, DefaultsWrittenInOneRunAreReadInTheNext) {
    TemporaryHome home;
    const struct {
        QStringList write;  // after "defaults write"
        QJsonValue read;
    } cases[] = {
        {{QStringLiteral("timeFormat"), QStringLiteral("7")}, 7},
        {{QStringLiteral("levelFormat"), QStringLiteral("linear")}, QStringLiteral("linear")},
        {{QStringLiteral("confirmRunWorkflow"), QStringLiteral("off")}, false},
        {{QStringLiteral("code"), QStringLiteral("string"), QStringLiteral("0042")}, QStringLiteral("0042")},
        {{QStringLiteral("tags"), QStringLiteral("[\"a\", {\"b\": 1.5}]")}, QJsonArray{QStringLiteral("a"), QJsonObject{{QStringLiteral("b"), 1.5}}}},
    };
    for (const auto& c : cases)
        ASSERT_EQ(runOndrel(home.path(), QStringList{QStringLiteral("defaults"), QStringLiteral("write")} + c.write).exitCode, 0);

    // The file is where --home puts it, as an XML property list.
    QFile file(home.filePath(QStringLiteral("Defaults.plist")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("<key>timeFormat</key>"));

    const CommandResult json = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("defaults"), QStringLiteral("read")});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    const QJsonObject all = QJsonDocument::fromJson(json.out.toUtf8()).object();
    for (const auto& c : cases)
        EXPECT_EQ(all.value(c.write.first()), c.read) << c.write.first().toStdString();

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

namespace {

// Entries written by another process, straight into the log file.
void insertLogEntries(const QString& home, const QString& pythonRows) {
    QProcess sqlite;
    sqlite.start(QStringLiteral("python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import sqlite3,sys; c=sqlite3.connect(sys.argv[1]); "
                                 "c.executemany(\"INSERT INTO Log (timestamp, level, message) VALUES (DateTime('now'), ?, ?)\", "
                                 "%1); c.commit()")
                      .arg(pythonRows),
                  QDir(home).filePath(QStringLiteral("Log.db"))});
    ASSERT_TRUE(sqlite.waitForFinished(30000));
    ASSERT_EQ(sqlite.exitCode(), 0) << sqlite.readAllStandardError().toStdString();
}

} // namespace

TEST(CommandLine, LogShowsEntriesOldestFirstAndIssuesOnly) {
    TemporaryHome home;
    const CommandResult empty = runOndrel(home.path(), {QStringLiteral("log")});
    ASSERT_EQ(empty.exitCode, 0) << empty.err.toStdString();
    EXPECT_TRUE(empty.out.isEmpty());

    insertLogEntries(home.path(), QStringLiteral("[(5,'added a file'),(4,'could not read x.wav'),(3,'render failed')]"));

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

// Each entry is one line of text, whatever its message holds; JSON keeps
// the message as it is.
TEST(CommandLine, LogEntryWithLineBreaksStaysOnOneLine) {
    TemporaryHome home;
    ASSERT_EQ(runOndrel(home.path(), {QStringLiteral("log")}).exitCode, 0);  // makes the log file
    insertLogEntries(home.path(), QStringLiteral("[(3,'render failed:\\nline two\\r\\n\\tline three'),(5,'next')]"));

    const CommandResult text = runOndrel(home.path(), {QStringLiteral("log")});
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    const QStringList lines = text.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2) << text.out.toStdString();
    EXPECT_TRUE(lines[0].endsWith(QStringLiteral("render failed:\\nline two\\r\\n\\tline three"))) << lines[0].toStdString();
    EXPECT_TRUE(lines[1].endsWith(QStringLiteral("next")));

    const CommandResult json = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("log")});
    const QJsonArray rows = QJsonDocument::fromJson(json.out.toUtf8()).array();
    ASSERT_EQ(rows.size(), 2) << json.out.toStdString();
    EXPECT_EQ(rows[0].toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("render failed:\nline two\r\n\tline three"));
}

// A log file that isn't a database is no empty log: exit status 3 and a
// message, and the file is left as it was.
TEST(CommandLine, LogThatCannotBeOpenedIsReported) {
    TemporaryHome home;
    QFile file(home.filePath(QStringLiteral("Log.db")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    const QByteArray garbage(4096, 'x');
    file.write(garbage);
    file.close();

    for (const bool json : {false, true}) {
        QStringList arguments{QStringLiteral("log")};
        if (json)
            arguments.prepend(QStringLiteral("--json"));
        const CommandResult result = runOndrel(home.path(), arguments);
        EXPECT_EQ(result.exitCode, 3) << result.out.toStdString();
        EXPECT_TRUE(result.err.contains(QStringLiteral("log"))) << result.err.toStdString();
        EXPECT_TRUE(result.out.isEmpty()) << result.out.toStdString();
    }
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), garbage);
}

TEST(CommandLine, WorkflowShowListsActionsAndSaveOptions) {
    TemporaryHome home;
    QFile file(home.filePath(QStringLiteral("Workflow.plist")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
  <key>actions</key>
  <array>
    <dict><key>className</key><string>NoSuchThingAction</string></dict>
    <dict>
      <key>className</key><string>SaveAction</string>
      <key>name</key><string>Rough mix</string>
      <key>enabled</key><false/>
      <key>parameters</key>
      <dict>
        <key>filenameComponents</key><array><string>[F]</string><string>[T] rough</string></array>
        <key>destinationBookmark</key><data></data>
      </dict>
    </dict>
  </array>
  <key>saveAction</key>
  <dict><key>addResults</key><true/><key>filenameComponents</key><array><string>[C]1:1:3</string></array></dict>
</dict>
</plist>
)");
    file.close();

    const CommandResult json = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("workflow"), QStringLiteral("show")});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    const QJsonObject shown = QJsonDocument::fromJson(json.out.toUtf8()).object();
    const QJsonArray actions = shown.value(QStringLiteral("actions")).toArray();
    ASSERT_EQ(actions.size(), 1) << json.out.toStdString();
    const QJsonObject rough = actions[0].toObject();
    EXPECT_EQ(rough.value(QStringLiteral("index")).toInt(), 1);
    EXPECT_EQ(rough.value(QStringLiteral("className")).toString(), QStringLiteral("SaveAction"));
    EXPECT_EQ(rough.value(QStringLiteral("name")).toString(), QStringLiteral("Rough mix"));
    EXPECT_FALSE(rough.value(QStringLiteral("enabled")).toBool(true));
    const QJsonObject parameters = rough.value(QStringLiteral("parameters")).toObject();
    EXPECT_EQ(parameters.value(QStringLiteral("filenameComponents")).toArray().at(1).toString(), QStringLiteral("[T] rough"));
    const QJsonObject options = shown.value(QStringLiteral("saveOptions")).toObject();
    EXPECT_TRUE(options.value(QStringLiteral("addResults")).toBool());
    EXPECT_EQ(options.value(QStringLiteral("filenameComponents")).toArray().at(0).toString(), QStringLiteral("[C]1:1:3"));

    // The missing class was logged; the text form shows the same workflow.
    const CommandResult issues = runOndrel(home.path(), {QStringLiteral("log"), QStringLiteral("--issues")});
    EXPECT_TRUE(issues.out.contains(QStringLiteral("NoSuchThingAction"))) << issues.out.toStdString();
    const CommandResult text = runOndrel(home.path(), {QStringLiteral("workflow"), QStringLiteral("show")});
    ASSERT_EQ(text.exitCode, 0);
    const QStringList lines = text.out.split(QLatin1Char('\n'));
    EXPECT_EQ(lines.value(0), QStringLiteral(" 1  SaveAction  \"Rough mix\"  (disabled)")) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(QStringLiteral("addResults          yes")));
}

TEST(CommandLine, InfoReadsFilesWrittenByOtherTools) {
    // The readers of every format are checked against tool-made files in the
    // engine's suite; here one file shows that info reports what they read.
    TemporaryHome home;
    const QString wav = home.filePath(QStringLiteral("tone.wav"));
    ASSERT_TRUE(makeWav(wav, 2.5, 48000, 24, 2));

    const CommandResult result = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("info"), wav});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonArray files = QJsonDocument::fromJson(result.out.toUtf8()).array();
    ASSERT_EQ(files.size(), 1);
    const QJsonObject file = files[0].toObject();
    EXPECT_EQ(file.value(QStringLiteral("format")).toString(), QLatin1String("WAVE File"));
    EXPECT_EQ(file.value(QStringLiteral("encoding")).toString(), QLatin1String("PCM"));
    EXPECT_EQ(file.value(QStringLiteral("channels")).toInt(), 2);
    EXPECT_EQ(file.value(QStringLiteral("sampleRate")).toDouble(), 48000.0);
    EXPECT_EQ(file.value(QStringLiteral("bitDepth")).toInt(), 24);
    EXPECT_EQ(file.value(QStringLiteral("frames")).toDouble(), 120000.0);

    const CommandResult missing = runOndrel(home.path(), {QStringLiteral("info"), wav, home.filePath(QStringLiteral("none.wav"))});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.out.contains(QStringLiteral("WAVE File")));
    EXPECT_TRUE(missing.err.contains(QStringLiteral("none.wav")));
    EXPECT_EQ(runOndrel(home.path(), {QStringLiteral("info"), home.path()}).exitCode, 3);
}

// The delegate's and the controllers' registered defaults are read as the
// desktop program reads them, without being stored.
TEST(CommandLine, RegisteredDefaultsAreReadButNotStored) {
    TemporaryHome home;
    for (const auto& [key, value] : {std::pair{"timeFormat", "13"}, std::pair{"LogControllerLogTTL", "14 days"},
                                     std::pair{"WorkflowSourceFileEntitiesKey", "allFileEntities"}}) {
        const CommandResult read = runOndrel(home.path(), {QStringLiteral("defaults"), QStringLiteral("read"), QString::fromLatin1(key)});
        EXPECT_EQ(read.exitCode, 0) << read.err.toStdString();
        EXPECT_EQ(read.out.trimmed(), QString::fromLatin1(value)) << key;
    }
    const CommandResult all = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("defaults"), QStringLiteral("read")});
    EXPECT_FALSE(QJsonDocument::fromJson(all.out.toUtf8()).object().contains(QStringLiteral("timeFormat")));
}

namespace {

// Three actions of registered classes, written by hand: any rewrite of the
// file changes its bytes.
const QByteArray kThreeActions = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>actions</key><array>
<dict><key>className</key><string>Action</string><key>name</key><string>Plain</string></dict>
<dict><key>className</key><string>SaveAction</string><key>name</key><string>Rough</string><key>enabled</key><false/>
<key>parameters</key><dict><key>filenameComponents</key><array><string>[F] rough</string></array></dict></dict>
<dict><key>className</key><string>SaveAction</string><key>name</key><string>Master</string>
<key>parameters</key><dict><key>replaceOriginal</key><true/></dict></dict>
</array><key>saveAction</key><dict><key>addResults</key><true/></dict></dict></plist>
)";

QString writeThreeActions(const TemporaryHome& home) {
    const QString path = home.filePath(QStringLiteral("Workflow.plist"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(kThreeActions) != kThreeActions.size())
        return QString();
    return path;
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// Every command used to write the workflow as it quit: one that only reads
// it, or writes something else, must leave it as it is.
TEST(CommandLine, CommandsThatDoNotChangeTheWorkflowLeaveItsFileAlone) {
    TemporaryHome home;
    const QString path = writeThreeActions(home);
    ASSERT_FALSE(path.isEmpty());
    const QStringList commands[] = {
        {QStringLiteral("info"), home.filePath(QStringLiteral("none.wav"))},
        {QStringLiteral("log")},
        {QStringLiteral("defaults"), QStringLiteral("read")},
        {QStringLiteral("defaults"), QStringLiteral("write"), QStringLiteral("timeFormat"), QStringLiteral("7")},
    };
    FolderWriteWatch watch(home.path());
    ASSERT_TRUE(watch.isWatching());
    for (const QStringList& command : commands) {
        runOndrel(home.path(), command);
        EXPECT_EQ(contentsOf(path), kThreeActions) << command.join(QLatin1Char(' ')).toStdString();
    }
    EXPECT_EQ(watch.writesOf(QStringLiteral("Workflow.plist")).replaced, 0);
}

// Two readers started together used to both write the workflow at their
// quit, each over the other.
TEST(CommandLine, TwoReadersStartedTogetherLeaveTheWorkflowAlone) {
    TemporaryHome home;
    const QString path = writeThreeActions(home);
    ASSERT_FALSE(path.isEmpty());
    QProcess first, second;
    for (QProcess* process : {&first, &second})
        process->start(QStringLiteral(ONDREL_CLI_PATH),
                       {QStringLiteral("--home"), home.path(), QStringLiteral("workflow"), QStringLiteral("show")});
    for (QProcess* process : {&first, &second}) {
        ASSERT_TRUE(process->waitForFinished(60000));
        EXPECT_EQ(process->exitCode(), 0);
        EXPECT_TRUE(QString::fromUtf8(process->readAllStandardOutput()).contains(QStringLiteral(" 3  SaveAction  \"Master\"")));
    }
    EXPECT_EQ(contentsOf(path), kThreeActions);
}

// An edit writes the workflow once as the program quits, by replacing the
// file whole, with every action and the save options as they were.
TEST(CommandLine, AnEditWritesTheWorkflowOnceAndWhole) {
    TemporaryHome home;
    const QString path = writeThreeActions(home);
    ASSERT_FALSE(path.isEmpty());
    FolderWriteWatch watch(home.path());
    ASSERT_TRUE(watch.isWatching());
    ASSERT_EQ(runOndrel(home.path(), {QStringLiteral("workflow"), QStringLiteral("remove"), QStringLiteral("4")}).exitCode, 2);
    EXPECT_EQ(contentsOf(path), kThreeActions) << "a wrong number changes nothing";

    const CommandResult moved = runOndrel(home.path(), {QStringLiteral("workflow"), QStringLiteral("move"), QStringLiteral("3"), QStringLiteral("1")});
    ASSERT_EQ(moved.exitCode, 0) << moved.err.toStdString();
    const FolderWriteWatch::Writes writes = watch.writesOf(QStringLiteral("Workflow.plist"));
    EXPECT_EQ(writes.replaced, 1);
    EXPECT_EQ(writes.inPlace, 0);

    const QVariantMap workflow = PropertyList::readFromFile(path).toMap();
    const QVariantList actions = workflow.value(QStringLiteral("actions")).toList();
    ASSERT_EQ(actions.size(), 3);
    const QVariantMap master = actions[0].toMap(), rough = actions[2].toMap();
    EXPECT_EQ(master.value(QStringLiteral("name")).toString(), QStringLiteral("Master"));
    EXPECT_TRUE(master.value(QStringLiteral("parameters")).toMap().value(QStringLiteral("replaceOriginal")).toBool());
    EXPECT_EQ(actions[1].toMap().value(QStringLiteral("className")).toString(), QStringLiteral("Action"));
    EXPECT_FALSE(rough.value(QStringLiteral("enabled")).toBool());
    EXPECT_EQ(rough.value(QStringLiteral("parameters")).toMap().value(QStringLiteral("filenameComponents")).toStringList(),
              QStringList{QStringLiteral("[F] rough")});
    EXPECT_TRUE(workflow.value(QStringLiteral("saveAction")).toMap().value(QStringLiteral("addResults")).toBool());
    EXPECT_EQ(QDir(home.path()).entryList({QStringLiteral("Workflow*")}, QDir::Files | QDir::Hidden),
              QStringList{QStringLiteral("Workflow.plist")})
        << "no temporary file left";
}

} // namespace ondrel
