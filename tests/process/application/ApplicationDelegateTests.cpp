#include "core/files/URL.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/storage/UserDefaults.h"
#include "core/text/VMKLocalizedString.h"
#include "core/values/Color.h"
#include "logging/LogController.h"
#include "process/application/ApplicationDelegate.h"
#include "process/application/EventLoopApplication.h"
#include "process/application/QuitWhenDoneTerminationPrompt.h"
#include "process/application/SharedRouterOutputRouting.h"
#include "process/interfaces/FileProcessCommandExecutor.h"
#include "process/interfaces/ProcessControllerSource.h"
#include "process/interfaces/TerminableApplication.h"
#include "process/interfaces/TerminationPrompt.h"
#include "process/interfaces/WorkflowDescriptorSink.h"
#include "process/workflow/WorkflowController.h"
#include "render/engine/channels/VMKAudioRouter.h"
#include "tests/support/TestSupport.h"
#include "tests/support/process/InstalledInterfaces.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace ondrel {

namespace {

// A process controller as the delegate sees it; changed from any thread.
class FakeProcessController : public Object {
    ONDREL_OBJECT(FakeProcessController, Object)
public:
    bool isProcessing() const { return m_processing.load(); }
    void setProcessing(bool processing) { store(QStringLiteral("processing"), m_processing, processing); }
    qint64 operationCount() const { return m_operationCount.load(); }
    void setOperationCount(qint64 count) { store(QStringLiteral("operationCount"), m_operationCount, count); }

private:
    template <class T>
    void store(const QString& key, std::atomic<T>& field, T value) {
        willChangeValueForKey(key);
        field.store(value);
        didChangeValueForKey(key);
    }
    std::atomic<bool> m_processing{false};
    std::atomic<qint64> m_operationCount{0};
};

const ClassInfo& FakeProcessController::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<FakeProcessController, Object>(QStringLiteral("FakeProcessController"))
            .property(QStringLiteral("processing"), &FakeProcessController::isProcessing)
            .property(QStringLiteral("operationCount"), &FakeProcessController::operationCount);
    return info;
}

class FakeControllers : public ProcessControllerSource {
public:
    ObjectPtr audioProcessController() override {
        order.push_back(QStringLiteral("audio"));
        return audio;
    }
    ObjectPtr fileProcessController() override {
        order.push_back(QStringLiteral("file"));
        return file;
    }
    std::shared_ptr<FakeProcessController> audio = std::make_shared<FakeProcessController>();
    std::shared_ptr<FakeProcessController> file = std::make_shared<FakeProcessController>();
    QStringList order;
};

// Answers a set button; may run something while "shown".
class ScriptedPrompt : public TerminationPrompt {
public:
    explicit ScriptedPrompt(int button) : answer(button) {}
    int runModal(const QString&, const QString&, const QStringList&) override {
        ++shown;
        if (whileShown)
            whileShown();
        return answer;
    }
    int answer;
    int shown = 0;
    std::function<void()> whileShown;
};

class RecordingApplication : public TerminableApplication {
public:
    void replyToApplicationShouldTerminate(bool shouldTerminate) override { replies.push_back(shouldTerminate); }
    std::vector<bool> replies;
};

class RecordingFileProcesses : public FileProcessCommandExecutor {
public:
    ObjectPtr executeFileProcessCommand(const ObjectPtr& command) override {
        commands.push_back(command);
        return nullptr;
    }
    std::vector<ObjectPtr> commands;
};

class RecordingDescriptors : public WorkflowDescriptorSink {
public:
    void addWorkflowDescriptorsObject(const ObjectPtr& descriptor) override { descriptors.push_back(descriptor); }
    std::vector<ObjectPtr> descriptors;
};

class ApplicationDelegateTest : public ::testing::Test {
protected:
    void SetUp() override {
        FakeProcessController::staticClassInfo();
        AddFilesFileProcessCommand::staticClassInfo();
        UserDefaults::resetStandardUserDefaults();
        LogController::resetSharedInstance();
        WorkflowController::resetSharedInstance();
        ProcessInterfaces::setProcessControllerSource(controllers);
        ProcessInterfaces::setApplication(application);
        ProcessInterfaces::setFileProcessCommandExecutor(files);
        ProcessInterfaces::setWorkflowDescriptorSink(library);
    }

    void TearDown() override {
        delegate.reset();
        WorkflowController::resetSharedInstance();
        LogController::resetSharedInstance();
        UserDefaults::resetStandardUserDefaults();
    }

    // A launched delegate with its prompt.
    std::shared_ptr<ScriptedPrompt> launch(int answer) {
        auto prompt = std::make_shared<ScriptedPrompt>(answer);
        ProcessInterfaces::setTerminationPrompt(prompt);
        delegate = std::make_shared<ApplicationDelegate>();
        delegate->applicationWillFinishLaunching();
        return prompt;
    }

    static std::shared_ptr<UserDefaults> defaults() { return UserDefaults::standardUserDefaults(); }

    QString workflowPath() const { return home.filePath(QStringLiteral("Workflow.plist")); }

    // An application object that counts the ends of its loop.
    std::shared_ptr<EventLoopApplication> loopApplication(int& ended) {
        auto app = std::make_shared<EventLoopApplication>([&ended] { ++ended; });
        ProcessInterfaces::setApplication(app);
        return app;
    }

    TemporaryHome home;
    InstalledInterfaces interfaces;
    std::shared_ptr<FakeControllers> controllers = std::make_shared<FakeControllers>();
    std::shared_ptr<RecordingApplication> application = std::make_shared<RecordingApplication>();
    std::shared_ptr<RecordingFileProcesses> files = std::make_shared<RecordingFileProcesses>();
    std::shared_ptr<RecordingDescriptors> library = std::make_shared<RecordingDescriptors>();
    std::shared_ptr<ApplicationDelegate> delegate;
};

// MARK: - Start-up

// Registering must neither store the table nor cover what the user stored.
TEST_F(ApplicationDelegateTest, StoredValuesSurviveRegistrationAndARestart) {
    defaults()->setIntegerForKey(3, "timeFormat");
    defaults()->setObjectForKey(QByteArray("mine"), "entitiesPredicate");
    defaults()->synchronize();
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(defaults()->integerForKey("timeFormat"), 3);
    EXPECT_EQ(defaults()->dataForKey("entitiesPredicate"), QByteArray("mine"));
    EXPECT_EQ(defaults()->persistentDomain().size(), 2) << "registered values are not stored";

    delegate.reset();
    UserDefaults::resetStandardUserDefaults();
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(defaults()->integerForKey("timeFormat"), 3);
    EXPECT_EQ(defaults()->stringForKey("frequencyFormat"), "hz");
}

TEST_F(ApplicationDelegateTest, SupportAddressComesFromTheEnvironment) {
    const QByteArray previous = qgetenv("EMAIL");
    qputenv("EMAIL", " sound@example.org\n");
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(defaults()->stringForKey("Support_email"), "sound@example.org");
    qputenv("EMAIL", previous);  // empty when it was unset: no address either way
}

// The archived defaults must read back as the objects they stand for.
TEST_F(ApplicationDelegateTest, ArchivedDefaultsReadBackAsAPredicateOn48000AndAColour) {
    delegate = std::make_shared<ApplicationDelegate>();
    VMKError error;
    const auto predicate = Variant::object<CompoundPredicate>(
        KeyedUnarchiver::unarchiveObjectWithData(defaults()->dataForKey("entitiesPredicate"), &error));
    ASSERT_TRUE(predicate) << error.localizedDescription().toStdString();
    EXPECT_TRUE(predicate->isEqual(*ApplicationDelegate::defaultEntitiesPredicate()));
    EXPECT_TRUE(predicate->evaluateWithObject(QVariantMap{{"sampleRate", 48000}}));
    EXPECT_TRUE(predicate->evaluateWithObject(QVariantMap{{"sampleRate", 48000.0}}));
    EXPECT_FALSE(predicate->evaluateWithObject(QVariantMap{{"sampleRate", 44100}}));
    EXPECT_FALSE(predicate->evaluateWithObject(QVariantMap{{"name", "x"}}));

    const auto color =
        Variant::object<Color>(KeyedUnarchiver::unarchiveObjectWithData(defaults()->dataForKey("waveformColor")));
    ASSERT_TRUE(color);
    EXPECT_TRUE(color->isEqual(*Color::ondrelGreenColor()));
}

// The ties used to go to a router nobody else saw; at most 48 channels.
TEST_F(ApplicationDelegateTest, RoutingTiesChannelByChannelOnTheSharedRouter) {
    const auto router = VMKAudioRouter::router();
    for (const int channels : {64, 2, 0}) {
        router->removeAllTies();
        ProcessInterfaces::setAudioOutputRouting(
            std::make_shared<SharedRouterOutputRouting>([channels] { return channels; }));
        delegate = std::make_shared<ApplicationDelegate>();
        const auto ties = router->ties();
        ASSERT_EQ(ties.size(), size_t(std::min(channels, 48))) << channels;
        for (uint32_t i = 0; i < ties.size(); ++i)
            EXPECT_EQ(ties[i], VMKAudioRouterTie(i, i));
    }

    // The default routing has no device yet: it ties nothing.
    router->removeAllTies();
    ProcessInterfaces::setAudioOutputRouting(nullptr);
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(router->countOfTies(), 0u);
}

TEST_F(ApplicationDelegateTest, MakesTheOutputFolderAndStartsWhenItCant) {
    ASSERT_FALSE(URL::ondrelDirectory().existsAsDirectory());
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_TRUE(URL::ondrelDirectory().existsAsDirectory());

    // A file where the music folder should be: nothing to create, still starts.
    TemporaryHome other;
    QFile blocker(other.filePath(QStringLiteral("Music")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_FALSE(URL::ondrelDirectory().existsAsDirectory());
    EXPECT_EQ(defaults()->integerForKey("timeFormat"), 13);
}

TEST_F(ApplicationDelegateTest, LaunchingAsksForTheAudioThenTheFileController) {
    launch(TerminationPrompt::ThirdButton);
    EXPECT_EQ(controllers->order.mid(0, 2), (QStringList{"audio", "file"}));
    EXPECT_TRUE(controllers->audio->hasObservers());
    EXPECT_TRUE(controllers->file->hasObservers());
    delegate.reset();
    EXPECT_FALSE(controllers->audio->hasObservers());
    EXPECT_FALSE(controllers->file->hasObservers());
}

// MARK: - Quitting

TEST_F(ApplicationDelegateTest, QuittingAlwaysRewritesTheWorkflow) {
    auto prompt = launch(TerminationPrompt::FirstButton);
    WorkflowController::sharedInstance();
    ASSERT_FALSE(QFile::exists(workflowPath()));
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateNow);
    EXPECT_TRUE(QFile::exists(workflowPath()));

    // Unchanged, and even when the quit is then cancelled.
    ASSERT_TRUE(QFile::remove(workflowPath()));
    controllers->audio->setProcessing(true);
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateCancel);
    EXPECT_TRUE(QFile::exists(workflowPath()));
}

// The reply for each answer of the question, and whether it was asked.
TEST_F(ApplicationDelegateTest, RepliesFollowTheAnswerAndTheWork) {
    struct Row {
        int answer;
        bool running;
        bool workEndsWhileAsked;
        ApplicationDelegate::TerminateReply reply;
        int shown;
    };
    const Row rows[] = {
        {TerminationPrompt::FirstButton, false, false, ApplicationDelegate::TerminateNow, 0},
        {TerminationPrompt::FirstButton, true, false, ApplicationDelegate::TerminateCancel, 1},
        {TerminationPrompt::SecondButton, true, false, ApplicationDelegate::TerminateNow, 1},
        {-1, true, false, ApplicationDelegate::TerminateNow, 1},
        {TerminationPrompt::ThirdButton, true, true, ApplicationDelegate::TerminateNow, 1},
    };
    for (const Row& row : rows) {
        auto prompt = launch(row.answer);
        controllers->audio->setProcessing(row.running);
        if (row.workEndsWhileAsked)
            prompt->whileShown = [&] { controllers->audio->setProcessing(false); };
        EXPECT_EQ(delegate->applicationShouldTerminate(), row.reply) << row.answer;
        EXPECT_EQ(prompt->shown, row.shown) << row.answer;
    }
}

TEST_F(ApplicationDelegateTest, ThirdButtonWithWorkRunningTerminatesWhenTheLastWorkEnds) {
    launch(TerminationPrompt::ThirdButton);
    controllers->audio->setProcessing(true);
    controllers->file->setProcessing(true);
    controllers->audio->setOperationCount(2);
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateLater);

    // Changes while anything still runs are no answer.
    controllers->audio->setOperationCount(1);
    controllers->audio->setProcessing(false);
    controllers->file->setOperationCount(4);
    EXPECT_TRUE(application->replies.empty());

    // The last one ends, from a worker thread, as the controllers do.
    std::thread worker([&] { controllers->file->setProcessing(false); });
    worker.join();
    EXPECT_EQ(application->replies, std::vector<bool>{true});

    // A queue emptying out with nothing running answers too.
    controllers->audio->setOperationCount(0);
    EXPECT_EQ(application->replies, (std::vector<bool>{true, true}));
}

TEST_F(ApplicationDelegateTest, CommandLineQuitsWhenTheWorkIsDone) {
    ProcessInterfaces::setTerminationPrompt(std::make_shared<QuitWhenDoneTerminationPrompt>());
    delegate = std::make_shared<ApplicationDelegate>();
    delegate->applicationWillFinishLaunching();
    int ended = 0;
    auto app = loopApplication(ended);

    // A reply with nothing pending is ignored.
    app->replyToApplicationShouldTerminate(true);
    spinFor(20);
    EXPECT_EQ(ended, 0);

    controllers->audio->setProcessing(true);
    app->terminate(delegate);
    EXPECT_TRUE(app->isTerminationPending());
    spinFor(20);
    EXPECT_EQ(ended, 0);

    std::thread worker([&] { controllers->audio->setProcessing(false); });
    worker.join();
    EXPECT_FALSE(app->isTerminationPending());
    EXPECT_TRUE(spinUntil([&] { return ended == 1; }));

    // Nothing running: the loop ends at once, and only once.
    app->terminate(delegate);
    EXPECT_TRUE(spinUntil([&] { return ended == 2; }));
    spinFor(20);
    EXPECT_EQ(ended, 2);
}

// A program whose loop isn't running (the command line after its command)
// quits through the application object: when work still runs, it waits for
// the delegate's reply from the thread that ends the work.
TEST_F(ApplicationDelegateTest, QuitAfterACommandWaitsForTheWorkThenEnds) {
    launch(TerminationPrompt::ThirdButton);
    int ended = 0;
    auto app = loopApplication(ended);

    controllers->file->setProcessing(true);
    std::thread worker([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        controllers->file->setProcessing(false);
    });
    EXPECT_TRUE(app->terminateAndWait(delegate));
    worker.join();
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(delegate->hasRunningProcesses());
    EXPECT_TRUE(QFile::exists(workflowPath()));

    // Nothing running: it ends at once.
    EXPECT_TRUE(app->terminateAndWait(delegate));
    EXPECT_EQ(ended, 2);
}

TEST_F(ApplicationDelegateTest, CancelledQuitNeitherWaitsNorEndsTheLoop) {
    launch(TerminationPrompt::FirstButton);
    int ended = 0;
    auto app = loopApplication(ended);
    controllers->file->setProcessing(true);
    EXPECT_FALSE(app->terminateAndWait(delegate));
    app->terminate(delegate);
    EXPECT_FALSE(app->isTerminationPending());
    controllers->file->setProcessing(false);
    spinFor(20);
    EXPECT_EQ(ended, 0);
}

// MARK: - Opening files

// Any archived object stands in for the workflow library's descriptor.
TEST_F(ApplicationDelegateTest, OnlyWorkflowFilesStartNoFileProcess) {
    delegate = std::make_shared<ApplicationDelegate>();
    auto write = [&](const char* name, const QByteArray& data) {
        QFile file(home.filePath(QString::fromLatin1(name)));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(data);
        return file.fileName();
    };
    const QByteArray archive = KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(Color::ondrelGreenColor()));
    const QString good = write("Master.ondrelworkflow", archive);
    const QString broken = write("Broken.ondrelworkflow", "not an archive");

    delegate->openFiles({good, broken, home.filePath(QStringLiteral("Missing.ondrelworkflow")), good});
    EXPECT_TRUE(files->commands.empty());
    ASSERT_EQ(library->descriptors.size(), 2u);
    for (const auto& added : library->descriptors)
        EXPECT_TRUE(added->isEqual(*Color::ondrelGreenColor()));
}

TEST_F(ApplicationDelegateTest, OtherFilesGoToOneAddFilesCommandInOrder) {
    delegate = std::make_shared<ApplicationDelegate>();

    // The extension must be exactly the workflow's.
    const QStringList paths{home.filePath("b.wav"), home.filePath("Loud.OndrelWorkflow"), home.filePath("a.flac")};
    delegate->openFiles(paths);
    EXPECT_TRUE(library->descriptors.empty());
    ASSERT_EQ(files->commands.size(), 1u);
    const ObjectPtr command = files->commands[0];
    EXPECT_EQ(command->className(), "AddFilesFileProcessCommand");
    const QVariantList items = command->valueForKey("items").toList();
    ASSERT_EQ(items.size(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(items[i].value<URL>(), URL::fileURLWithPath(paths[i]));

    delegate->openFiles({});
    EXPECT_EQ(files->commands.size(), 1u);
}

} // namespace

} // namespace ondrel
