#include "process/application/ApplicationDelegate.h"

#include "core/values/Color.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/files/URL.h"
#include "core/storage/UserDefaults.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/interfaces/AudioOutputRouting.h"
#include "process/interfaces/FileProcessCommandExecutor.h"
#include "process/interfaces/ProcessControllerSource.h"
#include "process/interfaces/ProcessInterfaces.h"
#include "process/interfaces/TerminableApplication.h"
#include "process/interfaces/TerminationPrompt.h"
#include "process/workflow/WorkflowController.h"
#include "process/interfaces/WorkflowDescriptorSink.h"

#include <QtCore/QFile>

#include <algorithm>

namespace ondrel {

namespace {

const QString kProcessingKey = QStringLiteral("processing");
const QString kOperationCountKey = QStringLiteral("operationCount");
const QString kWorkflowExtension = QStringLiteral("ondrelworkflow");
const QString kAddFilesCommandClass = QStringLiteral("AddFilesFileProcessCommand");

bool isProcessing(const ObjectPtr& controller) {
    return controller && controller->valueForKey(kProcessingKey).toBool();
}

void log(unsigned level, const QString& key, const QString& argument = {}) {
    QString text = VMKLocalizedString(key);
    if (!argument.isNull())
        text = text.arg(argument);
    LogController::sharedInstance()->logWithLevel(level, text);
}

} // namespace

const ClassInfo& ApplicationDelegate::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ApplicationDelegate, Object>(QStringLiteral("ApplicationDelegate"))
                                       .property(QStringLiteral("hasRunningProcesses"),
                                                 &ApplicationDelegate::hasRunningProcesses);
    return info;
}

std::shared_ptr<CompoundPredicate> ApplicationDelegate::defaultEntitiesPredicate() {
    auto sampleRate =
        Predicate::predicateWithFormat(QStringLiteral("sampleRate == %@"), {QVariant::fromValue(qint64(48000))});
    return Predicate::andPredicateWithSubpredicates({std::move(sampleRate)});
}

QString ApplicationDelegate::defaultSupportEmail() {
    return QString::fromLocal8Bit(qgetenv("EMAIL")).trimmed();
}

// MARK: - Start-up

ApplicationDelegate::ApplicationDelegate() {
    routeAudioOutputs();
    // A folder that can't be made is no reason not to start.
    const URL ondrelDirectory = URL::ondrelDirectory();
    if (!ondrelDirectory.existsAsDirectory())
        ondrelDirectory.createDirectory();
    registerDefaults();
}

// The observations end first: once they are gone no handler runs, on any
// thread.
ApplicationDelegate::~ApplicationDelegate() { m_observations.clear(); }

void ApplicationDelegate::routeAudioOutputs() {
    const auto routing = ProcessInterfaces::audioOutputRouting();
    if (!routing)
        return;
    const int channels = std::min(routing->numberOfOutputChannels(), MaximumRoutedChannels);
    for (int channel = 0; channel < channels; ++channel)
        routing->tieInputChannel(channel, channel);
}

void ApplicationDelegate::registerDefaults() {
    const QByteArray predicate =
        KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(defaultEntitiesPredicate()));
    const QByteArray color = KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(Color::ondrelGreenColor()));
    UserDefaults::standardUserDefaults()->registerDefaults({
        {QStringLiteral("waveformWindowVisible"), false},
        {QStringLiteral("timeFormat"), qint64(13)},
        {QStringLiteral("levelFormat"), QStringLiteral("decibel")},
        {QStringLiteral("frequencyFormat"), QStringLiteral("hz")},
        {QStringLiteral("loudnessFormat"), QStringLiteral("LUFS")},
        {QStringLiteral("appleScriptRecordingEnabled"), false},
        {QStringLiteral("entitiesPredicateEnabled"), false},
        {QStringLiteral("entitiesPredicate"), predicate},
        {QStringLiteral("waveformColor"), color},
        {QStringLiteral("showActivityOnRunWorkflow"), true},
        {QStringLiteral("MIDIChannel"), qint64(0)},
        {QStringLiteral("Support_email"), defaultSupportEmail()},
        {QStringLiteral("confirmRunWorkflow"), true},
        {QStringLiteral("AnalysisEnableTruePeak"), false},
    });
}

void ApplicationDelegate::applicationWillFinishLaunching() {
    const auto source = ProcessInterfaces::processControllerSource();
    if (!source || m_launched)
        return;
    m_launched = true;
    auto observe = [this](const ObjectPtr& controller, const QString& key) {
        if (controller)
            m_observations.push_back(
                controller->observe(key, 0, [this](const KeyValueChangeInfo&) { workDidChange(); }));
    };
    // Asking for them is what makes both controllers, audio first.
    m_audioProcessController = source->audioProcessController();
    observe(m_audioProcessController, kProcessingKey);
    m_fileProcessController = source->fileProcessController();
    observe(m_fileProcessController, kProcessingKey);
    // Work also ends when the queues empty out.
    observe(m_audioProcessController, kOperationCountKey);
    observe(m_fileProcessController, kOperationCountKey);
}

// MARK: - Opening files

void ApplicationDelegate::openFiles(const QStringList& paths) {
    QVariantList items;
    for (const QString& path : paths) {
        const URL url = URL::fileURLWithPath(path);
        if (url.pathExtension() != kWorkflowExtension) {
            items.append(QVariant::fromValue(url));
            continue;
        }
        // A file that can't be read or unarchived adds nothing.
        QFile file(url.path());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const ObjectPtr descriptor = Variant::object(KeyedUnarchiver::unarchiveObjectWithData(file.readAll()));
        const auto sink = ProcessInterfaces::workflowDescriptorSink();
        if (descriptor && sink)
            sink->addWorkflowDescriptorsObject(descriptor);
    }
    if (items.isEmpty())
        return;

    const auto executor = ProcessInterfaces::fileProcessCommandExecutor();
    const ObjectPtr command = ClassRegistry::create(kAddFilesCommandClass);
    if (!executor || !command) {
        log(LogController::Error, QStringLiteral("ApplicationDelegate_log_error_cannotAddFiles"),
            QString::number(items.size()));
        return;
    }
    command->setValueForKey(items, QStringLiteral("items"));
    executor->executeFileProcessCommand(command);
}

// MARK: - Quitting

bool ApplicationDelegate::hasRunningProcesses() const {
    const auto source = ProcessInterfaces::processControllerSource();
    if (!source)
        return false;
    return isProcessing(source->audioProcessController()) || isProcessing(source->fileProcessController());
}

ApplicationDelegate::TerminateReply ApplicationDelegate::applicationShouldTerminate() {
    // Always written at quitting, changed or not.
    WorkflowController::sharedInstance()->save(true);
    if (!hasRunningProcesses())
        return TerminateNow;

    const auto prompt = ProcessInterfaces::terminationPrompt();
    if (!prompt)
        return TerminateNow;
    const int answer = prompt->runModal(
        VMKLocalizedString(QStringLiteral("Controller_terminateDuringOperations_title")),
        VMKLocalizedString(QStringLiteral("Controller_terminateDuringOperations_message")),
        {VMKLocalizedString(QStringLiteral("Controller_terminateDuringOperations_dontQuit")),
         VMKLocalizedString(QStringLiteral("Controller_terminateDuringOperations_quitNow")),
         VMKLocalizedString(QStringLiteral("Controller_terminateDuringOperations_quitWhenDone"))});
    switch (answer) {
    case TerminationPrompt::FirstButton:
        return TerminateCancel;
    case TerminationPrompt::SecondButton:
        return TerminateNow;
    case TerminationPrompt::ThirdButton:
        return hasRunningProcesses() ? TerminateLater : TerminateNow;
    default:
        return TerminateNow;
    }
}

void ApplicationDelegate::applicationWillTerminate() {}

// Each change of "processing" or "operationCount" with nothing running tells
// the application to go on with a pending termination; with none pending the
// application ignores it. Told on whichever thread ended the work.
void ApplicationDelegate::workDidChange() {
    if (hasRunningProcesses())
        return;
    if (const auto application = ProcessInterfaces::application())
        application->replyToApplicationShouldTerminate(true);
}

} // namespace ondrel
