#pragma once

#include "core/files/URL.h"
#include "core/objects/Object.h"

#include <QtCore/QDateTime>

#include <atomic>
#include <memory>
#include <mutex>

namespace ondrel {

class AudioProcessCommand;
class AudioProcessGroup;
class AudioProcessOperation;
class DispatchQueue;
class VMKDatabaseController;

// One render of a group, with its row in the history file. Made with its
// operation (and processing) for a run, or from its row (not processing,
// without an operation) for the history. Its row lives as long as the
// object, unless the controller keeps it for the next start (a quit).
class AudioProcess : public Object {
    ONDREL_OBJECT(AudioProcess, Object)

public:
    // A process for a run: its sources are read from their file entities
    // now, its operation is made, its row is inserted on the write queue and
    // it is processing from now on. Null (with a warning in the log) when a
    // source's file entity is being analysed: that file is not rendered in
    // this run. Call on any thread; `group` is not null.
    static std::shared_ptr<AudioProcess> initWithAudioProcessCommand(const AudioProcessCommand& command,
                                                                     const std::shared_ptr<AudioProcessGroup>& group);
    // A history entry from row `ID`: dates read back, no error, not
    // processing, no operation.
    static std::shared_ptr<AudioProcess> initWithID(qint64 ID, const std::shared_ptr<AudioProcessGroup>& group);

    AudioProcess();
    // Deletes the row unless it was kept (see keepHistoryRow).
    ~AudioProcess() override;

    // The serial queue of every process's INSERT and UPDATE, so that a row's
    // update can't pass its insert.
    static DispatchQueue& writeQueue();

    // The row's ID; 0 until the insert has run.
    qint64 ID() const;
    std::shared_ptr<AudioProcessGroup> audioProcessGroup() const { return m_group.lock(); }
    // The moment the process was made; absent for a row without one.
    QDateTime startDate() const;
    // When its render ended; absent while it runs or when it never ended.
    QDateTime endDate() const;
    // Copied from the operation at its end; a restored process has none.
    bool hasError() const { return m_hasError.load(std::memory_order_acquire); }
    // True from creation until the operation ends. Key "processing".
    bool isProcessing() const { return m_processing.load(std::memory_order_acquire); }
    // The operation, held until it has finished.
    std::shared_ptr<AudioProcessOperation> operation() const;
    // The operation's progress, 0 without one. Key "progress".
    double progress() const;

    // Kept from the operation at its end, for those who report the run: the
    // name of the first source's first file, where the result went (empty
    // after a failure), and the error's description (empty without one).
    QString sourceName() const;
    URL resultURL() const;
    QString errorDescription() const;

    // Leaves the row in place when this object goes (a quit).
    void keepHistoryRow() { m_keepsHistoryRow.store(true); }

private:
    void operationDidFinish();

    std::weak_ptr<AudioProcessGroup> m_group;
    std::shared_ptr<VMKDatabaseController> m_database;  // null without a history file
    std::atomic<bool> m_hasError{false};
    std::atomic<bool> m_processing{false};
    std::atomic<bool> m_keepsHistoryRow{false};
    mutable std::mutex m_mutex;  // guards what follows
    // Shared with the statements on the write queue, which set and read it there.
    std::shared_ptr<std::atomic<qint64>> m_ID = std::make_shared<std::atomic<qint64>>(0);
    QDateTime m_startDate;
    QDateTime m_endDate;
    std::shared_ptr<AudioProcessOperation> m_operation;
    ObservationHandle m_operationObservation;
    QString m_sourceName;
    URL m_resultURL;
    QString m_errorDescription;
};

} // namespace ondrel
