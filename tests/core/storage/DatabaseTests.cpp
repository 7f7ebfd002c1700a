#include "core/values/Date.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/files/URL.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/objects/Variant.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

namespace ondrel {

namespace {

using Query = VMKDatabaseQuery;
using Database = VMKDatabaseController;

#define EXPECT_NO_DATABASE_ERROR(database) \
    EXPECT_TRUE((database).lastErrorMessage().isEmpty()) << qPrintable((database).lastErrorMessage())

class DatabaseTest : public ::testing::Test {
protected:
    URL fileURL(const QString& name) const { return URL::fileURLWithPath(m_dir.filePath(name)); }

    std::shared_ptr<Database> open(const QString& name = "Test.db") {
        auto database = Database::initWithURL(fileURL(name));
        EXPECT_TRUE(database);
        return database;
    }

    // The first column of the first row, or -1 without a row.
    static qint64 count(Database& database, const QString& sql) {
        qint64 result = -1;
        database.executeStatement(sql, nullptr, [&](Query& query) {
            if (query.evaluateNextRow())
                result = query.longLongValueAtColumn(0);
        });
        return result;
    }

    static QStringList columnNames(Database& database, const QString& table) {
        QStringList names;
        database.executeStatement("PRAGMA table_info(" + table + ")", nullptr, [&](Query& query) {
            for (const QVariant& row : query.evaluatedRows())
                names.append(row.toMap().value("name").toString());
        });
        return names;
    }

    QTemporaryDir m_dir;
};

// A catalog-like schema at version 1, and its migration.
const char* const kCatalogSchema[] = {
    "CREATE TABLE [Global] (version INTEGER);",
    "INSERT INTO Global (version) VALUES (1);",
    "CREATE TABLE FileEntity (fileEntityID TEXT PRIMARY KEY NOT NULL, dateAdded REAL, frames INTEGER);",
};

void migrateCatalog(Database& database) {
    database.executeStatement("SELECT version FROM Global", nullptr, [&](Query& query) {
        if (!query.evaluateNextRow() || query.longLongValueAtColumn(0) >= 3)
            return;
        for (const char* column : {"midPeak", "sidePeak", "truePeak", "loudnessRange"})
            database.executeStatement(QString("ALTER TABLE FileEntity ADD COLUMN %1 REAL").arg(column));
        database.executeStatement("UPDATE Global SET version = 3");
    });
}

} // namespace

TEST_F(DatabaseTest, FileComesIntoBeingWithTheFirstStatement) {
    EXPECT_FALSE(Database::initWithURL(URL()));

    const URL url = fileURL("Lazy.db");
    auto database = Database::initWithURL(url);
    ASSERT_TRUE(database);
    EXPECT_FALSE(url.exists());
    database->executeStatement("CREATE TABLE Item (value INTEGER)");
    EXPECT_TRUE(url.existsAsFile());
    EXPECT_NO_DATABASE_ERROR(*database);

    // A second controller on the same file sees the table; WAL keeps both working.
    database->executeStatement("INSERT INTO Item (value) VALUES (7)");
    auto other = Database::initWithURL(url);
    EXPECT_EQ(count(*other, "SELECT value FROM Item"), 7);
    QString journalMode;
    other->executeStatement("PRAGMA journal_mode", nullptr, [&](Query& query) {
        journalMode = query.evaluateNextRow() ? query.stringValueAtColumn(0) : QString();
    });
    EXPECT_EQ(journalMode, "wal");
}

// Schema changes run inside the handler of the query that read the version,
// while that query is still open on the same connection.
TEST_F(DatabaseTest, CatalogMigratesInsideTheVersionHandler) {
    const QStringList added{"midPeak", "sidePeak", "truePeak", "loudnessRange"};
    const URL url = fileURL("Entities.db");
    auto database = Database::initWithURL(url);
    for (const char* statement : kCatalogSchema)
        database->executeStatement(statement);
    const QStringList original = columnNames(*database, "FileEntity");
    for (int start = 0; start < 2; ++start) {  // every later start runs it again and changes nothing
        database = Database::initWithURL(url);
        migrateCatalog(*database);
        EXPECT_NO_DATABASE_ERROR(*database);
        EXPECT_EQ(count(*database, "SELECT version FROM Global"), 3);
        EXPECT_EQ(columnNames(*database, "FileEntity"), original + added);
    }
    // The new columns are usable at once.
    database->executeStatement("INSERT INTO FileEntity (fileEntityID, truePeak) VALUES ('8F2C1E0A', -0.5)");
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM FileEntity WHERE truePeak = -0.5"), 1);
}

TEST_F(DatabaseTest, HandlerRunsFurtherStatementsIncludingItsOwnSQL) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (value INTEGER)");
    database->executeStatement("CREATE TABLE Pair (outer INTEGER, inner INTEGER)");
    database->executeStatement("INSERT INTO Item (value) VALUES (1), (2), (3)");

    const QString select = "SELECT value FROM Item WHERE value >= ? ORDER BY value";
    QList<qint64> outerValues;
    database->executeStatement(select, nullptr, [&](Query& outer) {
        outer.setIntValue(1, 0);
        while (outer.evaluateNextRow()) {
            const qint64 outerValue = outer.longLongValueAtColumn(0);
            outerValues.append(outerValue);
            // The same text again, with other bindings, while the outer query is on a row.
            database->executeStatement(select, nullptr, [&](Query& inner) {
                inner.setLongLongValue(outerValue, 0);
                while (inner.evaluateNextRow()) {
                    database->executeStatement("INSERT INTO Pair (outer, inner) VALUES (?, ?)", nullptr,
                                               [&](Query& insert) {
                                                   insert.setLongLongValue(outerValue, 0);
                                                   insert.setLongLongValue(inner.longLongValueAtColumn(0), 1);
                                                   insert.execute();
                                               });
                }
            });
            // The outer row is untouched by the inner runs.
            EXPECT_EQ(outer.longLongValueAtColumn(0), outerValue);
        }
    });
    EXPECT_EQ(outerValues, (QList<qint64>{1, 2, 3}));
    // (1,1) (1,2) (1,3) (2,2) (2,3) (3,3)
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM Pair"), 6);
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM Pair WHERE inner < outer"), 0);

    // Cached statements come back clean: nothing bound is NULL, and no row matches "value >= NULL".
    database->executeStatement(select, nullptr, [&](Query& query) {
        EXPECT_FALSE(query.evaluateNextRow()) << "a binding of an earlier run leaked";
    });
    EXPECT_NO_DATABASE_ERROR(*database);
}

TEST_F(DatabaseTest, NullColumnsAndMissingRowsReadAsEmptyValues) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (number INTEGER, text TEXT, data BLOB)");
    database->executeStatement("INSERT INTO Item (number, text, data) VALUES (NULL, NULL, NULL)");
    // Data reads as empty but never null, so callers can tell "read" from "failed".
    auto expectNothing = [](Query& query, int column) {
        EXPECT_TRUE(Variant::isAbsent(query.valueAtColumn(column))) << column;
        EXPECT_TRUE(query.dataValueAtColumn(column).isEmpty()) << column;
        EXPECT_FALSE(query.dataValueAtColumn(column).isNull()) << column;
    };

    database->executeStatement("SELECT number, text, data FROM Item", nullptr, [&](Query& query) {
        expectNothing(query, 0);  // before the first step nothing is current
        ASSERT_TRUE(query.evaluateNextRow());
        for (int column = 0; column < 3; ++column)
            EXPECT_TRUE(Variant::isNull(query.valueAtColumn(column))) << column;
        EXPECT_EQ(query.intValueAtColumn(0), 0);
        EXPECT_EQ(query.longLongValueAtColumn(0), 0);
        EXPECT_EQ(query.doubleValueAtColumn(0), 0.0);
        EXPECT_TRUE(query.stringValueAtColumn(1).isNull());
        EXPECT_TRUE(query.dataValueAtColumn(2).isEmpty());
        EXPECT_FALSE(query.dataValueAtColumn(2).isNull());
        for (int column : {3, -1, 9})  // out of range
            expectNothing(query, column);
        EXPECT_FALSE(query.evaluateNextRow());
        EXPECT_FALSE(query.evaluateNextRow());  // stays finished; no restart
        expectNothing(query, 2);
        EXPECT_TRUE(query.stringValueAtColumn(1).isNull());
    });
    // The root group's case: no row at all.
    database->executeStatement("SELECT data FROM Item WHERE number = 1", nullptr, [&](Query& query) {
        EXPECT_FALSE(query.evaluateNextRow());
        expectNothing(query, 0);
    });
}

TEST_F(DatabaseTest, EveryBindingRoundTrips) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (name TEXT PRIMARY KEY, value)");
    const QString unicode = "Grüße — 音 \U0001F3B5";
    const QByteArray data("\x00\x01\xff\x7f", 4);
    const QDateTime date = Date::dateWithTimeIntervalSinceReferenceDate(700000000.25);
    const qint32 intMin = std::numeric_limits<qint32>::min(), intMax = std::numeric_limits<qint32>::max();
    const qint64 longLong = Q_INT64_C(0x123456789ABCDEF0);
    struct Row {
        const char* name;
        std::function<void(Query&)> bind;
        const char* type;
        QVariant expected;  // none for NULL
    };
    const Row rows[] = {
        {"string", [&](Query& q) { q.setStringValue(unicode, 1); }, "text", unicode},
        {"longString", [&](Query& q) { q.setStringValue(QString(1000, 'x') + unicode, 1); }, "text",
         QString(1000, 'x') + unicode},
        {"hugeString", [&](Query& q) { q.setStringValue(QString(60000, QChar(0xE9)), 1); }, "text",
         QString(60000, QChar(0xE9))},
        {"emptyString", [&](Query& q) { q.setStringValue("", 1); }, "text", QString("")},
        {"absentString", [&](Query& q) { q.setStringValue(QString(), 1); }, "null", {}},
        {"intMin", [&](Query& q) { q.setIntValue(intMin, 1); }, "integer", qlonglong(intMin)},
        {"intMax", [&](Query& q) { q.setIntValue(intMax, 1); }, "integer", qlonglong(intMax)},
        {"longLong", [&](Query& q) { q.setLongLongValue(longLong, 1); }, "integer", qlonglong(longLong)},
        {"double", [&](Query& q) { q.setDoubleValue(-1.0 / 3.0, 1); }, "real", -1.0 / 3.0},
        {"data", [&](Query& q) { q.setDataValue(data, 1); }, "blob", data},
        {"emptyData", [&](Query& q) { q.setDataValue(QByteArray(""), 1); }, "blob", QByteArray("")},
        {"absentData", [&](Query& q) { q.setDataValue(QByteArray(), 1); }, "null", {}},
        {"null", [&](Query& q) { q.setNullValueToArgumentAtIndex(1); }, "null", {}},
        {"valueBool", [&](Query& q) { q.setValue(true, 1); }, "integer", qlonglong(1)},
        {"valueInt", [&](Query& q) { q.setValue(-42, 1); }, "integer", qlonglong(-42)},
        {"valueLongLong", [&](Query& q) { q.setValue(qlonglong(1) << 40, 1); }, "integer", qlonglong(1) << 40},
        {"valueDouble", [&](Query& q) { q.setValue(2.5, 1); }, "real", 2.5},
        {"valueString", [&](Query& q) { q.setValue(unicode, 1); }, "text", unicode},
        {"valueData", [&](Query& q) { q.setValue(data, 1); }, "blob", data},
        {"valueDate", [&](Query& q) { q.setValue(date, 1); }, "real", 700000000.25},
        {"valueNull", [&](Query& q) { q.setValue(Variant::null(), 1); }, "null", {}},
        {"valueAbsent", [&](Query& q) { q.setValue(QVariant(), 1); }, "null", {}},
    };
    for (const Row& row : rows) {
        database->executeStatement("INSERT INTO Item (name, value) VALUES (?, ?)", nullptr, [&](Query& query) {
            query.setStringValue(row.name, 0);
            row.bind(query);
            query.execute();
        });
    }
    EXPECT_NO_DATABASE_ERROR(*database);
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM Item"), qint64(std::size(rows)));

    database->executeStatement("SELECT value, typeof(value) FROM Item WHERE name = ?", nullptr, [&](Query& query) {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.name);
            query.reset();
            query.setStringValue(row.name, 0);
            ASSERT_TRUE(query.evaluateNextRow());
            EXPECT_EQ(query.stringValueAtColumn(1), row.type);
            const QVariant value = query.valueAtColumn(0);
            const QString type = row.type;
            if (type == "null") {
                EXPECT_TRUE(Variant::isNull(value));
            } else if (type == "integer") {
                // The typed readers agree with the dynamic one.
                EXPECT_EQ(value.toLongLong(), row.expected.toLongLong());
                EXPECT_EQ(query.longLongValueAtColumn(0), row.expected.toLongLong());
                if (row.expected.toLongLong() == qint32(row.expected.toLongLong())) {
                    EXPECT_EQ(query.intValueAtColumn(0), row.expected.toLongLong());
                }
            } else {
                EXPECT_EQ(value, row.expected);
                if (type == "real") {
                    EXPECT_EQ(query.doubleValueAtColumn(0), row.expected.toDouble());
                } else if (type == "text") {
                    EXPECT_EQ(query.stringValueAtColumn(0), row.expected.toString());
                    EXPECT_FALSE(query.stringValueAtColumn(0).isNull());
                } else {
                    EXPECT_EQ(query.dataValueAtColumn(0), row.expected.toByteArray());
                }
            }
        }
    });
}

TEST_F(DatabaseTest, EvaluatedRowsAreDictionariesByColumnName) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (ID INTEGER PRIMARY KEY, name TEXT, gain REAL)");
    database->executeStatement("INSERT INTO Item (name, gain) VALUES ('one', 1.5), ('two', NULL), (NULL, -3.0)");
    QVariantList rows;
    database->executeStatement("SELECT ID, name, gain AS level FROM Item ORDER BY ID", nullptr, [&](Query& query) {
        EXPECT_EQ(query.columnCount(), 3);
        EXPECT_EQ(query.columnName(2), "level");
        rows = query.evaluatedRows();
        EXPECT_FALSE(query.evaluateNextRow());
        EXPECT_TRUE(query.evaluatedRows().isEmpty());
    });
    ASSERT_EQ(rows.size(), 3);
    const QVariantMap first = rows[0].toMap();
    EXPECT_EQ(first.keys(), (QStringList{"ID", "level", "name"}));
    EXPECT_EQ(first["ID"].toLongLong(), 1);
    EXPECT_EQ(first["name"].toString(), "one");
    EXPECT_EQ(first["level"].toDouble(), 1.5);
    EXPECT_TRUE(Variant::isNull(rows[1].toMap()["level"]));
    EXPECT_TRUE(Variant::isNull(rows[2].toMap()["name"]));
    EXPECT_EQ(rows[2].toMap()["level"].toDouble(), -3.0);

    QVariantList none{1};
    database->executeStatement("SELECT * FROM Item WHERE ID > 10", nullptr,
                               [&](Query& query) { none = query.evaluatedRows(); });
    EXPECT_TRUE(none.isEmpty());
}

TEST_F(DatabaseTest, LastInsertedRowIDAndInsertLoopsWithResets) {
    auto database = open();
    database->executeStatement("CREATE TABLE FileLabel (fileLabelID INTEGER PRIMARY KEY, name TEXT, location REAL)");
    QList<qint64> rowIDs;
    database->executeStatement("BEGIN TRANSACTION");
    database->executeStatement("INSERT INTO FileLabel (name, location) VALUES (?, ?)", nullptr, [&](Query& query) {
        for (int i = 0; i < 100; ++i) {
            // Odd rows leave the name unbound after clearing the arguments.
            if (i % 2 == 0)
                query.setStringValue(QString("Marker %1").arg(i), 0);
            query.setDoubleValue(i * 0.5, 1);
            query.execute();
            rowIDs.append(query.lastInsertedRowID());
            query.reset();
            query.resetArguments();
        }
    });
    database->executeStatement("END TRANSACTION");
    ASSERT_EQ(rowIDs.size(), 100);
    EXPECT_EQ(rowIDs.first(), 1);
    EXPECT_EQ(rowIDs.last(), 100);
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM FileLabel WHERE name IS NULL"), 50);
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM FileLabel WHERE name = 'Marker ' || CAST(location * 2 AS INT)"),
              50);

    // Without reset, a new binding or execute starts a new run by itself.
    database->executeStatement("INSERT INTO FileLabel (name) VALUES (?)", nullptr, [&](Query& query) {
        query.setStringValue("a", 0);
        query.execute();
        query.execute();
        query.setStringValue("b", 0);
        query.execute();
    });
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM FileLabel WHERE name = 'a'"), 2);
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM FileLabel WHERE name = 'b'"), 1);
    EXPECT_NO_DATABASE_ERROR(*database);
}

TEST_F(DatabaseTest, FailedStatementsChangeNothingAndAreLogged) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (ID TEXT PRIMARY KEY NOT NULL, value INTEGER)");
    database->executeStatement("INSERT INTO Item (ID, value) VALUES ('A', 1)");
    WarningCollector warnings;

    database->executeStatement("SELEC value FROM Item");
    EXPECT_TRUE(database->lastErrorMessage().contains("SELEC value FROM Item"));
    EXPECT_TRUE(database->lastErrorMessage().contains("syntax error"));
    ASSERT_FALSE(warnings.messages().isEmpty());
    EXPECT_TRUE(warnings.messages().last().contains("SELEC value FROM Item"));

    bool handlerRan = false;
    database->executeStatement("SELECT value FROM Missing WHERE ID = ?", nullptr, [&](Query& query) {
        handlerRan = true;
        query.setStringValue("A", 0);
        query.execute();
        EXPECT_FALSE(query.evaluateNextRow());
        EXPECT_TRUE(query.evaluatedRows().isEmpty());
        EXPECT_EQ(query.intValueAtColumn(0), 0);
        EXPECT_FALSE(query.dataValueAtColumn(0).isNull());
        query.reset();
        query.resetArguments();
    });
    EXPECT_TRUE(handlerRan);
    EXPECT_TRUE(database->lastErrorMessage().contains("no such table"));

    // A constraint failure while running, and a binding out of range.
    database->executeStatement("INSERT INTO Item (ID, value) VALUES (?, ?)", nullptr, [&](Query& query) {
        query.setStringValue("A", 0);
        query.setIntValue(2, 1);
        query.execute();
        EXPECT_TRUE(database->lastErrorMessage().contains("UNIQUE"));
        query.setIntValue(3, 5);
        EXPECT_TRUE(database->lastErrorMessage().contains("argument 5"));
    });
    EXPECT_EQ(count(*database, "SELECT value FROM Item WHERE ID = 'A'"), 1);
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM Item"), 1);

    // Nothing can be opened in a folder that does not exist: every statement fails quietly.
    auto nowhere = Database::initWithURL(fileURL("missing/folder/Nowhere.db"));
    nowhere->executeStatement("CREATE TABLE Item (value INTEGER)");
    handlerRan = false;
    nowhere->executeStatement("SELECT 1", nullptr, [&](Query& query) {
        handlerRan = true;
        EXPECT_FALSE(query.evaluateNextRow());
    });
    EXPECT_TRUE(handlerRan);
    EXPECT_FALSE(nowhere->lastErrorMessage().isEmpty());
    EXPECT_FALSE(fileURL("missing").exists());
}

TEST_F(DatabaseTest, TransactionFromOneThreadSpansStatementsOfAnother) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (sequence INTEGER, name TEXT)");
    auto reader = open();  // another connection sees only committed rows

    database->executeStatement("BEGIN IMMEDIATE TRANSACTION");
    std::thread([&] {
        database->executeStatement("INSERT INTO Item (sequence) VALUES (1)");
        database->executeStatement("INSERT INTO Item (sequence, name) VALUES (?, ?)", nullptr, [&](Query& query) {
            query.setIntValue(2, 0);
            query.setStringValue("row 2", 1);
            query.execute();
        });
    }).join();
    EXPECT_EQ(count(*reader, "SELECT COUNT(*) FROM Item"), 0);
    database->executeStatement("END TRANSACTION");
    EXPECT_EQ(count(*reader, "SELECT COUNT(*) FROM Item"), 2);
    EXPECT_NO_DATABASE_ERROR(*database);

    // A rollback takes back what the other thread sent meanwhile too.
    database->executeStatement("BEGIN TRANSACTION");
    std::thread([&] { database->executeStatement("DELETE FROM Item"); }).join();
    database->executeStatement("ROLLBACK");
    EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM Item"), 2);
}

TEST_F(DatabaseTest, TransactionsOfSeveralThreadsJoinInsteadOfFailing) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (thread INTEGER, sequence INTEGER)");
    auto reader = open();
    auto insert = [&](int thread, int sequence) {
        database->executeStatement("INSERT INTO Item (thread, sequence) VALUES (?, ?)", nullptr, [&](Query& query) {
            query.setIntValue(thread, 0);
            query.setIntValue(sequence, 1);
            query.execute();
        });
    };

    // A opens, B opens and ends inside A's transaction, then A ends: one commit, at A's end.
    std::latch aOpened(1), bEnded(1);
    std::thread a([&] {
        database->executeStatement("BEGIN IMMEDIATE TRANSACTION");
        insert(0, 0);
        aOpened.count_down();
        bEnded.wait();
        EXPECT_EQ(count(*reader, "SELECT COUNT(*) FROM Item"), 0);
        insert(0, 1);
        database->executeStatement("END TRANSACTION");
    });
    std::thread b([&] {
        aOpened.wait();
        database->executeStatement("BEGIN TRANSACTION");
        insert(1, 0);
        database->executeStatement("END TRANSACTION");
        bEnded.count_down();
    });
    a.join();
    b.join();
    EXPECT_NO_DATABASE_ERROR(*database);
    EXPECT_EQ(count(*reader, "SELECT COUNT(*) FROM Item"), 3);

    // Every BEGIN met its end: nothing is left open, so a new one starts cleanly.
    database->executeStatement("BEGIN TRANSACTION");
    database->executeStatement("COMMIT");
    EXPECT_NO_DATABASE_ERROR(*database);
}

TEST_F(DatabaseTest, QueueFormRunsOnItsQueueInOrderWithoutTheCallerWaiting) {
    auto database = open();
    database->executeStatement("CREATE TABLE Item (sequence INTEGER)");
    const auto queue = DispatchQueue::createSerial("test.database");

    // The caller holds the controller inside a handler: the queued statements
    // can't run yet, and sending them must not wait for them.
    std::atomic<int> wrongThread{0};
    std::atomic<bool> lastRan{false};
    database->executeStatement("SELECT 1", nullptr, [&](Query&) {
        for (int i = 0; i < 20; ++i) {
            if (i % 3 == 0) {
                database->executeStatement(QString("INSERT INTO Item (sequence) VALUES (%1)").arg(i), queue.get());
                continue;
            }
            database->executeStatement("INSERT INTO Item (sequence) VALUES (?)", queue.get(), [&, i](Query& query) {
                wrongThread += queue->isCurrent() ? 0 : 1;
                query.setIntValue(i, 0);
                query.execute();
            });
        }
        spinFor(20);
        EXPECT_EQ(count(*database, "SELECT COUNT(*) FROM Item"), 0);
    });
    // The last owner may let go while statements are still queued: they still run.
    database->executeStatement("INSERT INTO Item (sequence) VALUES (20)", queue.get(), [&](Query& query) {
        query.execute();
        lastRan = true;
    });
    database.reset();
    ASSERT_TRUE(spinUntil([&] { return lastRan.load(); }));

    database = open();
    EXPECT_EQ(wrongThread, 0);
    QList<qint64> sequence;
    database->executeStatement("SELECT sequence FROM Item ORDER BY rowid", nullptr, [&](Query& query) {
        while (query.evaluateNextRow())
            sequence.append(query.longLongValueAtColumn(0));
    });
    QList<qint64> expected;
    for (int i = 0; i <= 20; ++i)
        expected.append(i);
    EXPECT_EQ(sequence, expected);
    EXPECT_NO_DATABASE_ERROR(*database);
}

} // namespace ondrel
