#include "fileprocesses/FileProcessController.h"

#include "core/storage/VMKDatabaseQuery.h"
#include "core/values/Date.h"
#include "fileprocesses/FileProcess.h"
#include "fileprocesses/FileProcessCommand.h"
#include "fileprocesses/notifications/UserNotificationCenter.h"
#include "fileprocesses/notifications/UserNotifier.h"
#include "logging/LogController.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <thread>

namespace ondrel {

namespace {

// A job that runs until the test ends it, as a worker thread would.
class FinishingFileProcess : public FileProcess {
    ONDREL_OBJECT(FinishingFileProcess, FileProcess)
public:
    void execute() override {
        setProgressDescription(QStringLiteral("working"));
        setProcessing(true);
    }
    void finish() {
        setProgressDescription(QStringLiteral("done"));
        setItems({});
        setProcessing(false);
    }
};

class FinishingFileProcessCommand : public FileProcessCommand {
    ONDREL_OBJECT(FinishingFileProcessCommand, FileProcessCommand)
};

// A command whose process class doesn't exist.
class OrphanFileProcessCommand : public FileProcessCommand {
    ONDREL_OBJECT(OrphanFileProcessCommand, FileProcessCommand)
};

class RecordingNotifier : public UserNotifier {
public:
    void deliverNotification(const UserNotification& notification) override {
        std::lock_guard lock(mutex);
        delivered.push_back(notification);
    }
    std::mutex mutex;
    std::vector<UserNotification> delivered;
};

} // namespace

const ClassInfo& FinishingFileProcess::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<FinishingFileProcess, FileProcess>(QStringLiteral("FinishingFileProcess"));
    return info;
}

const ClassInfo& FinishingFileProcessCommand::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<FinishingFileProcessCommand, FileProcessCommand>(
        QStringLiteral("FinishingFileProcessCommand"));
    return info;
}

const ClassInfo& OrphanFileProcessCommand::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<OrphanFileProcessCommand, FileProcessCommand>(QStringLiteral("OrphanFileProcessCommand"));
    return info;
}

namespace {

class FileProcessControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        FinishingFileProcess::staticClassInfo();
        FinishingFileProcessCommand::staticClassInfo();
        OrphanFileProcessCommand::staticClassInfo();
        LogController::resetSharedInstance();
        FileProcessController::resetSharedInstance();
        UserNotificationCenter::setNotifier(notifier);
    }
    void TearDown() override {
        UserNotificationCenter::setNotifier(nullptr);
        FileProcessController::resetSharedInstance();
        LogController::resetSharedInstance();
    }

    static std::shared_ptr<FinishingFileProcess> start(int itemCount) {
        auto command = std::make_shared<FinishingFileProcessCommand>();
        QVariantList items;
        for (int i = 0; i < itemCount; ++i)
            items << QStringLiteral("/item/%1").arg(i);
        command->setItems(items);
        return std::dynamic_pointer_cast<FinishingFileProcess>(
            FileProcessController::sharedInstance()->executeFileProcessCommand(command));
    }

    static std::shared_ptr<FileProcess> listed(qint64 ID) {
        for (const auto& process : FileProcessController::sharedInstance()->fileProcesses())
            if (process->ID() == ID)
                return process;
        return nullptr;
    }

    TemporaryHome home;
    std::shared_ptr<RecordingNotifier> notifier = std::make_shared<RecordingNotifier>();
};

} // namespace

// The boundary: 5.0 seconds notifies, 4.9 doesn't.
TEST_F(FileProcessControllerTest, AJobOfFiveSecondsNotifiesAndOneOfFourPointNineDoesNot) {
    const struct {
        qint64 ms;
        bool notifies;
    } cases[] = {{4900, false}, {5000, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.ms);
        notifier->delivered.clear();
        const auto process = start(3);
        ASSERT_TRUE(process);
        process->setValueForKey(Date::now().addMSecs(-c.ms), QStringLiteral("startDate"));
        process->finish();
        ASSERT_EQ(notifier->delivered.size(), c.notifies ? 1u : 0u);
        if (!c.notifies)
            continue;
        const UserNotification& shown = notifier->delivered.front();
        EXPECT_TRUE(shown.title.contains(QStringLiteral("FinishingFileProcess_title"))) << shown.title.toStdString();
        EXPECT_TRUE(shown.subtitle.contains(QStringLiteral("3"))) << shown.subtitle.toStdString();
        EXPECT_EQ(shown.userInfo.value(QStringLiteral("className")).toString(), QStringLiteral("FileProcess"));
        EXPECT_EQ(shown.userInfo.value(QStringLiteral("ID")).toLongLong(), process->ID());
    }
}

// A lost "any": the controller must not fall idle while one job still runs,
// and each job ends on its own thread.
TEST_F(FileProcessControllerTest, ControllerKeepsProcessingUntilBothJobsEnd) {
    const auto controller = FileProcessController::sharedInstance();
    const auto first = start(1);
    const auto second = start(1);
    int told = 0;
    const auto observation = controller->observe(QStringLiteral("processing"), 0,
                                                 [&](const KeyValueChangeInfo&) { ++told; });
    ASSERT_TRUE(controller->isProcessing());

    std::thread([&] { first->finish(); }).join();
    EXPECT_TRUE(controller->isProcessing());
    std::thread([&] { second->finish(); }).join();
    EXPECT_FALSE(controller->isProcessing());
    EXPECT_EQ(told, 1);
}

// A repeated end must not move the end date or notify again.
TEST_F(FileProcessControllerTest, EndingTwiceWritesTheEndDateOnce) {
    const auto process = start(1);
    process->setValueForKey(Date::now().addSecs(-10), QStringLiteral("startDate"));
    int endDateWrites = 0;
    const auto observation =
        process->observe(QStringLiteral("endDate"), 0, [&](const KeyValueChangeInfo&) { ++endDateWrites; });
    process->finish();
    process->setProcessing(false);
    EXPECT_EQ(endDateWrites, 1);
    EXPECT_EQ(notifier->delivered.size(), 1u);
}

// History across a restart: a removed job's row is gone, a finished one's
// stays, and one that was running when the program went comes back failed
// (the reference date as its end) and idle. A restart itself deletes nothing.
TEST_F(FileProcessControllerTest, RestartKeepsListedJobsAndShowsAnInterruptedOneAsFailed) {
    auto controller = FileProcessController::sharedInstance();
    auto removed = start(1);
    auto kept = start(2);
    auto running = start(3);
    removed->finish();
    kept->finish();
    const qint64 removedID = removed->ID();
    const qint64 keptID = kept->ID();
    const qint64 runningID = running->ID();
    const QDateTime keptEnd = kept->endDate();
    ASSERT_GT(removedID, 0);
    controller->removeObjectFromFileProcessesAtIndex(controller->indexOfObjectInFileProcesses(removed.get()));
    removed.reset();
    kept.reset();
    running.reset();
    controller.reset();

    FileProcessController::resetSharedInstance();
    controller = FileProcessController::sharedInstance();
    EXPECT_EQ(controller->countOfFileProcesses(), 2);
    EXPECT_FALSE(listed(removedID));
    const auto keptAgain = listed(keptID);
    ASSERT_TRUE(keptAgain);
    EXPECT_EQ(keptAgain->fileProcessClassName(), QStringLiteral("FinishingFileProcess"));
    EXPECT_EQ(keptAgain->countOfItems(), 2u);
    EXPECT_LE(qAbs(keptAgain->endDate().msecsTo(keptEnd)), 1);
    const auto runningAgain = listed(runningID);
    ASSERT_TRUE(runningAgain);
    EXPECT_EQ(runningAgain->endDate(), Date::referenceDate());
    EXPECT_FALSE(runningAgain->isProcessing());
    EXPECT_FALSE(controller->isProcessing());
}

// A command without a process class starts nothing and says so once.
TEST_F(FileProcessControllerTest, ACommandWithoutAProcessClassStartsNothingAndLogsOnce) {
    const auto controller = FileProcessController::sharedInstance();
    EXPECT_EQ(controller->executeFileProcessCommand(std::make_shared<OrphanFileProcessCommand>()), nullptr);
    EXPECT_EQ(controller->countOfFileProcesses(), 0);

    auto log = LogController::sharedInstance();
    log->write();
    QStringList errors;
    log->executeStatement(QStringLiteral("SELECT message FROM Log WHERE level = 3"), nullptr,
                          [&](VMKDatabaseQuery& query) {
                              while (query.evaluateNextRow())
                                  errors << query.stringValueAtColumn(0);
                          });
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors.front().contains(QStringLiteral("OrphanFileProcess"))) << errors.front().toStdString();
}

} // namespace ondrel
