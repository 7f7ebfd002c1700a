#include "core/Date.h"
#include "core/DispatchQueue.h"
#include "core/URL.h"
#include "core/VMKDatabaseController.h"
#include "core/VMKDatabaseQuery.h"
#include "core/Variant.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

namespace {

using Query = VMKDatabaseQuery;

class DatabaseTest : public ::testing::Test {
protected:
    URL fileURL(const QString& name) const { return URL::fileURLWithPath(m_dir.filePath(name)); }

    std::shared_ptr<VMKDatabaseController> open(const QString& name = QStringLiteral("Test.db")) {
        auto database = VMKDatabaseController::initWithURL(fileURL(name));
        EXPECT_TRUE(database);
        return database;
    }

    static qint64 count(VMKDatabaseController& database, const QString& sql) {
        qint64 result = -1;
        database.executeStatement(sql, nullptr, [&](Query& query) {
            if (query.evaluateNextRow())
                result = query.longLongValueAtColumn(0);
        });
        return result;
    }

    static QStringList columnNames(VMKDatabaseController& database, const QString& table) {
        QStringList names;
        database.executeStatement(QStringLiteral("PRAGMA table_info(%1)").arg(table), nullptr, [&](Query& query) {
            for (const QVariant& row : query.evaluatedRows())
                names.append(row.toMap().value(QStringLiteral("name")).toString());
        });
        return names;
    }

    QTemporaryDir m_dir;
};

// The catalog's own schema and migration, issued as its owner issues them.
const char* const kCatalogSchema[] = {
    "CREATE TABLE [Global] (version INTEGER);",
    "INSERT INTO Global (version) VALUES (1);",
    "CREATE TABLE FileEntity (fileEntityID TEXT PRIMARY KEY NOT NULL, containerEntityID TEXT, dateAdded REAL, "
    "dateModified REAL, format TEXT, encoding TEXT, channelSuffixDelimiter TEXT, fileSize INTEGER, bitDepth INTEGER, "
    "floatingPoint INTEGER, bitrate INTEGER, sampleRate REAL, frames INTEGER, channels INTEGER, countOfMarkers "
    "INTEGER, countOfSlices INTEGER, countOfRegions INTEGER, countOfLoops INTEGER, difference REAL, detectedSemitone "
    "INTEGER, LU REAL);",
    "CREATE TABLE FileBookmark (fileBookmarkID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, ordinal INTEGER, "
    "bookmarkData BLOB);",
    "CREATE TABLE FileProperty (filePropertyID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, key TEXT, value "
    "BLOB);",
    "CREATE TABLE FileLabel (fileLabelID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, type TEXT, location REAL, "
    "length REAL, name TEXT);",
    "CREATE TABLE FileAnalysis (fileAnalysisID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, channelIndex "
    "INTEGER, DCOffset REAL, average REAL, crestFactor REAL, formFactor REAL, negativeMaximum REAL, peak REAL, "
    "peakToPeak REAL, positiveMaximum REAL, RMS REAL, countOfClipEvents INTEGER, wavetable BLOB);",
    "CREATE TABLE GroupEntity (groupEntityID TEXT PRIMARY KEY NOT NULL, containerEntityID TEXT, bookmarkData BLOB, "
    "name TEXT);",
    "CREATE INDEX FileAnalysisEntityID ON FileAnalysis (fileEntityID ASC);",
    "CREATE INDEX FileBookmarkEntityID ON FileBookmark (fileEntityID ASC);",
    "CREATE INDEX FileLabelEntityID ON FileLabel (fileEntityID ASC);",
    "CREATE INDEX FilePropertyEntityID ON FileProperty (fileEntityID ASC);",
};

void createCatalogSchema(VMKDatabaseController& database) {
    for (const char* statement : kCatalogSchema)
        database.executeStatement(QString::fromLatin1(statement));
}

void migrateCatalog(VMKDatabaseController& database) {
    database.executeStatement(QStringLiteral("SELECT version FROM Global"), nullptr, [&](Query& query) {
        if (!query.evaluateNextRow())
            return;
        qint64 version = query.longLongValueAtColumn(0);
        if (version == 1) {
            database.executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN midPeak REAL"));
            database.executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN sidePeak REAL"));
            database.executeStatement(QStringLiteral("UPDATE Global SET version = 2 WHERE version = 1"));
            version = 2;
        }
        if (version == 2) {
            database.executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN truePeak REAL"));
            database.executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN loudnessRange REAL"));
            database.executeStatement(QStringLiteral("UPDATE Global SET version = 3 WHERE version = 2"));
        }
    });
}

// Collects warnings logged while it lives.
class WarningCollector {
public:
    WarningCollector() {
        s_messages.clear();
        m_previous = qInstallMessageHandler(&WarningCollector::handle);
    }
    ~WarningCollector() { qInstallMessageHandler(m_previous); }
    static QStringList messages() { return s_messages; }

private:
    static void handle(QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (type == QtWarningMsg)
            s_messages.append(message);
    }
    static inline QStringList s_messages;
    QtMessageHandler m_previous;
};

} // namespace

TEST_F(DatabaseTest, FileComesIntoBeingWithTheFirstStatement) {
    EXPECT_FALSE(VMKDatabaseController::initWithURL(URL()));

    const URL url = fileURL(QStringLiteral("Lazy.db"));
    auto database = VMKDatabaseController::initWithURL(url);
    ASSERT_TRUE(database);
    EXPECT_EQ(database->url(), url);
    EXPECT_FALSE(url.exists());

    database->executeStatement(QStringLiteral("CREATE TABLE Item (value INTEGER)"));
    EXPECT_TRUE(url.existsAsFile());
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());

    // A second controller on the same file sees the table; WAL keeps both working.
    database->executeStatement(QStringLiteral("INSERT INTO Item (value) VALUES (7)"));
    auto other = VMKDatabaseController::initWithURL(url);
    EXPECT_EQ(count(*other, QStringLiteral("SELECT value FROM Item")), 7);
    QString journalMode;
    other->executeStatement(QStringLiteral("PRAGMA journal_mode"), nullptr,
                            [&](Query& query) { journalMode = query.evaluateNextRow() ? query.stringValueAtColumn(0) : QString(); });
    EXPECT_EQ(journalMode, QStringLiteral("wal"));
}

TEST_F(DatabaseTest, NewCatalogStartsAtVersionOneAndMigratesToThreeInsideTheVersionHandler) {
    const URL url = fileURL(QStringLiteral("Entities.db"));
    auto database = VMKDatabaseController::initWithURL(url);
    ASSERT_FALSE(url.existsAsFile());
    createCatalogSchema(*database);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT version FROM Global")), 1);
    const QStringList original = columnNames(*database, QStringLiteral("FileEntity"));
    EXPECT_EQ(original.size(), 21);

    migrateCatalog(*database);
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
    EXPECT_EQ(count(*database, QStringLiteral("SELECT version FROM Global")), 3);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Global")), 1);
    EXPECT_EQ(columnNames(*database, QStringLiteral("FileEntity")),
              original + QStringList({"midPeak", "sidePeak", "truePeak", "loudnessRange"}));

    // Every later start runs the migration again and changes nothing.
    database.reset();
    database = VMKDatabaseController::initWithURL(url);
    migrateCatalog(*database);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT version FROM Global")), 3);
    EXPECT_EQ(columnNames(*database, QStringLiteral("FileEntity")).size(), 25);
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());

    // The new columns are usable at once.
    database->executeStatement(QStringLiteral("INSERT INTO FileEntity (fileEntityID, truePeak) VALUES (?, ?)"), nullptr,
                               [](Query& query) {
                                   query.setStringValue(QStringLiteral("8F2C1E0A-5B7D-4C3E-9A1F-0D2E3F4A5B6C"), 0);
                                   query.setDoubleValue(-0.5, 1);
                                   query.execute();
                               });
    QVariant truePeak, loudnessRange;
    database->executeStatement(QStringLiteral("SELECT truePeak, loudnessRange FROM FileEntity"), nullptr,
                               [&](Query& query) {
                                   ASSERT_TRUE(query.evaluateNextRow());
                                   truePeak = query.valueAtColumn(0);
                                   loudnessRange = query.valueAtColumn(1);
                               });
    EXPECT_EQ(truePeak.toDouble(), -0.5);
    EXPECT_TRUE(Variant::isNull(loudnessRange));
}

TEST_F(DatabaseTest, VersionTwoCatalogGainsOnlyItsTwoColumns) {
    const URL url = fileURL(QStringLiteral("Entities.db"));
    {
        auto database = VMKDatabaseController::initWithURL(url);
        createCatalogSchema(*database);
        database->executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN midPeak REAL"));
        database->executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN sidePeak REAL"));
        database->executeStatement(QStringLiteral("UPDATE Global SET version = 2"));
    }
    auto database = VMKDatabaseController::initWithURL(url);
    const QStringList before = columnNames(*database, QStringLiteral("FileEntity"));
    migrateCatalog(*database);
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
    EXPECT_EQ(columnNames(*database, QStringLiteral("FileEntity")),
              before + QStringList({"truePeak", "loudnessRange"}));
    EXPECT_EQ(count(*database, QStringLiteral("SELECT version FROM Global")), 3);

    // A newer file is left as it stands.
    database->executeStatement(QStringLiteral("UPDATE Global SET version = 4"));
    migrateCatalog(*database);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT version FROM Global")), 4);
    EXPECT_EQ(columnNames(*database, QStringLiteral("FileEntity")).size(), 25);
}

TEST_F(DatabaseTest, HandlerRunsFurtherStatementsIncludingItsOwnSQL) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (value INTEGER)"));
    database->executeStatement(QStringLiteral("CREATE TABLE Pair (outer INTEGER, inner INTEGER)"));
    database->executeStatement(QStringLiteral("INSERT INTO Item (value) VALUES (1), (2), (3)"));

    const QString select = QStringLiteral("SELECT value FROM Item WHERE value >= ? ORDER BY value");
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
                    database->executeStatement(QStringLiteral("INSERT INTO Pair (outer, inner) VALUES (?, ?)"),
                                               nullptr, [&](Query& insert) {
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
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Pair")), 6);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Pair WHERE inner < outer")), 0);

    // Cached statements come back clean: no bindings or position left over.
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Item WHERE value >= 2")), 2);
    database->executeStatement(select, nullptr, [&](Query& query) {
        // Nothing bound is NULL, and no row matches "value >= NULL".
        EXPECT_FALSE(query.evaluateNextRow()) << "a binding of an earlier run leaked";
    });
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
}

TEST_F(DatabaseTest, NullColumnsAndMissingRowsReadAsEmptyValues) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (number INTEGER, text TEXT, data BLOB)"));
    database->executeStatement(QStringLiteral("INSERT INTO Item (number, text, data) VALUES (NULL, NULL, NULL)"));

    database->executeStatement(QStringLiteral("SELECT number, text, data FROM Item"), nullptr, [](Query& query) {
        // Before the first step nothing is current.
        EXPECT_TRUE(Variant::isAbsent(query.valueAtColumn(0)));
        EXPECT_FALSE(query.dataValueAtColumn(2).isNull());

        ASSERT_TRUE(query.evaluateNextRow());
        for (int column = 0; column < 3; ++column)
            EXPECT_TRUE(Variant::isNull(query.valueAtColumn(column))) << column;
        EXPECT_EQ(query.intValueAtColumn(0), 0);
        EXPECT_EQ(query.longLongValueAtColumn(0), 0);
        EXPECT_EQ(query.doubleValueAtColumn(0), 0.0);
        EXPECT_TRUE(query.stringValueAtColumn(1).isNull());
        const QByteArray data = query.dataValueAtColumn(2);
        EXPECT_TRUE(data.isEmpty());
        EXPECT_FALSE(data.isNull());
        // Columns out of range read as nothing.
        EXPECT_TRUE(Variant::isAbsent(query.valueAtColumn(3)));
        EXPECT_TRUE(Variant::isAbsent(query.valueAtColumn(-1)));
        EXPECT_FALSE(query.dataValueAtColumn(9).isNull());

        EXPECT_FALSE(query.evaluateNextRow());
        EXPECT_FALSE(query.evaluateNextRow());  // stays finished; no restart
        EXPECT_FALSE(query.dataValueAtColumn(2).isNull());
        EXPECT_TRUE(query.stringValueAtColumn(1).isNull());
    });

    // The root group's case: no row at all.
    database->executeStatement(QStringLiteral("SELECT data FROM Item WHERE number = 1"), nullptr, [](Query& query) {
        EXPECT_FALSE(query.evaluateNextRow());
        const QByteArray data = query.dataValueAtColumn(0);
        EXPECT_TRUE(data.isEmpty());
        EXPECT_FALSE(data.isNull());
        EXPECT_TRUE(Variant::isAbsent(query.valueAtColumn(0)));
    });
}

TEST_F(DatabaseTest, EveryBindingRoundTrips) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (name TEXT PRIMARY KEY, value)"));
    const QString insert = QStringLiteral("INSERT INTO Item (name, value) VALUES (?, ?)");
    auto store = [&](const char* name, const std::function<void(Query&)>& bind) {
        database->executeStatement(insert, nullptr, [&](Query& query) {
            query.setStringValue(QString::fromLatin1(name), 0);
            bind(query);
            query.execute();
        });
    };
    const QString unicode = QStringLiteral("Grüße — 音 \U0001F3B5");
    const QString longText = QString(1000, QLatin1Char('x')) + unicode;
    const QByteArray data("\x00\x01\xff\x7f", 4);
    const QDateTime date = Date::dateWithTimeIntervalSinceReferenceDate(700000000.25);

    store("string", [&](Query& q) { q.setStringValue(unicode, 1); });
    store("longString", [&](Query& q) { q.setStringValue(longText, 1); });
    const QString hugeText = QString(60000, QChar(0x00E9));
    store("hugeString", [&](Query& q) { q.setStringValue(hugeText, 1); });
    store("emptyString", [&](Query& q) { q.setStringValue(QStringLiteral(""), 1); });
    store("absentString", [&](Query& q) { q.setStringValue(QString(), 1); });
    store("intMin", [&](Query& q) { q.setIntValue(std::numeric_limits<qint32>::min(), 1); });
    store("intMax", [&](Query& q) { q.setIntValue(std::numeric_limits<qint32>::max(), 1); });
    store("longLong", [&](Query& q) { q.setLongLongValue(Q_INT64_C(0x123456789ABCDEF0), 1); });
    store("double", [&](Query& q) { q.setDoubleValue(-1.0 / 3.0, 1); });
    store("data", [&](Query& q) { q.setDataValue(data, 1); });
    store("emptyData", [&](Query& q) { q.setDataValue(QByteArray(""), 1); });
    store("absentData", [&](Query& q) { q.setDataValue(QByteArray(), 1); });
    store("null", [&](Query& q) { q.setNullValueToArgumentAtIndex(1); });
    store("valueBool", [&](Query& q) { q.setValue(true, 1); });
    store("valueInt", [&](Query& q) { q.setValue(-42, 1); });
    store("valueLongLong", [&](Query& q) { q.setValue(qlonglong(1) << 40, 1); });
    store("valueDouble", [&](Query& q) { q.setValue(2.5, 1); });
    store("valueString", [&](Query& q) { q.setValue(unicode, 1); });
    store("valueData", [&](Query& q) { q.setValue(data, 1); });
    store("valueDate", [&](Query& q) { q.setValue(date, 1); });
    store("valueNull", [&](Query& q) { q.setValue(Variant::null(), 1); });
    store("valueAbsent", [&](Query& q) { q.setValue(QVariant(), 1); });
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());

    QHash<QString, QVariant> values;
    QHash<QString, QString> types;
    database->executeStatement(QStringLiteral("SELECT name, value, typeof(value) FROM Item"), nullptr,
                               [&](Query& query) {
                                   while (query.evaluateNextRow()) {
                                       values.insert(query.stringValueAtColumn(0), query.valueAtColumn(1));
                                       types.insert(query.stringValueAtColumn(0), query.stringValueAtColumn(2));
                                   }
                               });
    ASSERT_EQ(values.size(), 22);
    EXPECT_EQ(values["string"], QVariant(unicode));
    EXPECT_EQ(values["longString"], QVariant(longText));
    EXPECT_EQ(values["hugeString"], QVariant(hugeText));
    EXPECT_EQ(types["emptyString"], "text");
    EXPECT_EQ(types["absentString"], "null");
    EXPECT_EQ(values["intMin"].toLongLong(), std::numeric_limits<qint32>::min());
    EXPECT_EQ(values["intMax"].toLongLong(), std::numeric_limits<qint32>::max());
    EXPECT_EQ(values["longLong"].toLongLong(), Q_INT64_C(0x123456789ABCDEF0));
    EXPECT_EQ(values["double"].toDouble(), -1.0 / 3.0);
    EXPECT_EQ(types["double"], "real");
    EXPECT_EQ(values["data"].toByteArray(), data);
    EXPECT_EQ(types["emptyData"], "blob");
    EXPECT_EQ(types["absentData"], "null");
    EXPECT_TRUE(Variant::isNull(values["null"]));
    EXPECT_EQ(types["valueBool"], "integer");
    EXPECT_EQ(values["valueBool"].toLongLong(), 1);
    EXPECT_EQ(values["valueInt"].toLongLong(), -42);
    EXPECT_EQ(values["valueLongLong"].toLongLong(), qlonglong(1) << 40);
    EXPECT_EQ(values["valueDouble"].toDouble(), 2.5);
    EXPECT_EQ(values["valueString"].toString(), unicode);
    EXPECT_EQ(types["valueData"], "blob");
    EXPECT_EQ(values["valueData"].toByteArray(), data);
    EXPECT_EQ(types["valueDate"], "real");
    EXPECT_EQ(values["valueDate"].toDouble(), 700000000.25);
    EXPECT_EQ(types["valueNull"], "null");
    EXPECT_EQ(types["valueAbsent"], "null");

    // The typed readers on the same rows.
    database->executeStatement(QStringLiteral("SELECT value FROM Item WHERE name = ?"), nullptr, [&](Query& query) {
        auto row = [&](const char* name) {
            query.reset();
            query.setStringValue(QString::fromLatin1(name), 0);
            EXPECT_TRUE(query.evaluateNextRow()) << name;
        };
        row("string");
        EXPECT_EQ(query.stringValueAtColumn(0), unicode);
        row("emptyString");
        EXPECT_FALSE(query.stringValueAtColumn(0).isNull());
        EXPECT_TRUE(query.stringValueAtColumn(0).isEmpty());
        row("intMin");
        EXPECT_EQ(query.intValueAtColumn(0), std::numeric_limits<qint32>::min());
        row("longLong");
        EXPECT_EQ(query.longLongValueAtColumn(0), Q_INT64_C(0x123456789ABCDEF0));
        row("double");
        EXPECT_EQ(query.doubleValueAtColumn(0), -1.0 / 3.0);
        row("data");
        EXPECT_EQ(query.dataValueAtColumn(0), data);
        row("emptyData");
        EXPECT_FALSE(query.dataValueAtColumn(0).isNull());
        EXPECT_TRUE(query.dataValueAtColumn(0).isEmpty());
        EXPECT_EQ(query.valueAtColumn(0), QVariant(QByteArray("")));
        row("valueDate");
        EXPECT_EQ(Date::dateWithTimeIntervalSinceReferenceDate(query.doubleValueAtColumn(0)), date);
    });
}

TEST_F(DatabaseTest, EvaluatedRowsAreDictionariesByColumnName) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (ID INTEGER PRIMARY KEY, name TEXT, gain REAL)"));
    database->executeStatement(
        QStringLiteral("INSERT INTO Item (name, gain) VALUES ('one', 1.5), ('two', NULL), (NULL, -3.0)"));
    QVariantList rows;
    database->executeStatement(QStringLiteral("SELECT ID, name, gain AS level FROM Item ORDER BY ID"), nullptr,
                               [&](Query& query) {
                                   EXPECT_EQ(query.columnCount(), 3);
                                   EXPECT_EQ(query.columnName(2), QStringLiteral("level"));
                                   rows = query.evaluatedRows();
                                   EXPECT_FALSE(query.evaluateNextRow());
                                   EXPECT_TRUE(query.evaluatedRows().isEmpty());
                               });
    ASSERT_EQ(rows.size(), 3);
    const QVariantMap first = rows[0].toMap();
    EXPECT_EQ(first.keys(), (QStringList{"ID", "level", "name"}));
    EXPECT_EQ(first["ID"].toLongLong(), 1);
    EXPECT_EQ(first["name"].toString(), QStringLiteral("one"));
    EXPECT_EQ(first["level"].toDouble(), 1.5);
    EXPECT_TRUE(Variant::isNull(rows[1].toMap()["level"]));
    EXPECT_TRUE(Variant::isNull(rows[2].toMap()["name"]));
    EXPECT_EQ(rows[2].toMap()["level"].toDouble(), -3.0);

    QVariantList none{1};
    database->executeStatement(QStringLiteral("SELECT * FROM Item WHERE ID > 10"), nullptr,
                               [&](Query& query) { none = query.evaluatedRows(); });
    EXPECT_TRUE(none.isEmpty());
}

TEST_F(DatabaseTest, LastInsertedRowIDAndInsertLoopsWithResets) {
    auto database = open();
    database->executeStatement(
        QStringLiteral("CREATE TABLE FileLabel (fileLabelID INTEGER PRIMARY KEY NOT NULL, name TEXT, location REAL)"));
    QList<qint64> rowIDs;
    database->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
    database->executeStatement(QStringLiteral("INSERT INTO FileLabel (name, location) VALUES (?, ?)"), nullptr,
                               [&](Query& query) {
                                   for (int i = 0; i < 100; ++i) {
                                       // Odd rows leave the name unbound after clearing the arguments.
                                       if (i % 2 == 0)
                                           query.setStringValue(QStringLiteral("Marker %1").arg(i), 0);
                                       query.setDoubleValue(i * 0.5, 1);
                                       query.execute();
                                       rowIDs.append(query.lastInsertedRowID());
                                       query.reset();
                                       query.resetArguments();
                                   }
                               });
    database->executeStatement(QStringLiteral("END TRANSACTION"));
    ASSERT_EQ(rowIDs.size(), 100);
    EXPECT_EQ(rowIDs.first(), 1);
    EXPECT_EQ(rowIDs.last(), 100);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM FileLabel")), 100);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM FileLabel WHERE name IS NULL")), 50);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM FileLabel WHERE name = 'Marker ' || "
                                              "CAST(location * 2 AS INTEGER)")),
              50);

    // Without reset, a new binding or execute starts a new run by itself.
    database->executeStatement(QStringLiteral("INSERT INTO FileLabel (name) VALUES (?)"), nullptr, [&](Query& query) {
        query.setStringValue(QStringLiteral("a"), 0);
        query.execute();
        query.execute();
        query.setStringValue(QStringLiteral("b"), 0);
        query.execute();
    });
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM FileLabel WHERE name = 'a'")), 2);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM FileLabel WHERE name = 'b'")), 1);
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
}

TEST_F(DatabaseTest, FailedStatementsChangeNothingAndAreLogged) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (ID TEXT PRIMARY KEY NOT NULL, value INTEGER)"));
    database->executeStatement(QStringLiteral("INSERT INTO Item (ID, value) VALUES ('A', 1)"));
    WarningCollector warnings;

    database->executeStatement(QStringLiteral("SELEC value FROM Item"));
    EXPECT_TRUE(database->lastErrorMessage().contains(QStringLiteral("SELEC value FROM Item")));
    EXPECT_TRUE(database->lastErrorMessage().contains(QStringLiteral("syntax error")));
    ASSERT_FALSE(warnings.messages().isEmpty());
    EXPECT_TRUE(warnings.messages().last().contains(QStringLiteral("SELEC value FROM Item")));

    bool handlerRan = false;
    database->executeStatement(QStringLiteral("SELECT value FROM Missing WHERE ID = ?"), nullptr, [&](Query& query) {
        handlerRan = true;
        query.setStringValue(QStringLiteral("A"), 0);
        query.execute();
        EXPECT_FALSE(query.evaluateNextRow());
        EXPECT_TRUE(query.evaluatedRows().isEmpty());
        EXPECT_EQ(query.intValueAtColumn(0), 0);
        EXPECT_FALSE(query.dataValueAtColumn(0).isNull());
        query.reset();
        query.resetArguments();
    });
    EXPECT_TRUE(handlerRan);
    EXPECT_TRUE(database->lastErrorMessage().contains(QStringLiteral("no such table")));

    // A constraint failure while running, and a binding out of range.
    database->executeStatement(QStringLiteral("INSERT INTO Item (ID, value) VALUES (?, ?)"), nullptr, [&](Query& query) {
        query.setStringValue(QStringLiteral("A"), 0);
        query.setIntValue(2, 1);
        query.execute();
        EXPECT_TRUE(database->lastErrorMessage().contains(QStringLiteral("UNIQUE")));
        query.setIntValue(3, 5);
        EXPECT_TRUE(database->lastErrorMessage().contains(QStringLiteral("argument 5")));
    });
    EXPECT_EQ(count(*database, QStringLiteral("SELECT value FROM Item WHERE ID = 'A'")), 1);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Item")), 1);

    // Nothing can be opened in a folder that does not exist: every statement fails quietly.
    auto nowhere = VMKDatabaseController::initWithURL(fileURL(QStringLiteral("missing/folder/Nowhere.db")));
    nowhere->executeStatement(QStringLiteral("CREATE TABLE Item (value INTEGER)"));
    bool nowhereHandlerRan = false;
    nowhere->executeStatement(QStringLiteral("SELECT 1"), nullptr, [&](Query& query) {
        nowhereHandlerRan = true;
        EXPECT_FALSE(query.evaluateNextRow());
    });
    EXPECT_TRUE(nowhereHandlerRan);
    EXPECT_FALSE(nowhere->lastErrorMessage().isEmpty());
    EXPECT_FALSE(fileURL(QStringLiteral("missing")).exists());
}

TEST_F(DatabaseTest, TransactionFromOneThreadSpansStatementsOfEightOthers) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (thread INTEGER, sequence INTEGER, name TEXT)"));
    auto reader = open();  // another connection sees only committed rows

    constexpr int kThreads = 8;
    constexpr int kRowsPerThread = 400;
    database->executeStatement(QStringLiteral("BEGIN IMMEDIATE TRANSACTION"));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRowsPerThread; ++i) {
                if (i % 2) {
                    database->executeStatement(
                        QStringLiteral("INSERT INTO Item (thread, sequence, name) VALUES (?, ?, ?)"), nullptr,
                        [&](Query& query) {
                            query.setIntValue(t, 0);
                            query.setIntValue(i, 1);
                            query.setStringValue(QStringLiteral("row %1").arg(i), 2);
                            query.execute();
                        });
                } else {
                    database->executeStatement(
                        QStringLiteral("INSERT INTO Item (thread, sequence) VALUES (%1, %2)").arg(t).arg(i));
                }
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(count(*reader, QStringLiteral("SELECT COUNT(*) FROM Item")), 0);
    database->executeStatement(QStringLiteral("END TRANSACTION"));
    EXPECT_EQ(count(*reader, QStringLiteral("SELECT COUNT(*) FROM Item")), kThreads * kRowsPerThread);
    EXPECT_EQ(count(*reader, QStringLiteral("SELECT COUNT(DISTINCT thread * 1000 + sequence) FROM Item")),
              kThreads * kRowsPerThread);
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());

    // A rollback takes back what the other threads sent meanwhile too.
    database->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
    std::thread([&] { database->executeStatement(QStringLiteral("DELETE FROM Item")); }).join();
    database->executeStatement(QStringLiteral("ROLLBACK"));
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Item")), kThreads * kRowsPerThread);
}

TEST_F(DatabaseTest, TransactionsOfSeveralThreadsJoinInsteadOfFailing) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (thread INTEGER, sequence INTEGER)"));
    auto reader = open();
    auto insert = [&](int thread, int sequence) {
        database->executeStatement(QStringLiteral("INSERT INTO Item (thread, sequence) VALUES (?, ?)"), nullptr,
                                   [&](Query& query) {
                                       query.setIntValue(thread, 0);
                                       query.setIntValue(sequence, 1);
                                       query.execute();
                                   });
    };

    // A opens, B opens and ends inside A's transaction, then A ends: one commit, at A's end.
    std::latch aOpened(1), bEnded(1);
    std::thread a([&] {
        database->executeStatement(QStringLiteral("BEGIN IMMEDIATE TRANSACTION"));
        insert(0, 0);
        aOpened.count_down();
        bEnded.wait();
        EXPECT_EQ(count(*reader, QStringLiteral("SELECT COUNT(*) FROM Item")), 0);
        insert(0, 1);
        database->executeStatement(QStringLiteral("END TRANSACTION"));
    });
    std::thread b([&] {
        aOpened.wait();
        database->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
        insert(1, 0);
        database->executeStatement(QStringLiteral("END TRANSACTION"));
        bEnded.count_down();
    });
    a.join();
    b.join();
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
    EXPECT_EQ(count(*reader, QStringLiteral("SELECT COUNT(*) FROM Item")), 3);

    // Many threads, each with its own batches.
    std::latch start(8);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (int batch = 0; batch < 10; ++batch) {
                database->executeStatement(t % 2 ? QStringLiteral("BEGIN IMMEDIATE TRANSACTION")
                                                 : QStringLiteral("BEGIN TRANSACTION"));
                for (int i = 0; i < 20; ++i) {
                    insert(t + 2, batch * 20 + i);
                    std::this_thread::yield();
                }
                database->executeStatement(QStringLiteral("END TRANSACTION"));
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Item WHERE thread >= 2")), 8 * 200);
    // Every BEGIN met its end: nothing is left open, so a new one starts cleanly.
    database->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
    database->executeStatement(QStringLiteral("COMMIT"));
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
    EXPECT_EQ(count(*reader, QStringLiteral("SELECT COUNT(*) FROM Item")), 3 + 8 * 200);
}

TEST_F(DatabaseTest, QueueFormRunsOnItsQueueInOrderWithoutTheCallerWaiting) {
    auto database = open();
    database->executeStatement(QStringLiteral("CREATE TABLE Item (queue INTEGER, sequence INTEGER)"));
    constexpr int kQueues = 4;
    constexpr int kRowsPerQueue = 250;
    std::vector<std::shared_ptr<DispatchQueue>> queues;
    for (int q = 0; q < kQueues; ++q)
        queues.push_back(DispatchQueue::createSerial(QStringLiteral("test.database.%1").arg(q)));

    // The caller holds the controller inside a handler: a queued statement
    // can't run yet, and sending it must not wait for it.
    std::atomic<bool> queuedRan{false};
    database->executeStatement(QStringLiteral("SELECT 1"), nullptr, [&](Query&) {
        database->executeStatement(QStringLiteral("INSERT INTO Item (queue, sequence) VALUES (-1, -1)"),
                                   queues[0].get(), [&](Query& query) {
                                       query.execute();
                                       queuedRan = true;
                                   });
        spinFor(20);
        EXPECT_FALSE(queuedRan);
    });

    std::atomic<int> wrongThread{0}, finished{0};
    std::vector<std::thread> senders;
    for (int q = 0; q < kQueues; ++q) {
        senders.emplace_back([&, q] {
            DispatchQueue* queue = queues[size_t(q)].get();
            for (int i = 0; i < kRowsPerQueue; ++i) {
                if (i % 3 == 0) {
                    database->executeStatement(
                        QStringLiteral("INSERT INTO Item (queue, sequence) VALUES (%1, %2)").arg(q).arg(i), queue);
                    continue;
                }
                database->executeStatement(QStringLiteral("INSERT INTO Item (queue, sequence) VALUES (?, ?)"), queue,
                                           [&, queue, q, i](Query& query) {
                                               if (!queue->isCurrent())
                                                   ++wrongThread;
                                               query.setIntValue(q, 0);
                                               query.setIntValue(i, 1);
                                               query.execute();
                                           });
            }
            database->executeStatement(QStringLiteral("SELECT 1"), queue, [&](Query&) { ++finished; });
        });
    }
    for (auto& sender : senders)
        sender.join();
    // The last owner may let go while statements are still queued: they still run.
    std::atomic<bool> lateRan{false};
    database->executeStatement(QStringLiteral("INSERT INTO Item (queue, sequence) VALUES (-2, -2)"), queues[1].get(),
                               [&](Query& query) {
                                   query.execute();
                                   lateRan = true;
                               });
    database.reset();
    ASSERT_TRUE(spinUntil([&] { return finished == kQueues && queuedRan && lateRan; }));

    database = open();
    EXPECT_EQ(wrongThread, 0);
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Item")), kQueues * kRowsPerQueue + 2);
    std::vector<int> next(kQueues, 0);
    bool inOrder = true;
    database->executeStatement(QStringLiteral("SELECT queue, sequence FROM Item WHERE queue >= 0 ORDER BY rowid"),
                               nullptr, [&](Query& query) {
                                   while (query.evaluateNextRow()) {
                                       const int q = query.intValueAtColumn(0);
                                       inOrder = inOrder && query.intValueAtColumn(1) == next[size_t(q)]++;
                                   }
                               });
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(next, std::vector<int>(kQueues, kRowsPerQueue));
    EXPECT_EQ(count(*database, QStringLiteral("SELECT COUNT(*) FROM Item WHERE queue = -2")), 1);
    EXPECT_TRUE(database->lastErrorMessage().isEmpty()) << qPrintable(database->lastErrorMessage());
}
