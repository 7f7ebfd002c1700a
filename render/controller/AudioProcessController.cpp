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

AudioProcessController::AudioProcessController() = default;

AudioProcessController::~AudioProcessController() {
    if (m_terminateObserver)
        NotificationCenter::defaultCenter().removeObserver(m_terminateObserver);
    std::vector<Entry> entries;
    {
        std::lock_guard lock(m_audioProcessGroupsLock);
        entries.swap(m_audioProcessGroups);
    }
    // A quit: the groups keep their rows for the next start, also those
    // still held elsewhere that go later.
    for (auto& entry : entries) {
        entry.processingObservation.reset();
        entry.group->keepHistoryRow();
    }
    entries.clear();
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
    std::lock_guard lock(m_audioProcessGroupsLock);
    std::vector<std::shared_ptr<AudioProcessGroup>> groups;
    groups.reserve(m_audioProcessGroups.size());
    for (const auto& entry : m_audioProcessGroups)
        groups.push_back(entry.group);
    return groups;
}

qsizetype AudioProcessController::countOfAudioProcessGroups() const {
    std::lock_guard lock(m_audioProcessGroupsLock);
    return qsizetype(m_audioProcessGroups.size());
}

std::shared_ptr<AudioProcessGroup> AudioProcessController::objectInAudioProcessGroupsAtIndex(qsizetype index) const {
    std::lock_guard lock(m_audioProcessGroupsLock);
    if (index < 0 || size_t(index) >= m_audioProcessGroups.size())
        return nullptr;
    return m_audioProcessGroups[size_t(index)].group;
}

qsizetype AudioProcessController::indexOfObjectInAudioProcessGroups(const AudioProcessGroup* group) const {
    std::lock_guard lock(m_audioProcessGroupsLock);
    const auto found = std::find_if(m_audioProcessGroups.begin(), m_audioProcessGroups.end(),
                                    [group](const Entry& entry) { return entry.group.get() == group; });
    return found == m_audioProcessGroups.end() ? -1 : qsizetype(found - m_audioProcessGroups.begin());
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
    Entry entry{group, group->observe(kProcessingKey, 0, [weak](const KeyValueChangeInfo&) {
                    if (auto self = weak.lock())
                        self->updateProcessing();
                })};
    qsizetype placed;
    {
        std::lock_guard lock(m_audioProcessGroupsLock);
        const auto count = qsizetype(m_audioProcessGroups.size());
        placed = index < 0 || index > count ? count : index;
        m_audioProcessGroups.insert(m_audioProcessGroups.begin() + placed, std::move(entry));
    }
    willChange(KeyValueChange::Insertion, IndexSet(placed), kAudioProcessGroupsKey);
    didChange(KeyValueChange::Insertion, IndexSet(placed), kAudioProcessGroupsKey);
    updateProcessing();
}

void AudioProcessController::removeObjectFromAudioProcessGroupsAtIndex(qsizetype index) {
    removeAudioProcessGroupsAtIndexes(IndexSet(index));
}

void AudioProcessController::removeAudioProcessGroupsAtIndexes(const IndexSet& indexes) {
    std::vector<Entry> removed;
    IndexSet valid;
    {
        std::lock_guard lock(m_audioProcessGroupsLock);
        const auto count = qsizetype(m_audioProcessGroups.size());
        for (qsizetype index : indexes)
            if (index >= 0 && index < count)
                valid.add(index);
        // From the back, so the indexes still to remove stay where they were.
        for (auto it = valid.indexes().rbegin(); it != valid.indexes().rend(); ++it) {
            removed.push_back(std::move(m_audioProcessGroups[size_t(*it)]));
            m_audioProcessGroups.erase(m_audioProcessGroups.begin() + *it);
        }
    }
    if (valid.isEmpty())
        return;
    // Outside the lock: a change being told on another thread waits for it
    // in updateProcessing.
    for (auto& entry : removed)
        entry.processingObservation.reset();
    willChange(KeyValueChange::Removal, valid, kAudioProcessGroupsKey);
    didChange(KeyValueChange::Removal, valid, kAudioProcessGroupsKey);
    updateProcessing();
    // The groups go here, with their rows and their processes' rows, unless
    // held elsewhere.
}

// Computed and stored under the lock, told after it: of two changes on two
// threads, the later computation is the one that stays.
void AudioProcessController::updateProcessing() {
    bool changed;
    {
        std::lock_guard lock(m_audioProcessGroupsLock);
        const bool any = std::any_of(m_audioProcessGroups.begin(), m_audioProcessGroups.end(),
                                     [](const Entry& entry) { return entry.group->isProcessing(); });
        changed = m_processing.exchange(any) != any;
    }
    if (!changed)
        return;
    willChangeValueForKey(kProcessingKey);
    didChangeValueForKey(kProcessingKey);
}

} // namespace ondrel
