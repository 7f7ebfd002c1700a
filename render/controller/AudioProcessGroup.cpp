#include "render/controller/AudioProcessGroup.h"

#include "core/dispatch/BlockOperation.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/OperationQueue.h"
#include "core/predicates/Predicate.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKLocalizedString.h"
#include "fileprocesses/FileProcessCommand.h"
#include "fileprocesses/FileProcessController.h"
#include "fileprocesses/notifications/UserNotificationCenter.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "render/controller/AudioProcess.h"
#include "render/controller/AudioProcessController.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"
#include "render/operation/AudioProcessOperation.h"

#include <QtCore/QVariantList>

#include <algorithm>
#include <set>

namespace ondrel {

namespace {

const QString kProcessingKey = QStringLiteral("processing");
const QString kSourceURLsKey = QStringLiteral("sourceURLs");
const QString kResultURLKey = QStringLiteral("resultURL");
const QString kDestinationURLKey = QStringLiteral("destinationURL");

// A location from a dictionary value: a URL, or a path as text.
URL urlOfValue(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<URL>())
        return value.value<URL>();
    const QString path = value.toString();
    return path.isEmpty() ? URL() : URL::fileURLWithPath(path);
}

// The locations of a dictionary value: a list of them, or one.
std::vector<URL> urlsOfValue(const QVariant& value) {
    std::vector<URL> urls;
    if (value.metaType() == QMetaType::fromType<URL>() || value.typeId() == QMetaType::QString) {
        if (const URL url = urlOfValue(value); !url.isEmpty())
            urls.push_back(url);
        return urls;
    }
    const QVariantList list = value.typeId() == QMetaType::QStringList ? QVariant(value.toStringList()).toList()
                                                                        : value.toList();
    for (const QVariant& item : list)
        if (const URL url = urlOfValue(item); !url.isEmpty())
            urls.push_back(url);
    return urls;
}

void logError(const QString& key, const VMKError& error) {
    LogController::sharedInstance()->logWithLevel(LogController::Error,
                                                  VMKLocalizedString(key).arg(error.localizedDescription()));
}

} // namespace

const ClassInfo& AudioProcessGroup::staticClassInfo() {
    using C = AudioProcessGroup;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("AudioProcessGroup"))
                                       .property(QStringLiteral("ID"), &C::ID)
                                       .property(QStringLiteral("name"), &C::name)
                                       .property(QStringLiteral("rehearse"), &C::isRehearse)
                                       .property(kProcessingKey, &C::isProcessing)
                                       .property(QStringLiteral("startDate"), &C::startDate)
                                       .property(QStringLiteral("endDate"), &C::endDate)
                                       .property(QStringLiteral("countOfAudioProcesses"), &C::countOfAudioProcesses)
                                       .property(QStringLiteral("audioProcesses"), &C::enumeratorOfAudioProcesses);
    return info;
}

std::shared_ptr<AudioProcessGroup> AudioProcessGroup::initWithProcessCommandGroup(const AudioProcessCommandGroup& commandGroup) {
    auto group = std::make_shared<AudioProcessGroup>();
    group->m_name = commandGroup.name().value_or(QString());
    group->m_rehearse = commandGroup.rehearse();
    group->m_executable = true;
    for (const ObjectPtr& command : commandGroup.fileProcessCommands()) {
        // The compiler puts only file process commands here.
        auto fileProcessCommand = std::dynamic_pointer_cast<FileProcessCommand>(command);
        Q_ASSERT_X(fileProcessCommand, "AudioProcessGroup", "file process commands are FileProcessCommands");
        if (fileProcessCommand)
            group->m_fileProcessCommands.push_back(std::move(fileProcessCommand));
    }

    group->m_database = AudioProcessController::sharedInstance()->database();
    if (const auto database = group->m_database) {
        qint64 rowID = 0;
        database->executeStatement(QStringLiteral("INSERT INTO AudioProcessGroup (name, rehearse) VALUES (?, ?)"),
                                   nullptr, [&](VMKDatabaseQuery& query) {
                                       const quint64 failures = database->failureCount();
                                       query.setStringValue(group->m_name, 0);
                                       query.setIntValue(group->m_rehearse ? 1 : 0, 1);
                                       query.execute();
                                       if (database->failureCount() == failures)
                                           rowID = query.lastInsertedRowID();
                                   });
        group->m_ID = rowID;
    }

    // A skipped command (its file is being analysed) costs only itself.
    std::vector<std::shared_ptr<AudioProcess>> processes;
    for (const auto& command : commandGroup.audioProcessCommands())
        if (command)
            if (auto process = AudioProcess::initWithAudioProcessCommand(*command, group))
                processes.push_back(std::move(process));
    std::lock_guard lock(group->m_mutex);
    group->m_audioProcesses = std::move(processes);
    return group;
}

std::shared_ptr<AudioProcessGroup> AudioProcessGroup::initWithID(qint64 ID) {
    const auto database = AudioProcessController::sharedInstance()->database();
    if (!database)
        return nullptr;
    auto group = std::make_shared<AudioProcessGroup>();
    bool found = false;
    database->executeStatement(QStringLiteral("SELECT name, rehearse FROM AudioProcessGroup WHERE audioProcessGroupID = ?"),
                               nullptr, [&](VMKDatabaseQuery& query) {
                                   query.setLongLongValue(ID, 0);
                                   if (!query.evaluateNextRow())
                                       return;
                                   found = true;
                                   group->m_name = query.stringValueAtColumn(0);
                                   group->m_rehearse = query.intValueAtColumn(1) != 0;
                               });
    if (!found)
        return nullptr;
    group->m_ID = ID;
    group->m_database = database;

    std::vector<qint64> processIDs;
    database->executeStatement(QStringLiteral("SELECT audioProcessID FROM AudioProcess WHERE audioProcessGroupID = ?"),
                               nullptr, [&](VMKDatabaseQuery& query) {
                                   query.setLongLongValue(ID, 0);
                                   while (query.evaluateNextRow())
                                       processIDs.push_back(query.longLongValueAtColumn(0));
                               });
    std::vector<std::shared_ptr<AudioProcess>> processes;
    for (qint64 processID : processIDs)
        if (auto process = AudioProcess::initWithID(processID, group))
            processes.push_back(std::move(process));
    std::lock_guard lock(group->m_mutex);
    group->m_audioProcesses = std::move(processes);
    return group;
}

AudioProcessGroup::AudioProcessGroup() = default;

AudioProcessGroup::~AudioProcessGroup() {
    if (m_ID == 0 || !m_database || m_keepsHistoryRow.load())
        return;
    m_database->executeStatement(QStringLiteral("DELETE FROM AudioProcessGroup WHERE audioProcessGroupID = ?"), nullptr,
                                 [this](VMKDatabaseQuery& query) {
                                     query.setLongLongValue(m_ID, 0);
                                     query.execute();
                                 });
    // The processes delete their own rows as they go with this group.
}

QDateTime AudioProcessGroup::startDate() const {
    QDateTime earliest;
    for (const auto& process : enumeratorOfAudioProcesses()) {
        const QDateTime date = process->startDate();
        if (date.isValid() && (!earliest.isValid() || date < earliest))
            earliest = date;
    }
    return earliest;
}

QDateTime AudioProcessGroup::endDate() const {
    QDateTime latest;
    for (const auto& process : enumeratorOfAudioProcesses()) {
        const QDateTime date = process->endDate();
        if (date.isValid() && (!latest.isValid() || date > latest))
            latest = date;
    }
    return latest;
}

void AudioProcessGroup::execute() {
    std::vector<std::shared_ptr<AudioProcess>> processes;
    {
        std::lock_guard lock(m_mutex);
        Q_ASSERT_X(m_executable, "AudioProcessGroup::execute", "a group runs once, and a restored one never");
        if (!m_executable)
            return;
        m_executable = false;
        processes = m_audioProcesses;
    }
    auto queue = std::make_shared<OperationQueue>();
    queue->setName(QStringLiteral("com.velmark-works.ondrel.process-queue"));
    queue->setMaxConcurrentOperationCount(MaximumConcurrentRenders);
    queue->setSuspended(true);

    std::weak_ptr<AudioProcessGroup> weak = std::static_pointer_cast<AudioProcessGroup>(shared_from_this());
    auto completion = BlockOperation::blockOperationWithBlock([weak] {
        if (auto self = weak.lock())
            self->complete();
    });
    for (const auto& process : processes) {
        if (auto operation = process->operation()) {
            queue->addOperation(operation);
            completion->addDependency(operation);
        }
    }
    queue->addOperation(completion);
    {
        std::lock_guard lock(m_mutex);
        m_operationQueue = queue;
    }
    // Processing before the queue resumes: a group without renders
    // completes at once, and its end must not come before its start.
    setProcessing(true);
    queue->setSuspended(false);
}

void AudioProcessGroup::stop() {
    if (const auto queue = operationQueue())
        queue->cancelAllOperations();
    setProcessing(false);
}

std::shared_ptr<OperationQueue> AudioProcessGroup::operationQueue() const {
    std::lock_guard lock(m_mutex);
    return m_operationQueue;
}

void AudioProcessGroup::queueReplaceInstructions(const QVariantMap& instructions) {
    std::lock_guard lock(m_mutex);
    m_replaceInstructions.push_back(instructions);
}

void AudioProcessGroup::queueFileProcessURL(const URL& url) {
    std::lock_guard lock(m_mutex);
    m_fileProcessURLs.push_back(url);
}

std::vector<URL> AudioProcessGroup::fileProcessURLs() const {
    std::lock_guard lock(m_mutex);
    return m_fileProcessURLs;
}

std::vector<QVariantMap> AudioProcessGroup::replaceInstructions() const {
    std::lock_guard lock(m_mutex);
    return m_replaceInstructions;
}

void AudioProcessGroup::replace() {
    std::vector<QVariantMap> instructions;
    {
        std::lock_guard lock(m_mutex);
        instructions.swap(m_replaceInstructions);
    }

    // 1. Every source of the run is removed at the end, unless a result took
    //    its place under its own name.
    std::set<URL> sources;
    for (const QVariantMap& dictionary : instructions)
        for (const URL& url : urlsOfValue(dictionary.value(kSourceURLsKey)))
            sources.insert(url);

    // 2. Each finished file goes to its result location.
    for (const QVariantMap& dictionary : instructions) {
        const URL from = urlOfValue(dictionary.value(kResultURLKey));
        const URL to = urlOfValue(dictionary.value(kDestinationURLKey));
        URL target = to;
        if (to.existsAsFile()) {
            // The name as the directory holds it: on a case-sensitive file
            // system that is the name itself.
            target = to.URLByDeletingLastPathComponent().URLByAppendingPathComponent(to.lastPathComponent());
            VMKError error;
            if (!target.deleteItem(&error)) {
                logError(QStringLiteral("AudioProcessGroup_log_error_couldNotRemove"), error);
                continue;
            }
            sources.erase(target);
        }
        VMKError error;
        if (!VMKAudioFileWriterAudioProcessor::installFile(from, target, &error))
            logError(QStringLiteral("AudioProcessGroup_log_error_couldNotMove"), error);
    }

    // 3. Whatever is left goes, also a source whose result could not be
    //    moved in: the run asked for the source to be replaced.
    for (const URL& source : sources) {
        VMKError error;
        if (!source.deleteItem(&error))
            logError(QStringLiteral("AudioProcessGroup_log_error_couldNotRemove"), error);
    }
}

qsizetype AudioProcessGroup::countOfAudioProcesses() const {
    std::lock_guard lock(m_mutex);
    return qsizetype(m_audioProcesses.size());
}

std::vector<std::shared_ptr<AudioProcess>> AudioProcessGroup::enumeratorOfAudioProcesses() const {
    std::lock_guard lock(m_mutex);
    return m_audioProcesses;
}

std::shared_ptr<AudioProcess> AudioProcessGroup::objectInAudioProcessesAtIndex(qsizetype index) const {
    std::lock_guard lock(m_mutex);
    if (index < 0 || size_t(index) >= m_audioProcesses.size())
        return nullptr;
    return m_audioProcesses[size_t(index)];
}

std::vector<std::shared_ptr<AudioProcess>> AudioProcessGroup::audioProcessesWithPredicate(const Predicate& predicate) const {
    // Evaluated outside the lock: a predicate reads the processes' keys.
    return Predicate::filteredArray(enumeratorOfAudioProcesses(), predicate);
}

void AudioProcessGroup::keepHistoryRow() {
    m_keepsHistoryRow.store(true);
    for (const auto& process : enumeratorOfAudioProcesses())
        process->keepHistoryRow();
}

// MARK: - Private

void AudioProcessGroup::setProcessing(bool processing) {
    if (m_processing.exchange(processing, std::memory_order_acq_rel) == processing)
        return;
    willChangeValueForKey(kProcessingKey);
    didChangeValueForKey(kProcessingKey);
}

// On a thread of the queue, once every render has ended, however it ended.
void AudioProcessGroup::complete() {
    replace();
    setProcessing(false);

    UserNotification notification;
    notification.title = VMKLocalizedString(QStringLiteral("AudioProcessGroup_notification_title"));
    notification.subtitle =
        VMKLocalizedString(QStringLiteral("AudioProcessGroup_notification_subtitle")).arg(countOfAudioProcesses());
    notification.actionButtonTitle = VMKLocalizedString(QStringLiteral("AudioProcessGroup_notification_action"));
    notification.userInfo = {{QStringLiteral("className"), QStringLiteral("AudioProcessGroup")},
                             {QStringLiteral("ID"), m_ID}};
    UserNotificationCenter::deliver(notification);

    // Every command gets every result, also those that a rehearsal or a
    // swap has moved or never kept.
    QVariantList items;
    for (const URL& url : fileProcessURLs())
        items << QVariant::fromValue(url);
    std::vector<std::shared_ptr<FileProcessCommand>> commands;
    {
        std::lock_guard lock(m_mutex);
        commands = m_fileProcessCommands;
    }
    for (const auto& command : commands) {
        command->setItems(items);
        DispatchQueue::main().async(
            [command] { FileProcessController::sharedInstance()->executeFileProcessCommand(command); });
    }
}

} // namespace ondrel
