#include "logging/LogController.h"

#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/files/URL.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ondrel {

namespace {

// Each test starts the log afresh in its own home.
class LogControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        LogController::resetSharedInstance();
        UserDefaults::resetStandardUserDefaults();
        m_updates = NotificationCenter::defaultCenter().addObserver(LogController::LogDidUpdate, nullptr,
                                                                    [this](const Notification&) { ++updates; });
    }
    void TearDown() override {
        NotificationCenter::defaultCenter().removeObserver(m_updates);
        LogController::resetSharedInstance();
        UserDefaults::resetStandardUserDefaults();
    }

    // A second connection on the log file, as another reader would have.
    std::shared_ptr<VMKDatabaseController> reader() {
        return VMKDatabaseController::initWithURL(URL::supportDirectory().URLByAppendingPathComponent("Log.db"));
    }
    static qint64 count(VMKDatabaseController& db, const QString& where = QString()) {
        qint64 n = -1;
        db.executeStatement(QStringLiteral("SELECT COUNT(*) FROM Log ") + where, nullptr, [&](VMKDatabaseQuery& q) {
            if (q.evaluateNextRow())
                n = q.longLongValueAtColumn(0);
        });
        return n;
    }

    TemporaryHome home;
    std::atomic<int> updates{0};
    NotificationCenter::ObserverToken m_updates = 0;
};

} // namespace

TEST_F(LogControllerTest, ABurstFromEightThreadsIsOneBatchOneTransactionOneNotification) {
    auto log = LogController::sharedInstance();
    auto db = reader();
    ASSERT_EQ(count(*db), 0);

    // Another connection watches the table while the batch is written: a
    // single transaction shows it nothing or everything.
    std::atomic<bool> watching{true};
    std::atomic<bool> sawPartial{false};
    std::thread watcher([&] {
        auto own = reader();
        while (watching.load()) {
            const qint64 n = count(*own);
            if (n != 0 && n != 10000)
                sawPartial = true;
        }
    });

    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&log, t] {
            for (int i = 0; i < 1250; ++i)
                log->logWithLevel(5 - (i % 3), QString("thread %1 message %2").arg(t).arg(i));
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(count(*db), 0) << "nothing is written before the batch interval";

    ASSERT_TRUE(spinUntil([&] { return updates.load() >= 1; }, 15000));
    spinFor(500);
    watching = false;
    watcher.join();

    EXPECT_EQ(updates.load(), 1);
    EXPECT_FALSE(sawPartial.load());
    EXPECT_EQ(count(*db), 10000);
    EXPECT_EQ(count(*db, "WHERE message = 'thread 7 message 1249'"), 1);
    EXPECT_EQ(log->errorCount(), 8u * 416);    // i % 3 == 2
    EXPECT_EQ(log->warningCount(), 8u * 417);  // i % 3 == 1

    // A later message opens a new batch with its own notification.
    log->logWithLevel(LogController::Notice, "later");
    ASSERT_TRUE(spinUntil([&] { return updates.load() >= 2; }, 15000));
    EXPECT_EQ(count(*db), 10001);
}

TEST_F(LogControllerTest, MessagesLoggedJustBeforeQuitAreThereAtTheNextStart) {
    auto log = LogController::sharedInstance();
    log->logWithLevel(LogController::Warning, "before quit");
    NotificationCenter::defaultCenter().postNotification(ApplicationWillTerminateNotification);
    EXPECT_EQ(count(*reader(), "WHERE message = 'before quit' AND level = 4"), 1);
    EXPECT_EQ(updates.load(), 0) << "quitting writes without notifying";
}

TEST_F(LogControllerTest, OldEntriesGoAtStartAccordingToTheTimeToLive) {
    auto log = LogController::sharedInstance();
    log->write();  // the file exists now
    auto db = reader();
    for (const char* age : {"-20 days", "-13 days", "-1 hours"})
        db->executeStatement(
            QStringLiteral("INSERT INTO Log (timestamp, level, message) VALUES (DateTime('now', '%1'), 5, '%1')")
                .arg(QLatin1String(age)));
    EXPECT_EQ(count(*db), 3) << "nothing is deleted while running";

    LogController::resetSharedInstance();
    LogController::sharedInstance();
    EXPECT_EQ(count(*db), 2);
    EXPECT_EQ(count(*db, "WHERE message = '-20 days'"), 0);

    UserDefaults::standardUserDefaults()->setObjectForKey("1 hours", "LogControllerLogTTL");
    LogController::resetSharedInstance();
    LogController::sharedInstance();
    EXPECT_EQ(count(*db), 1);

    UserDefaults::standardUserDefaults()->setObjectForKey(QString(""), "LogControllerLogTTL");
    db->executeStatement("INSERT INTO Log (timestamp, level, message) VALUES (DateTime('now', '-900 days'), 5, 'x')");
    LogController::resetSharedInstance();
    LogController::sharedInstance();
    EXPECT_EQ(count(*db), 2) << "an empty time to live keeps everything";
}

TEST_F(LogControllerTest, ClearDeletesWrittenRowsButPooledMessagesSurvive) {
    auto log = LogController::sharedInstance();
    log->logWithLevel(LogController::Error, "written");
    log->write();
    log->logWithLevel(LogController::Error, "pooled");
    EXPECT_EQ(log->errorCount(), 2u);

    std::vector<quint64> seenErrorCounts;
    auto handle = log->observe("errorCount", KeyValueObservingOptionNew, [&](const KeyValueChangeInfo& change) {
        seenErrorCounts.push_back(change.newValue.toULongLong());
    });
    log->clear();
    EXPECT_EQ(log->errorCount(), 0u);
    EXPECT_EQ(seenErrorCounts, std::vector<quint64>{0});
    auto db = reader();
    EXPECT_EQ(count(*db), 0);
    ASSERT_TRUE(spinUntil([&] { return count(*db) == 1; }, 15000));
    EXPECT_EQ(count(*db, "WHERE message = 'pooled'"), 1);

    log->logWithLevel(LogController::Notice, "notice");
    EXPECT_EQ(log->errorCount(), 0u);
    EXPECT_EQ(log->warningCount(), 0u);
}

} // namespace ondrel
