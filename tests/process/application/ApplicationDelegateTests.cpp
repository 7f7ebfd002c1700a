#include "core/values/Color.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/files/URL.h"
#include "core/storage/UserDefaults.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/application/ApplicationDelegate.h"
#include "process/interfaces/AudioOutputRouting.h"
#include "process/application/EventLoopApplication.h"
#include "process/interfaces/FileProcessCommandExecutor.h"
#include "process/interfaces/ProcessControllerSource.h"
#include "process/application/QuitWhenDoneTerminationPrompt.h"
#include "process/interfaces/TerminableApplication.h"
#include "process/interfaces/TerminationPrompt.h"
#include "tests/support/process/TestAddFilesCommand.h"
#include "process/workflow/WorkflowController.h"
#include "process/interfaces/WorkflowDescriptorSink.h"
#include "tests/support/TestSupport.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace ondrel {

namespace {

// A process controller as the delegate sees it.
class FakeProcessController : public Object {
    ONDREL_OBJECT(FakeProcessController, Object)
public:
    bool isProcessing() const { return m_processing.load(); }
    void setProcessing(bool processing) {
        willChangeValueForKey(QStringLiteral("processing"));
        m_processing.store(processing);
        didChangeValueForKey(QStringLiteral("processing"));
    }
    qint64 operationCount() const { return m_operationCount.load(); }
    void setOperationCount(qint64 count) {
        willChangeValueForKey(QStringLiteral("operationCount"));
        m_operationCount.store(count);
        didChangeValueForKey(QStringLiteral("operationCount"));
    }

private:
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

class FakeRouting : public AudioOutputRouting {
public:
    explicit FakeRouting(int outputChannels) : channels(outputChannels) {}
    int numberOfOutputChannels() override { return channels; }
    void tieInputChannel(int input, int output) override { ties.emplace_back(input, output); }
    int channels;
    std::vector<std::pair<int, int>> ties;
};

// Answers a set button; may run something while "shown".
class ScriptedPrompt : public TerminationPrompt {
public:
    explicit ScriptedPrompt(int button) : answer(button) {}
    int runModal(const QString& message, const QString& informative, const QStringList& buttons) override {
        ++shown;
        messageText = message;
        informativeText = informative;
        buttonTitles = buttons;
        if (whileShown)
            whileShown();
        return answer;
    }
    int answer;
    int shown = 0;
    QString messageText;
    QString informativeText;
    QStringList buttonTitles;
    std::function<void()> whileShown;
};

class RecordingApplication : public TerminableApplication {
public:
    void replyToApplicationShouldTerminate(bool shouldTerminate) override { replies.push_back(shouldTerminate); }
    std::vector<bool> replies;
};

class RecordingFileProcesses : public FileProcessCommandExecutor {
public:
    void executeFileProcessCommand(const ObjectPtr& command) override { commands.push_back(command); }
    std::vector<ObjectPtr> commands;
};

class RecordingDescriptors : public WorkflowDescriptorSink {
public:
    void addWorkflowDescriptorsObject(const ObjectPtr& descriptor) override { descriptors.push_back(descriptor); }
    std::vector<ObjectPtr> descriptors;
};

// Stands in for the workflow library's descriptor: archivable, with a name.
class TestWorkflowDescriptor : public Object {
    ONDREL_OBJECT(TestWorkflowDescriptor, Object)
public:
    QString name() const { return m_name; }
    void setName(const QString& name) { m_name = name; }
    bool isArchivable() const override { return true; }
    void encodeWithCoder(KeyedArchiver& coder) const override { coder.encodeString(m_name, QStringLiteral("name")); }
    void initWithCoder(const KeyedUnarchiver& coder) override { m_name = coder.decodeStringForKey(QStringLiteral("name")); }

private:
    QString m_name;
};

const ClassInfo& TestWorkflowDescriptor::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<TestWorkflowDescriptor, Object>(QStringLiteral("TestWorkflowDescriptor"))
            .property(QStringLiteral("name"), &TestWorkflowDescriptor::name, &TestWorkflowDescriptor::setName);
    return info;
}

class ApplicationDelegateTest : public ::testing::Test {
protected:
    void SetUp() override {
        FakeProcessController::staticClassInfo();
        TestWorkflowDescriptor::staticClassInfo();
        AddFilesFileProcessCommand::staticClassInfo();
        UserDefaults::resetStandardUserDefaults();
        LogController::resetSharedInstance();
        WorkflowController::resetSharedInstance();
        controllers = std::make_shared<FakeControllers>();
        application = std::make_shared<RecordingApplication>();
        ApplicationDelegate::setProcessControllerSource(controllers);
        ApplicationDelegate::setApplication(application);
    }

    void TearDown() override {
        delegate.reset();
        ApplicationDelegate::setAudioOutputRouting(nullptr);
        ApplicationDelegate::setProcessControllerSource(nullptr);
        ApplicationDelegate::setWorkflowDescriptorSink(nullptr);
        ApplicationDelegate::setFileProcessCommandExecutor(nullptr);
        ApplicationDelegate::setTerminationPrompt(nullptr);
        ApplicationDelegate::setApplication(nullptr);
        WorkflowController::resetSharedInstance();
        LogController::resetSharedInstance();
        UserDefaults::resetStandardUserDefaults();
    }

    // A launched delegate with its prompt.
    std::shared_ptr<ScriptedPrompt> launch(int answer) {
        auto prompt = std::make_shared<ScriptedPrompt>(answer);
        ApplicationDelegate::setTerminationPrompt(prompt);
        delegate = std::make_shared<ApplicationDelegate>();
        delegate->applicationWillFinishLaunching();
        return prompt;
    }

    static std::shared_ptr<UserDefaults> defaults() { return UserDefaults::standardUserDefaults(); }

    QString workflowPath() const { return home.filePath(QStringLiteral("Workflow.plist")); }

    TemporaryHome home;
    std::shared_ptr<FakeControllers> controllers;
    std::shared_ptr<RecordingApplication> application;
    std::shared_ptr<ApplicationDelegate> delegate;
};

// MARK: - Start-up

TEST_F(ApplicationDelegateTest, RegistersTheDelegateTableWithItsValues) {
    qunsetenv("EMAIL");
    delegate = std::make_shared<ApplicationDelegate>();
    const auto d = defaults();
    EXPECT_EQ(d->objectForKey("waveformWindowVisible"), QVariant(false));
    EXPECT_EQ(d->integerForKey("timeFormat"), 13);
    EXPECT_EQ(d->stringForKey("levelFormat"), "decibel");
    EXPECT_EQ(d->stringForKey("frequencyFormat"), "hz");
    EXPECT_EQ(d->stringForKey("loudnessFormat"), "LUFS");
    EXPECT_EQ(d->objectForKey("appleScriptRecordingEnabled"), QVariant(false));
    EXPECT_EQ(d->objectForKey("entitiesPredicateEnabled"), QVariant(false));
    EXPECT_FALSE(d->dataForKey("entitiesPredicate").isEmpty());
    EXPECT_FALSE(d->dataForKey("waveformColor").isEmpty());
    EXPECT_EQ(d->objectForKey("showActivityOnRunWorkflow"), QVariant(true));
    EXPECT_TRUE(d->objectForKey("MIDIChannel").isValid());
    EXPECT_EQ(d->integerForKey("MIDIChannel"), 0);
    EXPECT_EQ(d->objectForKey("Support_email"), QVariant(QString()));
    EXPECT_EQ(d->objectForKey("confirmRunWorkflow"), QVariant(true));
    EXPECT_EQ(d->objectForKey("AnalysisEnableTruePeak"), QVariant(false));
    // The welcome keys are nobody's: a first launch reads them false.
    EXPECT_FALSE(d->objectForKey("seenWelcomeAtLaunch").isValid());
    EXPECT_FALSE(d->objectForKey("showWelcomeAtLaunch").isValid());
    // Registered, not stored.
    EXPECT_TRUE(d->persistentDomain().isEmpty());
}

TEST_F(ApplicationDelegateTest, StoredValuesSurviveRegistrationAndARestart) {
    defaults()->setIntegerForKey(3, "timeFormat");
    defaults()->setObjectForKey(QStringLiteral("linear"), "levelFormat");
    defaults()->setBoolForKey(false, "confirmRunWorkflow");
    defaults()->setObjectForKey(QByteArray("mine"), "entitiesPredicate");
    defaults()->synchronize();
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(defaults()->integerForKey("timeFormat"), 3);
    EXPECT_EQ(defaults()->stringForKey("levelFormat"), "linear");
    EXPECT_FALSE(defaults()->boolForKey("confirmRunWorkflow"));
    EXPECT_EQ(defaults()->dataForKey("entitiesPredicate"), QByteArray("mine"));

    delegate.reset();
    UserDefaults::resetStandardUserDefaults();
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(defaults()->integerForKey("timeFormat"), 3);
    EXPECT_FALSE(defaults()->boolForKey("confirmRunWorkflow"));
    EXPECT_EQ(defaults()->stringForKey("frequencyFormat"), "hz");
}

TEST_F(ApplicationDelegateTest, SupportAddressComesFromTheEnvironment) {
    const QByteArray previous = qgetenv("EMAIL");
    const bool hadPrevious = qEnvironmentVariableIsSet("EMAIL");
    qputenv("EMAIL", "sound@example.org");
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(defaults()->stringForKey("Support_email"), "sound@example.org");
    if (hadPrevious)
        qputenv("EMAIL", previous);
    else
        qunsetenv("EMAIL");
}

TEST_F(ApplicationDelegateTest, PredicateDefaultFiltersOn48000) {
    delegate = std::make_shared<ApplicationDelegate>();
    VMKError error;
    const QVariant value = KeyedUnarchiver::unarchiveObjectWithData(defaults()->dataForKey("entitiesPredicate"), &error);
    const auto predicate = Variant::object<CompoundPredicate>(value);
    ASSERT_TRUE(predicate) << error.localizedDescription().toStdString();
    EXPECT_EQ(predicate->compoundPredicateType(), CompoundPredicate::CompoundPredicateType::And);
    ASSERT_EQ(predicate->subpredicates().size(), 1u);
    EXPECT_TRUE(predicate->isEqual(*ApplicationDelegate::defaultEntitiesPredicate()));

    const QVariantMap at48{{"sampleRate", 48000}};
    const QVariantMap at48double{{"sampleRate", 48000.0}};
    const QVariantMap at44{{"sampleRate", 44100}};
    const QVariantMap none{{"name", "x"}};
    EXPECT_TRUE(predicate->evaluateWithObject(QVariant(at48)));
    EXPECT_TRUE(predicate->evaluateWithObject(QVariant(at48double)));
    EXPECT_FALSE(predicate->evaluateWithObject(QVariant(at44)));
    EXPECT_FALSE(predicate->evaluateWithObject(QVariant(none)));
}

TEST_F(ApplicationDelegateTest, ColourDefaultIsTheProgramsGreen) {
    delegate = std::make_shared<ApplicationDelegate>();
    const auto color =
        Variant::object<Color>(KeyedUnarchiver::unarchiveObjectWithData(defaults()->dataForKey("waveformColor")));
    ASSERT_TRUE(color);
    EXPECT_DOUBLE_EQ(color->hueComponent(), 0.46);
    EXPECT_DOUBLE_EQ(color->saturationComponent(), 0.956);
    EXPECT_DOUBLE_EQ(color->brightnessComponent(), 0.7176);
    EXPECT_DOUBLE_EQ(color->alphaComponent(), 1.0);
    EXPECT_TRUE(color->isEqual(*Color::ondrelGreenColor()));
}

TEST_F(ApplicationDelegateTest, RoutingTiesChannelByChannelUpTo48) {
    auto wide = std::make_shared<FakeRouting>(64);
    ApplicationDelegate::setAudioOutputRouting(wide);
    delegate = std::make_shared<ApplicationDelegate>();
    ASSERT_EQ(wide->ties.size(), 48u);
    for (int i = 0; i < 48; ++i)
        EXPECT_EQ(wide->ties[size_t(i)], std::make_pair(i, i));

    auto stereo = std::make_shared<FakeRouting>(2);
    ApplicationDelegate::setAudioOutputRouting(stereo);
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_EQ(stereo->ties, (std::vector<std::pair<int, int>>{{0, 0}, {1, 1}}));

    auto none = std::make_shared<FakeRouting>(0);
    ApplicationDelegate::setAudioOutputRouting(none);
    delegate = std::make_shared<ApplicationDelegate>();
    EXPECT_TRUE(none->ties.empty());
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

TEST_F(ApplicationDelegateTest, RunningProcessesAreEitherControllersWork) {
    launch(TerminationPrompt::ThirdButton);
    EXPECT_FALSE(delegate->hasRunningProcesses());
    controllers->file->setProcessing(true);
    EXPECT_TRUE(delegate->hasRunningProcesses());
    controllers->file->setProcessing(false);
    controllers->audio->setProcessing(true);
    EXPECT_TRUE(delegate->hasRunningProcesses());
    EXPECT_TRUE(delegate->valueForKey("hasRunningProcesses").toBool());
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

TEST_F(ApplicationDelegateTest, NothingRunningTerminatesWithoutAsking) {
    auto prompt = launch(TerminationPrompt::FirstButton);
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateNow);
    EXPECT_EQ(prompt->shown, 0);
}

TEST_F(ApplicationDelegateTest, QuestionHasItsTextsAndThreeButtonsInOrder) {
    auto prompt = launch(TerminationPrompt::FirstButton);
    controllers->file->setProcessing(true);
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateCancel);
    ASSERT_EQ(prompt->shown, 1);
    EXPECT_EQ(prompt->messageText, VMKLocalizedString("Controller_terminateDuringOperations_title"));
    EXPECT_EQ(prompt->informativeText, VMKLocalizedString("Controller_terminateDuringOperations_message"));
    EXPECT_EQ(prompt->buttonTitles,
              (QStringList{VMKLocalizedString("Controller_terminateDuringOperations_dontQuit"),
                           VMKLocalizedString("Controller_terminateDuringOperations_quitNow"),
                           VMKLocalizedString("Controller_terminateDuringOperations_quitWhenDone")}));
}

TEST_F(ApplicationDelegateTest, SecondButtonTerminatesWithWorkRunning) {
    launch(TerminationPrompt::SecondButton);
    controllers->audio->setProcessing(true);
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateNow);
}

TEST_F(ApplicationDelegateTest, AnyOtherAnswerTerminatesNow) {
    launch(-1);
    controllers->audio->setProcessing(true);
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateNow);
}

TEST_F(ApplicationDelegateTest, ThirdButtonAfterTheWorkJustEndedTerminatesAtOnce) {
    auto prompt = launch(TerminationPrompt::ThirdButton);
    controllers->audio->setProcessing(true);
    prompt->whileShown = [&] { controllers->audio->setProcessing(false); };
    EXPECT_EQ(delegate->applicationShouldTerminate(), ApplicationDelegate::TerminateNow);
}

TEST_F(ApplicationDelegateTest, ThirdButtonWithWorkRunningTerminatesWhenTheLastWorkEnds) {
    launch(TerminationPrompt::ThirdButton);
    controllers->audio->setProcessing(true);
    controllers->file->setProcessing(true);
    controllers->audio->setOperationCount(2);
    application->replies.clear();
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
    ApplicationDelegate::setTerminationPrompt(std::make_shared<QuitWhenDoneTerminationPrompt>());
    delegate = std::make_shared<ApplicationDelegate>();
    delegate->applicationWillFinishLaunching();
    int ended = 0;
    auto app = std::make_shared<EventLoopApplication>([&] { ++ended; });
    ApplicationDelegate::setApplication(app);

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
    auto app = std::make_shared<EventLoopApplication>([&] { ++ended; });
    ApplicationDelegate::setApplication(app);

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

TEST_F(ApplicationDelegateTest, CancelledQuitAfterACommandDoesNotWait) {
    launch(TerminationPrompt::FirstButton);
    int ended = 0;
    auto app = std::make_shared<EventLoopApplication>([&] { ++ended; });
    ApplicationDelegate::setApplication(app);
    controllers->audio->setProcessing(true);
    EXPECT_FALSE(app->terminateAndWait(delegate));
    EXPECT_EQ(ended, 0);
    controllers->audio->setProcessing(false);
}

TEST_F(ApplicationDelegateTest, CancelledQuitLeavesTheLoopRunning) {
    launch(TerminationPrompt::FirstButton);
    int ended = 0;
    auto app = std::make_shared<EventLoopApplication>([&] { ++ended; });
    ApplicationDelegate::setApplication(app);
    controllers->file->setProcessing(true);
    app->terminate(delegate);
    EXPECT_FALSE(app->isTerminationPending());
    controllers->file->setProcessing(false);
    spinFor(20);
    EXPECT_EQ(ended, 0);
}

// MARK: - Opening files

TEST_F(ApplicationDelegateTest, OnlyWorkflowFilesStartNoFileProcess) {
    auto files = std::make_shared<RecordingFileProcesses>();
    auto library = std::make_shared<RecordingDescriptors>();
    ApplicationDelegate::setFileProcessCommandExecutor(files);
    ApplicationDelegate::setWorkflowDescriptorSink(library);
    delegate = std::make_shared<ApplicationDelegate>();

    auto descriptor = std::make_shared<TestWorkflowDescriptor>();
    descriptor->setName(QStringLiteral("Master"));
    const QString good = home.filePath(QStringLiteral("Master.ondrelworkflow"));
    QFile file(good);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(descriptor)));
    file.close();
    const QString broken = home.filePath(QStringLiteral("Broken.ondrelworkflow"));
    QFile brokenFile(broken);
    ASSERT_TRUE(brokenFile.open(QIODevice::WriteOnly));
    brokenFile.write("not an archive");
    brokenFile.close();

    delegate->openFiles({good, broken, home.filePath(QStringLiteral("Missing.ondrelworkflow")), good});
    EXPECT_TRUE(files->commands.empty());
    ASSERT_EQ(library->descriptors.size(), 2u);
    for (const auto& added : library->descriptors) {
        ASSERT_EQ(added->className(), "TestWorkflowDescriptor");
        EXPECT_EQ(added->valueForKey("name").toString(), "Master");
    }
}

TEST_F(ApplicationDelegateTest, OtherFilesGoToOneAddFilesCommandInOrder) {
    auto files = std::make_shared<RecordingFileProcesses>();
    auto library = std::make_shared<RecordingDescriptors>();
    ApplicationDelegate::setFileProcessCommandExecutor(files);
    ApplicationDelegate::setWorkflowDescriptorSink(library);
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
