#include "fileprocesses/FileProcess.h"

#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKLocalizedString.h"
#include "core/values/Date.h"
#include "fileprocesses/FileProcessController.h"
#include "fileprocesses/notifications/UserNotificationCenter.h"
#include "logging/LogController.h"

namespace ondrel {

namespace {

const QString kItemsKey = QStringLiteral("items");
const QString kStartDateKey = QStringLiteral("startDate");
const QString kEndDateKey = QStringLiteral("endDate");
const QString kProcessingKey = QStringLiteral("processing");
const QString kProgressDescriptionKey = QStringLiteral("progressDescription");
const QString kCommandSuffix = QStringLiteral("Command");

// Seconds since the reference date, or NULL for an absent date.
QVariant storedDate(const QDateTime& date) {
    return date.isValid() ? QVariant(Date::timeIntervalSinceReferenceDate(date)) : QVariant();
}

} // namespace

const ClassInfo& FileProcess::staticClassInfo() {
    using C = FileProcess;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("FileProcess"))
            .property(kItemsKey, &C::items, &C::setItems)
            .property(QStringLiteral("ID"), &C::ID)
            .property(QStringLiteral("fileProcessClassName"), &C::fileProcessClassName)
            .property(QStringLiteral("countOfItems"), &C::countOfItems)
            .property(kStartDateKey, &C::startDate, &C::setStartDate)
            .property(kEndDateKey, &C::endDate, &C::setEndDate)
            .property(kProcessingKey, &C::isProcessing, &C::setProcessing)
            .property(QStringLiteral("progress"), &C::progress)
            .property(kProgressDescriptionKey, &C::progressDescription, &C::setProgressDescription);
    return info;
}

std::shared_ptr<FileProcess> FileProcess::fileProcessForFileProcessCommand(const ObjectPtr& command) {
    Q_ASSERT(command);
    if (!command)
        return nullptr;
    const QString commandClassName = command->className();
    QString processClassName = commandClassName;
    if (processClassName.endsWith(kCommandSuffix))
        processClassName.chop(kCommandSuffix.size());

    std::shared_ptr<FileProcess> process;
    const ClassInfo* info = ClassRegistry::classNamed(processClassName);
    if (processClassName != commandClassName && info && info->isSubclassOf(staticClassInfo()))
        process = std::dynamic_pointer_cast<FileProcess>(info->create());
    if (!process) {
        LogController::sharedInstance()->logWithLevel(
            LogController::Error, VMKLocalizedString(QStringLiteral("FileProcess_log_error_noProcessClass"))
                                      .arg(commandClassName, processClassName));
        return nullptr;
    }
    process->initWithFileProcessCommand(command);
    return process;
}

std::shared_ptr<FileProcess> FileProcess::initWithID(qint64 ID) {
    const auto database = FileProcessController::sharedInstance()->database();
    if (!database)
        return nullptr;
    auto process = std::make_shared<FileProcess>();
    bool found = false;
    database->executeStatement(
        QStringLiteral("SELECT className, countOfItems, startDate, endDate FROM FileProcess WHERE fileProcessID = ?"),
        nullptr, [&](VMKDatabaseQuery& query) {
            query.setLongLongValue(ID, 0);
            if (!query.evaluateNextRow())
                return;
            found = true;
            // A NULL date reads as 0 seconds, the reference date: that is how a
            // job that never ended shows as failed.
            std::lock_guard lock(process->m_mutex);
            process->m_fileProcessClassName = query.stringValueAtColumn(0);
            process->m_countOfItems = quint64(qMax<qint64>(0, query.longLongValueAtColumn(1)));
            process->m_startDate = Date::dateWithTimeIntervalSinceReferenceDate(query.doubleValueAtColumn(2));
            process->m_endDate = Date::dateWithTimeIntervalSinceReferenceDate(query.doubleValueAtColumn(3));
        });
    if (!found)
        return nullptr;
    std::lock_guard lock(process->m_mutex);
    process->m_ID = ID;
    process->m_database = database;
    return process;
}

FileProcess::FileProcess() = default;

FileProcess::~FileProcess() {
    if (m_ID == 0 || !m_database || m_keepsHistoryRow)
        return;
    m_database->executeStatement(QStringLiteral("DELETE FROM FileProcess WHERE fileProcessID = ?"), nullptr,
                                 [this](VMKDatabaseQuery& query) {
                                     query.setLongLongValue(m_ID, 0);
                                     query.execute();
                                 });
}

void FileProcess::initWithFileProcessCommand(const ObjectPtr& command) {
    Q_ASSERT(command);
    Q_ASSERT_X(m_ID == 0, "FileProcess", "initWithFileProcessCommand is called once");
    const QVariantList items = command ? command->valueForKey(kItemsKey).toList() : QVariantList();
    const QDateTime now = Date::now();
    const QString name = className();
    const auto database = FileProcessController::sharedInstance()->database();
    {
        std::lock_guard lock(m_mutex);
        m_items = items;
        m_countOfItems = quint64(items.size());
        m_startDate = now;
        m_fileProcessClassName = name;
        m_database = database;
    }
    if (!database)
        return;
    qint64 rowID = 0;
    database->executeStatement(
        QStringLiteral("INSERT INTO FileProcess (className, countOfItems, startDate) VALUES (?, ?, ?)"), nullptr,
        [&](VMKDatabaseQuery& query) {
            // The controller runs nothing else meanwhile, so the last row ID is
            // this insert's, unless the insert failed.
            const quint64 failures = database->failureCount();
            query.setStringValue(name, 0);
            query.setLongLongValue(qint64(items.size()), 1);
            query.setValue(storedDate(now), 2);
            query.execute();
            if (database->failureCount() == failures)
                rowID = query.lastInsertedRowID();
        });
    std::lock_guard lock(m_mutex);
    m_ID = rowID;
}

void FileProcess::execute() {}

void FileProcess::stop() {}

// MARK: - Fields

QVariantList FileProcess::items() const {
    std::lock_guard lock(m_mutex);
    return m_items;
}

void FileProcess::setItems(const QVariantList& items) { setGuarded(kItemsKey, m_items, items); }

qint64 FileProcess::ID() const {
    std::lock_guard lock(m_mutex);
    return m_ID;
}

QString FileProcess::fileProcessClassName() const {
    std::lock_guard lock(m_mutex);
    return m_fileProcessClassName;
}

quint64 FileProcess::countOfItems() const {
    std::lock_guard lock(m_mutex);
    return m_countOfItems;
}

QDateTime FileProcess::startDate() const {
    std::lock_guard lock(m_mutex);
    return m_startDate;
}

void FileProcess::setStartDate(const QDateTime& date) { setGuarded(kStartDateKey, m_startDate, date.toUTC()); }

QDateTime FileProcess::endDate() const {
    std::lock_guard lock(m_mutex);
    return m_endDate;
}

void FileProcess::setEndDate(const QDateTime& date) {
    const QDateTime utc = date.toUTC();
    setGuarded(kEndDateKey, m_endDate, utc);
    qint64 rowID;
    std::shared_ptr<VMKDatabaseController> database;
    {
        std::lock_guard lock(m_mutex);
        rowID = m_ID;
        database = m_database;
    }
    if (rowID == 0 || !database)
        return;
    database->executeStatement(QStringLiteral("UPDATE FileProcess SET endDate = ? WHERE fileProcessID = ?"), nullptr,
                               [&](VMKDatabaseQuery& query) {
                                   query.setValue(storedDate(utc), 0);
                                   query.setLongLongValue(rowID, 1);
                                   query.execute();
                               });
}

bool FileProcess::isProcessing() const {
    std::lock_guard lock(m_mutex);
    return m_processing;
}

void FileProcess::setProcessing(bool processing) {
    // Checked and stored in one step: of two threads ending the job at once,
    // one sees the change and the other does nothing.
    {
        std::lock_guard lock(m_mutex);
        if (m_processing == processing)
            return;
        m_processing = processing;
    }
    willChangeValueForKey(kProcessingKey);
    if (!processing) {
        const QDateTime now = Date::now();
        setEndDate(now);
        const QDateTime start = startDate();
        if (start.isValid() && double(start.msecsTo(now)) / 1000.0 >= NotificationThreshold)
            deliverNotification();
    }
    didChangeValueForKey(kProcessingKey);
}

double FileProcess::progress() const { return -1.0; }

QString FileProcess::progressDescription() const {
    std::lock_guard lock(m_mutex);
    return m_progressDescription;
}

void FileProcess::setProgressDescription(const QString& description) {
    setGuarded(kProgressDescriptionKey, m_progressDescription, description);
}

// MARK: - Private

void FileProcess::deliverNotification() {
    UserNotification notification;
    notification.title = VMKLocalizedString(QStringLiteral("FileProcess_notification_title"))
                             .arg(VMKLocalizedString(fileProcessClassName() + QStringLiteral("_title")));
    notification.subtitle =
        VMKLocalizedString(QStringLiteral("FileProcess_notification_subtitle")).arg(countOfItems());
    notification.actionButtonTitle = VMKLocalizedString(QStringLiteral("FileProcess_notification_action"));
    notification.userInfo = {{QStringLiteral("className"), QStringLiteral("FileProcess")},
                             {QStringLiteral("ID"), ID()}};
    UserNotificationCenter::deliver(notification);
}

void FileProcess::keepHistoryRow() {
    std::lock_guard lock(m_mutex);
    m_keepsHistoryRow = true;
}

} // namespace ondrel
