#pragma once

#include "core/files/URL.h"
#include "core/objects/Object.h"

#include <QtCore/QDateTime>
#include <QtCore/QVariantMap>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

class AudioProcess;
class AudioProcessCommandGroup;
class FileProcessCommand;
class OperationQueue;
class Predicate;
class VMKDatabaseController;

// One run: the renders of one command group, at most eight at a time on a
// queue of its own, then (when all have ended, however they ended) the swap
// of replaced originals, a user notification and the file processes of the
// run, which get every result location. Kept with its processes in the
// history file as long as it is in the controller's list.
class AudioProcessGroup : public Object {
    ONDREL_OBJECT(AudioProcessGroup, Object)

public:
    // The renders of one run at most at a time.
    static constexpr int MaximumConcurrentRenders = 8;

    // A group for a run: inserts its row, then makes a process for each
    // command (a command whose file is being analysed is skipped). Any thread.
    static std::shared_ptr<AudioProcessGroup> initWithProcessCommandGroup(const AudioProcessCommandGroup& group);
    // A history entry from row `ID`, with its processes; it has no queue and
    // can't run.
    static std::shared_ptr<AudioProcessGroup> initWithID(qint64 ID);

    AudioProcessGroup();
    // Deletes the row unless it was kept (see keepHistoryRow).
    ~AudioProcessGroup() override;

    qint64 ID() const { return m_ID; }
    QString name() const { return m_name; }
    bool isRehearse() const { return m_rehearse; }
    // True from execute() until the completion or stop(). Key "processing";
    // told on the thread that changed it.
    bool isProcessing() const { return m_processing.load(std::memory_order_acquire); }
    // The earliest start and the latest end of its processes (absent
    // when no process has one).
    QDateTime startDate() const;
    QDateTime endDate() const;

    // Queues every render and the completion behind them, then resumes the
    // queue. Call once, on the thread that made the group.
    void execute();
    // Cancels what has not ended: renders under way stop at their next block
    // and remove their files; the completion (swap, notification, file
    // processes) does not happen. Any thread.
    void stop();
    // Made by execute(); null before and for a restored group.
    std::shared_ptr<OperationQueue> operationQueue() const;

    // Called by writers on render threads.
    void queueReplaceInstructions(const QVariantMap& instructions);
    void queueFileProcessURL(const URL& url);
    std::vector<URL> fileProcessURLs() const;
    std::vector<QVariantMap> replaceInstructions() const;

    // The swap of replaced originals, after all renders: each finished file
    // takes its result location (an existing file there is removed first),
    // then every source that no result replaced under its own name is
    // removed. Failures are logged one by one. Empties the queued
    // instructions.
    void replace();

    // The processes, in order.
    qsizetype countOfAudioProcesses() const;
    std::vector<std::shared_ptr<AudioProcess>> enumeratorOfAudioProcesses() const;
    std::shared_ptr<AudioProcess> objectInAudioProcessesAtIndex(qsizetype index) const;
    std::vector<std::shared_ptr<AudioProcess>> audioProcessesWithPredicate(const Predicate& predicate) const;

    // Leaves the rows of the group and its processes in place when they go (a quit).
    void keepHistoryRow();

private:
    void setProcessing(bool processing);
    void complete();

    qint64 m_ID = 0;
    QString m_name;
    bool m_rehearse = false;
    bool m_executable = false;  // made for a run, not yet executed
    std::shared_ptr<VMKDatabaseController> m_database;  // null without a history file
    std::atomic<bool> m_processing{false};
    std::atomic<bool> m_keepsHistoryRow{false};
    mutable std::mutex m_mutex;  // guards what follows
    std::vector<std::shared_ptr<AudioProcess>> m_audioProcesses;
    std::shared_ptr<OperationQueue> m_operationQueue;
    std::vector<QVariantMap> m_replaceInstructions;
    std::vector<URL> m_fileProcessURLs;
    std::vector<std::shared_ptr<FileProcessCommand>> m_fileProcessCommands;
};

} // namespace ondrel
