#include "logging/LogController.h"

#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/files/URL.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "tests/support/TestSupport.h"

#include <QtCore/QFile>

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

// Rows older than the time to live go at start, and not while running; the
// time to live is a date modifier and never SQL: a text that would end the
// modifier's quotes deletes nothing.
TEST_F(LogControllerTest, OldEntriesGoAtStartAccordingToTheTimeToLive) {
    struct Case {
        const char* ttl;  // null: the registered one
        qint64 kept;
    };
    const Case cases[] = {{nullptr, 2}, {"1 hours", 1}, {"", 4}, {"1 days') OR ('1'='1", 4}};
    LogController::sharedInstance()->write();  // the file exists now
    auto db = reader();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ttl ? c.ttl : "registered");
        db->executeStatement("DELETE FROM Log");
        for (const char* age : {"-900 days", "-20 days", "-13 days", "-1 minutes"})
            db->executeStatement(
                QStringLiteral("INSERT INTO Log (timestamp, level, message) VALUES (DateTime('now', '%1'), 5, '%1')")
                    .arg(QLatin1String(age)));
        if (c.ttl)
            UserDefaults::standardUserDefaults()->setObjectForKey(QString::fromUtf8(c.ttl), "LogControllerLogTTL");
        ASSERT_EQ(count(*db), 4) << "nothing is deleted while running";
        LogController::resetSharedInstance();
        LogController::sharedInstance();
        EXPECT_EQ(count(*db), c.kept);
        EXPECT_EQ(count(*db, "WHERE message = '-1 minutes'"), 1);
    }
}

// A log that can't be kept (its folder can't be made) takes messages and
// answers readers without crashing, and says why it can't be read.
TEST_F(LogControllerTest, ALogWhoseFolderCannotBeMadeNeitherCrashesNorThrows) {
    QFile blocker(home.filePath(QStringLiteral("file")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    qputenv("ONDREL_HOME", home.filePath(QStringLiteral("file/inner")).toUtf8());
    LogController::resetSharedInstance();
    auto log = LogController::sharedInstance();
    log->logWithLevel(LogController::Error, "nowhere to go");
    log->write();
    log->clear();
    log->clearLastErrorMessage();
    log->executeStatement("SELECT COUNT(*) FROM Log", nullptr,
                          [](VMKDatabaseQuery& query) { EXPECT_FALSE(query.evaluateNextRow()); });
    EXPECT_FALSE(log->lastErrorMessage().isEmpty());
    LogController::resetSharedInstance();
    qputenv("ONDREL_HOME", home.path().toUtf8());
}

// A batch whose write fails (here another connection's trigger refuses
// inserts) stays for the next write, up to the bound; beyond it the oldest
// messages go.
TEST_F(LogControllerTest, AFailedWriteKeepsItsBatchForTheNext) {
    auto log = LogController::sharedInstance();
    auto db = reader();
    const auto refuse = [&](bool on) {
        db->executeStatement(on ? QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON Log BEGIN SELECT RAISE(ABORT, 'refused'); END")
                                : QStringLiteral("DROP TRIGGER refuse"));
    };
    refuse(true);
    log->logWithLevel(LogController::Error, "first try fails");
    log->write();
    ASSERT_EQ(count(*db), 0);
    refuse(false);
    log->write();
    EXPECT_EQ(count(*db, "WHERE message = 'first try fails'"), 1);
    log->write();
    EXPECT_EQ(count(*db), 1) << "written once";

    refuse(true);
    for (size_t i = 0; i <= LogController::MaximumKeptMessages; ++i)
        log->logWithLevel(LogController::Notice, QString::number(i));
    log->write();
    refuse(false);
    log->write();
    EXPECT_EQ(count(*db), qint64(LogController::MaximumKeptMessages) + 1);
    EXPECT_EQ(count(*db, "WHERE message = '0'"), 0) << "the oldest went";
    EXPECT_EQ(count(*db, QStringLiteral("WHERE message = '%1'").arg(LogController::MaximumKeptMessages)), 1);
}

// A reader clears the last failure, runs its statement and looks; a batch
// written on another thread in between must not wipe the reader's failure.
TEST_F(LogControllerTest, ABatchWrittenMeanwhileDoesNotHideAReadersFailure) {
    auto log = LogController::sharedInstance();
    log->clearLastErrorMessage();
    log->executeStatement("SELECT message FROM Missing");
    std::thread([&log] {
        log->logWithLevel(LogController::Notice, "meanwhile");
        log->write();
    }).join();
    EXPECT_TRUE(log->lastErrorMessage().contains("Missing")) << log->lastErrorMessage().toStdString();
    EXPECT_EQ(count(*reader(), "WHERE message = 'meanwhile'"), 1);
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
