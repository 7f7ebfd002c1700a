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
class LogController : public Object {
    ONDREL_OBJECT(LogController, Object)
public:
    enum Level : unsigned { Error = 3, Warning = 4, Notice = 5 };

    static const QString LogDidUpdate;

    static std::shared_ptr<LogController> sharedInstance();
    // Writes what is pooled and drops the shared instance, so that the next
    // sharedInstance() opens the log again, as a new start would.
    static void resetSharedInstance();

    void logWithLevel(unsigned level, const QString& message);
    void clear();
    void clearWarningsAndErrors();
    void write();
    void writeAndNotify();
    void executeStatement(const QString& sql, DispatchQueue* queue = nullptr,
                          std::function<void(VMKDatabaseQuery&)> handler = {});
    void applicationWillTerminate();
    // Statements fail silently; a reader that must know whether the log
    // could be read clears this, runs its statement and looks: the SQL text
    // and SQLite's message of the last failure, empty when none.
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
    void addToCount(std::atomic<quint64>& count, const QString& key);

    std::shared_ptr<VMKDatabaseController> m_database;
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
