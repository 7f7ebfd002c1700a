#pragma once

#include "core/objects/Object.h"

#include <QtCore/QDateTime>
#include <QtCore/QVariantList>

#include <memory>
#include <mutex>

namespace ondrel {

class VMKDatabaseController;

// A job over a set of items that isn't an audio render: adding files,
// analysing them, uploads, hand-offs. Each kind is a subclass, made by the
// name of its command (see fileProcessForFileProcessCommand) and started by
// FileProcessController::executeFileProcessCommand, which owns it. A process
// has a row in the controller's history table from its making to its
// destruction.
//
// A subclass:
//  1. in execute() sets progressDescription, sets processing to true and
//     moves the work off the calling thread;
//  2. while working updates progressDescription and what progress() reads
//     (announcing "progress" with willChangeValueForKey/didChangeValueForKey);
//  3. when it ends, however it ends, sets a last progressDescription, clears
//     items and sets processing to false, exactly once;
//  4. in stop() makes the job end soon (a job that can't stop keeps the base).
//
// Every key is observable. Values are set on worker threads and read on the
// main thread: all fields are guarded, and observers are told outside the
// guard, on the thread that made the change.
class FileProcess : public Object {
    ONDREL_OBJECT(FileProcess, Object)
public:
    // The shortest job that ends with a user notification, in seconds.
    static constexpr double NotificationThreshold = 5.0;

    // Makes the process for `command`: its class is the command's class
    // name less the suffix "Command", made by name and initialised with
    // initWithFileProcessCommand (which inserts its history row). Null, with
    // one error in the log naming the missing class, when no such file
    // process class is registered. `command` is not null.
    static std::shared_ptr<FileProcess> fileProcessForFileProcessCommand(const ObjectPtr& command);

    // A history entry: the plain FileProcess of row `ID` of the shared
    // controller's table, with its class name, count, and dates (a NULL end
    // date, left by a job that never ended, reads as the reference date); not
    // processing. Null when there is no such row.
    static std::shared_ptr<FileProcess> initWithID(qint64 ID);

    // A bare process with no row: made by name, then initialised by one of
    // the two initialisers above.
    FileProcess();
    // Deletes the history row, unless the controller kept it for the next
    // start (see FileProcessController::resetSharedInstance).
    ~FileProcess() override;

    // The base work of making a process for `command`: takes its "items" and
    // their count, sets startDate to now and fileProcessClassName to this
    // class's name, inserts the history row and stores its ID. Subclasses
    // call it first, then copy their own fields. Call once, before the
    // process is shared.
    virtual void initWithFileProcessCommand(const ObjectPtr& command);

    // Starts the job and returns (see the class comment). The base does
    // nothing.
    virtual void execute();
    // Asks the job to end soon. The base does nothing.
    virtual void stop();

    // MARK: Fields

    // The command's items; processes clear them when done. Key "items".
    QVariantList items() const;
    void setItems(const QVariantList& items);

    // The history row's ID; 0 before the insert (or without a history
    // file). Key "ID", read-only.
    qint64 ID() const;

    // The class name of the process as text. Key "fileProcessClassName",
    // read-only.
    QString fileProcessClassName() const;

    // The number of items when the process began. Key "countOfItems",
    // read-only.
    quint64 countOfItems() const;

    // When the process began (UTC); absent before initWithFileProcessCommand.
    // Key "startDate".
    QDateTime startDate() const;
    void setStartDate(const QDateTime& date);

    // When the process ended (UTC); absent while it runs. Setting it writes
    // it to the history row. Key "endDate".
    QDateTime endDate() const;
    void setEndDate(const QDateTime& date);

    // True while the job runs. Setting the value it already has does
    // nothing. Setting false sets endDate to now and, when the job ran for
    // NotificationThreshold seconds or more, delivers a user notification
    // through UserNotificationCenter; observers of "processing" are told after
    // both. Any thread. Key "processing".
    bool isProcessing() const;
    void setProcessing(bool processing);

    // How far the job is, 0 to 1; -1 (the base) means it can't be measured.
    // Key "progress", read-only.
    virtual double progress() const;

    // Text for the user on what the job is doing. Key "progressDescription".
    QString progressDescription() const;
    void setProgressDescription(const QString& description);

private:
    friend class FileProcessController;

    // Guarded assignment between the announcements of `key`.
    template <class T>
    void setGuarded(const QString& key, T& field, const T& value) {
        willChangeValueForKey(key);
        {
            std::lock_guard lock(m_mutex);
            field = value;
        }
        didChangeValueForKey(key);
    }
    void deliverNotification();
    // Leaves the history row in place when this process goes (a quit).
    void keepHistoryRow();

    mutable std::mutex m_mutex;
    std::shared_ptr<VMKDatabaseController> m_database;  // null for a process made by name only
    QVariantList m_items;
    qint64 m_ID = 0;
    QString m_fileProcessClassName;
    quint64 m_countOfItems = 0;
    QDateTime m_startDate;
    QDateTime m_endDate;
    bool m_processing = false;
    QString m_progressDescription;
    bool m_keepsHistoryRow = false;
};

} // namespace ondrel
