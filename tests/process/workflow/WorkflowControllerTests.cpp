#include "actions/save/SaveAction.h"
#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/files/Bookmark.h"
#include "core/files/URL.h"
#include "core/storage/PropertyList.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/interfaces/AudioProcessCommandGroupFactory.h"
#include "process/interfaces/FileEntitySource.h"
#include "process/interfaces/RecordableRunner.h"
#include "process/workflow/WorkflowController.h"
#include "tests/support/TestSupport.h"
#include "tests/support/process/InstalledInterfaces.h"
#include "tests/support/process/RecordingExecutor.h"
#include "catalog/entities/FileEntity.h"
#include "tests/support/process/TestFileEntities.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>

namespace ondrel {

namespace {

// An action with a number and a text parameter.
class GainTestAction : public Action {
    ONDREL_OBJECT(GainTestAction, Action)
public:
    QStringList parameterKeys() const override { return {"gain", "label"}; }
    double gain() const { return m_gain; }
    void setGain(double gain) { setAndNotify("gain", m_gain, gain); }
    QString label() const { return m_label; }
    void setLabel(const QString& label) { setAndNotify("label", m_label, label); }

private:
    double m_gain = 1.5;
    QString m_label = "unset";
};

const ClassInfo& GainTestAction::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<GainTestAction, Action>("GainTestAction")
                                       .property("gain", &GainTestAction::gain, &GainTestAction::setGain)
                                       .property("label", &GainTestAction::label, &GainTestAction::setLabel);
    return info;
}

template <class T>
std::shared_ptr<T> named(const QString& name, bool enabled = true) {
    auto action = std::make_shared<T>();
    action->setName(name);
    action->setEnabled(enabled);
    return action;
}
auto gainAction(const QString& name, bool enabled = true) { return named<GainTestAction>(name, enabled); }
auto saveAction(const QString& name, bool enabled = true) { return named<SaveAction>(name, enabled); }

std::shared_ptr<SaveAction> saveActionOf(const std::shared_ptr<WorkflowController>& controller) {
    return std::dynamic_pointer_cast<SaveAction>(controller->saveAction());
}

// What one compile was given.
struct CompiledGroup {
    QStringList actionNames;
    std::shared_ptr<Action> saveAction;
    size_t entityCount = 0;
};

// Compiles a group whose name lists the actions it was given; can hold the
// compile until released.
class RecordingFactory : public AudioProcessCommandGroupFactory {
public:
    std::shared_ptr<AudioProcessCommandGroup> initWithEntities(const std::vector<std::shared_ptr<FileEntity>>& entities,
                                                               const std::vector<std::shared_ptr<Action>>& actions,
                                                               const std::shared_ptr<Action>& save) override {
        std::unique_lock lock(m_mutex);
        CompiledGroup compiled{{}, save, entities.size()};
        for (const auto& action : actions)
            compiled.actionNames << action->name().value_or(QString());
        m_compiled.push_back(compiled);
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_holding; });
        auto group = std::make_shared<AudioProcessCommandGroup>();
        group->setName(compiled.actionNames.join(QLatin1Char(',')));
        return group;
    }

    void hold() {
        std::lock_guard lock(m_mutex);
        m_holding = true;
    }
    void release() {
        std::lock_guard lock(m_mutex);
        m_holding = false;
        m_changed.notify_all();
    }
    std::vector<CompiledGroup> compiled() {
        std::lock_guard lock(m_mutex);
        return m_compiled;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_holding = false;
    std::vector<CompiledGroup> m_compiled;
};

class ListSource : public FileEntitySource {
public:
    std::vector<std::shared_ptr<FileEntity>> entities;
    QStringList askedKeys;
    std::vector<std::shared_ptr<FileEntity>> fileEntitiesForKey(const QString& key) override {
        askedKeys << key;
        return key == QLatin1String("allFileEntities") ? entities
                                                       : std::vector<std::shared_ptr<FileEntity>>{entities[0]};
    }
};

class WorkflowControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        GainTestAction::staticClassInfo();
        UserDefaults::resetStandardUserDefaults();
        LogController::resetSharedInstance();
        WorkflowController::resetSharedInstance();
    }

    void TearDown() override {
        if (auto controller = WorkflowController::sharedInstance(); controller->isPreparing()) {
            factory->release();
            spinUntil([&] { return !controller->isPreparing(); });
        }
        WorkflowController::resetSharedInstance();
        LogController::resetSharedInstance();
        UserDefaults::resetStandardUserDefaults();
    }

    QString workflowPath() const { return home.filePath("Workflow.plist"); }

    void writeWorkflowFile(const QByteArray& body) {
        QFile file(workflowPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n");
        file.write(body);
        file.write("\n</plist>\n");
    }

    QVariantMap readWorkflowFile() const { return PropertyList::readFromFile(workflowPath()).toMap(); }

    // The names of the groups handed on by one run.
    QStringList runAndCollect(bool rehearse = false) {
        ProcessInterfaces::setAudioProcessCommandGroupFactory(factory);
        ProcessInterfaces::setAudioProcessCommandGroupExecutor(executor);
        auto controller = WorkflowController::sharedInstance();
        executor->groups.clear();
        controller->run(rehearse);
        EXPECT_TRUE(spinUntil([&] { return !controller->isPreparing(); }));
        QStringList names;
        for (const auto& group : executor->groups) {
            names << group->name().value_or(QString());
            EXPECT_EQ(group->rehearse(), rehearse);
        }
        return names;
    }

    std::vector<QString> loggedMessages(unsigned level) {
        auto log = LogController::sharedInstance();
        log->write();
        std::vector<QString> messages;
        log->executeStatement(QString("SELECT message FROM Log WHERE level = %1 ORDER BY logID").arg(level), nullptr,
                              [&](VMKDatabaseQuery& query) {
                                  while (query.evaluateNextRow())
                                      messages.push_back(query.stringValueAtColumn(0));
                              });
        return messages;
    }

    TemporaryHome home;
    InstalledInterfaces interfaces;
    std::shared_ptr<RecordingFactory> factory = std::make_shared<RecordingFactory>();
    std::shared_ptr<RecordingExecutor> executor = std::make_shared<RecordingExecutor>();
};

// MARK: - Loading

TEST_F(WorkflowControllerTest, MissingOrBrokenFileGivesAnEmptyWorkflow) {
    auto controller = WorkflowController::sharedInstance();
    EXPECT_EQ(controller->countOfActions(), 0);
    ASSERT_NE(controller->saveAction(), nullptr);

    WorkflowController::resetSharedInstance();
    QFile file(workflowPath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("<plist><dict><key>actions</key><array><dict>");  // cut short
    file.close();
    EXPECT_EQ(WorkflowController::sharedInstance()->countOfActions(), 0);
}

// An unknown class, or one that is no action, loses only its own entry. A
// stored action lacking "enabled" and "disclosed" once kept the class's
// defaults (enabled, open) instead of reading them as false.
TEST_F(WorkflowControllerTest, UnknownClassLosesOnlyThatActionWithAWarning) {
    writeWorkflowFile(R"(<dict><key>actions</key><array>
      <dict><key>className</key><string>RetiredReverbAction</string>
        <key>parameters</key><dict><key>room</key><real>0.5</real></dict></dict>
      <dict><key>className</key><string>GainTestAction</string>
        <key>parameters</key><dict><key>gain</key><real>-6.5</real><key>retired</key><string>x</string></dict></dict>
      <dict><key>className</key><string>AudioProcessCommandGroup</string></dict>
    </array><key>saveAction</key><dict><key>destinationBookmark</key><data></data></dict></dict>)");
    auto controller = WorkflowController::sharedInstance();
    ASSERT_EQ(controller->countOfActions(), 1);
    auto action = std::dynamic_pointer_cast<GainTestAction>(controller->objectInActionsAtIndex(0));
    ASSERT_NE(action, nullptr);
    EXPECT_FALSE(action->isEnabled());
    EXPECT_FALSE(action->isDisclosed());
    EXPECT_DOUBLE_EQ(action->gain(), -6.5);
    EXPECT_EQ(action->label(), "unset") << "a missing key keeps the default";
    EXPECT_FALSE(controller->needsSave());

    EXPECT_TRUE(saveActionOf(controller)->destinationBookmark().isEmpty()) << "empty data means next to the source";

    const auto warnings = loggedMessages(LogController::Warning);
    ASSERT_EQ(warnings.size(), 2u) << "a class that is no action counts as missing too";
    EXPECT_EQ(warnings[0], VMKLocalizedString("WorkflowController_log_warning_missing").arg("RetiredReverbAction"));
    EXPECT_TRUE(warnings[1].contains("AudioProcessCommandGroup"));
}

TEST_F(WorkflowControllerTest, SaveActionRepairsAGoneOrMovedDestination) {
    SaveAction save;

    // A folder that goes away falls back to the default folder.
    const URL gone = URL::fileURLWithPath(home.filePath("gone"));
    ASSERT_TRUE(gone.createDirectory());
    const QByteArray goneBookmark = Bookmark::bookmarkData(gone);
    ASSERT_TRUE(gone.deleteItem());
    save.setDestinationBookmark(goneBookmark);
    EXPECT_EQ(Bookmark::URLByResolvingBookmarkData(save.destinationBookmark(), nullptr), URL::ondrelDirectory());

    // A moved folder is followed, and the data made anew.
    const URL before = URL::fileURLWithPath(home.filePath("before"));
    ASSERT_TRUE(before.createDirectory());
    const QByteArray beforeBookmark = Bookmark::bookmarkData(before);
    const URL after = URL::fileURLWithPath(home.filePath("after"));
    ASSERT_TRUE(QFile::rename(before.path(), after.path()));
    save.setDestinationBookmark(beforeBookmark);
    bool stale = true;
    EXPECT_EQ(Bookmark::URLByResolvingBookmarkData(save.destinationBookmark(), &stale), after);
    EXPECT_FALSE(stale);
}

// MARK: - Saving

TEST_F(WorkflowControllerTest, WorkflowSurvivesARestart) {
    auto controller = WorkflowController::sharedInstance();
    auto first = gainAction("First");
    first->setGain(3.25);
    first->setIdentifier("gainTest");
    controller->insertObjectInActionsAtIndex(first, 0);
    controller->insertObjectInActionsAtIndex(saveAction("Midway", false), 1);
    controller->insertObjectInActionsAtIndex(gainAction("Last"), 7);
    saveActionOf(controller)->setFilenameComponents({"[F]", "[C]1:1"});
    saveActionOf(controller)->setPreserveHierarchy(true);
    controller->save();

    WorkflowController::resetSharedInstance();
    controller = WorkflowController::sharedInstance();
    ASSERT_EQ(controller->countOfActions(), 3);
    auto loaded = std::dynamic_pointer_cast<GainTestAction>(controller->objectInActionsAtIndex(0));
    ASSERT_NE(loaded, nullptr);
    EXPECT_NE(loaded, first);
    EXPECT_DOUBLE_EQ(loaded->gain(), 3.25);
    EXPECT_EQ(loaded->identifier(), "gainTest");
    auto midway = std::dynamic_pointer_cast<SaveAction>(controller->objectInActionsAtIndex(1));
    ASSERT_NE(midway, nullptr);
    EXPECT_FALSE(midway->isEnabled());
    EXPECT_EQ(controller->objectInActionsAtIndex(2)->name(), "Last");
    EXPECT_EQ(saveActionOf(controller)->filenameComponents(), (QStringList{"[F]", "[C]1:1"}));
    EXPECT_TRUE(saveActionOf(controller)->preserveHierarchy());

    // The stored form: absent names are left out.
    const QVariantMap stored = readWorkflowFile();
    const QVariantMap third = stored.value("actions").toList().value(2).toMap();
    EXPECT_EQ(third.value("className").toString(), "GainTestAction");
    EXPECT_FALSE(third.contains("identifier"));
    EXPECT_EQ(third.value("parameters").toMap().value("label").toString(), "unset");
    EXPECT_TRUE(stored.value("saveAction").toMap().contains("destinationBookmark"));
}

TEST_F(WorkflowControllerTest, ObservedChangesSetNeedsSaveAndOthersDoNot) {
    auto controller = WorkflowController::sharedInstance();
    auto action = gainAction("A");
    controller->insertObjectInActionsAtIndex(action, 0);
    EXPECT_TRUE(controller->needsSave()) << "an insertion";

    const std::vector<std::function<void()>> observed = {
        [&] { action->setName("B"); },
        [&] { action->setEnabled(false); },
        [&] { action->setDisclosed(false); },
        [&] { action->setGain(2.0); },
        [&] { action->setLabel("x"); },
        [&] { saveActionOf(controller)->setAddResults(true); },
        [&] { saveActionOf(controller)->setDestinationBookmark(QByteArray()); },
        [&] { std::thread([&] { action->setGain(4.0); }).join(); },
    };
    for (size_t i = 0; i < observed.size(); ++i) {
        controller->setNeedsSave(false);
        observed[i]();
        EXPECT_TRUE(controller->needsSave()) << "change " << i;
    }

    controller->setNeedsSave(false);
    action->setIdentifier("notObserved");
    saveActionOf(controller)->setName("not a parameter of the save action");
    EXPECT_FALSE(controller->needsSave());

    controller->removeObjectFromActionsAtIndex(0);
    EXPECT_TRUE(controller->needsSave()) << "a removal";
    controller->setNeedsSave(false);
    action->setGain(9.0);
    action->setName("gone");
    EXPECT_FALSE(controller->needsSave()) << "a removed action is no longer observed";

    // A workflow that goes leaves nothing observing the actions it held.
    controller->insertObjectInActionsAtIndex(action, 0);
    controller.reset();
    WorkflowController::resetSharedInstance();
    EXPECT_FALSE(action->hasObservers());
}

// A move made by inserting the action at its new place before removing it
// from the old one used to end its only observation: the action stayed in
// the workflow, but its later changes never set needsSave.
TEST_F(WorkflowControllerTest, ActionMovedByInsertingFirstStaysObserved) {
    auto controller = WorkflowController::sharedInstance();
    auto a = gainAction("A");
    controller->insertActionsAtIndexes({a, gainAction("B")}, IndexSet{0, 1});
    controller->insertObjectInActionsAtIndex(a, 2);
    controller->removeObjectFromActionsAtIndex(0);
    ASSERT_EQ(controller->indexOfObjectInActions(a.get()), 1);

    controller->setNeedsSave(false);
    a->setGain(-3.0);
    EXPECT_TRUE(controller->needsSave());

    controller->removeObjectFromActionsAtIndex(1);
    controller->setNeedsSave(false);
    a->setGain(-4.0);
    EXPECT_FALSE(controller->needsSave()) << "gone from the workflow, no longer observed";
}

TEST_F(WorkflowControllerTest, SavingWithoutChangeWritesNothingUnlessForced) {
    auto controller = WorkflowController::sharedInstance();
    controller->save();
    EXPECT_FALSE(QFileInfo::exists(workflowPath()));

    controller->save(true);
    EXPECT_TRUE(QFileInfo::exists(workflowPath()));
    EXPECT_TRUE(readWorkflowFile().value("actions").toList().isEmpty());

    ASSERT_TRUE(QFile::remove(workflowPath()));
    saveActionOf(controller)->setReplaceOriginal(true);
    controller->save();
    EXPECT_TRUE(readWorkflowFile().value("saveAction").toMap().value("replaceOriginal").toBool());
    ASSERT_TRUE(QFile::remove(workflowPath()));
    controller->save();
    EXPECT_FALSE(QFileInfo::exists(workflowPath())) << "the write cleared needsSave";
}

// A write that fails (here: a folder where the file goes) must not mark the
// changes as saved, or the next save and the one at quit skip them.
TEST_F(WorkflowControllerTest, AFailedWriteKeepsTheChangesToSave) {
    auto controller = WorkflowController::sharedInstance();
    ASSERT_TRUE(QDir().mkpath(workflowPath()));
    saveActionOf(controller)->setReplaceOriginal(true);
    controller->save();
    EXPECT_TRUE(controller->needsSave());

    ASSERT_TRUE(QDir(workflowPath()).removeRecursively());
    controller->save();
    EXPECT_TRUE(readWorkflowFile().value("saveAction").toMap().value("replaceOriginal").toBool());
    EXPECT_FALSE(controller->needsSave());
}

TEST_F(WorkflowControllerTest, TimerWritesChangesWithinFiveSeconds) {
    auto controller = WorkflowController::sharedInstance();
    controller->insertObjectInActionsAtIndex(gainAction("Timed"), 0);
    ASSERT_FALSE(QFileInfo::exists(workflowPath()));
    ASSERT_TRUE(spinUntil([&] { return QFileInfo::exists(workflowPath()); }, 8000));
    EXPECT_FALSE(controller->needsSave());
    EXPECT_EQ(readWorkflowFile().value("actions").toList().size(), 1);
}

// The delegate's forced save is the one write at quitting; the notification
// after it writes only what changed since.
TEST_F(WorkflowControllerTest, QuittingWritesTheFileOnce) {
    auto controller = WorkflowController::sharedInstance();
    controller->save(true);
    ASSERT_TRUE(QFile::remove(workflowPath()));
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    EXPECT_FALSE(QFileInfo::exists(workflowPath())) << "written twice at one quit";

    auto action = gainAction("Q");
    controller->insertObjectInActionsAtIndex(action, 0);
    action->setGain(-1.0);
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    const QVariantList actions = readWorkflowFile().value("actions").toList();
    ASSERT_EQ(actions.size(), 1);
    EXPECT_DOUBLE_EQ(actions[0].toMap().value("parameters").toMap().value("gain").toDouble(), -1.0);
}

// MARK: - The list

TEST_F(WorkflowControllerTest, CollectionOperationsAnnounceInsertionsAndRemovals) {
    auto controller = WorkflowController::sharedInstance();
    std::vector<KeyValueChangeInfo> changes;
    auto observation = controller->observe("actions", KeyValueObservingOptionNew | KeyValueObservingOptionOld,
                                           [&](const KeyValueChangeInfo& change) { changes.push_back(change); });

    auto a = gainAction("A"), b = gainAction("B"), c = gainAction("C"), d = gainAction("D");
    controller->insertObjectInActionsAtIndex(b, 0);
    controller->insertActionsAtIndexes({a, c, d}, IndexSet{0, 2, 3});
    ASSERT_EQ(controller->countOfActions(), 4);
    auto names = [&] {
        QStringList list;
        for (const auto& action : controller->actions())
            list << action->name().value_or(QString());
        return list;
    };
    EXPECT_EQ(names(), (QStringList{"A", "B", "C", "D"}));
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1].kind, KeyValueChange::Insertion);
    EXPECT_EQ(changes[1].indexes, (IndexSet{0, 2, 3}));
    EXPECT_EQ(changes[1].newValue.toList().size(), 3);

    EXPECT_EQ(controller->indexOfObjectInActions(c.get()), 2);
    EXPECT_EQ(controller->indexOfObjectInActions(gainAction("other").get()), -1);
    EXPECT_EQ(controller->objectInActionsAtIndex(4), nullptr);
    EXPECT_EQ(controller->actionsAtIndexes(IndexSet{1, 3, 9}), (std::vector<std::shared_ptr<Action>>{b, d}));

    controller->removeActionsAtIndexes(IndexSet{0, 2, 17});
    EXPECT_EQ(names(), (QStringList{"B", "D"}));
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(changes[2].kind, KeyValueChange::Removal);
    EXPECT_EQ(changes[2].indexes, (IndexSet{0, 2}));
    EXPECT_EQ(changes[2].oldValue.toList().size(), 2);

    controller->removeObjectFromActionsAtIndex(5);
    controller->insertObjectInActionsAtIndex(nullptr, 0);
    EXPECT_EQ(changes.size(), 3u) << "nothing to announce";
}

TEST_F(WorkflowControllerTest, PasteboardFormFindsTheActionInTheCurrentWorkflow) {
    auto controller = WorkflowController::sharedInstance();
    auto a = gainAction("A"), b = gainAction("B");
    controller->insertActionsAtIndexes({a, b}, IndexSet{0, 1});
    const QVariant form = b->pasteboardPropertyListForType(Action::actionIndexPasteboardType());
    EXPECT_EQ(form.toMap().value("index").toULongLong(), 1u);
    EXPECT_EQ(Action::initWithPasteboardPropertyList(form, Action::actionIndexPasteboardType()), b);
    EXPECT_FALSE(gainAction("outside")->pasteboardPropertyListForType(Action::actionIndexPasteboardType()).isValid());
}

// MARK: - Running

// Which actions each group of a run takes, and which save action writes it:
// "-" marks a disabled action, "S" a save action in the list.
TEST_F(WorkflowControllerTest, RunCompilesTheWholeWorkflowThenOneGroupPerSaveAction) {
    struct Row {
        QStringList workflow;
        QStringList groups;
    };
    const Row rows[] = {
        {{}, {""}},  // the workflow's save action alone
        {{"A", "S1", "B"}, {"A,B", "A"}},
        {{"A", "-off", "-S1", "B", "S2", "C"}, {"A,B,C", "A", "A,B"}},  // a disabled save action still writes
    };
    for (const Row& row : rows) {
        WorkflowController::resetSharedInstance();
        factory = std::make_shared<RecordingFactory>();
        auto controller = WorkflowController::sharedInstance();
        std::vector<std::shared_ptr<Action>> saves{controller->saveAction()};
        for (QString name : row.workflow) {
            const bool enabled = !name.startsWith('-');
            name.remove('-');
            std::shared_ptr<Action> action;
            if (name.startsWith('S'))
                saves.push_back(action = saveAction(name, enabled));
            else
                action = gainAction(name, enabled);
            controller->insertObjectInActionsAtIndex(action, controller->countOfActions());
        }
        EXPECT_EQ(runAndCollect(true), row.groups) << qPrintable(row.workflow.join(' '));
        const auto compiled = factory->compiled();
        ASSERT_EQ(compiled.size(), saves.size());
        // Each group is compiled from a copy taken when run() was called, so
        // the interface may go on editing the workflow meanwhile.
        for (size_t i = 0; i < saves.size(); ++i) {
            ASSERT_TRUE(compiled[i].saveAction) << i;
            EXPECT_NE(compiled[i].saveAction, saves[i]) << i;
            EXPECT_EQ(compiled[i].saveAction->className(), saves[i]->className()) << i;
            EXPECT_EQ(compiled[i].saveAction->parameterValues(), saves[i]->parameterValues()) << i;
        }
    }
}

TEST_F(WorkflowControllerTest, RunTakesTheEntitiesOfTheNamedList) {
    auto source = std::make_shared<ListSource>();
    source->entities = {testFileEntity(1.0), testFileEntity(2.0)};
    ProcessInterfaces::setFileEntitySource(source);
    runAndCollect();
    UserDefaults::standardUserDefaults()->setObjectForKey("selectedFileEntities",
                                                          WorkflowController::WorkflowSourceFileEntitiesKey);
    runAndCollect();
    EXPECT_EQ(source->askedKeys, (QStringList{"allFileEntities", "selectedFileEntities"}));
    const auto compiled = factory->compiled();
    ASSERT_EQ(compiled.size(), 2u);
    EXPECT_EQ(compiled[0].entityCount, 2u);
    EXPECT_EQ(compiled[1].entityCount, 1u);
}

TEST_F(WorkflowControllerTest, SecondRunWhileCompilingIsIgnored) {
    ProcessInterfaces::setAudioProcessCommandGroupFactory(factory);
    ProcessInterfaces::setAudioProcessCommandGroupExecutor(executor);
    auto controller = WorkflowController::sharedInstance();
    std::vector<bool> preparingChanges;
    auto observation = controller->observe(
        "preparing", 0, [&](const KeyValueChangeInfo&) { preparingChanges.push_back(controller->isPreparing()); });

    factory->hold();
    controller->run(false);
    EXPECT_TRUE(controller->isPreparing());
    ASSERT_TRUE(spinUntil([&] { return factory->compiled().size() == 1; }));
    controller->run(true);
    spinFor(100);
    EXPECT_EQ(factory->compiled().size(), 1u);
    EXPECT_TRUE(executor->groups.empty());

    factory->release();
    ASSERT_TRUE(spinUntil([&] { return !controller->isPreparing(); }));
    ASSERT_EQ(executor->groups.size(), 1u);
    EXPECT_FALSE(executor->groups[0]->rehearse());
    EXPECT_EQ(preparingChanges, (std::vector<bool>{true, false}));

    EXPECT_EQ(runAndCollect(), (QStringList{""})) << "a later run goes ahead";
}

TEST_F(WorkflowControllerTest, RunWithoutACompilerIsLogged) {
    auto controller = WorkflowController::sharedInstance();
    controller->run(false);
    ASSERT_TRUE(spinUntil([&] { return !controller->isPreparing(); }));
    const auto errors = loggedMessages(LogController::Error);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], VMKLocalizedString("WorkflowController_log_error_noCompiler"));
}

class RecordingRunner : public RecordableRunner {
public:
    bool runAudioProcessCommandGroupsAsScript(const std::vector<std::shared_ptr<AudioProcessCommandGroup>>& groups,
                                              VMKError* error) override {
        for (const auto& group : groups)
            names << group->name().value_or(QString());
        if (fail)
            VMKError::set(error, VMKError::errorWithCode(7, QStringLiteral("Running the script"), QStringLiteral("stopped")));
        return !fail;
    }
    QStringList names;
    bool fail = false;
};

TEST_F(WorkflowControllerTest, RecordingSendsTheRunThroughScriptTextAndLogsItsFailure) {
    auto runner = std::make_shared<RecordingRunner>();
    ProcessInterfaces::setRecordableRunner(runner);
    auto controller = WorkflowController::sharedInstance();
    controller->insertActionsAtIndexes({gainAction("A"), saveAction("S1")}, IndexSet{0, 1});

    // Off by default: straight to the executor.
    EXPECT_EQ(runAndCollect(), (QStringList{"A", "A"}));
    EXPECT_TRUE(runner->names.isEmpty());

    UserDefaults::standardUserDefaults()->setBoolForKey(true, QStringLiteral("appleScriptRecordingEnabled"));
    EXPECT_TRUE(runAndCollect().isEmpty()) << "a recorded run reaches the executor only through its script";
    EXPECT_EQ(runner->names, (QStringList{"A", "A"}));
    EXPECT_TRUE(loggedMessages(LogController::Error).empty());

    runner->fail = true;
    runAndCollect();
    const auto errors = loggedMessages(LogController::Error);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(errors[0].contains(QStringLiteral("stopped")));
}

} // namespace

} // namespace ondrel
