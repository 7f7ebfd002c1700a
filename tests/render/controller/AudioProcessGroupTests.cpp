#include "render/controller/AudioProcessGroup.h"

#include "core/dispatch/BlockOperation.h"
#include "core/dispatch/DispatchQueue.h"
#include "fileprocesses/FileProcess.h"
#include "fileprocesses/FileProcessCommand.h"
#include "fileprocesses/FileProcessController.h"
#include "fileprocesses/notifications/UserNotificationCenter.h"
#include "logging/LogController.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessController.h"
#include "render/operation/AudioProcessOperation.h"
#include "tests/support/TestSupport.h"
#include "tests/support/process/RecordingUserNotifier.h"
#include "tests/support/process/TestCommandGroups.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>

namespace ondrel {

namespace {

// A file process that only notes where it was started.
class HandOffFileProcess : public FileProcess {
    ONDREL_OBJECT(HandOffFileProcess, FileProcess)
public:
    void execute() override {
        started.fetch_add(1);
        if (!isMainThread())
            offMainThread.fetch_add(1);
    }
    static inline std::atomic<int> started{0};
    static inline std::atomic<int> offMainThread{0};
};

class HandOffFileProcessCommand : public FileProcessCommand {
    ONDREL_OBJECT(HandOffFileProcessCommand, FileProcessCommand)
};

} // namespace

const ClassInfo& HandOffFileProcess::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<HandOffFileProcess, FileProcess>(QStringLiteral("HandOffFileProcess"));
    return info;
}

const ClassInfo& HandOffFileProcessCommand::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<HandOffFileProcessCommand, FileProcessCommand>(
        QStringLiteral("HandOffFileProcessCommand"));
    return info;
}

namespace {

class AudioProcessGroupTest : public ::testing::Test {
protected:
    void SetUp() override {
        HandOffFileProcess::staticClassInfo();
        HandOffFileProcessCommand::staticClassInfo();
        LogController::resetSharedInstance();
        AudioProcessController::resetSharedInstance();
        FileProcessController::resetSharedInstance();
        UserNotificationCenter::setNotifier(notifier);
    }
    void TearDown() override {
        UserNotificationCenter::setNotifier(nullptr);
        FileProcessController::resetSharedInstance();
        AudioProcessController::resetSharedInstance();
        LogController::resetSharedInstance();
    }

    // Executes `group` as the controller does and waits for its notification.
    void runToTheEnd(const std::shared_ptr<AudioProcessGroup>& group) {
        AudioProcessController::sharedInstance()->insertObjectInAudioProcessGroupsAtIndex(group, -1);
        group->execute();
        ASSERT_TRUE(spinUntil([&] { return !notifier->delivered().empty(); }));
    }

    TemporaryHome home;
    std::shared_ptr<RecordingUserNotifier> notifier = std::make_shared<RecordingUserNotifier>();
};

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

// A run whose every command was skipped has nothing to wait for: it must
// complete at once, stop processing (processing is set before the queue
// runs, so the end can't come first) and still tell the user, of 0 files.
TEST_F(AudioProcessGroupTest, ARunWithoutRendersCompletesAtOnceAndNotifiesForNoFiles) {
    const auto group = AudioProcessGroup::initWithProcessCommandGroup(*testCommandGroup(QStringLiteral("Empty"), 0));
    runToTheEnd(group);
    EXPECT_TRUE(spinUntil([&] { return !group->isProcessing(); }));
    EXPECT_FALSE(AudioProcessController::sharedInstance()->isProcessing());
    const auto delivered = notifier->delivered();
    ASSERT_EQ(delivered.size(), 1u);
    EXPECT_EQ(delivered[0].subtitle, QStringLiteral("0 files"));
    EXPECT_EQ(delivered[0].userInfo.value(QStringLiteral("className")).toString(), QStringLiteral("AudioProcessGroup"));
    EXPECT_EQ(delivered[0].userInfo.value(QStringLiteral("ID")).toLongLong(), group->ID());
    EXPECT_GT(group->ID(), 0);
}

// The completion depends on every render: it must not begin while one has
// not ended (here the last render is held back until the others have ended
// and nothing was told), and it hands every result location to each file
// process command of the run, started on the main queue. The results are
// queued by hand: the renders of the test run fail.
TEST_F(AudioProcessGroupTest, TheCompletionRunsAfterEveryRenderAndHandsEveryResultToEachCommand) {
    auto commandGroup = testCommandGroup(QStringLiteral("Hand off"), 3);
    commandGroup->setFileProcessCommands(
        {std::make_shared<HandOffFileProcessCommand>(), std::make_shared<HandOffFileProcessCommand>()});
    const auto group = AudioProcessGroup::initWithProcessCommandGroup(*commandGroup);
    ASSERT_EQ(group->countOfAudioProcesses(), 3);
    const std::vector<URL> results = {URL::fileURLWithPath(home.filePath(QStringLiteral("a.wav"))),
                                      URL::fileURLWithPath(home.filePath(QStringLiteral("b.wav")))};
    for (const URL& url : results)
        group->queueFileProcessURL(url);
    std::atomic<int> rendersRunningAtTheEnd{-1};
    notifier->onDeliver = [&](const UserNotification&) {
        int running = 0;
        for (const auto& process : group->enumeratorOfAudioProcesses())
            running += process->isProcessing() || !process->endDate().isValid() ? 1 : 0;
        rendersRunningAtTheEnd = running;
    };
    const int startedBefore = HandOffFileProcess::started.load();
    auto gate = std::make_shared<BlockOperation>();
    const auto held = group->objectInAudioProcessesAtIndex(2);
    held->operation()->addDependency(gate);

    AudioProcessController::sharedInstance()->insertObjectInAudioProcessGroupsAtIndex(group, -1);
    group->execute();
    ASSERT_TRUE(spinUntil([&] {
        return !group->objectInAudioProcessesAtIndex(0)->isProcessing() &&
               !group->objectInAudioProcessesAtIndex(1)->isProcessing();
    }));
    spinFor(50);
    EXPECT_TRUE(notifier->delivered().empty()) << "the completion ran before the last render";
    EXPECT_TRUE(group->isProcessing());
    gate->start();
    ASSERT_TRUE(spinUntil([&] { return !notifier->delivered().empty(); }));
    EXPECT_EQ(rendersRunningAtTheEnd.load(), 0);
    EXPECT_EQ(notifier->delivered().front().subtitle, QStringLiteral("3 files")) << "failed renders count too";
    ASSERT_TRUE(spinUntil([&] { return HandOffFileProcess::started.load() == startedBefore + 2; }));
    EXPECT_EQ(HandOffFileProcess::offMainThread.load(), 0);
    const QVariantList expected = {QVariant::fromValue(results[0]), QVariant::fromValue(results[1])};
    const auto processes = FileProcessController::sharedInstance()->fileProcesses();
    ASSERT_EQ(processes.size(), 2u);
    for (const auto& process : processes)
        EXPECT_EQ(process->items(), expected);
    for (const auto& process : group->enumeratorOfAudioProcesses()) {
        EXPECT_TRUE(process->hasError());
        EXPECT_FALSE(process->operation()) << "the operation is let go at its end";
    }
}

// A stop after the end must change the flag and nothing else: no second
// swap, notification or hand-off.
TEST_F(AudioProcessGroupTest, AStopAfterTheEndChangesOnlyTheFlag) {
    auto commandGroup = testCommandGroup(QStringLiteral("Stopped late"), 1);
    commandGroup->setFileProcessCommands({std::make_shared<HandOffFileProcessCommand>()});
    const auto group = AudioProcessGroup::initWithProcessCommandGroup(*commandGroup);
    runToTheEnd(group);
    ASSERT_TRUE(spinUntil([&] { return FileProcessController::sharedInstance()->countOfFileProcesses() == 1; }));

    const QString source = home.filePath(QStringLiteral("late.wav"));
    writeFile(source, "source");
    group->queueReplaceInstructions({{QStringLiteral("sourceURLs"), QVariantList{QVariant::fromValue(URL::fileURLWithPath(source))}},
                                     {QStringLiteral("resultURL"), home.filePath(QStringLiteral(".late.tmp"))},
                                     {QStringLiteral("destinationURL"), source}});
    group->stop();
    spinFor(100);
    EXPECT_FALSE(group->isProcessing());
    EXPECT_EQ(contentsOf(source), QByteArray("source"));
    EXPECT_EQ(group->replaceInstructions().size(), 1u);
    EXPECT_EQ(notifier->delivered().size(), 1u);
    EXPECT_EQ(FileProcessController::sharedInstance()->countOfFileProcesses(), 1);
}

// The swap of replaced originals, with real files and instructions queued
// as a writer queues them.
TEST_F(AudioProcessGroupTest, TheSwapPutsEachResultInPlaceAndRemovesTheSourcesItDidNotReplace) {
    const struct {
        const char* fault;
        const char* destination;  // beside the source "take.wav"
        bool resultExists;
        const char* expectedSource;       // what "take.wav" holds after, "(none)" when gone
        const char* expectedDestination;  // what the destination holds after
        quint64 errors;
    } cases[] = {
        {"same name: the old file is removed, the result moved in, and the source not removed again", "take.wav", true,
         "result", "result", 0},
        {"another extension: the result appears, the source is removed", "take.flac", true, "(none)", "result", 0},
        // Required as it stands: the source goes even when its result could
        // not be moved in. Don't "fix" it.
        {"a failed move still removes the source", "take.flac", false, "(none)", "(none)", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        QTemporaryDir folder;
        const QString source = folder.filePath(QStringLiteral("take.wav"));
        const QString result = folder.filePath(QStringLiteral(".take.part"));
        const QString destination = folder.filePath(QString::fromLatin1(c.destination));
        writeFile(source, "source");
        if (c.resultExists)
            writeFile(result, "result");
        const auto group = AudioProcessGroup::initWithProcessCommandGroup(*testCommandGroup(QStringLiteral("Swap"), 0));
        group->queueReplaceInstructions(
            {{QStringLiteral("sourceURLs"), QVariantList{QVariant::fromValue(URL::fileURLWithPath(source))}},
             {QStringLiteral("resultURL"), QVariant::fromValue(URL::fileURLWithPath(result))},
             {QStringLiteral("destinationURL"), QVariant::fromValue(URL::fileURLWithPath(destination))}});
        const quint64 errorsBefore = LogController::sharedInstance()->errorCount();

        group->replace();
        EXPECT_EQ(contentsOf(source), QByteArray(c.expectedSource));
        EXPECT_EQ(contentsOf(destination), QByteArray(c.expectedDestination));
        EXPECT_FALSE(QFile::exists(result));
        EXPECT_EQ(LogController::sharedInstance()->errorCount() - errorsBefore, c.errors);
        EXPECT_TRUE(group->replaceInstructions().empty());
    }
}

} // namespace

} // namespace ondrel
