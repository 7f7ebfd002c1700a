#include "catalog/adding/AddFilesFileProcess.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/FileEntityError.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/splitfiles/SplitFileGrouping.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/storage/UserDefaults.h"
#include "fileprocesses/FileProcessController.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QScopeGuard>
#include <QtCore/QSemaphore>

#include <sys/stat.h>
#include <unistd.h>

using namespace ondrel;

namespace {

using AddFilesTest = CatalogTest;

std::vector<URL> urls(const QStringList& names) {
    std::vector<URL> out;
    for (const QString& name : names)
        out.push_back(URL::fileURLWithPath(QStringLiteral("/lib/") + name));
    return out;
}

QStringList names(const std::vector<URL>& list) {
    QStringList out;
    for (const URL& url : list)
        out << url.lastPathComponent();
    return out;
}

QStringList childNames(const GroupEntity& group) {
    QStringList out;
    for (const auto& child : group.entities())
        out << child->name();
    return out;
}

} // namespace

// Which files make one split file, and in which channel order.
TEST(SplitFileGroupingTest, FilesThatDifferOnlyInAChannelSuffixMakeOneSetInLayoutOrder) {
    struct Case {
        QStringList files;
        QStringList singles;
        QList<QStringList> sets;
    };
    const std::vector<Case> cases = {
        {{"Mix.R.wav", "Mix.L.wav"}, {}, {{"Mix.L.wav", "Mix.R.wav"}}},
        {{"Mix.L.wav", "Mix.R.aif"}, {"Mix.L.wav", "Mix.R.aif"}, {}},
        {{"Mix-L.wav", "Mix.R.wav"}, {"Mix-L.wav", "Mix.R.wav"}, {}},
        {{"Mix.L.wav"}, {"Mix.L.wav"}, {}},
        // A set is taken whole at its first member; files between keep their order.
        {{"T.R.wav", "A.wav", "T.L.wav", "B.L.wav"}, {"A.wav", "B.L.wav"}, {{"T.L.wav", "T.R.wav"}}},
        {{"Call.wav", "Cal.l.wav"}, {"Call.wav", "Cal.l.wav"}, {}},
        {{"S.Rs.wav", "S.C.wav", "S.Lfe.wav", "S.R.wav", "S.Ls.wav", "S.L.wav"},
         {},
         {{"S.L.wav", "S.R.wav", "S.C.wav", "S.Lfe.wav", "S.Ls.wav", "S.Rs.wav"}}},
        // No layout has two left channels: each is a file, and the set is
        // tried as well.
        {{"D.L.wav", "D.l.wav"}, {"D.L.wav", "D.l.wav"}, {{"D.L.wav", "D.l.wav"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.files.join(QLatin1Char(' ')).toStdString());
        SplitFileGrouping::Result result;
        ASSERT_TRUE(SplitFileGrouping::groupURLs(urls(c.files), result));
        EXPECT_EQ(names(result.singles), c.singles);
        QList<QStringList> sets;
        for (const auto& set : result.sets)
            sets << names(set);
        EXPECT_EQ(sets, c.sets);
    }
}

// Members that can't make one file refuse the set with their code.
TEST_F(AddFilesTest, MismatchedMembersRefuseTheSplitFile) {
    struct Case {
        const char* name;
        int rightChannels;
        qint64 rightFrames;
        int rightRate;
        int rightBits;
        qint64 code;
    };
    const std::vector<Case> cases = {
        {"stereo member", 2, 4800, 48000, 16, 1},
        {"length", 1, 4801, 48000, 16, 4},
        {"bit depth", 1, 4800, 48000, 24, 5},
        {"sample rate", 1, 4800, 44100, 16, 6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(writeTestWav(dataPath("T.L.wav")));
        ASSERT_TRUE(writeTestWav(dataPath("T.R.wav"), c.rightChannels, c.rightFrames, c.rightRate, c.rightBits));
        VMKError error;
        auto entity = FileEntity::initWithURLs({URL::fileURLWithPath(dataPath("T.L.wav")), URL::fileURLWithPath(dataPath("T.R.wav"))},
                                               &error);
        EXPECT_FALSE(entity);
        EXPECT_TRUE(error.isKindOf(QStringLiteral("FileEntityError")));
        EXPECT_EQ(error.code(), c.code);
        EXPECT_EQ(error.action(), QStringLiteral("Loading the split file"));
    }
}

// A folder tree goes in as groups: hidden files stay out, a split pair is
// one two-channel entity named without its suffix, a text file is refused
// alone (its group kept), an empty folder is an empty group that a search
// finds by its name, and a file added again is skipped.
TEST_F(AddFilesTest, AFolderTreeBecomesGroupsAndEachBadItemCostsOnlyItself) {
    QDir(dataPath()).mkpath(QStringLiteral("Lib/Empty"));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/Mix.R.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/Mix.L.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/.hidden.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("Lib/tone.wav"), 2));
    QFile notes(dataPath("Lib/notes.txt"));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly) && notes.write("not audio") > 0);
    notes.close();

    auto process = addToCatalog({dataPath("Lib")});
    ASSERT_TRUE(process);
    EXPECT_EQ(process->fileCount(), 5u);  // hidden ones are counted, then skipped
    auto root = EntityController::sharedInstance()->rootGroup();
    ASSERT_EQ(root->countOfEntities(), 1);
    auto lib = std::dynamic_pointer_cast<GroupEntity>(root->objectInEntitiesAtIndex(0));
    ASSERT_TRUE(lib);
    EXPECT_EQ(childNames(*lib), (QStringList{"Empty", "tone.wav", "Mix.wav"}));
    auto mix = std::dynamic_pointer_cast<FileEntity>(lib->objectInEntitiesAtIndex(2));
    EXPECT_EQ(mix->channels(), 2u);
    EXPECT_EQ(mix->channelSuffixDelimiter(), QStringLiteral("."));
    EXPECT_EQ(names(mix->URLs()), (QStringList{"Mix.L.wav", "Mix.R.wav"}));
    EXPECT_EQ(process->outcome().refused.size(), 1);
    EXPECT_TRUE(process->outcome().refused.value(0).startsWith(dataPath("Lib/notes.txt") + QStringLiteral(": ")));
    // Groups with something to show come first; a search shows the empty
    // group by its name alone.
    EXPECT_EQ(lib->countOfDisplayedEntities(), 3);
    UserDefaults::standardUserDefaults()->setObjectForKey(QStringLiteral("EMPTY"), QStringLiteral("entitiesSearchString"));
    EXPECT_EQ(root->countOfDisplayedEntities(), 1);
    EXPECT_EQ(lib->countOfDisplayedEntities(), 1);

    auto again = addToCatalog({dataPath("Lib/tone.wav")});
    EXPECT_EQ(again->outcome().skipped, QStringList{dataPath("Lib/tone.wav")});
    EXPECT_EQ(again->fileCount(), 1u);
    EXPECT_EQ(EntityController::sharedInstance()->allFileEntities().size(), 2u);
}

// Things that are no audio file never block the walk or cost their
// neighbours, even one that vanishes while being added: each is refused once,
// by its path.
TEST_F(AddFilesTest, UnreadableAndStrangeItemsAreRefusedOneByOne) {
    QDir data(dataPath());
    data.mkpath(QStringLiteral("Bad/A"));
    data.mkpath(QStringLiteral("Bad/B"));
    ASSERT_TRUE(writeTestWav(dataPath("Bad/good.wav")));
    QFile::link(dataPath("Bad/B"), dataPath("Bad/A/toB"));
    QFile::link(dataPath("Bad/A"), dataPath("Bad/B/toA"));
    QFile::link(dataPath("Bad/nowhere.wav"), dataPath("Bad/dangling.wav"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(dataPath("Bad/pipe.wav")).constData(), 0600), 0);
    QFile(dataPath("Bad/empty.wav")).open(QIODevice::WriteOnly);
    QFile truncated(dataPath("Bad/truncated.wav"));
    ASSERT_TRUE(writeTestWav(dataPath("Bad/truncated.wav")));
    ASSERT_TRUE(truncated.resize(20));
    ASSERT_TRUE(writeTestWav(dataPath("Bad/locked.wav")));
    QFile::setPermissions(dataPath("Bad/locked.wav"), {});
    ASSERT_TRUE(writeTestWav(dataPath("Bad/vanishing.wav")));
    const bool root = ::geteuid() == 0;

    auto command = std::make_shared<AddFilesFileProcessCommand>();
    command->setItems({QVariant::fromValue(URL::fileURLWithPath(dataPath("Bad")))});
    auto process = std::dynamic_pointer_cast<AddFilesFileProcess>(FileProcess::fileProcessForFileProcessCommand(command));
    ASSERT_TRUE(process);
    // A file vanishes after it was listed and before it is read.
    auto vanish = process->observe(QStringLiteral("progress"), 0, [&](const KeyValueChangeInfo&) {
        QFile::remove(dataPath("Bad/vanishing.wav"));
    });
    process->execute();
    ASSERT_TRUE(spinUntil([&] { return !process->isProcessing(); }));
    const auto outcome = process->outcome();
    QStringList refused;
    for (const QString& line : outcome.refused)
        refused << line.section(QStringLiteral(": "), 0, 0).section(QLatin1Char('/'), -1);
    refused.sort();
    // The loop is walked once: through A's link to B, so the link back to A
    // and the folder B itself (already walked) are refused.
    QStringList expected{"B", "dangling.wav", "empty.wav", "pipe.wav", "toA", "truncated.wav", "vanishing.wav"};
    if (!root)
        expected << "locked.wav";
    expected.sort();
    EXPECT_EQ(refused, expected);
    EXPECT_TRUE(outcome.added.contains(dataPath("Bad/good.wav")));
}

// Once an add reports its end, it holds none of the new entities: a file
// deleted at that moment goes at once, while the adding thread is still
// in its last step (held there by an observer of the end).
TEST_F(AddFilesTest, AnAddThatHasEndedHoldsNoneOfItsEntities) {
    ASSERT_TRUE(writeTestWav(dataPath("e1.wav")));
    ASSERT_TRUE(writeTestWav(dataPath("e2.wav")));
    auto root = EntityController::sharedInstance()->rootGroup();
    auto command = std::make_shared<AddFilesFileProcessCommand>();
    command->setItems({QVariant::fromValue(URL::fileURLWithPath(dataPath("e1.wav"))),
                       QVariant::fromValue(URL::fileURLWithPath(dataPath("e2.wav")))});
    auto process = std::dynamic_pointer_cast<AddFilesFileProcess>(FileProcess::fileProcessForFileProcessCommand(command));
    ASSERT_TRUE(process);
    auto ended = std::make_shared<QSemaphore>();
    auto goOn = std::make_shared<QSemaphore>();
    auto observation = process->observe(QStringLiteral("processing"), 0,
                                        [ended, goOn, adding = process.get()](const KeyValueChangeInfo&) {
        if (!isMainThread() && !adding->isProcessing()) {
            ended->release();
            goOn->acquire();
        }
    });
    const auto letItGoOn = qScopeGuard([goOn] { goOn->release(); });
    process->execute();
    ASSERT_TRUE(spinUntil([&] { return root->countOfEntities() == 2 && ended->available() == 1; }));
    std::weak_ptr<Entity> deleted = root->objectInEntitiesAtIndex(0);
    root->removeObjectFromEntitiesAtIndex(0);
    EXPECT_TRUE(deleted.expired());
}

// Stopping while the walk runs puts nothing in the tree, and what was made
// leaves the catalog file. The stopped process lets go of its group, which a
// later delete then removes for good.
TEST_F(AddFilesTest, StoppingInsertsNothingAndLetsTheGroupGo) {
    QStringList paths;
    for (int i = 0; i < 200; ++i) {
        paths << dataPath(QStringLiteral("s%1.wav").arg(i));
        ASSERT_TRUE(writeTestWav(paths.last()));
    }
    auto controller = EntityController::sharedInstance();
    auto group = GroupEntity::init();
    controller->rootGroup()->insertObjectInEntitiesAtIndex(group, 0);
    std::shared_ptr<AddFilesFileProcess> process;
    auto observation = std::make_shared<ObservationHandle>();
    auto command = std::make_shared<AddFilesFileProcessCommand>();
    QVariantList items;
    for (const QString& path : paths)
        items << QVariant::fromValue(URL::fileURLWithPath(path));
    command->setItems(items);
    command->setGroup(group);
    process = std::dynamic_pointer_cast<AddFilesFileProcess>(FileProcess::fileProcessForFileProcessCommand(command));
    ASSERT_TRUE(process);
    // Stopped from the walk itself once ten files are made, so the stop
    // lands in the middle every time.
    *observation = process->observe(QStringLiteral("progress"), 0, [&](const KeyValueChangeInfo&) {
        if (process->progressCount() >= 10)
            process->stop();
    });
    process->execute();
    ASSERT_TRUE(spinUntil([&] { return !process->isProcessing(); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(group->countOfEntities(), 0);
    command.reset();
    std::weak_ptr<GroupEntity> deleted = group;
    group.reset();
    controller->rootGroup()->removeObjectFromEntitiesAtIndex(0);
    EXPECT_TRUE(deleted.expired());
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileEntity")).toInt(), 0);
    EXPECT_EQ(catalogValue(QStringLiteral("SELECT COUNT(*) FROM GroupEntity")).toInt(), 0);
}
