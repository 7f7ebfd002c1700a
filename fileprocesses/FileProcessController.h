#pragma once

#include "core/objects/IndexSet.h"
#include "core/objects/ProcessingList.h"
#include "core/objects/Object.h"
#include "process/interfaces/FileProcessCommandExecutor.h"

#include <functional>
#include <memory>
#include <vector>

namespace ondrel {

class DispatchQueue;
class FileProcess;
class Predicate;
class VMKDatabaseController;
class VMKDatabaseQuery;

// The one owner of file processes. It starts them (executeFileProcessCommand
// is the only way), keeps them in the observable list "fileProcesses", keeps
// their history in "FileProcess.db" in the support folder (a process's row
// lives as long as the process is in the list, across restarts), and knows
// whether any is running (observable "processing").
//
// The list is guarded by a lock that is never held while observers are told.
// Observers of "fileProcesses" are told on the thread that changed the list,
// after the change, with the index the process took or left; they read the
// list again rather than replaying the indexes.
class FileProcessController : public Object, public FileProcessCommandExecutor {
    ONDREL_OBJECT(FileProcessController, Object)
public:
    // The shared controller, made (with its database opened and its history
    // read) at the first call. Stored before its history is read, so the
    // history entries it makes find it.
    static std::shared_ptr<FileProcessController> sharedInstance();
    // For tests: drops the shared instance as a quit would (the history rows
    // of its processes stay), so that the next sharedInstance() starts again
    // from the file.
    static void resetSharedInstance();

    // An empty controller without a database; only sharedInstance() makes
    // the one in use.
    FileProcessController();
    // Stops observing its processes and lets them go without deleting their
    // history rows.
    ~FileProcessController() override;

    // Makes the process for `command` (see
    // FileProcess::fileProcessForFileProcessCommand), appends it to
    // fileProcesses and calls its execute() on the calling thread. Any
    // thread. Answers the process, or null (and an error in the log) when
    // no process class exists for the command.
    ObjectPtr executeFileProcessCommand(const ObjectPtr& command) override;

    // Runs a statement on the history file (see
    // VMKDatabaseController::executeStatement). Without a support folder
    // nothing runs and the handler is not called.
    void executeStatement(const QString& sql, DispatchQueue* queue = nullptr,
                          std::function<void(VMKDatabaseQuery&)> handler = {});
    // The history file; null when the support folder can't be made.
    std::shared_ptr<VMKDatabaseController> database() const { return m_database; }

    // True while any process in the list is processing. Key "processing",
    // read-only; told on the thread whose process changed.
    bool isProcessing() const { return m_fileProcesses.isProcessing(); }

    // MARK: File processes

    // A copy of the list. Key "fileProcesses".
    std::vector<std::shared_ptr<FileProcess>> fileProcesses() const;
    qsizetype countOfFileProcesses() const;
    // A copy of the list, to walk while others change it.
    std::vector<std::shared_ptr<FileProcess>> enumeratorOfFileProcesses() const { return fileProcesses(); }
    // Null out of range.
    std::shared_ptr<FileProcess> objectInFileProcessesAtIndex(qsizetype index) const;
    // -1 when the process isn't in the list.
    qsizetype indexOfObjectInFileProcesses(const FileProcess* process) const;
    // The processes for which `predicate` holds, in order.
    std::vector<std::shared_ptr<FileProcess>> fileProcessesWithPredicate(const Predicate& predicate) const;
    // Observes the process's "processing", then inserts it. An index past the
    // end (or negative) appends; null is never inserted.
    void insertObjectInFileProcessesAtIndex(std::shared_ptr<FileProcess> process, qsizetype index);
    // Removes and stops observing. Out of range does nothing. A process that
    // goes with its last reference deletes its history row.
    void removeObjectFromFileProcessesAtIndex(qsizetype index);
    void removeFileProcessesAtIndexes(const IndexSet& indexes);

private:
    void init();
    void openDatabase();
    void updateProcessing();

    std::shared_ptr<VMKDatabaseController> m_database;
    ProcessingList<FileProcess> m_fileProcesses;
};

} // namespace ondrel
