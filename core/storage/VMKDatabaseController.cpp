#include "core/storage/VMKDatabaseController.h"

#include "core/dispatch/DispatchQueue.h"
#include "core/storage/VMKDatabaseQuery.h"

#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QStringView>

#include <sqlite3.h>

namespace ondrel {

namespace {

// Milliseconds a statement waits for another connection's lock.
constexpr int kBusyTimeoutMs = 10000;
// Idle queries kept per SQL text (more than one only after nested use).
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

VMKDatabaseController::~VMKDatabaseController() = default;

void VMKDatabaseController::ConnectionCloser::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

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
            VMKDatabaseQuery inert(*this, sql, {});
            handler(inert);
        }
        return;
    }
    std::unique_ptr<VMKDatabaseQuery> query = checkOut(sql);
    if (!handler && query->m_kind != VMKDatabaseQuery::Kind::Other && joinTransaction(*query)) {
        checkIn(std::move(query));
        return;
    }
    // Gives the query back even when the handler throws.
    struct CheckIn {
        VMKDatabaseController* controller;
        std::unique_ptr<VMKDatabaseQuery>& query;
        ~CheckIn() { controller->checkIn(std::move(query)); }
    } checkIn{this, query};
    if (handler)
        handler(*query);
    else
        query->execute();
}

bool VMKDatabaseController::openIfNeeded() {
    if (m_database.get())
        return true;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(QFile::encodeName(m_url.path()).constData(), &opened, flags, nullptr);
    // SQLite hands out a connection even when opening fails (for its message).
    std::unique_ptr<sqlite3, ConnectionCloser> connection(opened);
    if (result != SQLITE_OK) {
        reportFailure(QStringLiteral("open %1").arg(m_url.path()), sqliteMessage(connection.get()));
        return false;
    }
    m_database = std::move(connection);
    sqlite3_busy_timeout(m_database.get(), kBusyTimeoutMs);
    sqlite3_extended_result_codes(m_database.get(), 1);
    static const char* const pragmas[] = {"PRAGMA journal_mode = WAL", "PRAGMA synchronous = NORMAL"};
    for (const char* pragma : pragmas) {
        if (sqlite3_exec(m_database.get(), pragma, nullptr, nullptr, nullptr) != SQLITE_OK)
            reportFailure(QString::fromLatin1(pragma));
    }
    return true;
}

std::unique_ptr<VMKDatabaseQuery> VMKDatabaseController::checkOut(const QString& sql) {
    const auto found = m_statementCache.find(sql);
    if (found != m_statementCache.end() && !found->second.empty()) {
        std::unique_ptr<VMKDatabaseQuery> query = std::move(found->second.back());
        found->second.pop_back();
        return query;
    }
    const QByteArray utf8 = sql.toUtf8();
    sqlite3_stmt* prepared = nullptr;
    const char* tail = nullptr;
    const int result = sqlite3_prepare_v3(m_database.get(), utf8.constData(), int(utf8.size()) + 1,
                                          SQLITE_PREPARE_PERSISTENT, &prepared, &tail);
    VMKDatabaseQuery::StatementPointer statement(prepared);
    if (result != SQLITE_OK) {
        reportFailure(sql);
        statement.reset();
    } else if (tail && !QByteArray(tail).trimmed().isEmpty()) {
        qWarning().noquote() << "Only the first statement of this SQL text runs:" << sql;
    }
    // Private constructor: no make_unique.
    const bool isPrepared = bool(statement);
    std::unique_ptr<VMKDatabaseQuery> query(new VMKDatabaseQuery(*this, sql, std::move(statement)));
    const QStringList words = leadingWords(sql);
    if (isPrepared && !words.isEmpty()) {
        const QString& first = words.first();
        if (first == QLatin1String("BEGIN"))
            query->m_kind = VMKDatabaseQuery::Kind::Begin;
        else if (first == QLatin1String("END") || first == QLatin1String("COMMIT"))
            query->m_kind = VMKDatabaseQuery::Kind::Commit;
        else if (first == QLatin1String("ROLLBACK") && !words.contains(QLatin1String("TO")))
            query->m_kind = VMKDatabaseQuery::Kind::Rollback;
    }
    return query;
}

void VMKDatabaseController::checkIn(std::unique_ptr<VMKDatabaseQuery> query) {
    if (!query || !query->m_statement)
        return;  // failed to prepare: tried again next time
    query->recycle();
    auto found = m_statementCache.find(query->m_sql);
    if (found == m_statementCache.end()) {
        if (m_statementCache.size() >= kCachedTexts)
            m_statementCache.clear();
        found = m_statementCache.emplace(query->m_sql, std::vector<std::unique_ptr<VMKDatabaseQuery>>()).first;
    }
    if (found->second.size() < kIdleStatementsPerText)
        found->second.push_back(std::move(query));
}

// Transactions by plain statements from several threads: a BEGIN inside an
// open transaction joins it, and its end is counted off instead of
// committing early. Answers whether the statement was handled here.
bool VMKDatabaseController::joinTransaction(const VMKDatabaseQuery& query) {
    const bool inTransaction = sqlite3_get_autocommit(m_database.get()) == 0;
    switch (query.m_kind) {
    case VMKDatabaseQuery::Kind::Begin:
        if (inTransaction) {
            ++m_joinedTransactions;
            return true;
        }
        m_joinedTransactions = 0;
        return false;
    case VMKDatabaseQuery::Kind::Commit:
        if (!inTransaction)
            m_joinedTransactions = 0;
        else if (m_joinedTransactions > 0) {
            --m_joinedTransactions;
            return true;
        }
        return false;
    case VMKDatabaseQuery::Kind::Rollback:
        m_joinedTransactions = 0;
        return false;
    case VMKDatabaseQuery::Kind::Other:
        break;
    }
    return false;
}

void VMKDatabaseController::reportFailure(const QString& sql, const QString& message) {
    std::lock_guard lock(m_mutex);
    m_lastErrorMessage = sql + QStringLiteral(": ") + message;
    ++m_failureCount;
    qWarning().noquote() << "Database" << m_url.path() << "statement failed:" << m_lastErrorMessage;
}

void VMKDatabaseController::reportFailure(const QString& sql) { reportFailure(sql, sqliteMessage(m_database.get())); }

QString VMKDatabaseController::lastErrorMessage() const {
    std::lock_guard lock(m_mutex);
    return m_lastErrorMessage;
}

void VMKDatabaseController::clearLastErrorMessage() {
    std::lock_guard lock(m_mutex);
    m_lastErrorMessage.clear();
}

quint64 VMKDatabaseController::failureCount() const {
    std::lock_guard lock(m_mutex);
    return m_failureCount;
}

} // namespace ondrel
