#include "logging/LogController.h"

#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/dispatch/Timer.h"
#include "core/files/URL.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"

namespace ondrel {

namespace {

constexpr double kBatchInterval = 3.0;

std::recursive_mutex& sharedMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

// The shared instance lives for the process (never destroyed at exit).
std::shared_ptr<LogController>& sharedPointer() {
    static auto* shared = new std::shared_ptr<LogController>();
    return *shared;
}

// Registering again merges the same values, so this runs whenever the
// controller is made (the defaults may have been reloaded since).
void registerClassDefaults() {
    UserDefaults::standardUserDefaults()->registerDefaults(
        {{QStringLiteral("LogControllerLogTTL"), QStringLiteral("14 days")}});
}

} // namespace

const QString LogController::LogDidUpdate = QStringLiteral("LogDidUpdate");

const ClassInfo& LogController::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<LogController, Object>(QStringLiteral("LogController"))
                                       .property(QStringLiteral("warningCount"), &LogController::warningCount)
                                       .property(QStringLiteral("errorCount"), &LogController::errorCount);
    return info;
}

std::shared_ptr<LogController> LogController::sharedInstance() {
    std::lock_guard lock(sharedMutex());
    auto& shared = sharedPointer();
    if (!shared) {
        registerClassDefaults();
        // Stored before init runs: whatever init calls may ask for it again.
        shared = std::make_shared<LogController>();
        shared->init();
    }
    return shared;
}

void LogController::resetSharedInstance() {
    std::shared_ptr<LogController> old;
    {
        std::lock_guard lock(sharedMutex());
        old = std::move(sharedPointer());
    }
    if (old)
        old->write();
}

LogController::LogController() = default;

LogController::~LogController() {
    if (m_terminateObserver)
        NotificationCenter::defaultCenter().removeObserver(m_terminateObserver);
    if (m_notificationTimer)
        m_notificationTimer->invalidate();
}

void LogController::init() {
    VMKError error;
    const URL folder = URL::supportDirectory(&error);
    if (folder.isEmpty()) {
        // Messages are still taken (and kept, up to the bound); readers find
        // nothing and are told why.
        m_openProblem = QStringLiteral("the log's folder could not be made: %1").arg(error.localizedDescription());
    } else {
        openDatabase(folder.URLByAppendingPathComponent(QStringLiteral("Log")).URLByAppendingPathExtension(QStringLiteral("db")));
    }

    std::weak_ptr<LogController> weak = std::static_pointer_cast<LogController>(shared_from_this());
    m_terminateObserver = NotificationCenter::defaultCenter().addObserver(
        ApplicationWillTerminateNotification, nullptr, [weak](const Notification&) {
            if (auto self = weak.lock())
                self->applicationWillTerminate();
        });
}

void LogController::openDatabase(const URL& url) {
    m_database = VMKDatabaseController::initWithURL(url);
    if (!url.existsAsFile()) {
        m_database->executeStatement(QStringLiteral("CREATE TABLE [Global] (version INTEGER);"));
        m_database->executeStatement(QStringLiteral("INSERT INTO Global (version) VALUES (1);"));
        m_database->executeStatement(QStringLiteral(
            "CREATE TABLE Log (logID INTEGER PRIMARY KEY NOT NULL, timestamp TIMESTAMP, level INTEGER, message TEXT);"));
    }
    m_database->executeStatement(QStringLiteral("SELECT version FROM Global"), nullptr, [](VMKDatabaseQuery& query) {
        if (query.evaluateNextRow())
            (void)query.intValueAtColumn(0);
    });

    // The time to live is a date modifier without its sign ("14 days"),
    // bound as a value: a text that isn't one makes DateTime() NULL, which
    // deletes nothing.
    const QString ttl = UserDefaults::standardUserDefaults()->stringForKey(QStringLiteral("LogControllerLogTTL"));
    if (!ttl.isEmpty())
        m_database->executeStatement(QStringLiteral("DELETE FROM Log WHERE timestamp < DateTime('now', ?)"), nullptr,
                                     [&ttl](VMKDatabaseQuery& query) {
                                         query.setStringValue(QLatin1Char('-') + ttl, 0);
                                         query.execute();
                                     });
}

void LogController::logWithLevel(unsigned level, const QString& message) {
    {
        std::lock_guard lock(m_messagePoolLock);
        m_messagePool.push_back({level, message});
    }
    if (level == Error)
        addToCount(m_errorCount, QStringLiteral("errorCount"));
    else if (level == Warning)
        addToCount(m_warningCount, QStringLiteral("warningCount"));

    if (m_notificationTimerActive.load() || m_notificationTimerWillBeScheduled.exchange(true))
        return;
    std::weak_ptr<LogController> weak = std::static_pointer_cast<LogController>(shared_from_this());
    dispatchMain([weak] {
        auto self = weak.lock();
        if (!self)
            return;
        self->m_notificationTimerActive = true;
        self->m_notificationTimer = Timer::scheduledTimer(kBatchInterval, false, [weak] {
            if (auto strong = weak.lock())
                strong->writeAndNotify();
        });
        self->m_notificationTimerWillBeScheduled = false;
    });
}

void LogController::addToCount(std::atomic<quint64>& count, const QString& key) {
    willChangeValueForKey(key);
    count.fetch_add(1);
    didChangeValueForKey(key);
}

void LogController::writeAndNotify() {
    std::weak_ptr<LogController> weak = std::static_pointer_cast<LogController>(shared_from_this());
    DispatchQueue::global(DispatchQueue::Priority::Background).async([weak] {
        auto self = weak.lock();
        if (!self)
            return;
        self->write();
        dispatchMain([weak] {
            auto strong = weak.lock();
            if (!strong)
                return;
            NotificationCenter::defaultCenter().postNotification(LogDidUpdate);
            strong->m_notificationTimer.reset();
            strong->m_notificationTimerActive = false;
        });
    });
}

void LogController::write() {
    std::lock_guard lock(m_messagePoolLock);
    if (m_messagePool.empty())
        return;
    if (writePool()) {
        m_messagePool.clear();
        return;
    }
    // Kept for the next write (the next batch's, or the one at quit); while
    // writing keeps failing only the newest MaximumKeptMessages stay.
    if (m_messagePool.size() > MaximumKeptMessages)
        m_messagePool.erase(m_messagePool.begin(),
                            m_messagePool.begin() + std::ptrdiff_t(m_messagePool.size() - MaximumKeptMessages));
}

bool LogController::writePool() {
    if (!m_database)
        return false;
    bool written = false;
    const QString insert = QStringLiteral("INSERT INTO Log (timestamp, level, message) VALUES (DateTime('now'), ?, ?)");
    // Counted from before the statement, so that a file that can't be opened
    // or an insert that can't be prepared shows as a failure. The database's
    // lock is held for the whole handler: within it, every failure is this
    // write's. (Another reader's failure before it only puts the write off.)
    // The last failure's message is left alone: a reader on another thread
    // may have cleared it and be about to look.
    const quint64 failuresBefore = m_database->failureCount();
    auto failed = [this, failuresBefore] { return m_database->failureCount() != failuresBefore; };
    m_database->executeStatement(insert, nullptr, [this, &written, &failed](VMKDatabaseQuery& query) {
        if (failed())
            return;
        m_database->executeStatement(QStringLiteral("BEGIN IMMEDIATE TRANSACTION"));
        if (failed())
            return;
        for (const PooledMessage& entry : m_messagePool) {
            query.setIntValue(int(entry.level), 0);
            query.setStringValue(entry.message, 1);
            query.execute();
            query.reset();
            if (failed())
                break;
        }
        if (!failed())
            m_database->executeStatement(QStringLiteral("END TRANSACTION"));
        written = !failed();
        if (!written)
            m_database->executeStatement(QStringLiteral("ROLLBACK TRANSACTION"));
    });
    return written;
}

void LogController::clear() {
    clearWarningsAndErrors();
    if (m_database)
        m_database->executeStatement(QStringLiteral("DELETE FROM Log"));
    dispatchMain([] { NotificationCenter::defaultCenter().postNotification(LogDidUpdate); });
}

void LogController::clearWarningsAndErrors() {
    willChangeValueForKey(QStringLiteral("warningCount"));
    m_warningCount = 0;
    didChangeValueForKey(QStringLiteral("warningCount"));
    willChangeValueForKey(QStringLiteral("errorCount"));
    m_errorCount = 0;
    didChangeValueForKey(QStringLiteral("errorCount"));
}

void LogController::executeStatement(const QString& sql, DispatchQueue* queue,
                                     std::function<void(VMKDatabaseQuery&)> handler) {
    if (m_database)
        m_database->executeStatement(sql, queue, std::move(handler));
}

void LogController::applicationWillTerminate() { write(); }

QString LogController::lastErrorMessage() const {
    return m_database ? m_database->lastErrorMessage() : m_openProblem;
}

void LogController::clearLastErrorMessage() {
    if (m_database)
        m_database->clearLastErrorMessage();
}

} // namespace ondrel
