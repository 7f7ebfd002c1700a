#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/tracking/Watcher.h"
#include "core/files/Bookmark.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "fileprocesses/FileProcess.h"
#include "fileprocesses/FileProcessCommand.h"
#include "fileprocesses/FileProcessController.h"
#include "logging/LogController.h"

#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>

namespace ondrel {

namespace {

// Where this build has no analysis, these take its requests and measure
// nothing; with the analysis library present the real job runs instead.
class RequestedAnalysisCommand : public FileProcessCommand {
    ONDREL_OBJECT(RequestedAnalysisCommand, FileProcessCommand)
};
class RequestedAnalysis : public FileProcess {
    ONDREL_OBJECT(RequestedAnalysis, FileProcess)
public:
    void execute() override {
        setProcessing(true);
        setItems({});  // lets the entities go, as a finished job does
        setProcessing(false);
    }
};
const ClassInfo& RequestedAnalysisCommand::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<RequestedAnalysisCommand, FileProcessCommand>(QStringLiteral("AnalysisFileProcessCommand"));
    return info;
}
const ClassInfo& RequestedAnalysis::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<RequestedAnalysis, FileProcess>(QStringLiteral("AnalysisFileProcess"));
    return info;
}

qsizetype countOfAnalysisRequests() {
    qsizetype count = 0;
    for (const auto& process : FileProcessController::sharedInstance()->fileProcesses())
        count += process->fileProcessClassName() == QLatin1String("AnalysisFileProcess");
    return count;
}

class FileTrackingTest : public CatalogTest {
protected:
    void SetUp() override {
        CatalogTest::SetUp();
        if (!ClassRegistry::classNamed(QStringLiteral("AnalysisFileProcessCommand"))) {
            RequestedAnalysisCommand::staticClassInfo();
            RequestedAnalysis::staticClassInfo();
        }
    }

    static GroupEntityPtr root() { return EntityController::sharedInstance()->rootGroup(); }
    EntityPtr at(const QString& name) const { return root()->entityWithURL(URL::fileURLWithPath(dataPath(name))); }
    GroupEntityPtr groupAt(const QString& name) const { return std::dynamic_pointer_cast<GroupEntity>(at(name)); }
    void move(const QString& from, const QString& to) const {
        ASSERT_EQ(::rename(qPrintable(dataPath(from)), qPrintable(dataPath(to))), 0);
    }
    // Every bookmark row of the catalog, resolved: the path, and "stale"
    // when the row no longer names the item where it is.
    static QStringList resolvedBookmarkRows() {
        QStringList out;
        for (const char* sql : {"SELECT bookmarkData FROM FileBookmark", "SELECT bookmarkData FROM GroupEntity"})
            EntityController::sharedInstance()->executeStatement(QLatin1String(sql), nullptr, [&](VMKDatabaseQuery& query) {
                while (query.evaluateNextRow()) {
                    bool stale = false;
                    const QString path = Bookmark::URLByResolvingBookmarkData(query.dataValueAtColumn(0), &stale).path();
                    out << path + (stale ? " stale" : "");
                }
            });
        out.sort();
        return out;
    }
};

} // namespace

// A file of a free group follows a rename: the same entity, its new name,
// and a bookmark row that names the new place without a search.
TEST_F(FileTrackingTest, RenamedFileKeepsItsEntityAndRow) {
    QDir(dataPath()).mkpath("A");
    ASSERT_TRUE(writeTestWav(dataPath("A/a.wav")));
    addToCatalog({dataPath("A/a.wav")});
    const EntityPtr entity = at("A/a.wav");
    ASSERT_TRUE(entity);
    move("A/a.wav", "A/b.wav");
    ASSERT_TRUE(spinUntil([&] { return entity->name() == "b.wav"; }));
    EXPECT_EQ(at("A/b.wav"), entity);
    EXPECT_EQ(resolvedBookmarkRows(), QStringList{dataPath("A/b.wav")});
}

// A file that leaves its bound folder leaves its group; gone from every
// watched folder (moved away or deleted), its rows go when the pool drains.
// Moved into another bound folder under the same watcher, it joins that
// group.
TEST_F(FileTrackingTest, FileLeavingItsFolderLeavesItsGroup) {
    struct Case {
        const char* name;
        const char* to;  // null: deleted
        qsizetype inB;
    };
    for (const Case& c : {Case{"moved away", "away.wav", 0}, Case{"deleted", nullptr, 0}, Case{"moved to B", "Lib/B/a.wav", 1}}) {
        SCOPED_TRACE(c.name);
        QDir(dataPath("Lib")).removeRecursively();
        QDir(dataPath()).mkpath("Lib/A");
        QDir(dataPath()).mkpath("Lib/B");
        ASSERT_TRUE(writeTestWav(dataPath("Lib/A/a.wav")));
        addToCatalog({dataPath("Lib")});
        const GroupEntityPtr a = groupAt("Lib/A");
        const GroupEntityPtr b = groupAt("Lib/B");
        ASSERT_TRUE(a && b);
        ASSERT_EQ(a->countOfEntities(), 1);
        const qsizetype requests = countOfAnalysisRequests();
        if (c.to)
            move("Lib/A/a.wav", c.to);
        else
            ASSERT_TRUE(QFile::remove(dataPath("Lib/A/a.wav")));
        EXPECT_TRUE(spinUntil([&] { return a->countOfEntities() == 0 && b->countOfEntities() == c.inB; }));
        spinUntil([] { return !FileProcessController::sharedInstance()->isProcessing(); });
        EntityController::sharedInstance()->drainRemovalPool();
        EXPECT_EQ(catalogValue("SELECT COUNT(*) FROM FileEntity").toInt(), c.inB);
        EXPECT_EQ(countOfAnalysisRequests() - requests, c.inB);
        root()->removeObjectFromEntitiesAtIndex(0);
    }
}

// A file of a free group that moves to another watched folder is counted
// there from then on: when it leaves the catalog, the folder it went to
// stays watched for the file that was there already, and the one it left
// is no longer watched.
TEST_F(FileTrackingTest, FileMovedToAnotherWatchedFolderIsCountedThere) {
    QDir(dataPath()).mkpath("A");
    QDir(dataPath()).mkpath("B");
    ASSERT_TRUE(writeTestWav(dataPath("A/a.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("B/b.wav")));
    addToCatalog({dataPath("A/a.wav"), dataPath("B/b.wav")});
    const EntityPtr a = at("A/a.wav");
    ASSERT_TRUE(a);
    move("A/a.wav", "B/a.wav");
    ASSERT_TRUE(spinUntil([&] { return a->firstURL().path() == dataPath("B/a.wav"); }));
    root()->removeObjectFromEntitiesAtIndex(root()->indexOfObjectInEntities(a.get()));
    const auto watchers = EntityController::sharedInstance()->watchers();
    ASSERT_EQ(watchers.size(), 1u);
    EXPECT_EQ(watchers[0]->url().path(), dataPath("B"));
    EXPECT_EQ(watchers[0]->counter(), 1u);
}

// A bound folder moved from an unwatched place into a watched one: its
// watcher is swallowed by the one there, as if made there, so that no two
// watchers hear the same folder (each new file would be added twice).
TEST_F(FileTrackingTest, BoundFolderMovedIntoAWatchedFolderLeavesOneWatcher) {
    QDir(dataPath()).mkpath("W");
    QDir(dataPath()).mkpath("Out/X");
    ASSERT_TRUE(writeTestWav(dataPath("W/a.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Out/X/b.wav")));
    addToCatalog({dataPath("W/a.wav")});
    addToCatalog({dataPath("Out/X")});
    const GroupEntityPtr x = groupAt("Out/X");
    ASSERT_TRUE(x);
    move("Out/X", "W/X");
    ASSERT_TRUE(spinUntil([&] { return x->firstURL().path() == dataPath("W/X"); }));
    const auto watchers = EntityController::sharedInstance()->watchers();
    ASSERT_EQ(watchers.size(), 1u);
    EXPECT_EQ(watchers[0]->path(), dataPath("W"));
    EXPECT_EQ(watchers[0]->counter(), 3u);
}

// A touched file is read again and measured again; a file replaced by
// something that isn't audio stays with its old facts, and says so once.
TEST_F(FileTrackingTest, ChangedFileIsReadAgainOrKeptWithOneError) {
    ASSERT_TRUE(writeTestWav(dataPath("a.wav"), 1, 4800));
    ASSERT_TRUE(writeTestWav(dataPath("b.wav")));
    addToCatalog({dataPath("a.wav"), dataPath("b.wav")});
    auto a = std::dynamic_pointer_cast<FileEntity>(at("a.wav"));
    auto b = std::dynamic_pointer_cast<FileEntity>(at("b.wav"));
    ASSERT_TRUE(a && b);
    const qsizetype requests = countOfAnalysisRequests();
    ASSERT_TRUE(writeTestWav(dataPath("a.wav"), 2, 9600));
    ASSERT_TRUE(spinUntil([&] { return a->frames() == 9600; }));
    EXPECT_EQ(a->channels(), 2u);
    EXPECT_EQ(countOfAnalysisRequests() - requests, 1);

    const quint64 errors = LogController::sharedInstance()->errorCount();
    writeFile(dataPath("a.wav"), "not audio any more");
    // b's change comes after a's: once b is read again, a's change is done.
    ASSERT_TRUE(writeTestWav(dataPath("b.wav"), 1, 100));
    ASSERT_TRUE(spinUntil([&] { return b->frames() == 100; }));
    EXPECT_EQ(at("a.wav"), a);
    EXPECT_EQ(a->frames(), 9600u);
    EXPECT_EQ(LogController::sharedInstance()->errorCount() - errors, 1u);
}

// A new file in the folder of a bound group joins it and is measured; one
// in a folder watched only for a loose file is left alone.
TEST_F(FileTrackingTest, NewFileJoinsOnlyABoundFolder) {
    QDir(dataPath()).mkpath("Lib");
    QDir(dataPath()).mkpath("Loose");
    ASSERT_TRUE(writeTestWav(dataPath("Lib/x.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Loose/y.wav")));
    addToCatalog({dataPath("Lib")});
    addToCatalog({dataPath("Loose/y.wav")});
    const GroupEntityPtr lib = groupAt("Lib");
    ASSERT_TRUE(lib);
    const qsizetype requests = countOfAnalysisRequests();
    ASSERT_TRUE(writeTestWav(dataPath("Loose/new.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/new.wav")));
    ASSERT_TRUE(spinUntil([&] { return lib->countOfEntities() == 2; }));
    EXPECT_FALSE(at("Loose/new.wav"));
    spinUntil([] { return !FileProcessController::sharedInstance()->isProcessing(); });
    EXPECT_EQ(countOfAnalysisRequests() - requests, 1);
}

// Renaming the folder of a bound group moves the group and everything
// beneath it: every bookmark row names the new place, and a split file keeps
// all of its channels. Its watcher follows:
// a file added there afterwards is counted on it, not on a second watcher
// of the same folder (which would add every later file twice).
TEST_F(FileTrackingTest, RenamedBoundFolderRewritesEveryRowBeneath) {
    QDir(dataPath()).mkpath("Lib/Sub");
    ASSERT_TRUE(writeTestWav(dataPath("Lib/a.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/Sub/b.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/Take.L.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/Take.R.wav")));
    addToCatalog({dataPath("Lib")});
    const GroupEntityPtr lib = groupAt("Lib");
    ASSERT_TRUE(lib);
    const EntityPtr take = at("Lib/Take.R.wav");
    ASSERT_TRUE(take);
    move("Lib", "Renamed");
    ASSERT_TRUE(spinUntil([&] { return lib->name() == "Renamed"; }));
    EXPECT_EQ(resolvedBookmarkRows(), (QStringList{dataPath("Renamed"), dataPath("Renamed/Sub"), dataPath("Renamed/Sub/b.wav"),
                                                   dataPath("Renamed/Take.L.wav"), dataPath("Renamed/Take.R.wav"),
                                                   dataPath("Renamed/a.wav")}));
    EXPECT_EQ(take->URLs(), (std::vector<URL>{URL::fileURLWithPath(dataPath("Renamed/Take.L.wav")),
                                              URL::fileURLWithPath(dataPath("Renamed/Take.R.wav"))}));
    EXPECT_EQ(catalogValue("SELECT name FROM GroupEntity WHERE name = 'Renamed'").toString(), "Renamed");
    const auto watchers = EntityController::sharedInstance()->watchers();
    ASSERT_EQ(watchers.size(), 1u);
    const quint64 counter = watchers[0]->counter();
    ASSERT_TRUE(writeTestWav(dataPath("Renamed/new.wav")));
    ASSERT_TRUE(spinUntil([&] { return lib->countOfEntities() == 4; }));
    EXPECT_EQ(EntityController::sharedInstance()->watchers().size(), 1u);
    EXPECT_EQ(watchers[0]->counter(), counter + 1);
}

} // namespace ondrel
