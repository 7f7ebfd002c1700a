#pragma once

#include "core/objects/IndexSet.h"
#include "core/objects/Object.h"

#include <QtCore/QVariantMap>

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace ondrel {

class URL;

class Action;
class AudioProcessCommandGroup;
class AudioProcessCommandGroupFactory;
class FileEntity;
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
class WorkflowController : public Object {
    ONDREL_OBJECT(WorkflowController, Object)
public:
    // The default naming the list of file entities a run takes.
    static const QString WorkflowSourceFileEntitiesKey;

    static std::shared_ptr<WorkflowController> sharedInstance();
    // Drops the shared instance without writing; the next sharedInstance()
    // reads the file again, as a new start would.
    static void resetSharedInstance();

    WorkflowController();
    ~WorkflowController() override;

    // MARK: Fields

    // True from run() until its groups have been handed on.
    bool isPreparing() const { return m_preparing.load(); }
    bool needsSave() const { return m_needsSave.load(); }
    // Announced when it changes.
    void setNeedsSave(bool needsSave);
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

    // Observes "name", "enabled", "disclosed" and the action's parameter keys;
    // any change of them sets needsSave. Begun again for an action already
    // observed (the same action twice in the list, as while it is moved by
    // inserting it before removing it), it is counted: the action stays
    // observed until it has been ended as often as begun.
    void beginObservingAction(Action* action);
    // Ends one beginObservingAction; nothing for an action not observed.
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
    // The file the shared controller reads the workflow from (and saves it
    // to), when set before the controller is made; empty: "Workflow.plist"
    // in the support folder. For a one-shot run of a workflow file.
    static void setWorkflowFile(const URL& url);
    static bool isSavingEnabled();
    // The property list that is written.
    QVariantMap propertyList() const;

    // MARK: Running

    // Compiles copies of the workflow's actions and save action, as they are
    // at the call, into one group for all enabled actions with the
    // workflow's save action, and one group for each save action in the list
    // with the enabled actions before it, and hands them on in that order.
    // Ignored while a run is preparing. Call on the main thread.
    void run(bool rehearse);
    // The groups a run over `entities` would compile now, compiled at once on
    // the calling thread from copies of the workflow; empty without a
    // compiler. Call where the workflow is edited (the main thread).
    std::vector<std::shared_ptr<AudioProcessCommandGroup>> commandGroups(
        const std::vector<std::shared_ptr<FileEntity>>& entities, bool rehearse) const;

private:
    static std::vector<std::shared_ptr<AudioProcessCommandGroup>> commandGroups(
        const std::vector<std::shared_ptr<FileEntity>>& entities, const std::vector<std::shared_ptr<Action>>& workflow,
        const std::shared_ptr<Action>& saveAction, bool rehearse, AudioProcessCommandGroupFactory& factory);
    // A copy of the action, or the action itself when its class can't be
    // made by name.
    static std::shared_ptr<Action> copyOf(const std::shared_ptr<Action>& action);
    void init();
    void setPreparing(bool preparing);
    void compile(bool rehearse, const std::vector<std::shared_ptr<Action>>& workflow,
                 const std::shared_ptr<Action>& saveAction);

    mutable std::mutex m_actionsMutex;
    std::vector<std::shared_ptr<Action>> m_actions;
    std::shared_ptr<Action> m_saveAction;
    QVariantMap m_unreadSaveAction;  // kept as read while the class is missing
    std::atomic<bool> m_preparing{false};
    std::atomic<bool> m_needsSave{false};
    std::mutex m_observationsMutex;
    struct ActionObservation {
        int count = 0;  // begun less ended
        std::vector<ObservationHandle> handles;
    };
    std::unordered_map<const Action*, ActionObservation> m_actionObservations;
    std::vector<ObservationHandle> m_saveActionObservations;
    std::shared_ptr<Timer> m_saveTimer;
    quint64 m_terminateObserver = 0;
};

} // namespace ondrel
