#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/tracking/Watcher.h"
#include "core/files/FileCoordinator.h"
#include "core/dispatch/ApplicationNotifications.h"
#include "core/predicates/SortDescriptor.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/UserDefaults.h"
#include "core/tree/TreeController.h"
#include "core/tree/TreeNode.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "fileprocesses/FileProcessController.h"

#include <QtCore/QCoreApplication>
#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace ondrel;

namespace {

using EntityControllerTest = CatalogTest;

QStringList columnsOfFileEntity() {
    QStringList names;
    EntityController::sharedInstance()->executeStatement(QStringLiteral("PRAGMA table_info(FileEntity)"), nullptr,
                                                         [&](VMKDatabaseQuery& query) {
                                                             while (query.evaluateNextRow())
                                                                 names << query.stringValueAtColumn(1);
                                                         });
    return names;
}

// The files area's tree, depth first: level, ID, name and format facts.
void describeNodes(const TreeNode& node, int level, QStringList& out) {
    for (const auto& child : node.childNodes()) {
        const ObjectPtr entity = child->representedObject();
        out << QStringLiteral("%1 %2 %3 %4 %5 %6")
                   .arg(level)
                   .arg(entity->valueForKey(QStringLiteral("ID")).toString(),
                        entity->valueForKey(QStringLiteral("name")).toString(),
                        entity->valueForKey(QStringLiteral("format")).toString(),
                        entity->valueForKey(QStringLiteral("channels")).toString(),
                        entity->valueForKey(QStringLiteral("dateAdded")).toString());
        describeNodes(*child, level + 1, out);
    }
}

QStringList arrangedTree() {
    QStringList out;
    describeNodes(*EntityController::sharedInstance()->treeController().arrangedObjects(), 0, out);
    return out;
}

void installCatalogFile(const QString& home, const QStringList& extraStatements) {
    const QString target = home + QStringLiteral("/Entities.db");
    ASSERT_TRUE(QFile::copy(QStringLiteral(ONDREL_CATALOG_FIXTURES "/Entities-v1.db"), target));
    QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
    auto database = VMKDatabaseController::initWithURL(URL::fileURLWithPath(target));
    for (const QString& statement : extraStatements)
        database->executeStatement(statement);
}

} // namespace

// A catalog of any earlier version is carried to the current one at start,
// keeping its rows; a new one starts at version 1 and takes the same road.
TEST_F(EntityControllerTest, CatalogsOfEveryVersionAreMigratedOnce) {
    struct Case {
        const char* name;
        bool fixture;
        QStringList statements;  // applied to the version-1 fixture
    };
    const QString v2 = QStringLiteral("ALTER TABLE FileEntity ADD COLUMN ");
    const std::vector<Case> cases = {
        {"missing file", false, {}},
        {"version 1", true, {}},
        {"version 2", true, {v2 + "midPeak REAL", v2 + "sidePeak REAL", "UPDATE Global SET version = 2"}},
        {"version 3", true,
         {v2 + "midPeak REAL", v2 + "sidePeak REAL", v2 + "truePeak REAL", v2 + "loudnessRange REAL",
          "UPDATE Global SET version = 3"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TemporaryHome home;
        EntityController::resetSharedInstance();
        if (c.fixture)
            installCatalogFile(home.path(), c.statements);
        EXPECT_EQ(catalogValue(QStringLiteral("SELECT version FROM Global")).toInt(), 3);
        const QStringList columns = columnsOfFileEntity();
        for (const char* column : {"midPeak", "sidePeak", "truePeak", "loudnessRange"})
            EXPECT_EQ(columns.count(QLatin1String(column)), 1) << column;
        EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM Global")).toInt(), 1);
        if (c.fixture) {
            // The free group survives with its stored name; the file whose
            // location can't be resolved is dropped, and its rows go.
            auto root = EntityController::sharedInstance()->rootGroup();
            ASSERT_EQ(root->countOfEntities(), 1);
            auto group = std::dynamic_pointer_cast<GroupEntity>(root->objectInEntitiesAtIndex(0));
            ASSERT_TRUE(group);
            EXPECT_EQ(group->name(), QStringLiteral("Old Sessions"));
            EXPECT_EQ(group->countOfEntities(), 0);
            NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
            EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileBookmark")).toInt(), 0);
            EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileAnalysis")).toInt(), 0);
        }
        EntityController::resetSharedInstance();
    }
}

// The tree, its IDs, order and fields come back after a restart; a file
// changed while the program was closed is read again, one that vanished
// leaves with its rows, one that moved out of its bound folder leaves the
// group, and a new one in a bound folder is added.
TEST_F(EntityControllerTest, RestartRebuildsTheTreeAndReconcilesBoundFolders) {
    QDir(dataPath()).mkpath(QStringLiteral("Session/Takes"));
    ASSERT_TRUE(writeTestWav(dataPath("Session/a.wav"), 2, 4800));
    ASSERT_TRUE(writeTestWav(dataPath("Session/b.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Session/gone.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Session/Takes/c.wav")));
    addToCatalog({dataPath("Session")});
    auto controller = EntityController::sharedInstance();
    auto session = std::dynamic_pointer_cast<GroupEntity>(controller->rootGroup()->objectInEntitiesAtIndex(0));
    ASSERT_TRUE(session);
    const QStringList before = arrangedTree();
    ASSERT_EQ(before.size(), 6);
    const QString sessionID = session->ID();
    session.reset();

    restartCatalog();
    controller = EntityController::sharedInstance();
    EXPECT_EQ(arrangedTree(), before);

    // Closed: one file changes, one vanishes, one leaves, one arrives.
    restartCatalog();
    ASSERT_TRUE(writeTestWav(dataPath("Session/a.wav"), 2, 9600));
    ASSERT_TRUE(QFile::remove(dataPath("Session/gone.wav")));
    ASSERT_TRUE(QFile::rename(dataPath("Session/b.wav"), dataPath("b-moved.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Session/new.wav")));
    controller = EntityController::sharedInstance();
    spinUntil([] { return !FileProcessController::sharedInstance()->isProcessing(); });
    QCoreApplication::processEvents();
    session = std::dynamic_pointer_cast<GroupEntity>(controller->rootGroup()->entityWithID(sessionID));
    ASSERT_TRUE(session);
    QStringList names;
    for (const auto& child : session->entities())
        names << child->name();
    EXPECT_EQ(names, (QStringList{"a.wav", "Takes", "new.wav"}));
    auto a = std::dynamic_pointer_cast<FileEntity>(session->objectInEntitiesAtIndex(0));
    EXPECT_EQ(a->frames(), 9600u);
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileEntity")).toInt(), 3);
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT frames FROM FileEntity WHERE fileEntityID = '%1'").arg(a->ID())).toInt(), 9600);
}

// Rows go when the last owner lets go: a thousand removals make one
// transaction three seconds later, and quitting within those three seconds
// still deletes them.
TEST_F(EntityControllerTest, RemovedEntitiesLoseTheirRowsOnceEvenWhenQuittingAtOnce) {
    QStringList paths;
    for (int i = 0; i < 20; ++i) {
        paths << dataPath(QStringLiteral("f%1.wav").arg(i));
        ASSERT_TRUE(writeTestWav(paths.last()));
    }
    addToCatalog(paths);
    auto controller = EntityController::sharedInstance();
    auto root = controller->rootGroup();
    ASSERT_EQ(root->countOfEntities(), 20);

    std::weak_ptr<Entity> first = root->objectInEntitiesAtIndex(0);
    root->removeEntitiesAtIndexes(IndexSet::range(0, 10));
    EXPECT_TRUE(first.expired()) << first.use_count();
    EXPECT_EQ(controller->countOfPendingRemovals(), 10);
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileEntity")).toInt(), 20);
    EXPECT_TRUE(spinUntil([&] { return controller->countOfPendingRemovals() == 0; }, 6000));
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileEntity")).toInt(), 10);

    root->removeEntitiesAtIndexes(IndexSet::range(0, 10));
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileEntity")).toInt(), 0);
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileBookmark")).toInt(), 0);
    restartCatalog();
    EXPECT_EQ(EntityController::sharedInstance()->rootGroup()->countOfEntities(), 0);
}

// Exactly one selected file is kept loaded: a group holding one file loads
// it, a change to two files unloads it and loads neither, and the same
// files selected another way load nothing twice. The selection survives a
// restart for runs over the selection.
TEST_F(EntityControllerTest, SelectionLoadsOnlyASingleFileAndIsKept) {
    QDir(dataPath()).mkpath(QStringLiteral("One"));
    ASSERT_TRUE(writeTestWav(dataPath("One/x.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("y.wav")));
    addToCatalog({dataPath("One"), dataPath("y.wav")});
    auto controller = EntityController::sharedInstance();
    auto root = controller->rootGroup();
    auto group = std::dynamic_pointer_cast<GroupEntity>(root->entityWithURL(URL::fileURLWithPath(dataPath("One"))));
    auto x = std::dynamic_pointer_cast<FileEntity>(root->entityWithURL(URL::fileURLWithPath(dataPath("One/x.wav"))));
    auto y = std::dynamic_pointer_cast<FileEntity>(root->entityWithURL(URL::fileURLWithPath(dataPath("y.wav"))));
    ASSERT_TRUE(group && x && y);

    controller->setSelectedEntities({group});
    ASSERT_EQ(controller->selectedFileEntities().size(), 1u);
    EXPECT_EQ(x->loadCount(), 1u);
    EXPECT_EQ(x->audioFiles().size(), 1u);
    controller->setSelectedEntities({x});  // the same file by another route
    EXPECT_EQ(x->loadCount(), 1u);
    controller->setSelectedEntities({x, y});
    EXPECT_EQ(x->loadCount(), 0u);
    EXPECT_EQ(y->loadCount(), 0u);
    EXPECT_TRUE(x->audioFiles().empty());

    const QString yID = y->ID();
    x.reset();
    y.reset();
    group.reset();
    restartCatalog();
    controller = EntityController::sharedInstance();
    QStringList selected;
    for (const auto& file : controller->selectedFileEntities())
        selected << file->ID();
    EXPECT_EQ(selected.size(), 2);
    EXPECT_TRUE(selected.contains(yID));
}

// A file deleted from inside a selected group leaves the selection at once:
// the selection must not keep it alive, or its rows would never go and it
// would come back at the next start.
TEST_F(EntityControllerTest, AFileDeletedInsideASelectedGroupLeavesTheSelection) {
    QDir(dataPath()).mkpath(QStringLiteral("Two"));
    ASSERT_TRUE(writeTestWav(dataPath("Two/x.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Two/y.wav")));
    addToCatalog({dataPath("Two")});
    auto controller = EntityController::sharedInstance();
    auto group = std::dynamic_pointer_cast<GroupEntity>(controller->rootGroup()->objectInEntitiesAtIndex(0));
    ASSERT_TRUE(group);
    controller->setSelectedEntities({group});
    ASSERT_EQ(controller->selectedFileEntities().size(), 2u);

    std::weak_ptr<Entity> deleted = group->objectInEntitiesAtIndex(0);
    group->removeObjectFromEntitiesAtIndex(0);
    EXPECT_TRUE(deleted.expired());
    ASSERT_EQ(controller->selectedFileEntities().size(), 1u);
    EXPECT_EQ(controller->selectedFileEntities()[0], group->objectInEntitiesAtIndex(0));
}

// A stored order by caseInsensitiveCompare: comes back as the natural
// order, same key and direction; a new order is stored.
TEST_F(EntityControllerTest, StoredSortOrderComesBackAsNaturalOrder) {
    const QVariantList stored = {Variant::fromObject(
        SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), true, QStringLiteral("caseInsensitiveCompare:")))};
    UserDefaults::standardUserDefaults()->setObjectForKey(KeyedArchiver::archivedDataWithRootObject(stored),
                                                          EntityController::SortDescriptorsKey);
    for (const char* name : {"Take 10.wav", "take 2.wav", "Take 1.wav"})
        ASSERT_TRUE(writeTestWav(dataPath(name)));
    addToCatalog({dataPath("Take 10.wav"), dataPath("take 2.wav"), dataPath("Take 1.wav")});
    auto& tree = EntityController::sharedInstance()->treeController();
    ASSERT_EQ(tree.sortDescriptors().size(), 1u);
    EXPECT_EQ(tree.sortDescriptors()[0]->selector(), QStringLiteral("localizedStandardCompare:"));
    EXPECT_TRUE(tree.sortDescriptors()[0]->isAscending());
    QStringList names;
    for (const auto& node : tree.arrangedObjects()->childNodes())
        names << node->representedObject()->valueForKey(QStringLiteral("name")).toString();
    EXPECT_EQ(names, (QStringList{"Take 1.wav", "take 2.wav", "Take 10.wav"}));

    tree.setSortDescriptors({SortDescriptor::sortDescriptorWithKey(QStringLiteral("length"), false)});
    restartCatalog();
    EXPECT_EQ(EntityController::sharedInstance()->treeController().sortDescriptors()[0]->key(), QStringLiteral("length"));
}

// Watchers are shared and counted: two files of a folder share one; a group
// on the parent folder swallows it with the sum of the counts plus one; a
// disconnected group stops counting once; letting everything go leaves no
// watcher. The folders followed on disk are the watchers' at each step.
TEST_F(EntityControllerTest, WatchersAreSharedCountedAndSwallowed) {
    auto presentersAreWatchers = [] {
        const auto watchers = EntityController::sharedInstance()->watchers();
        return FileCoordinator::filePresenters() == std::vector<std::shared_ptr<FilePresenter>>(watchers.begin(), watchers.end());
    };
    QDir(dataPath()).mkpath(QStringLiteral("Lib/Sub"));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/Sub/1.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/Sub/2.wav")));
    auto controller = EntityController::sharedInstance();
    addToCatalog({dataPath("Lib/Sub/1.wav"), dataPath("Lib/Sub/2.wav")});
    ASSERT_EQ(controller->watchers().size(), 1u);
    EXPECT_EQ(controller->watchers()[0]->counter(), 2u);
    EXPECT_EQ(controller->watchers()[0]->path(), dataPath("Lib/Sub"));
    EXPECT_TRUE(presentersAreWatchers());

    auto group = GroupEntity::initWithURL(URL::fileURLWithPath(dataPath("Lib")));
    controller->rootGroup()->insertObjectInEntitiesAtIndex(group, 0);
    ASSERT_EQ(controller->watchers().size(), 1u);
    EXPECT_EQ(controller->watchers()[0]->path(), dataPath("Lib"));
    EXPECT_EQ(controller->watchers()[0]->counter(), 3u);
    EXPECT_TRUE(presentersAreWatchers());

    // A disconnected group no longer counts, also when it goes later.
    group->disconnectFromURL();
    EXPECT_EQ(controller->watchers()[0]->counter(), 2u);
    controller->rootGroup()->removeObjectFromEntitiesAtIndex(0);
    group.reset();
    ASSERT_EQ(controller->watchers().size(), 1u);
    EXPECT_EQ(controller->watchers()[0]->counter(), 2u);

    controller->rootGroup()->removeEntitiesAtIndexes(IndexSet::range(0, 2));
    EXPECT_TRUE(controller->watchers().empty());
    EXPECT_TRUE(FileCoordinator::filePresenters().empty());
}
