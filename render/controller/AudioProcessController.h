#pragma once

#include "core/objects/ProcessingList.h"

#include "core/objects/IndexSet.h"
#include "core/objects/Object.h"
#include "process/interfaces/AudioProcessCommandGroupExecutor.h"

#include <functional>
#include <memory>
#include <vector>

namespace ondrel {

class AudioProcessGroup;
class DispatchQueue;
class Predicate;
class VMKDatabaseController;
class VMKDatabaseQuery;

// The one owner of render runs. Each compiled command group becomes an
// AudioProcessGroup, appended to the observable list "audioProcessGroups"
// and executed. The groups and their processes are kept in "AudioProcess.db"
// in the support folder: a group's rows live as long as it is in the list,
// across restarts, and removing it from the list deletes its history.
// "processing" is true while any group processes.
//
// The list is guarded by a lock that is never held while calling out. At the
// application's will-terminate notification the rows still waiting on the
// write queue are written.
class AudioProcessController : public Object, public AudioProcessCommandGroupExecutor {
    ONDREL_OBJECT(AudioProcessController, Object)

public:
    // The shared controller, made (database opened, history read) at the
    // first call.
    static std::shared_ptr<AudioProcessController> sharedInstance();
    // For tests: drops the shared instance as a quit would (its rows stay).
    static void resetSharedInstance();

    // An empty controller without a database; only sharedInstance() makes the one in use.
    AudioProcessController();
    ~AudioProcessController() override;

    // Makes the group, appends it and executes it. Call on the main thread.
    void executeAudioProcessCommandGroup(const std::shared_ptr<AudioProcessCommandGroup>& group) override;

    // Runs a statement on the history file (see
    // VMKDatabaseController::executeStatement); nothing without one.
    void executeStatement(const QString& sql, DispatchQueue* queue = nullptr,
                          std::function<void(VMKDatabaseQuery&)> handler = {});
    std::shared_ptr<VMKDatabaseController> database() const { return m_database; }

    // Key "processing": some group is processing. Told on the thread whose
    // group changed.
    bool isProcessing() const { return m_audioProcessGroups.isProcessing(); }

    // MARK: Groups (key "audioProcessGroups"), newest last

    std::vector<std::shared_ptr<AudioProcessGroup>> audioProcessGroups() const;
    qsizetype countOfAudioProcessGroups() const;
    std::vector<std::shared_ptr<AudioProcessGroup>> enumeratorOfAudioProcessGroups() const { return audioProcessGroups(); }
    std::shared_ptr<AudioProcessGroup> objectInAudioProcessGroupsAtIndex(qsizetype index) const;
    qsizetype indexOfObjectInAudioProcessGroups(const AudioProcessGroup* group) const;
    std::vector<std::shared_ptr<AudioProcessGroup>> audioProcessGroupsWithPredicate(const Predicate& predicate) const;
    // Observes the group's "processing", then inserts it; an index past the end appends.
    void insertObjectInAudioProcessGroupsAtIndex(std::shared_ptr<AudioProcessGroup> group, qsizetype index);
    // Removes, stops observing; the group's rows go with it.
    void removeObjectFromAudioProcessGroupsAtIndex(qsizetype index);
    void removeAudioProcessGroupsAtIndexes(const IndexSet& indexes);

private:
    void init();
    void openDatabase();
    void updateProcessing();

    std::shared_ptr<VMKDatabaseController> m_database;
    ProcessingList<AudioProcessGroup> m_audioProcessGroups;
    quint64 m_terminateObserver = 0;  // NotificationCenter token; 0 for none
};

} // namespace ondrel
