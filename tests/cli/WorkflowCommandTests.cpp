#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// A wrong class, key, value or option is a usage error that names what is
// wrong and leaves the stored workflow exactly as it was.
TEST(WorkflowCommand, WrongEditsNameTheFaultAndChangeNothing) {
    TemporaryHome home;
    ASSERT_EQ(runOndrel(home.path(), {"workflow", "add", "changeToFLAC", "bitDepth=24"}).exitCode, 0);
    const QString path = home.filePath(QStringLiteral("Workflow.plist"));
    const QByteArray before = contentsOf(path);
    ASSERT_FALSE(before.isEmpty());
    const struct {
        QStringList arguments;
        const char* named;
    } rows[] = {
        {{"workflow", "add", "NoSuchAction"}, "NoSuchAction"},
        {{"workflow", "add", "changeToFLAC", "depth=16"}, "depth"},
        {{"workflow", "add", "changeToFLAC", "bitDepth=-1"}, "bitDepth"},
        {{"workflow", "add", "changeToFLAC", "compression=fast"}, "compression"},
        {{"workflow", "add", "changeToFLAC", "compression=nan"}, "compression"},
        {{"workflow", "add", "shorten", "balance=1e39"}, "balance"},  // infinite in 32 bits
        {{"workflow", "add", "SaveAction", "filenameComponents=[1]"}, "filenameComponents"},  // as save-options refuses it
        {{"workflow", "add", "changeToFLAC", "bitDepth"}, "KEY=VALUE"},
        {{"workflow", "add", "changeToFLAC", "--at", "3"}, "--at"},
        {{"workflow", "add", "changeToFLAC", "--bogus"}, "--bogus"},
        {{"workflow", "set", "1", "bitDepth=16", "compression=x"}, "compression"},  // the good one isn't set either
        {{"workflow", "set", "2", "bitDepth=16"}, "'2'"},
        {{"workflow", "save-options", "filenameComponents=[1]"}, "filenameComponents"},
        {{"workflow", "save-options", "filenameComponents=[F]"}, "filenameComponents"},
        {{"workflow", "save-options", "destinationBookmark=/no/such/folder"}, "/no/such/folder"},
        {{"workflow", "save-options", "destinationBookmark=" + path}, "Workflow.plist"},  // a file is no folder
        {{"workflow", "save-options", "addResults=maybe"}, "addResults"},
    };
    for (const auto& row : rows) {
        const CommandResult result = runOndrel(home.path(), row.arguments);
        const std::string call = row.arguments.join(' ').toStdString();
        EXPECT_EQ(result.exitCode, 2) << call;
        EXPECT_TRUE(result.err.contains(QLatin1String(row.named))) << call << ": " << result.err.toStdString();
        EXPECT_EQ(contentsOf(path), before) << call;
    }
}

// The largest 32-bit number, as workflow show prints it, reads back: it lies
// above the float's maximum as a double, but rounds to it, not to infinity.
TEST(WorkflowCommand, TheLargest32BitValueAsShownIsTakenBack) {
    TemporaryHome home;
    for (const QString value : {"3.4028235e+38", "-3.4028235e+38"}) {
        const CommandResult added = runOndrel(home.path(), {"workflow", "add", "shorten", "balance=" + value});
        ASSERT_EQ(added.exitCode, 0) << added.err.toStdString();
    }
    const QString shown = runOndrel(home.path(), {"workflow", "show"}).out;
    EXPECT_TRUE(shown.contains("balance  3.4028235e+38") && shown.contains("balance  -3.4028235e+38"))
        << shown.toStdString();
}

// The script text of a run over a real catalog, line by line: the group's
// line with the actions' names, four lines per output naming the entity
// within its group, the instructions the actions wrote, the folder and the
// counted name, and the closing line.
TEST(WorkflowCommand, CompilePrintsTheRunLineByLine) {
    TemporaryHome home;
    const QString data = home.filePath(QStringLiteral("data"));
    ASSERT_TRUE(QDir().mkpath(data + "/b") && QDir().mkpath(data + "/out"));
    ASSERT_TRUE(writeTone(data + "/a.wav") && writeTone(data + "/b/c.wav"));
    ASSERT_EQ(runOndrel(home.path(), {"add", data + "/a.wav", data + "/b/c.wav"}).exitCode, 0);
    for (const QStringList& edit : {QStringList{"workflow", "add", "changeToFLAC", "compression=0.5"},
                                    QStringList{"workflow", "add", "changeBitDepth", "bitDepth=24", "applyDither=false"},
                                    QStringList{"workflow", "save-options", "filenameComponents=[\"[F]\",\"[T]_\",\"[C]1:1\"]",
                                                "destinationBookmark=" + data + "/out", "preserveHierarchy=true"}})
        ASSERT_EQ(runOndrel(home.path(), edit).exitCode, 0) << edit.join(' ').toStdString();

    const CommandResult result = runOndrel(home.path(), {"compile", "--rehearse"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList lines = result.out.split('\n', Qt::SkipEmptyParts);
    const QString id = QStringLiteral("entity id \"[0-9A-F-]{36}\"");
    const QString source = QStringLiteral("set theSource to \\{\\{\\|entity\\|:%1( of %1)*,\\|include labels\\|:true,"
                                          "\\|include properties\\|:true\\}\\}").arg(id);
    const QString instructions = QStringLiteral(
        "set theInstructions to \\{\\|format\\|:\"FLAC Audio File\",\\|bit depth\\|:24,\\|floating point\\|:false,"
        "\\|compression\\|:0.5\\}");
    const auto literal = [](const QString& text) { return QRegularExpression::escape(text); };
    const QString out = data + "/out";
    const QString command = "process sources theSource with instructions theInstructions to folder theDestination with filename ";
    const QStringList expected = {
        literal("begin processing with name \"Change To FLAC and Change Bit Depth\" rehearse true"),
        source, instructions, literal("set theDestination to posix file \"" + out + "\""), literal(command + "\"a_1\""),
        source, instructions, literal("set theDestination to posix file \"" + out + "/b\""), literal(command + "\"c_2\""),
        literal("end processing"),
    };
    ASSERT_EQ(lines.size(), expected.size()) << result.out.toStdString();
    for (qsizetype i = 0; i < lines.size(); ++i)
        EXPECT_TRUE(QRegularExpression("^" + expected[i] + "$").match(lines[i]).hasMatch())
            << i << ": " << lines[i].toStdString();
}

} // namespace ondrel
