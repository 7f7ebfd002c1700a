#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/instructions/ScriptText.h"
#include "scripting/ScriptRunReader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>

using namespace ondrel;

namespace {

std::shared_ptr<AudioProcessCommand> plainCommand() {
    auto command = std::make_shared<AudioProcessCommand>();
    command->setSourceInstructionsGroup(std::make_shared<AudioProcessCommandSourceInstructionsGroup>());
    command->setProcessInstructions(std::make_shared<AudioProcessCommandInstructions>());
    return command;
}

} // namespace

// The exact lines: a group without commands, a command without destination
// or filename, and the quoted pieces with nothing escaped. A piece written in
// the wrong order or with a blank too many breaks the recorded script.
TEST(ScriptTextTest, RunsWriteTheirExactLines) {
    AudioProcessCommandGroup group;
    group.setName(QStringLiteral("Run"));
    EXPECT_EQ(group.scriptDescription(), QStringLiteral("begin processing with name \"Run\"\nend processing\n"));
    group.setRehearse(true);
    auto command = plainCommand();
    command->setFilename(QString());  // empty: no filename piece
    auto label = std::make_shared<AudioProcessCommandLabelInstructions>();
    label->setType(QStringLiteral("marker"));
    label->setLocation(1.5);
    command->processInstructions()->setLabelInstructions({label});
    command->processInstructions()->addArgumentValue(QStringLiteral("a \"b\""), QStringLiteral("method"));
    group.insertObjectInAudioProcessCommandsAtIndex(command, 0);
    EXPECT_EQ(group.scriptDescription(),
              QStringLiteral("begin processing with name \"Run\" rehearse true\n"
                             "set theSource to {}\n"
                             "set theInstructions to {|labels|:{{|type|:\"marker\",|location|:1.5,|length|:0}},"
                             "|method|:\"a \"b\"\"}\n"
                             "process sources theSource with instructions theInstructions\n"
                             "end processing\n"));
}

// Numbers print in the shortest form that reads back to the same bits, in
// every form the writer can make; 'g' with 17 digits would print 0.1 as
// 0.10000000000000001, and a reader without exponents or inf would fail.
TEST(ScriptTextTest, NumbersReadBackExactly) {
    struct Case { double value; const char* text; };
    const Case cases[] = {{0.1, "0.1"}, {2.0, "2"}, {-6.02e23, "-6.02e+23"}, {2.5e-7, "2.5e-07"},
                          {1.0 / 3.0, "0.3333333333333333"}, {-std::numeric_limits<double>::infinity(), "-inf"},
                          {std::numeric_limits<double>::max(), "1.7976931348623157e+308"}};
    for (const Case& c : cases) {
        EXPECT_EQ(ScriptText::doubleText(c.value), QLatin1String(c.text));
        VMKError error;
        EXPECT_EQ(ScriptValueReader::valueWithText(QLatin1String(c.text), {}, &error).toDouble(), c.value) << c.text;
    }
    EXPECT_EQ(ScriptText::floatText(-0.1f), QStringLiteral("-0.1"));
    EXPECT_TRUE(std::isnan(ScriptValueReader::valueWithText(ScriptText::doubleText(std::nan(""))).toDouble()));
    EXPECT_EQ(ScriptValueReader::valueWithText(QStringLiteral("-42")).typeId(), QMetaType::LongLong);
    EXPECT_EQ(ScriptValueReader::valueWithText(QStringLiteral("+1E3")).toDouble(), 1000.0);
    EXPECT_EQ(ScriptValueReader::valueWithText(QStringLiteral("99999999999999999999")).toDouble(), 1e20);
}

// Part of a run's statements: a command before any group is lost, and a
// second begin drops the group left open, as the script commands do.
TEST(ScriptRunReaderTest, CommandsOutsideAGroupAndUnclosedGroupsAreDropped) {
    const QString text = QStringLiteral(
        "process sources {} with instructions {}\n"
        "begin processing with name \"first\"\n"
        "process sources {} with instructions {}\n"
        "\n   begin processing with name \"second\" rehearse false\n"
        "set s to {}\n"
        "process sources s with instructions {|channels|:2} to folder posix file \"/tmp/o\" with filename \"f\" "
        "replace original true\n"
        "end processing");
    ScriptRunReader reader;
    VMKError error;
    ASSERT_TRUE(reader.read(text, &error)) << qPrintable(error.localizedDescription());
    ASSERT_EQ(reader.groups().size(), 1u);
    const auto& group = *reader.groups().front();
    EXPECT_EQ(group.name(), QStringLiteral("second"));
    ASSERT_EQ(group.countOfAudioProcessCommands(), 1);
    const auto& command = *group.objectInAudioProcessCommandsAtIndex(0);
    EXPECT_EQ(command.destination().path(), QStringLiteral("/tmp/o"));
    EXPECT_EQ(command.filename(), QStringLiteral("f"));
    EXPECT_TRUE(command.replaceOriginal());
    EXPECT_EQ(command.processInstructions()->numberOfChannels(), 2);
}

// Text that doesn't parse gives an error with a place, never a crash, a
// hang or a half-read group: the two broken texts the writer itself makes
// (a quote in a name, the dropbox line without its line end), then cut,
// unbalanced, unterminated, deeply nested and garbage input.
TEST(ScriptRunReaderTest, MalformedTextFailsWithItsPlace) {
    AudioProcessCommandGroup group;
    group.setName(QStringLiteral("Bob's \"best\" take"));
    group.insertObjectInAudioProcessCommandsAtIndex(plainCommand(), 0);
    const QString quoted = group.scriptDescription();
    group.setName(QStringLiteral("ok"));
    const QString good = group.scriptDescription();
    QString dropbox = good;
    dropbox.replace(QStringLiteral("end processing"), QStringLiteral("send to dropbox path \"/x\"end processing"));
    QString garbage;
    for (int i = 0; i < 512; ++i)
        garbage.append(QChar(char16_t((i * 7919 + 13) % 0xD7FF)));
    struct Case { QString text; int line; };
    const Case cases[] = {
        {quoted, 1},
        {dropbox, 5},
        {QStringLiteral("begin processing with name \"x\"\nset a to {|k|:1,"), 2},
        {QStringLiteral("set a to {{1,2},{3}"), 1},
        {QStringLiteral("set a to {1,2}}"), 1},
        {QStringLiteral("set a to {|k|:\"open"), 1},
        {QStringLiteral("set a to {|key:1}"), 1},
        {QStringLiteral("set a to date \"13/45/2026 99:00:00 XM\""), 1},
        {QStringLiteral("set a to ") + QString(100000, QLatin1Char('{')) + QString(100000, QLatin1Char('}')), 1},
        {QStringLiteral("begin processing\nprocess sources nothing with instructions {}"), 2},
        {QStringLiteral("begin processing\nprocess sources {} with instructions {}\nprocess sources 3 with "
                        "instructions {}"), 3},
        {QStringLiteral("set a to 1e\n"), 1},
        {garbage, 1},
    };
    for (const Case& c : cases) {
        ScriptRunReader reader;
        VMKError error;
        EXPECT_FALSE(reader.read(c.text, &error)) << qPrintable(c.text.left(80));
        EXPECT_EQ(error.domain(), QStringLiteral("ScriptError"));
        EXPECT_EQ(error.userInfo().value(QStringLiteral("line")).toInt(), c.line)
            << qPrintable(error.localizedDescription());
    }
    // Every cut of a good text reads or fails cleanly.
    for (qsizetype length = 0; length < good.size(); ++length) {
        ScriptRunReader reader;
        VMKError error;
        EXPECT_TRUE(reader.read(good.left(length), &error) || error.isError());
    }
}

// A number beyond the range of a double is an error with its place; the
// reader used to keep the 0 it started from, so a gain of 1e400 or a whole
// number of 400 digits silently became 0.
TEST(ScriptValueReaderTest, NumbersOutOfRangeFail) {
    const QString cases[] = {QStringLiteral("1e400"), QStringLiteral("-1e400"), QStringLiteral("1e-400"),
                             QStringLiteral("1") + QString(400, QLatin1Char('0'))};
    for (const QString& number : cases) {
        VMKError error;
        const QVariant value = ScriptValueReader::valueWithText(QStringLiteral("{|gain|:") + number + u'}', {}, &error);
        EXPECT_FALSE(value.isValid()) << qPrintable(number.left(20)) << " read as " << qPrintable(Variant::describe(value));
        EXPECT_EQ(error.userInfo().value(QStringLiteral("column")).toInt(), 9) << qPrintable(error.localizedDescription());
    }
}

// Dates are written in UTC, so they must be read in UTC whatever the zone of
// the machine: read as local time, an hour that the local clock skips in
// spring (02:30 on the last Sunday of March in Central Europe) was no date at
// all, and a run with such a date property didn't read back.
TEST(ScriptValueReaderTest, DatesReadInUTCInsideALocalClockChange) {
    const QByteArray zone = qgetenv("TZ");
    const bool hadZone = qEnvironmentVariableIsSet("TZ");
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");  // a POSIX rule: needs no zone files
    tzset();
    const QDateTime dates[] = {QDateTime(QDate(2026, 3, 29), QTime(2, 30, 0), Qt::UTC),
                               QDateTime(QDate(2026, 10, 25), QTime(2, 30, 0), Qt::UTC),
                               QDateTime(QDate(2026, 1, 1), QTime(0, 5, 9), Qt::UTC)};
    for (const QDateTime& date : dates) {
        const QString text = ScriptText::valueText(date);
        VMKError error;
        const QVariant value = ScriptValueReader::valueWithText(text, {}, &error);
        EXPECT_EQ(value.toDateTime(), date) << qPrintable(text) << ": " << qPrintable(error.localizedDescription());
    }
    if (hadZone)
        qputenv("TZ", zone);
    else
        qunsetenv("TZ");
    tzset();
}

// A NUL character in the text is a character like any other, not its end:
// the reader took it for the end and told of a text that ends where it goes
// on, which sends the user looking for a cut file.
TEST(ScriptValueReaderTest, NulCharacterIsNotTheEndOfTheText) {
    const QString nul(QChar(0));
    struct Case { QString text; int column; };
    const Case cases[] = {{QStringLiteral("{1,") + nul + u'}', 4}, {QStringLiteral("{1") + nul + u'}', 3},
                          {QStringLiteral("{|k|:1") + nul + u'}', 7}};
    for (const Case& c : cases) {
        VMKError error;
        EXPECT_FALSE(ScriptValueReader::valueWithText(c.text, {}, &error).isValid());
        const QString message = error.localizedDescription();
        EXPECT_FALSE(message.contains(QLatin1String("ends"))) << qPrintable(message);
        EXPECT_FALSE(message.contains(nul)) << "the message carries the NUL itself";
        EXPECT_EQ(error.userInfo().value(QStringLiteral("column")).toInt(), c.column) << qPrintable(message);
    }
}
