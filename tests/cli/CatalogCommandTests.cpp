#include "tests/support/TestSupport.h"
#include "tests/support/cli/CommandLineRunner.h"

#include "core/files/URL.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace ondrel {

namespace {

QJsonArray listed(const QString& home) {
    const CommandResult result = runOndrel(home, {QStringLiteral("--json"), QStringLiteral("list")});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    return QJsonDocument::fromJson(result.out.toUtf8()).array();
}

QJsonObject entityNamed(const QJsonArray& entities, const QString& name) {
    for (const QJsonValue& entity : entities)
        if (entity[QStringLiteral("name")].toString() == name)
            return entity.toObject();
    return {};
}

qsizetype countOfKind(const QJsonArray& entities, const QString& kind) {
    qsizetype count = 0;
    for (const QJsonValue& entity : entities)
        count += entity[QStringLiteral("kind")].toString() == kind ? 1 : 0;
    return count;
}

// The lines of an add's report that begin with `what` ("added", "refused").
QStringList reported(const CommandResult& result, const QString& what) {
    QStringList lines;
    for (const QString& line : result.out.split(QLatin1Char('\n')))
        if (line.startsWith(what + QLatin1Char(' ')))
            lines << line;
    return lines;
}

} // namespace

// What an add wrote must come back the same at every start: the IDs, the
// order, the split file as one entity, and the folder of a refused file.
TEST(CatalogCommand, AddedTreeComesBackTheSameAfterRestarts) {
    TemporaryHome home;
    const QString root = home.filePath(QStringLiteral("Session"));
    ASSERT_TRUE(QDir().mkpath(root + QStringLiteral("/Drums/Kicks")));
    for (const char* name : {"Drums/Kicks/Kick.wav", "Drums/Snare.wav", "Drums/.Hidden.wav", "Mix.L.wav", "Mix.R.wav"})
        ASSERT_TRUE(writeTone(root + QLatin1Char('/') + QLatin1String(name)));
    writeFile(root + QStringLiteral("/Drums/notes.wav"), "not audio at all");

    const CommandResult add = runOndrel(home.path(), {QStringLiteral("add"), root});
    EXPECT_EQ(add.exitCode, 1) << add.out.toStdString() << add.err.toStdString();
    ASSERT_EQ(reported(add, QStringLiteral("refused")).size(), 1) << add.out.toStdString();
    EXPECT_TRUE(reported(add, QStringLiteral("refused")).first().contains(QStringLiteral("notes.wav")));

    const QJsonArray first = listed(home.path());
    const QJsonArray second = listed(home.path());
    EXPECT_EQ(first, second);
    EXPECT_EQ(countOfKind(first, QStringLiteral("group")), 3);  // Session, Drums, Kicks
    EXPECT_EQ(countOfKind(first, QStringLiteral("file")), 2);
    EXPECT_TRUE(entityNamed(first, QStringLiteral(".Hidden.wav")).isEmpty());
    const QJsonObject mix = entityNamed(first, QStringLiteral("Mix.wav"));
    EXPECT_EQ(mix[QStringLiteral("kind")].toString(), QLatin1String("split file"));
    EXPECT_EQ(mix[QStringLiteral("channels")].toInt(), 2);
    EXPECT_EQ(mix[QStringLiteral("files")].toArray().size(), 2);
    // The refused file's folder stays, holding the rest.
    const QJsonObject drums = entityNamed(first, QStringLiteral("Drums"));
    EXPECT_EQ(drums[QStringLiteral("countOfEntities")].toInt(), 2);
    EXPECT_EQ(entityNamed(first, QStringLiteral("Snare.wav"))[QStringLiteral("parent")], drums[QStringLiteral("ID")]);

    // A member file names the split file it belongs to.
    const CommandResult show =
        runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("show"), root + QStringLiteral("/Mix.R.wav")});
    ASSERT_EQ(show.exitCode, 0) << show.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(show.out.toUtf8()).object()[QStringLiteral("ID")], mix[QStringLiteral("ID")]);
}

// A list value goes to its key's formatter whole, as the desktop program
// shows it: the descriptors used to print one element a line. The JSON form
// keeps the list itself.
TEST(CatalogCommand, ShowFormatsAListValueWholeAndJsonKeepsIt) {
    TemporaryHome home;
    const QString wav = home.filePath(QStringLiteral("Pad.wav"));
    ASSERT_TRUE(writeTone(wav));
    ASSERT_EQ(runOndrel(home.path(), {QStringLiteral("add"), wav}).exitCode, 0);
    const QString ID = listed(home.path()).first()[QStringLiteral("ID")].toString();
    // The descriptors as the catalog keeps a file's properties.
    const auto database = VMKDatabaseController::initWithURL(URL::fileURLWithPath(home.filePath(QStringLiteral("Entities.db"))));
    database->executeStatement(QStringLiteral("INSERT INTO FileProperty (fileEntityID, key, value) VALUES (?, ?, ?)"), nullptr,
                               [&](VMKDatabaseQuery& query) {
                                   query.setStringValue(ID, 0);
                                   query.setStringValue(QStringLiteral("descriptors"), 1);
                                   query.setDataValue(KeyedArchiver::archivedDataWithRootObject(
                                                          QVariantList{QStringLiteral("dark"), QStringLiteral("warm")}),
                                                      2);
                                   query.execute();
                               });
    ASSERT_TRUE(database->lastErrorMessage().isEmpty()) << database->lastErrorMessage().toStdString();

    const CommandResult text = runOndrel(home.path(), {QStringLiteral("show"), wav});
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_TRUE(text.out.split(QLatin1Char('\n')).contains(QStringLiteral("metadata.descriptors: dark, warm"))) << text.out.toStdString();
    const CommandResult json = runOndrel(home.path(), {QStringLiteral("--json"), QStringLiteral("show"), wav});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(json.out.toUtf8()).object()[QStringLiteral("metadata")][QStringLiteral("descriptors")],
              QJsonArray({QStringLiteral("dark"), QStringLiteral("warm")}));
}

// A second add of a file already in the catalog must not make a second
// entity, and is no failure. (The first add's progress texts used to print
// a Qt warning each.)
TEST(CatalogCommand, FileAddedTwiceIsSkipped) {
    TemporaryHome home;
    const QString wav = home.filePath(QStringLiteral("Take.wav"));
    ASSERT_TRUE(writeTone(wav));
    const CommandResult first = runOndrel(home.path(), {QStringLiteral("add"), wav});
    ASSERT_EQ(first.exitCode, 0);
    EXPECT_FALSE(first.err.contains(QStringLiteral("QString::arg"))) << first.err.toStdString();
    const CommandResult again = runOndrel(home.path(), {QStringLiteral("add"), wav});
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    EXPECT_EQ(reported(again, QStringLiteral("skipped")).size(), 1) << again.out.toStdString();
    EXPECT_EQ(listed(home.path()).size(), 1);
}

// Each bad item costs only itself: the add ends (no read of a pipe, no walk
// round a link loop), names it once, and adds the good file beside it.
TEST(CatalogCommand, BadItemsAreRefusedOnceAndTheGoodFileAdded) {
    TemporaryHome home;
    const QString root = home.filePath(QStringLiteral("In"));
    ASSERT_TRUE(QDir().mkpath(root + QStringLiteral("/a")) && QDir().mkpath(root + QStringLiteral("/b")));
    const QString good = root + QStringLiteral("/good.wav");
    ASSERT_TRUE(writeTone(good));
    const QByteArray audio = [&] {
        QFile file(good);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    auto rawPath = [&](const QByteArray& name) { return QFile::encodeName(root) + '/' + name; };
    auto writeRaw = [&](const QByteArray& name, const QByteArray& bytes) {
        const int fd = ::open(rawPath(name).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        return fd >= 0 && ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size() && ::close(fd) == 0;
    };

    enum Outcome { Refused, Added, Either };
    struct Row {
        const char* what;
        QByteArray marker;  // a part of the name the report shows
        std::function<bool()> make;
        Outcome outcome;
    };
    const std::vector<Row> rows = {
        {"unreadable file", "locked.wav", [&] { return writeRaw("locked.wav", audio) && ::chmod(rawPath("locked.wav"), 0) == 0; },
         ::geteuid() == 0 ? Either : Refused},
        {"dangling link", "dangling.wav", [&] { return ::symlink("/nonexistent/x.wav", rawPath("dangling.wav")) == 0; }, Refused},
        {"link loop", "link loop", [&] {
             return ::symlink("../b", rawPath("a/toB")) == 0 && ::symlink("../a", rawPath("b/toA")) == 0;
         }, Refused},
        {"FIFO", "pipe.wav", [&] { return ::mkfifo(rawPath("pipe.wav"), 0644) == 0; }, Refused},
        {"empty WAV", "empty.wav", [&] { return writeRaw("empty.wav", {}); }, Refused},
        {"truncated WAV", "cut.wav", [&] { return writeRaw("cut.wav", audio.left(30)); }, Refused},
        {"line break in the name", "new\\nline.wav", [&] { return writeRaw("new\nline.wav", audio); }, Added},
        {"name not in UTF-8", "bad", [&] { return writeRaw("bad\xff\xfe.wav", audio); }, Either},
    };
    for (const Row& row : rows)
        ASSERT_TRUE(row.make()) << row.what;

    const CommandResult add = runOndrel(home.path(), {QStringLiteral("add"), root}, 60000);
    ASSERT_NE(add.err, QStringLiteral("timed out"));
    EXPECT_EQ(add.exitCode, 1) << add.err.toStdString();
    const QStringList refused = reported(add, QStringLiteral("refused"));
    const QStringList added = reported(add, QStringLiteral("added"));
    EXPECT_EQ(refused.size(), QSet<QString>(refused.cbegin(), refused.cend()).size()) << add.out.toStdString();
    for (const Row& row : rows) {
        const QString marker = QString::fromUtf8(row.marker);
        const qsizetype inRefused = refused.filter(marker).size();
        const qsizetype inAdded = added.filter(marker).size();
        SCOPED_TRACE(testing::Message() << row.what << "\n" << add.out.toStdString());
        if (row.outcome == Refused) {
            EXPECT_GE(inRefused, 1);
        } else if (row.outcome == Added) {
            EXPECT_EQ(inAdded, 1);
        }
        if (row.marker != "link loop") {
            EXPECT_EQ(inRefused + inAdded, 1);
        }
    }
    EXPECT_EQ(added.filter(QStringLiteral("good.wav")).size(), 1);
    EXPECT_FALSE(entityNamed(listed(home.path()), QStringLiteral("good.wav")).isEmpty());
    // What the temporary folder can't remove by itself.
    ::chmod(rawPath("locked.wav"), 0644);
    ::unlink(rawPath("bad\xff\xfe.wav"));
}

// An unknown name must stop a command before it changes anything, and a
// removal must reach the file even when the program quits at once (the rows
// are otherwise deleted three seconds later).
TEST(CatalogCommand, UnknownNamesAreRefusedAndRemovalsSurviveTheQuit) {
    TemporaryHome home;
    const QString folder = home.filePath(QStringLiteral("Folder"));
    ASSERT_TRUE(QDir().mkpath(folder));
    const QString keep = home.filePath(QStringLiteral("Keep.wav"));
    const QString drop = home.filePath(QStringLiteral("Drop.wav"));
    for (const QString& path : {keep, drop, folder + QStringLiteral("/Inside.wav")})
        ASSERT_TRUE(writeTone(path));
    ASSERT_EQ(runOndrel(home.path(), {QStringLiteral("add"), keep, drop, folder}).exitCode, 0);

    const CommandResult unknown = runOndrel(home.path(), {QStringLiteral("remove"), drop, QStringLiteral("NoSuchThing")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.contains(QStringLiteral("'NoSuchThing'"))) << unknown.err.toStdString();
    EXPECT_EQ(listed(home.path()).size(), 4);

    const CommandResult remove = runOndrel(home.path(), {QStringLiteral("remove"), drop, folder});
    ASSERT_EQ(remove.exitCode, 0) << remove.err.toStdString();
    const QJsonArray after = listed(home.path());
    ASSERT_EQ(after.size(), 1);
    EXPECT_EQ(after[0][QStringLiteral("name")].toString(), QLatin1String("Keep.wav"));
    EXPECT_TRUE(QFileInfo::exists(drop));
    // The folder's file went with it: adding the folder again makes it anew.
    EXPECT_EQ(reported(runOndrel(home.path(), {QStringLiteral("add"), folder}), QStringLiteral("added")).size(), 1);
}

namespace {

// A folder of 2,000 tiny WAV files, made quickly as copies of one.
bool makeManyFiles(const QString& folder) {
    const QString first = folder + QStringLiteral("/0000.wav");
    if (!QDir().mkpath(folder) || !writeTone(first, 1, 0.01))
        return false;
    QFile file(first);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    for (int i = 1; i < 2000; ++i)
        writeFile(folder + QStringLiteral("/%1.wav").arg(i, 4, 10, QLatin1Char('0')), bytes);
    return true;
}

} // namespace

// A kill at any moment of an add leaves a catalog that opens, whose every
// file entity has its file; the transaction is all or nothing, so adding
// the folder again completes it.
TEST(CatalogCommand, KillDuringAddLeavesAWorkingCatalog) {
    TemporaryHome home;
    const QString folder = home.filePath(QStringLiteral("Many"));
    ASSERT_TRUE(makeManyFiles(folder));

    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> delayMs(0, 1500);  // an add of them takes about a second
    for (int trial = 0; trial < 10; ++trial) {
        const int delay = delayMs(random);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", trial " << trial << ", kill after " << delay << " ms");
        QProcess add;
        add.start(QStringLiteral(ONDREL_CLI_PATH),
                  {QStringLiteral("--home"), home.path(), QStringLiteral("--quiet"), QStringLiteral("add"), folder});
        ASSERT_TRUE(add.waitForStarted());
        QThread::msleep(ulong(delay));
        ::kill(pid_t(add.processId()), SIGKILL);
        add.waitForFinished();

        for (const QJsonValue& entity : listed(home.path()))
            for (const QJsonValue& path : entity[QStringLiteral("files")].toArray())
                EXPECT_TRUE(QFileInfo::exists(path.toString())) << path.toString().toStdString();
    }
    std::cout << "seed " << seed << std::endl;

    const CommandResult again = runOndrel(home.path(), {QStringLiteral("--quiet"), QStringLiteral("add"), folder}, 300000);
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    const QJsonArray entities = listed(home.path());
    EXPECT_EQ(countOfKind(entities, QStringLiteral("file")), 2000);
    EXPECT_EQ(countOfKind(entities, QStringLiteral("group")), 1);
}

// Ctrl-C during an add must leave the catalog as it was: nothing inserted,
// and the rows the walk had written deleted before the program ends.
TEST(CatalogCommand, InterruptedAddInsertsNothing) {
    TemporaryHome home;
    const QString folder = home.filePath(QStringLiteral("Many"));
    ASSERT_TRUE(makeManyFiles(folder));
    QProcess add;
    add.start(QStringLiteral(ONDREL_CLI_PATH), {QStringLiteral("--home"), home.path(), QStringLiteral("add"), folder});
    // The first finished item shows that the walk runs, with Ctrl-C caught.
    ASSERT_TRUE(add.waitForStarted());
    add.setReadChannel(QProcess::StandardError);
    QByteArray err;
    while (!err.contains("added ") && add.state() == QProcess::Running) {
        add.waitForReadyRead(100);
        err += add.readAllStandardError();
    }
    ::kill(pid_t(add.processId()), SIGINT);
    ASSERT_TRUE(add.waitForFinished(60000));
    ASSERT_EQ(add.exitStatus(), QProcess::NormalExit) << add.exitCode() << (err + add.readAllStandardError()).right(500).toStdString();

    // All or nothing, as reported: a Ctrl-C during the walk inserts nothing;
    // one that came after it (the walk of these files is short) stops only
    // the measuring, and everything went in.
    EXPECT_TRUE(add.exitCode() == 130 || add.exitCode() == 0) << add.exitCode();
    const QByteArray out = add.readAllStandardOutput();
    const QJsonArray entities = listed(home.path());
    if (out.contains("2000 added")) {
        EXPECT_EQ(countOfKind(entities, QStringLiteral("file")), 2000);
    } else {
        EXPECT_TRUE((err + add.readAllStandardError()).contains("nothing was added")) << out.toStdString();
        EXPECT_TRUE(entities.isEmpty()) << entities.size();
    }
}

} // namespace ondrel
