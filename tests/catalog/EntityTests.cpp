#include "catalog/controller/EntityController.h"
#include "catalog/entities/ChannelDetails.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/entities/Label.h"
#include "core/predicates/Predicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace ondrel;

namespace {

using EntityTest = CatalogTest;

std::shared_ptr<FileEntity> fileAt(const QString& path) {
    return std::dynamic_pointer_cast<FileEntity>(
        EntityController::sharedInstance()->rootGroup()->entityWithURL(URL::fileURLWithPath(path)));
}

void runOnCatalog(const QString& sql) { EntityController::sharedInstance()->executeStatement(sql); }

} // namespace

// What the rows hold comes back as written: a true peak never measured
// (NULL) reads as the largest float, a label row without a name keeps the
// label's own name, and readers opened twice close at the second unload.
TEST_F(EntityTest, RowsReadBackAndLoadingIsCounted) {
    ASSERT_TRUE(writeTestWav(dataPath("a.wav"), 2, 4800));
    addToCatalog({dataPath("a.wav")});
    auto file = fileAt(dataPath("a.wav"));
    ASSERT_TRUE(file);
    const QString ID = file->ID();
    runOnCatalog(QStringLiteral("INSERT INTO FileLabel (fileEntityID, type, location, length, name) VALUES ('%1', "
                                "'marker', 0.5, 0, ''), ('%1', 'marker', 0.25, 0, 'Hit')").arg(ID));
    runOnCatalog(QStringLiteral("INSERT INTO FileAnalysis (fileEntityID, channelIndex, peak) VALUES ('%1', 0, 0.5), "
                                "('%1', 1, 0.25), ('%1', 2, 0.125)").arg(ID));
    file.reset();
    restartCatalog();

    file = fileAt(dataPath("a.wav"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->truePeak(), FileEntity::TruePeakNotMeasured);
    EXPECT_FLOAT_EQ(file->peak(), 0.5f);
    ASSERT_EQ(file->countOfChannelDetails(), 2);
    EXPECT_FLOAT_EQ(file->objectInChannelDetailsAtIndex(1)->peak(), 0.125f);
    EXPECT_EQ(file->objectInChannelDetailsAtIndex(1)->fileEntity(), file);
    ASSERT_EQ(file->countOfLabels(), 2);
    EXPECT_EQ(file->objectInLabelsAtIndex(0)->name(), QStringLiteral("Hit"));
    EXPECT_EQ(file->objectInLabelsAtIndex(1)->name(), Label::labelOfType(QStringLiteral("marker"))->name());
    EXPECT_DOUBLE_EQ(file->length(), 0.1);

    file->load();
    file->load();
    file->unload();
    EXPECT_EQ(file->audioFiles().size(), 1u);
    ASSERT_TRUE(file->objectInChannelDetailsAtIndex(0)->waveform());
    file->unload();
    file->unload();
    EXPECT_TRUE(file->audioFiles().empty());
    EXPECT_FALSE(file->objectInChannelDetailsAtIndex(0)->waveform());
    EXPECT_EQ(file->loadCount(), 0u);
}

// A split file whose member is gone can't be read again; its facts stay.
TEST_F(EntityTest, ASplitFileWithAMissingMemberFailsToUpdate) {
    ASSERT_TRUE(writeTestWav(dataPath("T.L.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("T.R.wav")));
    addToCatalog({dataPath("T.L.wav"), dataPath("T.R.wav")});
    auto file = fileAt(dataPath("T.L.wav"));
    ASSERT_TRUE(file);
    ASSERT_EQ(file->channels(), 2u);
    ASSERT_TRUE(QFile::remove(dataPath("T.R.wav")));
    VMKError error;
    EXPECT_FALSE(file->update(&error));
    EXPECT_EQ(file->channels(), 2u);
    EXPECT_EQ(file->frames(), 4800u);
}

// A plain file writes its one bookmark row with the catalog's own statement
// (ordinal 0 in the text), not the split file's. A refusing trigger makes
// the database name the statement it ran.
TEST_F(EntityTest, APlainFileWritesItsBookmarkRowWithItsOwnStatement) {
    ASSERT_TRUE(writeTestWav(dataPath("p.wav")));
    runOnCatalog(QStringLiteral("CREATE TRIGGER refuseBookmarks BEFORE INSERT ON FileBookmark "
                                "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    auto database = EntityController::database();
    database->clearLastErrorMessage();
    ASSERT_TRUE(FileEntity::initWithURL(URL::fileURLWithPath(dataPath("p.wav"))));
    EXPECT_TRUE(database->lastErrorMessage().startsWith(
        QStringLiteral("INSERT INTO FileBookmark (fileEntityID, ordinal, bookmarkData) VALUES (?, 0, ?)")))
        << qPrintable(database->lastErrorMessage());
}

// The view: a group whose files all fail the filter leaves it and comes
// back with them; a search ignores case and diacritics.
TEST_F(EntityTest, TheViewFollowsTheFilterAndTheSearch) {
    QDir(dataPath()).mkpath(QStringLiteral("Café"));
    ASSERT_TRUE(writeTestWav(dataPath("Café/short.wav"), 1, 480));
    ASSERT_TRUE(writeTestWav(dataPath("long.wav"), 1, 48000));
    addToCatalog({dataPath("Café"), dataPath("long.wav")});
    auto root = EntityController::sharedInstance()->rootGroup();
    ASSERT_EQ(root->countOfDisplayedEntities(), 2);

    auto defaults = UserDefaults::standardUserDefaults();
    defaults->setObjectForKey(KeyedArchiver::archivedDataWithRootObject(
                                  Variant::fromObject(Predicate::predicateWithFormat(QStringLiteral("length > 0.5")))),
                              QStringLiteral("entitiesPredicate"));
    defaults->setBoolForKey(true, QStringLiteral("entitiesPredicateEnabled"));
    ASSERT_EQ(root->countOfDisplayedEntities(), 1);
    EXPECT_EQ(root->objectInDisplayedEntitiesAtIndex(0)->name(), QStringLiteral("long.wav"));
    defaults->setBoolForKey(false, QStringLiteral("entitiesPredicateEnabled"));
    EXPECT_EQ(root->countOfDisplayedEntities(), 2);

    defaults->setObjectForKey(QStringLiteral("CAFE"), QStringLiteral("entitiesSearchString"));
    ASSERT_EQ(root->countOfDisplayedEntities(), 1);
    auto cafe = std::dynamic_pointer_cast<GroupEntity>(root->objectInDisplayedEntitiesAtIndex(0));
    ASSERT_TRUE(cafe);
    EXPECT_EQ(cafe->countOfDisplayedEntities(), 0);
}

// Free and disconnected groups keep their names and children over a
// restart; a renamed group writes its name.
TEST_F(EntityTest, FreeAndDisconnectedGroupsSurviveARestart) {
    QDir(dataPath()).mkpath(QStringLiteral("Folder"));
    ASSERT_TRUE(writeTestWav(dataPath("Folder/x.wav")));
    addToCatalog({dataPath("Folder")});
    auto root = EntityController::sharedInstance()->rootGroup();
    auto folder = std::dynamic_pointer_cast<GroupEntity>(root->objectInEntitiesAtIndex(0));
    folder->disconnectFromURL();
    folder->setName(QStringLiteral("Kept"));
    auto free = GroupEntity::init();
    free->setName(QStringLiteral("Mine"));
    root->insertObjectInEntitiesAtIndex(free, 1);
    auto file = folder->objectInEntitiesAtIndex(0);
    folder->removeObjectFromEntitiesAtIndex(0);
    free->insertObjectInEntitiesAtIndex(file, 0);  // a move keeps the row
    const QString fileID = file->ID();
    folder.reset();
    free.reset();
    file.reset();
    root.reset();
    restartCatalog();

    root = EntityController::sharedInstance()->rootGroup();
    ASSERT_EQ(root->countOfEntities(), 2);
    QStringList names;
    for (const auto& child : root->entities())
        names << child->name() + QString::number(child->URLs().size());
    names.sort();
    EXPECT_EQ(names, (QStringList{"Kept0", "Mine0"}));
    auto moved = root->entityWithID(fileID);
    ASSERT_TRUE(moved);
    EXPECT_EQ(moved->parent()->name(), QStringLiteral("Mine"));
}
