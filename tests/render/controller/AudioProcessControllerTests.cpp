#include "render/controller/AudioProcessController.h"

#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/OperationQueue.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/values/Date.h"
#include "fileprocesses/FileProcessController.h"
#include "fileprocesses/notifications/UserNotificationCenter.h"
#include "logging/LogController.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessGroup.h"
#include "tests/support/TestSupport.h"
#include "tests/support/process/RecordingUserNotifier.h"
#include "tests/support/process/TestCommandGroups.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

class AudioProcessControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        LogController::resetSharedInstance();
        AudioProcessController::resetSharedInstance();
        UserNotificationCenter::setNotifier(notifier);
    }
    void TearDown() override {
        UserNotificationCenter::setNotifier(nullptr);
        AudioProcessController::resetSharedInstance();
        LogController::resetSharedInstance();
    }

    // Runs `commandGroup` through the shared controller and waits for its end.
    std::shared_ptr<AudioProcessGroup> run(const std::shared_ptr<AudioProcessCommandGroup>& commandGroup) {
        const auto controller = AudioProcessController::sharedInstance();
        const size_t before = notifier->delivered().size();
        controller->executeAudioProcessCommandGroup(commandGroup);
        EXPECT_TRUE(spinUntil([&] { return notifier->delivered().size() > before; }));
        return controller->objectInAudioProcessGroupsAtIndex(controller->countOfAudioProcessGroups() - 1);
    }

    // The rows of `table`, once every queued write has been made.
    static qint64 rowCount(const QString& table) {
        AudioProcess::writeQueue().sync([] {});
        qint64 count = -1;
        AudioProcessController::sharedInstance()->executeStatement(
            QStringLiteral("SELECT COUNT(*) FROM %1").arg(table), nullptr, [&](VMKDatabaseQuery& query) {
                if (query.evaluateNextRow())
                    count = query.longLongValueAtColumn(0);
            });
        return count;
    }

    // As the next start finds it.
    static std::shared_ptr<AudioProcessController> restart() {
        AudioProcessController::resetSharedInstance();
        return AudioProcessController::sharedInstance();
    }

    TemporaryHome home;
    std::shared_ptr<RecordingUserNotifier> notifier = std::make_shared<RecordingUserNotifier>();
};

// A lost write or a lost read: the history must come back after a restart
// with its name, rehearsal flag, processes and their dates; hasError is
// not stored for reading, so a restored process shows none.
TEST_F(AudioProcessControllerTest, TheHistoryOfARunSurvivesARestart) {
    const auto group = run(testCommandGroup(QStringLiteral("Fade and Save"), 2));
    ASSERT_TRUE(group);
    ASSERT_EQ(group->countOfAudioProcesses(), 2);
    const auto first = group->objectInAudioProcessesAtIndex(0);
    ASSERT_TRUE(first->hasError()) << "every render of the test run fails";
    ASSERT_TRUE(first->endDate().isValid());
    const qint64 groupID = group->ID(), processID = first->ID();
    const QDateTime start = first->startDate(), end = first->endDate();

    const auto controller = restart();
    ASSERT_EQ(controller->countOfAudioProcessGroups(), 1);
    const auto restored = controller->objectInAudioProcessGroupsAtIndex(0);
    EXPECT_EQ(restored->ID(), groupID);
    EXPECT_EQ(restored->name(), QStringLiteral("Fade and Save"));
    EXPECT_TRUE(restored->isRehearse());
    EXPECT_FALSE(restored->isProcessing());
    EXPECT_FALSE(restored->operationQueue());
    ASSERT_EQ(restored->countOfAudioProcesses(), 2);
    const auto process = restored->objectInAudioProcessesAtIndex(0);
    EXPECT_EQ(process->ID(), processID);
    EXPECT_LE(std::abs(process->startDate().msecsTo(start)), 1);
    EXPECT_LE(std::abs(process->endDate().msecsTo(end)), 1);
    EXPECT_FALSE(process->hasError());
    EXPECT_FALSE(process->isProcessing());
}

// A run killed mid-way leaves process rows without an end date: they must
// come back as unfinished history, not as ended at the reference date.
TEST_F(AudioProcessControllerTest, ARowWithoutAnEndDateComesBackUnfinished) {
    const auto controller = AudioProcessController::sharedInstance();
    const double started = Date::timeIntervalSinceReferenceDate() - 60.0;
    controller->executeStatement(QStringLiteral("INSERT INTO AudioProcessGroup (name, rehearse) VALUES ('Killed', 0)"));
    controller->executeStatement(
        QStringLiteral("INSERT INTO AudioProcess (audioProcessGroupID, startDate) VALUES (last_insert_rowid(), ?)"), nullptr,
        [&](VMKDatabaseQuery& query) {
            query.setDoubleValue(started, 0);
            query.execute();
        });

    const auto restored = restart()->objectInAudioProcessGroupsAtIndex(0);
    ASSERT_TRUE(restored);
    ASSERT_EQ(restored->countOfAudioProcesses(), 1);
    const auto process = restored->objectInAudioProcessesAtIndex(0);
    EXPECT_TRUE(process->startDate().isValid());
    EXPECT_FALSE(process->endDate().isValid());
    EXPECT_FALSE(process->isProcessing());
    EXPECT_FALSE(restored->endDate().isValid());
}

// Removing a run from the list is what deletes its history: its own row
// and those of its processes, and not those of another run.
TEST_F(AudioProcessControllerTest, RemovingARunDeletesItsRowsAndItsProcessesRows) {
    run(testCommandGroup(QStringLiteral("Kept"), 1));
    run(testCommandGroup(QStringLiteral("Removed"), 2));
    ASSERT_EQ(rowCount(QStringLiteral("AudioProcess")), 3);

    const auto controller = AudioProcessController::sharedInstance();
    controller->removeObjectFromAudioProcessGroupsAtIndex(1);
    EXPECT_EQ(rowCount(QStringLiteral("AudioProcessGroup")), 1);
    EXPECT_EQ(rowCount(QStringLiteral("AudioProcess")), 1);

    const auto restarted = restart();
    ASSERT_EQ(restarted->countOfAudioProcessGroups(), 1);
    EXPECT_EQ(restarted->objectInAudioProcessGroupsAtIndex(0)->name(), QStringLiteral("Kept"));
}

// Each run has a queue of its own, eight wide: one shared queue would make a
// second run wait for the first.
TEST_F(AudioProcessControllerTest, ASecondRunGetsAQueueOfItsOwnEightWide) {
    const auto first = run(testCommandGroup(QStringLiteral("First"), 1));
    const auto second = run(testCommandGroup(QStringLiteral("Second"), 1));
    ASSERT_TRUE(first->operationQueue() && second->operationQueue());
    EXPECT_NE(first->operationQueue(), second->operationQueue());
    for (const auto& group : {first, second}) {
        EXPECT_EQ(group->operationQueue()->maxConcurrentOperationCount(), AudioProcessGroup::MaximumConcurrentRenders);
        EXPECT_EQ(group->operationQueue()->name(), QStringLiteral("com.velmark-works.ondrel.process-queue"));
    }
    EXPECT_FALSE(AudioProcessController::sharedInstance()->isProcessing());
}

} // namespace

} // namespace ondrel
