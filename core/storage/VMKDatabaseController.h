#pragma once

#include "core/files/URL.h"
#include "core/storage/VMKDatabaseQuery.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

struct sqlite3;

namespace ondrel {

class DispatchQueue;

// The one way to reach a database file. One SQLite connection per controller,
// opened at the first statement (so creating a controller never creates its
// file), in WAL mode with synchronous NORMAL and a busy timeout.
//
// Statements may come from any thread; the controller serialises them with a
// recursive lock held for the whole statement, its handler included, so a
// handler may run further statements on the same controller (even the same
// SQL text) while its own query is open. Transactions are plain statements:
// one opened by "BEGIN ..." spans whatever else reaches the controller until
// "END TRANSACTION" or "COMMIT". A "BEGIN" that arrives while a transaction is
// open joins it, and only the matching outermost end commits.
//
// Failures are never reported to the caller: a failed statement behaves like
// one that changed nothing. They are logged with the SQL text and SQLite's
// message, and the last one is kept for inspection.
class VMKDatabaseController : public std::enable_shared_from_this<VMKDatabaseController> {
public:
    using QueryHandler = std::function<void(VMKDatabaseQuery&)>;

    // Empty for an empty URL. Does not touch the file system.
    static std::shared_ptr<VMKDatabaseController> initWithURL(const URL& url);
    ~VMKDatabaseController();

    VMKDatabaseController(const VMKDatabaseController&) = delete;
    VMKDatabaseController& operator=(const VMKDatabaseController&) = delete;

    const URL& url() const { return m_url; }

    // Without a queue the statement (and handler) run on the calling thread
    // and are finished on return. With a serial queue they run there later,
    // in the order sent. Without a handler the statement runs once to
    // completion; with one, nothing runs until the handler drives the query.
    void executeStatement(const QString& sql, DispatchQueue* queue = nullptr, QueryHandler handler = {});

    // "SQL text: SQLite's message" of the last failure; empty when none yet.
    QString lastErrorMessage() const;
    void clearLastErrorMessage();
    // How many failures there have been so far. A caller that must know
    // whether its own statements failed compares it before and after, and
    // leaves the last message to the readers that clear and look.
    quint64 failureCount() const;

private:
    friend class VMKDatabaseQuery;

    struct QStringHash {
        size_t operator()(const QString& text) const noexcept { return qHash(text); }
    };

    explicit VMKDatabaseController(const URL& url);

    void run(const QString& sql, const QueryHandler& handler);
    bool openIfNeeded();
    std::unique_ptr<VMKDatabaseQuery> checkOut(const QString& sql);
    void checkIn(std::unique_ptr<VMKDatabaseQuery> query);
    bool joinTransaction(const VMKDatabaseQuery& query);
    void reportFailure(const QString& sql, const QString& message);
    void reportFailure(const QString& sql);  // SQLite's current message

    // Closes a connection.
    struct ConnectionCloser {
        void operator()(sqlite3* database) const;
    };

    URL m_url;
    mutable std::recursive_mutex m_mutex;
    quint64 m_failureCount = 0;  // under m_mutex
    // Declared before the statement cache, so that the statements are
    // finalized before the connection closes.
    std::unique_ptr<sqlite3, ConnectionCloser> m_database;
    // Idle prepared queries by SQL text. A query is taken out while a handler
    // uses it, so nested use of the same text prepares another one.
    std::unordered_map<QString, std::vector<std::unique_ptr<VMKDatabaseQuery>>, QStringHash> m_statementCache;
    // "BEGIN"s that joined an already open transaction, waiting for their end.
    int m_joinedTransactions = 0;
    QString m_lastErrorMessage;
};

} // namespace ondrel
