#include "core/VMKDatabaseController.h"

#include "core/DispatchQueue.h"
#include "core/VMKDatabaseQuery.h"

#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QStringView>

#include <sqlite3.h>

namespace {

// Milliseconds a statement waits for another connection's lock.
constexpr int kBusyTimeoutMs = 10000;
// Idle statements kept per SQL text (more than one only after nested use).
constexpr size_t kIdleStatementsPerText = 4;
// SQL texts kept prepared; past this the cache starts over.
constexpr qsizetype kCachedTexts = 512;

QString sqliteMessage(sqlite3* database) {
    return database ? QString::fromUtf8(sqlite3_errmsg(database)) : QStringLiteral("out of memory");
}

// The first three words of a statement, upper-cased, for telling transaction
// control from everything else.
QStringList leadingWords(const QString& sql) {
    return sql.simplified().toUpper().split(QLatin1Char(' '), Qt::SkipEmptyParts).mid(0, 3);
}

} // namespace

std::shared_ptr<VMKDatabaseController> VMKDatabaseController::initWithURL(const URL& url) {
    if (url.isEmpty())
        return {};
    return std::shared_ptr<VMKDatabaseController>(new VMKDatabaseController(url));
}

VMKDatabaseController::VMKDatabaseController(const URL& url) : m_url(url) {}

VMKDatabaseController::~VMKDatabaseController() {
    finalizeCachedStatements();
    if (m_database)
        sqlite3_close_v2(m_database);
}

void VMKDatabaseController::executeStatement(const QString& sql, DispatchQueue* queue, QueryHandler handler) {
    if (queue) {
        queue->async([self = shared_from_this(), sql, handler = std::move(handler)] { self->run(sql, handler); });
        return;
    }
    run(sql, handler);
}

void VMKDatabaseController::run(const QString& sql, const QueryHandler& handler) {
    std::lock_guard lock(m_mutex);
    if (!openIfNeeded()) {
        if (handler) {
            VMKDatabaseQuery query(*this, nullptr, sql);
            handler(query);
        }
        return;
    }
    const CachedStatement cached = checkOut(sql);
    if (!handler && cached.kind != StatementKind::Other && runTransactionStatement(cached.kind)) {
        checkIn(sql, cached);
        return;
    }
    // Gives the statement back even when the handler throws.
    struct CheckIn {
        VMKDatabaseController* controller;
        const QString& sql;
        const CachedStatement& cached;
        ~CheckIn() { controller->checkIn(sql, cached); }
    } checkIn{this, sql, cached};
    VMKDatabaseQuery query(*this, cached.statement, sql);
    if (handler)
        handler(query);
    else
        query.execute();
}

bool VMKDatabaseController::openIfNeeded() {
    if (m_database)
        return true;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(QFile::encodeName(m_url.path()).constData(), &database, flags, nullptr);
    if (result != SQLITE_OK) {
        reportFailure(QStringLiteral("open %1").arg(m_url.path()), sqliteMessage(database));
        sqlite3_close_v2(database);
        return false;
    }
    m_database = database;
    sqlite3_busy_timeout(m_database, kBusyTimeoutMs);
    sqlite3_extended_result_codes(m_database, 1);
    static const char* const pragmas[] = {"PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL"};
    for (const char* pragma : pragmas) {
        if (sqlite3_exec(m_database, pragma, nullptr, nullptr, nullptr) != SQLITE_OK)
            reportFailure(QString::fromLatin1(pragma));
    }
    return true;
}

VMKDatabaseController::CachedStatement VMKDatabaseController::checkOut(const QString& sql) {
    const auto found = m_statementCache.find(sql);
    if (found != m_statementCache.end() && !found->empty()) {
        const CachedStatement cached = found->back();
        found->pop_back();
        return cached;
    }
    CachedStatement cached;
    const QByteArray utf8 = sql.toUtf8();
    const char* tail = nullptr;
    const int result = sqlite3_prepare_v3(m_database, utf8.constData(), int(utf8.size()) + 1,
                                          SQLITE_PREPARE_PERSISTENT, &cached.statement, &tail);
    if (result != SQLITE_OK) {
        reportFailure(sql);
        sqlite3_finalize(cached.statement);
        return {};
    }
    if (tail && !QByteArray(tail).trimmed().isEmpty())
        qWarning().noquote() << "Only the first statement of this SQL text runs:" << sql;
    const QStringList words = leadingWords(sql);
    if (!words.isEmpty()) {
        const QString& first = words.first();
        if (first == QLatin1String("BEGIN"))
            cached.kind = StatementKind::Begin;
        else if (first == QLatin1String("END") || first == QLatin1String("COMMIT"))
            cached.kind = StatementKind::Commit;
        else if (first == QLatin1String("ROLLBACK") && !words.contains(QLatin1String("TO")))
            cached.kind = StatementKind::Rollback;
    }
    return cached;
}

void VMKDatabaseController::checkIn(const QString& sql, const CachedStatement& cached) {
    if (!cached.statement)
        return;
    sqlite3_reset(cached.statement);
    sqlite3_clear_bindings(cached.statement);
    auto found = m_statementCache.find(sql);
    if (found == m_statementCache.end()) {
        if (m_statementCache.size() >= kCachedTexts)
            finalizeCachedStatements();
        found = m_statementCache.insert(sql, {});
    }
    if (found->size() >= kIdleStatementsPerText) {
        sqlite3_finalize(cached.statement);
        return;
    }
    found->push_back(cached);
}

void VMKDatabaseController::finalizeCachedStatements() {
    for (const auto& statements : std::as_const(m_statementCache)) {
        for (const CachedStatement& cached : statements)
            sqlite3_finalize(cached.statement);
    }
    m_statementCache.clear();
}

// Transactions by plain statements from several threads: a BEGIN inside an
// open transaction joins it, and its end is counted off instead of
// committing early. Answers whether the statement was handled here.
bool VMKDatabaseController::runTransactionStatement(StatementKind kind) {
    const bool inTransaction = sqlite3_get_autocommit(m_database) == 0;
    switch (kind) {
    case StatementKind::Begin:
        if (inTransaction) {
            ++m_joinedTransactions;
            return true;
        }
        m_joinedTransactions = 0;
        return false;
    case StatementKind::Commit:
        if (!inTransaction)
            m_joinedTransactions = 0;
        else if (m_joinedTransactions > 0) {
            --m_joinedTransactions;
            return true;
        }
        return false;
    case StatementKind::Rollback:
        m_joinedTransactions = 0;
        return false;
    case StatementKind::Other:
        break;
    }
    return false;
}

void VMKDatabaseController::reportFailure(const QString& sql, const QString& message) {
    std::lock_guard lock(m_mutex);
    m_lastErrorMessage = sql + QStringLiteral(": ") + message;
    qWarning().noquote() << "Database" << m_url.path() << "statement failed:" << m_lastErrorMessage;
}

void VMKDatabaseController::reportFailure(const QString& sql) { reportFailure(sql, sqliteMessage(m_database)); }

QString VMKDatabaseController::lastErrorMessage() const {
    std::lock_guard lock(m_mutex);
    return m_lastErrorMessage;
}

void VMKDatabaseController::clearLastErrorMessage() {
    std::lock_guard lock(m_mutex);
    m_lastErrorMessage.clear();
}
