#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringConverter>
#include <QtCore/QVariant>

#include <memory>
#include <string>
#include <vector>

struct sqlite3_stmt;

namespace ondrel {

class VMKDatabaseController;

// One prepared statement, handed to a query handler by
// VMKDatabaseController::executeStatement; valid only inside the handler.
// Arguments and columns are numbered from 0.
//
// A statement that failed to prepare, or failed while running, reads as one
// that found nothing: evaluateNextRow() is false and the readers give their
// empty values. Reading when no row is current gives the same empty values.
class VMKDatabaseQuery {
public:
    VMKDatabaseQuery(const VMKDatabaseQuery&) = delete;
    VMKDatabaseQuery& operator=(const VMKDatabaseQuery&) = delete;

    // Binding. A null QString or QByteArray binds NULL (an empty one binds
    // an empty text or blob). Binding after a run starts a new run.
    void setStringValue(const QString& value, int index);
    void setIntValue(qint32 value, int index);
    void setLongLongValue(qint64 value, int index);
    void setDoubleValue(double value, int index);
    void setDataValue(const QByteArray& value, int index);
    // Numbers (booleans as 0 and 1) and texts by their type, data as a blob,
    // dates as seconds since 2001-01-01 UTC; an absent value or the null
    // marker binds NULL.
    void setValue(const QVariant& value, int index);
    void setNullValueToArgumentAtIndex(int index);

    // Runs the statement from its start to its end (for statements that
    // return no rows). Bindings stay.
    void execute();
    // Steps once; true while a row is current. False for good once the
    // statement has finished or failed, until reset().
    bool evaluateNextRow();
    // The rows not yet read (all of them on a fresh query), one dictionary a
    // row keyed by column name; NULL reads as the null marker.
    QVariantList evaluatedRows();

    // Reading the current row. SQL NULL reads as 0, a null QString, an empty
    // (but not null) QByteArray and the null marker; no current row or a
    // column out of range the same, except that valueAtColumn is absent.
    qint32 intValueAtColumn(int column) const;
    qint64 longLongValueAtColumn(int column) const;
    double doubleValueAtColumn(int column) const;
    QString stringValueAtColumn(int column) const;
    QByteArray dataValueAtColumn(int column) const;
    QVariant valueAtColumn(int column) const;

    int columnCount() const { return m_columnCount; }
    QString columnName(int column) const;

    // The row ID of the last INSERT on this connection.
    qint64 lastInsertedRowID() const;
    // Rewinds for another run with the same or new bindings.
    void reset();
    // Clears all bindings to NULL.
    void resetArguments();

private:
    friend class VMKDatabaseController;

    // Finalizes a prepared statement.
    struct StatementFinalizer {
        void operator()(sqlite3_stmt* statement) const;
    };
    using StatementPointer = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

    enum class State : unsigned char { Ready, Row, Done };
    // What the statement does to the transaction state, found once at prepare.
    enum class Kind : unsigned char { Other, Begin, Commit, Rollback };

    // `statement` may be null: an inert query.
    VMKDatabaseQuery(VMKDatabaseController& controller, const QString& sql, StatementPointer statement);

    bool readyToBind();
    bool isArgument(int index);
    void checkBinding(int result, int index);
    void stepFailed();
    bool hasColumn(int column) const { return m_state == State::Row && column >= 0 && column < m_columnCount; }
    // Back to a fresh query for the next handler: rewound and unbound.
    void recycle();

    VMKDatabaseController& m_controller;
    const QString m_sql;
    const StatementPointer m_statement;
    const int m_columnCount;
    const int m_argumentCount;
    State m_state;
    Kind m_kind = Kind::Other;
    // The UTF-8 of bound texts, by argument, kept here so SQLite can use it
    // in place; each keeps its storage from run to run.
    std::vector<std::string> m_texts;
    QStringEncoder m_encoder{QStringEncoder::Utf8, QStringEncoder::Flag::Stateless};
};

} // namespace ondrel
