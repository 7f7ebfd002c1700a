#include "render/controller/AudioProcess.h"

#include "catalog/entities/FileEntity.h"
#include "catalog/entities/Label.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/objects/Variant.h"
#include "core/predicates/Predicate.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKLocalizedString.h"
#include "core/values/Date.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommand.h"
#include "render/controller/AudioProcessController.h"
#include "render/controller/AudioProcessGroup.h"
#include "render/operation/AudioProcessOperation.h"

namespace ondrel {

namespace {

const QString kProcessingKey = QStringLiteral("processing");
const QString kEndDateKey = QStringLiteral("endDate");

// Seconds since the reference date, or NULL for an absent date.
QVariant storedDate(const QDateTime& date) {
    return date.isValid() ? QVariant(Date::timeIntervalSinceReferenceDate(date)) : QVariant();
}

// A NULL column is an absent date here: a run that never ended has no end.
QDateTime readDate(const VMKDatabaseQuery& query, int column) {
    const QVariant value = query.valueAtColumn(column);
    if (Variant::isNullOrAbsent(value))
        return QDateTime();
    return Date::dateWithTimeIntervalSinceReferenceDate(value.toDouble());
}

// The render's snapshot of `entity`, taken now.
AudioProcessSource sourceFromEntity(const FileEntity& entity,
                                    const std::shared_ptr<AudioProcessCommandSourceInstructions>& instructions) {
    AudioProcessSource source;
    source.URLs = entity.URLs();
    source.format = entity.format();
    source.encoding = entity.encoding();
    source.sampleRate = entity.sampleRate();
    source.channels = entity.channels();
    source.bitDepth = entity.bitDepth();
    source.floatingPoint = entity.isFloatingPoint();
    source.bitrate = entity.bitrate();
    source.length = entity.length();
    source.metadata = entity.metadata();
    // Plain copies: the render must not hold the catalog's labels.
    for (const auto& label : entity.labelsWithPredicate(*Predicate::truePredicate())) {
        auto copy = VMKAudioLabel::labelOfType(label->type());
        copy->setLocation(label->location());
        copy->setLength(label->length());
        copy->setName(label->name());
        source.labels.push_back(std::move(copy));
    }
    source.instructions = instructions;
    return source;
}

} // namespace

const ClassInfo& AudioProcess::staticClassInfo() {
    using C = AudioProcess;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("AudioProcess"))
                                       .property(QStringLiteral("ID"), &C::ID)
                                       .property(QStringLiteral("startDate"), &C::startDate)
                                       .property(kEndDateKey, &C::endDate)
                                       .property(QStringLiteral("hasError"), &C::hasError)
                                       .property(kProcessingKey, &C::isProcessing)
                                       .property(QStringLiteral("progress"), &C::progress)
                                       .property(QStringLiteral("sourceName"), &C::sourceName)
                                       .property(QStringLiteral("errorDescription"), &C::errorDescription);
    return info;
}

DispatchQueue& AudioProcess::writeQueue() {
    // Lives for the program: rows may still be written as it quits.
    static auto* queue = new std::shared_ptr<DispatchQueue>(
        DispatchQueue::createSerial(QStringLiteral("com.velmark-works.ondrel.audioProcessWriteQueue")));
    return **queue;
}

std::shared_ptr<AudioProcess> AudioProcess::initWithAudioProcessCommand(const AudioProcessCommand& command,
                                                                        const std::shared_ptr<AudioProcessGroup>& group) {
    Q_ASSERT(group);
    const auto sourceGroup = command.sourceInstructionsGroup();
    Q_ASSERT_X(sourceGroup && sourceGroup->countOfSourceInstructions() > 0, "AudioProcess",
               "a compiled command has sources");
    if (!group || !sourceGroup || sourceGroup->countOfSourceInstructions() == 0)
        return nullptr;

    std::vector<AudioProcessSource> sources;
    for (const auto& instructions : sourceGroup->sourceInstructions()) {
        const auto entity = instructions ? instructions->fileEntity() : nullptr;
        Q_ASSERT_X(entity, "AudioProcess", "every source has its file entity");
        if (!entity)
            return nullptr;
        // A file still being measured is left out of this run.
        if (entity->analysisOperation()) {
            LogController::sharedInstance()->logWithLevel(
                LogController::Warning,
                VMKLocalizedString(QStringLiteral("AudioProcess_log_warning_skip")).arg(entity->name()));
            return nullptr;
        }
        sources.push_back(sourceFromEntity(*entity, instructions));
    }

    auto process = std::make_shared<AudioProcess>();
    process->m_group = group;
    process->m_database = AudioProcessController::sharedInstance()->database();
    process->m_sourceName = sources.front().URLs.empty() ? QString() : sources.front().URLs.front().lastPathComponent();

    auto operation = std::make_shared<AudioProcessOperation>();
    operation->setAudioProcess(process);
    operation->setSources(std::move(sources));
    // Absent output instructions mean every default.
    auto instructions = command.processInstructions();
    operation->setInstructions(instructions ? instructions : std::make_shared<AudioProcessCommandInstructions>());
    operation->setDestination(command.destination());
    operation->setFilename(command.filename());
    operation->setReplaceOriginal(command.replaceOriginal());
    operation->setRehearse(group->isRehearse());

    const QDateTime now = Date::now();
    std::weak_ptr<AudioProcess> weak = process;
    // Told on the render's thread as it finishes, before the operations
    // that wait for it (the group's completion) become ready.
    auto observation = operation->observe(QStringLiteral("isFinished"), 0, [weak](const KeyValueChangeInfo&) {
        if (auto self = weak.lock())
            self->operationDidFinish();
    });
    {
        std::lock_guard lock(process->m_mutex);
        process->m_startDate = now;
        process->m_operation = std::move(operation);
        process->m_operationObservation = std::move(observation);
    }
    process->m_processing.store(true, std::memory_order_release);

    if (const auto database = process->m_database) {
        const qint64 groupID = group->ID();
        database->executeStatement(
            QStringLiteral("INSERT INTO AudioProcess (audioProcessGroupID, startDate) VALUES (?, ?)"), &writeQueue(),
            [database, rowID = process->m_ID, groupID, now](VMKDatabaseQuery& query) {
                // Statements on this controller run one at a time, so the
                // last row ID is this insert's, unless the insert failed.
                const quint64 failures = database->failureCount();
                query.setLongLongValue(groupID, 0);
                query.setValue(storedDate(now), 1);
                query.execute();
                if (database->failureCount() == failures)
                    rowID->store(query.lastInsertedRowID());
            });
    }
    return process;
}

std::shared_ptr<AudioProcess> AudioProcess::initWithID(qint64 ID, const std::shared_ptr<AudioProcessGroup>& group) {
    const auto database = AudioProcessController::sharedInstance()->database();
    if (!database)
        return nullptr;
    auto process = std::make_shared<AudioProcess>();
    bool found = false;
    database->executeStatement(QStringLiteral("SELECT startDate, endDate FROM AudioProcess WHERE audioProcessID = ?"),
                               nullptr, [&](VMKDatabaseQuery& query) {
                                   query.setLongLongValue(ID, 0);
                                   if (!query.evaluateNextRow())
                                       return;
                                   found = true;
                                   process->m_startDate = readDate(query, 0);
                                   process->m_endDate = readDate(query, 1);
                               });
    if (!found)
        return nullptr;
    process->m_group = group;
    process->m_database = database;
    process->m_ID->store(ID);
    return process;
}

AudioProcess::AudioProcess() = default;

AudioProcess::~AudioProcess() {
    if (!m_database || m_keepsHistoryRow.load())
        return;
    // On the write queue, behind this row's insert and update.
    m_database->executeStatement(QStringLiteral("DELETE FROM AudioProcess WHERE audioProcessID = ?"), &writeQueue(),
                                 [rowID = m_ID](VMKDatabaseQuery& query) {
                                     if (rowID->load() == 0)
                                         return;
                                     query.setLongLongValue(rowID->load(), 0);
                                     query.execute();
                                 });
}

qint64 AudioProcess::ID() const { return m_ID->load(); }

QDateTime AudioProcess::startDate() const {
    std::lock_guard lock(m_mutex);
    return m_startDate;
}

QDateTime AudioProcess::endDate() const {
    std::lock_guard lock(m_mutex);
    return m_endDate;
}

std::shared_ptr<AudioProcessOperation> AudioProcess::operation() const {
    std::lock_guard lock(m_mutex);
    return m_operation;
}

double AudioProcess::progress() const {
    const auto current = operation();
    return current ? current->progress() : 0.0;
}

QString AudioProcess::sourceName() const {
    std::lock_guard lock(m_mutex);
    return m_sourceName;
}

URL AudioProcess::resultURL() const {
    std::lock_guard lock(m_mutex);
    return m_resultURL;
}

QString AudioProcess::errorDescription() const {
    std::lock_guard lock(m_mutex);
    return m_errorDescription;
}

void AudioProcess::operationDidFinish() {
    std::shared_ptr<AudioProcessOperation> operation;
    {
        std::lock_guard lock(m_mutex);
        operation = std::move(m_operation);
    }
    // Told once: the operation is gone after the first time.
    if (!operation)
        return;
    const bool failed = operation->hasError();
    const QDateTime now = Date::now();
    willChangeValueForKey(kEndDateKey);
    {
        std::lock_guard lock(m_mutex);
        m_endDate = now;
        m_resultURL = operation->resultURL();
        m_errorDescription = failed ? operation->error().localizedDescription() : QString();
        // The observation stays until this object goes: it can't be let go
        // from inside its own handler.
    }
    m_hasError.store(failed, std::memory_order_release);
    didChangeValueForKey(kEndDateKey);

    if (m_database) {
        m_database->executeStatement(
            QStringLiteral("UPDATE AudioProcess SET endDate = ?, hasError = ? WHERE audioProcessID = ?"), &writeQueue(),
            [rowID = m_ID, now, failed](VMKDatabaseQuery& query) {
                query.setValue(storedDate(now), 0);
                query.setIntValue(failed ? 1 : 0, 1);
                query.setLongLongValue(rowID->load(), 2);
                query.execute();
            });
    }

    willChangeValueForKey(kProcessingKey);
    m_processing.store(false, std::memory_order_release);
    didChangeValueForKey(kProcessingKey);
}

} // namespace ondrel
