#pragma once

#include "core/objects/Object.h"

#include <QtCore/QString>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace ondrel {

class DispatchQueue;
class Timer;
class URL;
class VMKDatabaseController;
class VMKDatabaseQuery;

// The one message log. Any thread logs a finished text with a level (3 error,
// 4 warning, 5 notice) and returns at once; messages gather in a pool and are
// written to "Log.db" in the support folder in one transaction per batch, at
// most 3 seconds after the first message of the batch, after which
// LogDidUpdate is posted on the main thread. Warnings and errors are counted
// in memory (observable "warningCount" and "errorCount"). Entries older than
// the default LogControllerLogTTL (a date modifier such as "14 days"; empty
// keeps everything) are deleted at start.
//
// A failure to log never reaches the caller: a batch whose write fails stays
// in the pool for the next write (up to MaximumKeptMessages), and without a
// support folder the log takes messages, writes nothing and its statements
// find nothing.
class LogController : public Object {
    ONDREL_OBJECT(LogController, Object)
public:
    enum Level : unsigned { Error = 3, Warning = 4, Notice = 5 };
    // Messages kept in memory for a later write while writing fails; past
    // this many the oldest go.
    static constexpr size_t MaximumKeptMessages = 10000;

    static const QString LogDidUpdate;

    static std::shared_ptr<LogController> sharedInstance();
    // Writes what is pooled and drops the shared instance, so that the next
    // sharedInstance() opens the log again, as a new start would.
    static void resetSharedInstance();

    void logWithLevel(unsigned level, const QString& message);
    void clear();
    void clearWarningsAndErrors();
    // Stores the pool now, on the calling thread; a batch that fails stays
    // pooled for the next write.
    void write();
    void writeAndNotify();
    // Runs a statement on the log file; without one (no support folder) the
    // handler is not called.
    void executeStatement(const QString& sql, DispatchQueue* queue = nullptr,
                          std::function<void(VMKDatabaseQuery&)> handler = {});
    void applicationWillTerminate();
    // Statements fail silently; a reader that must know whether the log
    // could be read clears this, runs its statement and looks: the SQL text
    // and SQLite's message of the last failure, empty when none. Without a
    // log file it always says why there is none.
    QString lastErrorMessage() const;
    void clearLastErrorMessage();

    quint64 warningCount() const { return m_warningCount.load(); }
    quint64 errorCount() const { return m_errorCount.load(); }

    LogController();
    ~LogController() override;

private:
    struct PooledMessage {
        unsigned level;
        QString message;
    };

    void init();
    void openDatabase(const URL& url);
    // Writes the pool in one transaction; false (with nothing written) when
    // any of it fails.
    bool writePool();
    void addToCount(std::atomic<quint64>& count, const QString& key);

    std::shared_ptr<VMKDatabaseController> m_database;  // null when the log's folder can't be made
    QString m_openProblem;                              // why, then
    std::vector<PooledMessage> m_messagePool;
    std::mutex m_messagePoolLock;
    std::atomic<quint64> m_warningCount{0};
    std::atomic<quint64> m_errorCount{0};
    std::shared_ptr<Timer> m_notificationTimer;  // main thread only
    std::atomic<bool> m_notificationTimerActive{false};
    std::atomic<bool> m_notificationTimerWillBeScheduled{false};
    quint64 m_terminateObserver = 0;
};

} // namespace ondrel
