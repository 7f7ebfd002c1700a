#pragma once

#include "core/objects/IndexSet.h"
#include "core/objects/Object.h"

#include <QtCore/QVariantMap>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

class Action;
class AudioProcessCommandGroupExecutor;
class AudioProcessCommandGroupFactory;
class RecordableRunner;
class FileEntitySource;
class Timer;

// The one current workflow: its actions in order and its save action. It is
// kept in "Workflow.plist" in the support folder, read when the controller is
// made, written at most every 5 seconds while it changes and always when the
// program quits. run() compiles it into command groups on a background queue
// and hands them to the executor on the main thread.
//
// Any observed change of an action (name, enabled, disclosed, its parameter
// keys) or of the save action, and each insertion or removal, sets
// needsSave; each write clears it. Changes may come from any thread.
class WorkflowController : public Object, private Observer {
    ONDREL_OBJECT(WorkflowController, Object)
public:
    // The default naming the list of file entities a run takes.
    static const QString WorkflowSourceFileEntitiesKey;

    static std::shared_ptr<WorkflowController> sharedInstance();
    // Drops the shared instance without writing; the next sharedInstance()
    // reads the file again, as a new start would.
    static void resetSharedInstance();

    // Where a run gets its entities, its command groups compiled and run.
    // Process-wide; null uninstalls. Without a factory a run logs that no
    // compiler is available.
    static void setFileEntitySource(std::shared_ptr<FileEntitySource> source);
    static void setAudioProcessCommandGroupFactory(std::shared_ptr<AudioProcessCommandGroupFactory> factory);
    static void setAudioProcessCommandGroupExecutor(std::shared_ptr<AudioProcessCommandGroupExecutor> executor);
    // With the default "appleScriptRecordingEnabled" on, runs go through this
    // runner's script text instead of straight to the executor. Without a
    // runner (no scripting available) they go straight to the executor.
    static void setRecordableRunner(std::shared_ptr<RecordableRunner> runner);
    // The installed executor (null when none): commands built outside a run
    // hand their groups to it too.
    static std::shared_ptr<AudioProcessCommandGroupExecutor> audioProcessCommandGroupExecutor();

    WorkflowController();
    ~WorkflowController() override;

    // MARK: Fields

    // True from run() until its groups have been handed on.
    bool isPreparing() const { return m_preparing.load(); }
    bool needsSave() const { return m_needsSave.load(); }
    void setNeedsSave(bool needsSave) { m_needsSave.store(needsSave); }
    // The workflow's own "SaveAction", one for the workflow's life. It is made
    // by class name (the class lives in the actions library, above this one),
    // so it is null only when that class was never registered.
    std::shared_ptr<Action> saveAction() const { return m_saveAction; }
    // Whether `action` is a save action (of class "SaveAction" or a subclass).
    static bool isSaveAction(const Action& action);

    // MARK: Actions

    std::vector<std::shared_ptr<Action>> actions() const;
    qsizetype countOfActions() const;
    std::vector<std::shared_ptr<Action>> enumeratorOfActions() const { return actions(); }
    // Null out of range.
    std::shared_ptr<Action> objectInActionsAtIndex(qsizetype index) const;
    std::vector<std::shared_ptr<Action>> actionsAtIndexes(const IndexSet& indexes) const;
    // -1 when the action isn't in the workflow.
    qsizetype indexOfObjectInActions(const Action* action) const;
    // Inserting past the end appends; null is never inserted.
    void insertObjectInActionsAtIndex(std::shared_ptr<Action> action, qsizetype index);
    // The actions land at the given indexes of the resulting list, in order.
    void insertActionsAtIndexes(const std::vector<std::shared_ptr<Action>>& actions, const IndexSet& indexes);
    // Out of range does nothing.
    void removeObjectFromActionsAtIndex(qsizetype index);
    void removeActionsAtIndexes(const IndexSet& indexes);

    void beginObservingAction(Action* action);
    void endObservingAction(Action* action);

    // MARK: Saving

    // save(false).
    void save() { save(false); }
    // Writes the workflow when it needs saving or when forced, atomically (a
    // temporary file in the same folder renamed over the old one). Write
    // failures are ignored. Does nothing while saving is disabled.
    void save(bool force);
    // Process-wide, on by default. A process that must leave the stored
    // workflow as it is (a command that only reads it, or changes something
    // else) turns saving off before it asks for the controller: no save
    // writes then, forced or not, and needsSave is left as it is.
    static void setSavingEnabled(bool enabled);
    static bool isSavingEnabled();
    // The property list that is written.
    QVariantMap propertyList() const;

    // MARK: Running

    // Compiles the workflow into one group for all enabled actions with the
    // workflow's save action, and one group for each save action in the list
    // with the enabled actions before it, and hands them on in that order.
    // Ignored while a run is preparing. Call on the main thread.
    void run(bool rehearse);

private:
    void init();
    void observeValueForKeyPath(const QString& keyPath, Object* object, const KeyValueChangeInfo& change,
                                void* context) override;
    void setPreparing(bool preparing);
    void compile(bool rehearse);

    mutable std::mutex m_actionsMutex;
    std::vector<std::shared_ptr<Action>> m_actions;
    std::shared_ptr<Action> m_saveAction;
    QVariantMap m_unreadSaveAction;  // kept as read while the class is missing
    std::atomic<bool> m_preparing{false};
    std::atomic<bool> m_needsSave{false};
    std::shared_ptr<Timer> m_saveTimer;
    quint64 m_terminateObserver = 0;
};

} // namespace ondrel
