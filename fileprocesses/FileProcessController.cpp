#include "fileprocesses/FileProcessController.h"

#include "core/files/URL.h"
#include "core/predicates/Predicate.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKError.h"
#include "core/text/VMKLocalizedString.h"
#include "fileprocesses/FileProcess.h"
#include "logging/LogController.h"

#include <algorithm>

namespace ondrel {

namespace {

const QString kFileProcessesKey = QStringLiteral("fileProcesses");
const QString kProcessingKey = QStringLiteral("processing");

std::recursive_mutex& sharedMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

// The shared instance lives for the process (never destroyed at exit).
std::shared_ptr<FileProcessController>& sharedPointer() {
    static auto* shared = new std::shared_ptr<FileProcessController>();
    return *shared;
}

} // namespace

const ClassInfo& FileProcessController::staticClassInfo() {
    using C = FileProcessController;
    // Only the shared instance exists: never made by name.
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("FileProcessController"))
                                       .property(kProcessingKey, &C::isProcessing)
                                       .property(kFileProcessesKey, &C::fileProcesses)
                                       .setAbstract();
    return info;
}

std::shared_ptr<FileProcessController> FileProcessController::sharedInstance() {
    std::lock_guard lock(sharedMutex());
    auto& shared = sharedPointer();
    if (!shared) {
        // Stored before init runs: the history entries init makes ask for it.
        shared = std::make_shared<FileProcessController>();
        shared->init();
    }
    return shared;
}

void FileProcessController::resetSharedInstance() {
    std::shared_ptr<FileProcessController> old;
    {
        std::lock_guard lock(sharedMutex());
        old = std::move(sharedPointer());
    }
}

FileProcessController::FileProcessController()
    : m_fileProcesses(kProcessingKey, [](const FileProcess& process) { return process.isProcessing(); }) {}

FileProcessController::~FileProcessController() {
    // A quit: the processes keep their rows for the next start, also those
    // that are still referenced elsewhere and go later.
    for (const auto& process : m_fileProcesses.takeAll())
        process->keepHistoryRow();
}

void FileProcessController::init() {
    openDatabase();
    if (!m_database)
        return;
    std::vector<qint64> IDs;
    m_database->executeStatement(QStringLiteral("SELECT fileProcessID FROM FileProcess"), nullptr,
                                 [&IDs](VMKDatabaseQuery& query) {
                                     while (query.evaluateNextRow())
                                         IDs.push_back(query.longLongValueAtColumn(0));
                                 });
    for (qint64 ID : IDs)
        if (auto process = FileProcess::initWithID(ID))
            insertObjectInFileProcessesAtIndex(std::move(process), countOfFileProcesses());
}

void FileProcessController::openDatabase() {
    VMKError error;
    const URL folder = URL::supportDirectory(&error);
    if (folder.isEmpty()) {
        LogController::sharedInstance()->logWithLevel(
            LogController::Error,
            VMKLocalizedString(QStringLiteral("FileProcessController_log_error_noHistory"))
                .arg(error.localizedDescription()));
        return;
    }
    const URL url =
        folder.URLByAppendingPathComponent(QStringLiteral("FileProcess")).URLByAppendingPathExtension(QStringLiteral("db"));
    const bool isNew = !url.existsAsFile();
    m_database = VMKDatabaseController::initWithURL(url);
    if (isNew) {
        m_database->executeStatement(QStringLiteral("CREATE TABLE [Global] (version INTEGER);"));
        m_database->executeStatement(QStringLiteral("INSERT INTO Global (version) VALUES (1);"));
        m_database->executeStatement(
            QStringLiteral("CREATE TABLE FileProcess (fileProcessID INTEGER PRIMARY KEY NOT NULL, className TEXT, "
                           "countOfItems INTEGER, startDate REAL, endDate REAL);"));
    }
    // There is one version so far: it is read, and nothing migrates.
    m_database->executeStatement(QStringLiteral("SELECT version FROM Global"), nullptr, [](VMKDatabaseQuery& query) {
        if (query.evaluateNextRow())
            (void)query.intValueAtColumn(0);
    });
}

ObjectPtr FileProcessController::executeFileProcessCommand(const ObjectPtr& command) {
    auto process = FileProcess::fileProcessForFileProcessCommand(command);
    if (!process)
        return nullptr;
    // Appended under the lock, at the end as it is then.
    insertObjectInFileProcessesAtIndex(process, -1);
    process->execute();
    return process;
}

void FileProcessController::executeStatement(const QString& sql, DispatchQueue* queue,
                                             std::function<void(VMKDatabaseQuery&)> handler) {
    if (m_database)
        m_database->executeStatement(sql, queue, std::move(handler));
}

// MARK: - File processes

std::vector<std::shared_ptr<FileProcess>> FileProcessController::fileProcesses() const {
    return m_fileProcesses.items();
}

qsizetype FileProcessController::countOfFileProcesses() const { return m_fileProcesses.count(); }

std::shared_ptr<FileProcess> FileProcessController::objectInFileProcessesAtIndex(qsizetype index) const {
    return m_fileProcesses.at(index);
}

qsizetype FileProcessController::indexOfObjectInFileProcesses(const FileProcess* process) const {
    return m_fileProcesses.indexOf(process);
}

std::vector<std::shared_ptr<FileProcess>>
FileProcessController::fileProcessesWithPredicate(const Predicate& predicate) const {
    // Evaluated outside the lock: a predicate reads the processes' keys.
    return Predicate::filteredArray(fileProcesses(), predicate);
}

void FileProcessController::insertObjectInFileProcessesAtIndex(std::shared_ptr<FileProcess> process,
                                                               qsizetype index) {
    if (!process)
        return;
    std::weak_ptr<FileProcessController> weak =
        std::static_pointer_cast<FileProcessController>(shared_from_this());
    const qsizetype placed = m_fileProcesses.insert(std::move(process), index, [weak] {
        if (auto self = weak.lock())
            self->updateProcessing();
    });
    willChange(KeyValueChange::Insertion, IndexSet(placed), kFileProcessesKey);
    didChange(KeyValueChange::Insertion, IndexSet(placed), kFileProcessesKey);
    // It may have been started before it came in.
    updateProcessing();
}

void FileProcessController::removeObjectFromFileProcessesAtIndex(qsizetype index) {
    removeFileProcessesAtIndexes(IndexSet(index));
}

void FileProcessController::removeFileProcessesAtIndexes(const IndexSet& indexes) {
    const IndexSet removed = m_fileProcesses.remove(indexes);
    if (removed.isEmpty())
        return;
    willChange(KeyValueChange::Removal, removed, kFileProcessesKey);
    didChange(KeyValueChange::Removal, removed, kFileProcessesKey);
    updateProcessing();
    // The processes go here (with their rows) unless held elsewhere.
}

void FileProcessController::updateProcessing() {
    if (!m_fileProcesses.updateProcessing())
        return;
    willChangeValueForKey(kProcessingKey);
    didChangeValueForKey(kProcessingKey);
}

} // namespace ondrel
