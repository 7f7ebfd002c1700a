#include "render/controller/AudioProcessController.h"

#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/files/URL.h"
#include "core/predicates/Predicate.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKError.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessGroup.h"

#include <algorithm>

namespace ondrel {

namespace {

const QString kAudioProcessGroupsKey = QStringLiteral("audioProcessGroups");
const QString kProcessingKey = QStringLiteral("processing");

std::recursive_mutex& sharedMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

// The shared instance lives for the program (never destroyed at exit).
std::shared_ptr<AudioProcessController>& sharedPointer() {
    static auto* shared = new std::shared_ptr<AudioProcessController>();
    return *shared;
}

} // namespace

const ClassInfo& AudioProcessController::staticClassInfo() {
    using C = AudioProcessController;
    // Only the shared instance exists: never made by name.
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("AudioProcessController"))
                                       .property(kProcessingKey, &C::isProcessing)
                                       .property(kAudioProcessGroupsKey, &C::audioProcessGroups)
                                       .setAbstract();
    return info;
}

std::shared_ptr<AudioProcessController> AudioProcessController::sharedInstance() {
    std::lock_guard lock(sharedMutex());
    auto& shared = sharedPointer();
    if (!shared) {
        // Stored before init runs: the history entries init makes ask for it.
        shared = std::make_shared<AudioProcessController>();
        shared->init();
    }
    return shared;
}

void AudioProcessController::resetSharedInstance() {
    std::shared_ptr<AudioProcessController> old;
    {
        std::lock_guard lock(sharedMutex());
        old = std::move(sharedPointer());
    }
}

AudioProcessController::AudioProcessController()
    : m_audioProcessGroups(kProcessingKey, [](const AudioProcessGroup& group) { return group.isProcessing(); }) {}

AudioProcessController::~AudioProcessController() {
    if (m_terminateObserver)
        NotificationCenter::defaultCenter().removeObserver(m_terminateObserver);
    // A quit: the groups keep their rows for the next start, also those
    // still held elsewhere that go later.
    for (const auto& group : m_audioProcessGroups.takeAll())
        group->keepHistoryRow();
    // The rows written so far reach the file before the program goes on.
    if (m_database)
        AudioProcess::writeQueue().sync([] {});
}

void AudioProcessController::init() {
    openDatabase();
    if (!m_database)
        return;
    // A quit leaves the rows as they are: what is still queued is written first.
    m_terminateObserver = NotificationCenter::defaultCenter().addObserver(
        ApplicationWillTerminateNotification, nullptr, [](const Notification&) { AudioProcess::writeQueue().sync([] {}); });
    std::vector<qint64> IDs;
    m_database->executeStatement(QStringLiteral("SELECT audioProcessGroupID FROM AudioProcessGroup"), nullptr,
                                 [&IDs](VMKDatabaseQuery& query) {
                                     while (query.evaluateNextRow())
                                         IDs.push_back(query.longLongValueAtColumn(0));
                                 });
    for (qint64 ID : IDs)
        if (auto group = AudioProcessGroup::initWithID(ID))
            insertObjectInAudioProcessGroupsAtIndex(std::move(group), -1);
}

void AudioProcessController::openDatabase() {
    VMKError error;
    const URL folder = URL::supportDirectory(&error);
    if (folder.isEmpty()) {
        LogController::sharedInstance()->logWithLevel(
            LogController::Error, VMKLocalizedString(QStringLiteral("AudioProcessController_log_error_noHistory"))
                                      .arg(error.localizedDescription()));
        return;
    }
    const URL url = folder.URLByAppendingPathComponent(QStringLiteral("AudioProcess"))
                        .URLByAppendingPathExtension(QStringLiteral("db"));
    const bool isNew = !url.existsAsFile();
    m_database = VMKDatabaseController::initWithURL(url);
    if (isNew) {
        m_database->executeStatement(QStringLiteral("CREATE TABLE [Global] (version INTEGER);"));
        m_database->executeStatement(QStringLiteral("INSERT INTO Global (version) VALUES (1);"));
        m_database->executeStatement(QStringLiteral(
            "CREATE TABLE AudioProcessGroup (audioProcessGroupID INTEGER PRIMARY KEY NOT NULL, name TEXT, rehearse INTEGER);"));
        m_database->executeStatement(
            QStringLiteral("CREATE TABLE AudioProcess (audioProcessID INTEGER PRIMARY KEY NOT NULL, audioProcessGroupID "
                           "INTEGER, startDate REAL, endDate REAL, hasError INTEGER);"));
    }
    // There is one version so far: it is read, and nothing migrates.
    m_database->executeStatement(QStringLiteral("SELECT version FROM Global"), nullptr, [](VMKDatabaseQuery& query) {
        if (query.evaluateNextRow())
            (void)query.intValueAtColumn(0);
    });
}

void AudioProcessController::executeAudioProcessCommandGroup(const std::shared_ptr<AudioProcessCommandGroup>& commandGroup) {
    Q_ASSERT(commandGroup);
    if (!commandGroup)
        return;
    auto group = AudioProcessGroup::initWithProcessCommandGroup(*commandGroup);
    insertObjectInAudioProcessGroupsAtIndex(group, -1);
    group->execute();
}

void AudioProcessController::executeStatement(const QString& sql, DispatchQueue* queue,
                                              std::function<void(VMKDatabaseQuery&)> handler) {
    if (m_database)
        m_database->executeStatement(sql, queue, std::move(handler));
}

// MARK: - Groups

std::vector<std::shared_ptr<AudioProcessGroup>> AudioProcessController::audioProcessGroups() const {
    return m_audioProcessGroups.items();
}

qsizetype AudioProcessController::countOfAudioProcessGroups() const { return m_audioProcessGroups.count(); }

std::shared_ptr<AudioProcessGroup> AudioProcessController::objectInAudioProcessGroupsAtIndex(qsizetype index) const {
    return m_audioProcessGroups.at(index);
}

qsizetype AudioProcessController::indexOfObjectInAudioProcessGroups(const AudioProcessGroup* group) const {
    return m_audioProcessGroups.indexOf(group);
}

std::vector<std::shared_ptr<AudioProcessGroup>>
AudioProcessController::audioProcessGroupsWithPredicate(const Predicate& predicate) const {
    // Evaluated outside the lock: a predicate reads the groups' keys.
    return Predicate::filteredArray(audioProcessGroups(), predicate);
}

void AudioProcessController::insertObjectInAudioProcessGroupsAtIndex(std::shared_ptr<AudioProcessGroup> group,
                                                                     qsizetype index) {
    if (!group)
        return;
    std::weak_ptr<AudioProcessController> weak = std::static_pointer_cast<AudioProcessController>(shared_from_this());
    const qsizetype placed = m_audioProcessGroups.insert(std::move(group), index, [weak] {
        if (auto self = weak.lock())
            self->updateProcessing();
    });
    willChange(KeyValueChange::Insertion, IndexSet(placed), kAudioProcessGroupsKey);
    didChange(KeyValueChange::Insertion, IndexSet(placed), kAudioProcessGroupsKey);
    updateProcessing();
}

void AudioProcessController::removeObjectFromAudioProcessGroupsAtIndex(qsizetype index) {
    removeAudioProcessGroupsAtIndexes(IndexSet(index));
}

void AudioProcessController::removeAudioProcessGroupsAtIndexes(const IndexSet& indexes) {
    const IndexSet removed = m_audioProcessGroups.remove(indexes);
    if (removed.isEmpty())
        return;
    willChange(KeyValueChange::Removal, removed, kAudioProcessGroupsKey);
    didChange(KeyValueChange::Removal, removed, kAudioProcessGroupsKey);
    updateProcessing();
    // The groups go here, with their rows and their processes' rows, unless
    // held elsewhere.
}

void AudioProcessController::updateProcessing() {
    if (!m_audioProcessGroups.updateProcessing())
        return;
    willChangeValueForKey(kProcessingKey);
    didChangeValueForKey(kProcessingKey);
}

} // namespace ondrel
