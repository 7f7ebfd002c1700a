// 100,000 label rows inserted in one transaction: through the database
// controller (the loop inside one query handler, as bulk writers do, and one
// statement per row, as single-row writers do) against raw SQLite with the
// same schema, the same connection settings and one reused prepared statement.
// Times are the thread's CPU time, best of the iterations; the ratios are
// wrapper / raw.

#include "core/files/URL.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

#include <time.h>

namespace ondrel {

namespace {

constexpr int kRows = 100000;

const char* const kCreateTable =
    "CREATE TABLE FileLabel (fileLabelID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, type TEXT, "
    "location REAL, length REAL, name TEXT)";
const char* const kInsert = "INSERT INTO FileLabel (fileEntityID, type, location, length, name) VALUES (?, ?, ?, ?, ?)";

struct Row {
    QString fileEntityID, type, name;
    QByteArray fileEntityIDUtf8, typeUtf8, nameUtf8;
    double location, length;
};

const std::vector<Row>& rows() {
    static const std::vector<Row> table = [] {
        std::vector<Row> out(kRows);
        for (int i = 0; i < kRows; ++i) {
            Row& row = out[size_t(i)];
            row.fileEntityID = QStringLiteral("8F2C1E0A-5B7D-4C3E-9A1F-%1").arg(i / 10, 12, 10, QLatin1Char('0'));
            row.type = i % 3 ? QStringLiteral("Marker") : QStringLiteral("Region");
            row.name = QStringLiteral("Take %1 Marker %2").arg(i / 10).arg(i % 10);
            row.fileEntityIDUtf8 = row.fileEntityID.toUtf8();
            row.typeUtf8 = row.type.toUtf8();
            row.nameUtf8 = row.name.toUtf8();
            row.location = i * 0.25;
            row.length = (i % 3) ? 0.0 : 1.5;
        }
        return out;
    }();
    return table;
}

// The CPU time of this thread (user and system, so the writes at commit
// count): other load on a shared machine does not skew it as wall time is.
double threadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

void check(int result, sqlite3* database) {
    if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
        std::fprintf(stderr, "sqlite: %s\n", sqlite3_errmsg(database));
        std::abort();
    }
}

double insertRaw(const QString& path) {
    sqlite3* database = nullptr;
    check(sqlite3_open_v2(QFile::encodeName(path).constData(), &database,
                          SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr),
          database);
    sqlite3_busy_timeout(database, 10000);
    check(sqlite3_exec(database, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr), database);
    check(sqlite3_exec(database, "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr), database);
    check(sqlite3_exec(database, kCreateTable, nullptr, nullptr, nullptr), database);

    const double start = threadMilliseconds();
    check(sqlite3_exec(database, "BEGIN TRANSACTION", nullptr, nullptr, nullptr), database);
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(database, kInsert, -1, &statement, nullptr), database);
    for (const Row& row : rows()) {
        sqlite3_bind_text(statement, 1, row.fileEntityIDUtf8.constData(), int(row.fileEntityIDUtf8.size()),
                          SQLITE_STATIC);
        sqlite3_bind_text(statement, 2, row.typeUtf8.constData(), int(row.typeUtf8.size()), SQLITE_STATIC);
        sqlite3_bind_double(statement, 3, row.location);
        sqlite3_bind_double(statement, 4, row.length);
        sqlite3_bind_text(statement, 5, row.nameUtf8.constData(), int(row.nameUtf8.size()), SQLITE_STATIC);
        check(sqlite3_step(statement), database);
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    check(sqlite3_exec(database, "END TRANSACTION", nullptr, nullptr, nullptr), database);
    const double elapsed = threadMilliseconds() - start;
    sqlite3_close_v2(database);
    return elapsed;
}

void bindRow(VMKDatabaseQuery& query, const Row& row) {
    query.setStringValue(row.fileEntityID, 0);
    query.setStringValue(row.type, 1);
    query.setDoubleValue(row.location, 2);
    query.setDoubleValue(row.length, 3);
    query.setStringValue(row.name, 4);
}

double insertThroughController(const QString& path, bool statementPerRow) {
    auto database = VMKDatabaseController::initWithURL(URL::fileURLWithPath(path));
    database->executeStatement(QString::fromLatin1(kCreateTable));
    const QString insert = QString::fromLatin1(kInsert);

    const double start = threadMilliseconds();
    database->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
    if (statementPerRow) {
        for (const Row& row : rows()) {
            database->executeStatement(insert, nullptr, [&row](VMKDatabaseQuery& query) {
                bindRow(query, row);
                query.execute();
            });
        }
    } else {
        database->executeStatement(insert, nullptr, [](VMKDatabaseQuery& query) {
            for (const Row& row : rows()) {
                bindRow(query, row);
                query.execute();
                query.reset();
            }
        });
    }
    database->executeStatement(QStringLiteral("END TRANSACTION"));
    const double elapsed = threadMilliseconds() - start;
    if (!database->lastErrorMessage().isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(database->lastErrorMessage()));
        std::abort();
    }
    return elapsed;
}

struct Result {
    double raw = 0, wrapper = 0, perRow = 0;
};
Result g_best;

void BM_InsertRowsInOneTransaction(benchmark::State& state) {
    rows();  // built before any timing
    QTemporaryDir dir;
    double raw = std::numeric_limits<double>::max(), wrapper = raw, perRow = raw;
    int run = 0;
    for (auto _ : state) {
        // Interleaved, each into a fresh file, so drift of the machine hits all three.
        const QString tag = QString::number(run++);
        raw = std::min(raw, insertRaw(dir.filePath(QStringLiteral("raw") + tag + QStringLiteral(".db"))));
        wrapper = std::min(wrapper, insertThroughController(
                                        dir.filePath(QStringLiteral("wrapper") + tag + QStringLiteral(".db")), false));
        perRow = std::min(perRow, insertThroughController(
                                      dir.filePath(QStringLiteral("perRow") + tag + QStringLiteral(".db")), true));
    }
    state.counters["raw_ms"] = raw;
    state.counters["wrapper_ms"] = wrapper;
    state.counters["ratio"] = wrapper / raw;
    state.counters["per_row_ms"] = perRow;
    state.counters["per_row_ratio"] = perRow / raw;
    state.counters["rows"] = kRows;
    g_best = {raw, wrapper, perRow};
}
BENCHMARK(BM_InsertRowsInOneTransaction)->Iterations(7)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace ondrel

using namespace ondrel;

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (g_best.raw > 0) {
        std::printf("%d inserts in one transaction: raw SQLite %.1f ms, controller %.1f ms (ratio %.3f, goal < 1.3), "
                    "one statement per row %.1f ms (ratio %.3f)\n",
                    kRows, g_best.raw, g_best.wrapper, g_best.wrapper / g_best.raw, g_best.perRow,
                    g_best.perRow / g_best.raw);
    }
    return 0;
}
