// Whole-program figures of the catalog. Each part runs in a fresh process of
// this program with its own ONDREL_HOME under one temporary folder:
//  1. Adding 10,000 one-second files (16-bit 48 kHz mono WAVE) in 100 folders
//     through the add-files process, against a loop in the same process that
//     only opens each file's header with the engine's reader.
//  2. Removing those 10,000 file entities from their groups: how many
//     transactions the catalog opens until its removal pool is drained, and
//     how long that takes.
//  3. Start-up with 100,000 file entities in 1,000 bound groups, whose rows a
//     previous process wrote directly: the time until the controller and its
//     tree controller are ready, and the peak resident memory of a process
//     that did nothing else.
// Times are wall time; the add and its reference also print the process's
// CPU time, which others' load on a shared machine sways less. The goals are
// printed beside the figures.

#include "catalog/CatalogClasses.h"
#include "catalog/adding/AddFilesFileProcess.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "core/files/Bookmark.h"
#include "core/objects/ClassInfo.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/tree/TreeController.h"
#include "core/tree/TreeNode.h"
#include "core/values/Date.h"
#include "fileprocesses/FileProcessController.h"
#include "render/engine/files/VMKAudioFileInfo.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>

#include <sndfile.h>
#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <time.h>

namespace ondrel {

namespace {

constexpr int kAddFolders = 100;
constexpr int kAddFilesPerFolder = 100;
constexpr int kStartGroups = 1000;
constexpr int kStartFilesPerGroup = 100;
// Between two groups' removals: the 100 removals spread over about two
// seconds, all inside one three-second window of the removal pool.
constexpr int kRemovalSpacingMs = 20;

qint64 nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// MARK: Counting the catalog's transactions

// What SQLite ran on the catalog file, seen on every connection this process
// opens to it.
struct CatalogStatements {
    std::atomic<int> begins{0};
    std::atomic<int> commits{0};
    std::atomic<int> rereads{0};  // rows written again after a file was read anew
    std::atomic<qint64> lastBeginNs{0};
    std::atomic<qint64> lastCommitNs{0};

    void reset() {
        begins = 0;
        commits = 0;
        rereads = 0;
        lastBeginNs = 0;
        lastCommitNs = 0;
    }
};

CatalogStatements& catalogStatements() {
    static CatalogStatements statements;
    return statements;
}

int traceStatement(unsigned type, void*, void*, void* text) {
    if (type != SQLITE_TRACE_STMT || !text)
        return 0;
    const char* sql = static_cast<const char*>(text);
    CatalogStatements& statements = catalogStatements();
    if (std::strncmp(sql, "BEGIN", 5) == 0) {
        ++statements.begins;
        statements.lastBeginNs = nowNs();
    } else if (std::strncmp(sql, "UPDATE FileEntity SET dateModified", 34) == 0) {
        ++statements.rereads;
    }
    return 0;
}

int countCommit(void*) {
    ++catalogStatements().commits;
    catalogStatements().lastCommitNs = nowNs();
    return 0;  // go on with the commit
}

// Called by SQLite for each connection opened in this process.
int watchConnection(sqlite3* database, const char**, const sqlite3_api_routines*) {
    const char* file = sqlite3_db_filename(database, "main");
    if (file && QByteArray(file).endsWith("/Entities.db")) {
        sqlite3_trace_v2(database, SQLITE_TRACE_STMT, traceStatement, nullptr);
        sqlite3_commit_hook(database, countCommit, nullptr);
    }
    return SQLITE_OK;
}

// MARK: Scaffolding

// Runs the main queue until `condition` holds; false after `timeoutMs`.
bool spinUntil(const std::function<bool()>& condition, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

void spinFor(int ms) {
    QDeadlineTimer deadline(ms);
    spinUntil([&] { return deadline.hasExpired(); }, ms + 1000);
}

double secondsSince(const QElapsedTimer& timer) { return double(timer.nsecsElapsed()) / 1e9; }

// CPU time of the whole process, all threads: less swayed than wall time by
// others' load on a shared machine.
double processCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// A line "Key:   1234 kB" of /proc/self/status, in kilobytes; -1 when absent.
qint64 statusKilobytes(const char* key) {
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    const QByteArray prefix = QByteArray(key) + ':';
    for (const QByteArray& line : file.readAll().split('\n'))
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

struct SoundFileCloser {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

// Writes a 16-bit 48 kHz mono WAVE file of a sine with libsndfile and answers
// its bytes, to be copied; empty when it can't be written.
QByteArray waveBytes(const QString& path, int frames) {
    SF_INFO format{};
    format.samplerate = 48000;
    format.channels = 1;
    format.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    std::unique_ptr<SNDFILE, SoundFileCloser> file(sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &format));
    if (!file)
        return {};
    std::vector<short> samples(static_cast<size_t>(frames));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = short(16000.0 * std::sin(2.0 * M_PI * 440.0 * double(i) / 48000.0));
    if (sf_write_short(file.get(), samples.data(), frames) != frames)
        return {};
    file.reset();
    QFile written(path);
    return written.open(QIODevice::ReadOnly) ? written.readAll() : QByteArray();
}

// `folders` folders of `filesPerFolder` copies of `bytes` below `root`. The
// names carry no channel suffix, so every file is cataloged alone.
struct Library {
    std::vector<QString> folders;
    std::vector<QString> files;
};

bool writeLibrary(const QString& root, const QString& folderPattern, int folders, int filesPerFolder,
                  const QByteArray& bytes, Library& library) {
    for (int f = 0; f < folders; ++f) {
        const QString folder = root + QLatin1Char('/') + folderPattern.arg(f, 4, 10, QLatin1Char('0'));
        if (!QDir().mkpath(folder))
            return false;
        library.folders.push_back(folder);
        for (int i = 0; i < filesPerFolder; ++i) {
            const QString path = folder + QStringLiteral("/take%1.wav").arg(i, 3, 10, QLatin1Char('0'));
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
                return false;
            library.files.push_back(path);
        }
    }
    return true;
}

const char* verdict(bool met) { return met ? "met" : "MISSED"; }

// MARK: 1 and 2: adding and removing

int addAndRemove(const QString& work) {
    registerCatalogClasses();
    const QByteArray bytes = waveBytes(work + QStringLiteral("/one-second.wav"), 48000);
    Library library;
    if (bytes.isEmpty() || !writeLibrary(work + QStringLiteral("/added"), QStringLiteral("folder%1"), kAddFolders,
                                         kAddFilesPerFolder, bytes, library)) {
        std::fprintf(stderr, "could not write the files to add\n");
        return 1;
    }
    const int fileCount = int(library.files.size());

    // The reference: each file's header opened once with the engine's reader.
    QElapsedTimer timer;
    timer.start();
    double cpu = processCpuSeconds();
    int opened = 0;
    for (const QString& path : library.files) {
        VMKError error;
        if (VMKAudioFileInfo::initWithURL(URL::fileURLWithPath(path), &error))
            ++opened;
    }
    const double bare = secondsSince(timer);
    const double bareCpu = processCpuSeconds() - cpu;
    if (opened != fileCount) {
        std::fprintf(stderr, "the reader opened %d of %d files\n", opened, fileCount);
        return 1;
    }

    auto controller = EntityController::sharedInstance();
    auto processes = FileProcessController::sharedInstance();
    const auto root = controller->rootGroup();
    const bool analysis = ClassRegistry::classNamed(QStringLiteral("AnalysisFileProcessCommand")) != nullptr;

    auto command = std::make_shared<AddFilesFileProcessCommand>();
    QVariantList items;
    for (const QString& folder : library.folders)
        items.append(QVariant::fromValue(URL::fileURLWithPath(folder)));
    command->setItems(items);
    timer.restart();
    const qint64 addStartNs = nowNs();
    cpu = processCpuSeconds();
    auto process = std::dynamic_pointer_cast<AddFilesFileProcess>(processes->executeFileProcessCommand(command));
    if (!process) {
        std::fprintf(stderr, "no add-files process\n");
        return 1;
    }
    // The process ends on its own thread, after it has sent the insert to the
    // main queue; the two are timed apart.
    std::atomic<qint64> endedNs{0};
    auto observation = process->observe(QStringLiteral("processing"), 0, [&](const KeyValueChangeInfo&) {
        if (!process->isProcessing())
            endedNs = nowNs();
    });
    if (!process->isProcessing())
        endedNs = nowNs();
    double inserted = -1.0;
    const bool ended = spinUntil([&] {
        if (inserted < 0.0 && root->countOfEntities() == kAddFolders)
            inserted = secondsSince(timer);
        return inserted >= 0.0 && endedNs != 0;
    }, 600000);
    const double walked = double(endedNs - addStartNs) / 1e9;
    const double added = std::max(walked, inserted);
    const double addedCpu = processCpuSeconds() - cpu;
    const auto outcome = process->outcome();
    const size_t cataloged = controller->allFileEntities().size();
    if (!ended || cataloged != size_t(fileCount)) {
        std::fprintf(stderr, "adding ended with %zu of %d files in the catalog (%lld refused)\n", cataloged, fileCount,
                     qint64(outcome.refused.size()));
        return 1;
    }
    const double ratio = added / bare;
    std::printf("1. Adding %d one-second 16-bit 48 kHz mono WAVE files in %d folders (%s)\n", fileCount, kAddFolders,
                analysis ? "analysis starts after the insert, not waited for" : "no analysis in this build");
    std::printf("   add-files process  %7.3f s, CPU %.3f s  (process ended at %.3f s, groups inserted at %.3f s)\n",
                added, addedCpu, walked, inserted);
    std::printf("   header loop        %7.3f s, CPU %.3f s  (VMKAudioFileInfo::initWithURL per file)\n", bare, bareCpu);
    std::printf("   ratio %.2f (CPU %.2f); goals: at most 10 s %s, at most 3x the header loop %s\n", ratio,
                addedCpu / bareCpu, verdict(added <= 10.0), verdict(ratio <= 3.0));
    std::fflush(stdout);

    // Removing every file entity from its group, one group every few
    // milliseconds; the last owner letting go queues the rows for deletion.
    spinFor(200);
    CatalogStatements& statements = catalogStatements();
    statements.reset();
    const auto groups = root->entities();
    const qint64 startNs = nowNs();
    double inCalls = 0.0;
    for (const EntityPtr& entity : groups) {
        auto group = std::dynamic_pointer_cast<GroupEntity>(entity);
        if (!group)
            continue;
        QElapsedTimer call;
        call.start();
        group->removeEntitiesAtIndexes(IndexSet::range(0, group->countOfEntities()));
        inCalls += secondsSince(call);
        spinFor(kRemovalSpacingMs);
    }
    const double spread = double(nowNs() - startNs) / 1e9;
    const qsizetype queued = controller->countOfPendingRemovals();
    const bool drained = spinUntil([&] { return controller->countOfPendingRemovals() == 0 && statements.commits > 0; },
                                   60000);
    // Long enough for a second window to show up if one were opened.
    spinFor(3500);
    qint64 rowsLeft = -1;
    controller->executeStatement(QStringLiteral("SELECT count(*) FROM FileEntity"), nullptr,
                                 [&](VMKDatabaseQuery& query) {
                                     if (query.evaluateNextRow())
                                         rowsLeft = query.longLongValueAtColumn(0);
                                 });
    const int transactions = statements.begins;
    const double untilDrained = double(statements.lastCommitNs - startNs) / 1e9;
    const double drain = double(statements.lastCommitNs - statements.lastBeginNs) / 1e9;
    std::printf("2. Removing %d file entities from their %zu groups, one group every %d ms (%.2f s in all)\n",
                fileCount, groups.size(), kRemovalSpacingMs, spread);
    std::printf("   main thread in the removal calls %.3f s; %lld rows queued at the end of the removals\n", inCalls,
                qint64(queued));
    std::printf("   transactions on the catalog until the pool was drained: %d BEGIN, %d commit%s\n", transactions,
                int(statements.commits), statements.commits == 1 ? "" : "s");
    std::printf("   drained %.3f s after the first removal; the drain itself %.3f s; FileEntity rows left %lld\n",
                untilDrained, drain, rowsLeft);
    std::printf("   goal: one transaction for the 3-second window %s\n",
                verdict(drained && transactions == 1 && rowsLeft == 0));
    std::fflush(stdout);
    EntityController::resetSharedInstance();
    FileProcessController::resetSharedInstance();
    return drained && rowsLeft == 0 ? 0 : 1;
}

// MARK: 3: start-up

// The files, and the rows the catalog itself would have written for them: a
// bound group per folder, a file entity per file with the file's modification
// date (so that none is read again at start), its bookmark, its container.
int makeCatalog(const QString& work) {
    registerCatalogClasses();
    const QString templatePath = work + QStringLiteral("/tiny.wav");
    const QByteArray bytes = waveBytes(templatePath, 16);
    Library library;
    QElapsedTimer timer;
    timer.start();
    if (bytes.isEmpty() || !writeLibrary(work + QStringLiteral("/library"), QStringLiteral("session%1"),
                                         kStartGroups, kStartFilesPerGroup, bytes, library)) {
        std::fprintf(stderr, "could not write the library\n");
        return 1;
    }
    const double writing = secondsSince(timer);
    VMKError error;
    const auto info = VMKAudioFileInfo::initWithURL(URL::fileURLWithPath(templatePath), &error);
    if (!info) {
        std::fprintf(stderr, "%s\n", qPrintable(error.localizedDescription()));
        return 1;
    }

    struct FileRow {
        QString ID;
        QString containerID;
        QByteArray bookmark;
        double dateModified;
    };
    struct GroupRow {
        QString ID;
        QByteArray bookmark;
    };
    timer.restart();
    std::vector<GroupRow> groups;
    std::vector<FileRow> files;
    files.reserve(library.files.size());
    for (size_t g = 0; g < library.folders.size(); ++g) {
        const URL folder = URL::fileURLWithPath(library.folders[g]);
        groups.push_back({Entity::newID(), Bookmark::bookmarkData(folder, Bookmark::WithSecurityScope)});
        for (int f = 0; f < kStartFilesPerGroup; ++f) {
            const QString path = library.files[g * kStartFilesPerGroup + size_t(f)];
            QFileInfo file(path);
            files.push_back({Entity::newID(), groups.back().ID,
                             Bookmark::bookmarkData(URL::fileURLWithPath(path), Bookmark::WithSecurityScope),
                             Date::timeIntervalSinceReferenceDate(file.lastModified().toUTC())});
        }
    }

    // The catalog's first start makes the tables; the rows go in with its SQL.
    auto controller = EntityController::sharedInstance();
    auto database = EntityController::database();
    const quint64 failures = database->failureCount();
    const double now = Date::timeIntervalSinceReferenceDate();
    const QString encoding = FileEntity::encodingName(info->encoding());
    database->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
    database->executeStatement(QStringLiteral("INSERT INTO GroupEntity (groupEntityID) VALUES (?)"), nullptr,
                               [&](VMKDatabaseQuery& query) {
                                   for (const GroupRow& group : groups) {
                                       query.setStringValue(group.ID, 0);
                                       query.execute();
                                       query.reset();
                                   }
                               });
    database->executeStatement(QStringLiteral("UPDATE GroupEntity SET bookmarkData = ? WHERE groupEntityID = ?"),
                               nullptr, [&](VMKDatabaseQuery& query) {
                                   for (const GroupRow& group : groups) {
                                       query.setDataValue(group.bookmark, 0);
                                       query.setStringValue(group.ID, 1);
                                       query.execute();
                                       query.reset();
                                   }
                               });
    database->executeStatement(
        QStringLiteral("INSERT INTO FileEntity (fileEntityID, dateAdded, dateModified, format, encoding, fileSize, "
                       "frames, channels, bitDepth, floatingPoint, bitrate, sampleRate) VALUES (?, ?, ?, ?, ?, ?, "
                       "?, ?, ?, ?, ?, ?)"),
        nullptr, [&](VMKDatabaseQuery& query) {
            for (const FileRow& file : files) {
                query.setStringValue(file.ID, 0);
                query.setDoubleValue(now, 1);
                query.setDoubleValue(file.dateModified, 2);
                query.setStringValue(info->format(), 3);
                query.setStringValue(encoding, 4);
                query.setLongLongValue(qint64(info->fileSize()), 5);
                query.setLongLongValue(qint64(info->frames()), 6);
                query.setLongLongValue(qint64(info->numberOfChannels()), 7);
                query.setLongLongValue(qint64(info->bitDepth()), 8);
                query.setIntValue(info->isFloatingPoint() ? 1 : 0, 9);
                query.setLongLongValue(qint64(info->bitrate()), 10);
                query.setDoubleValue(info->sampleRate(), 11);
                query.execute();
                query.reset();
            }
        });
    database->executeStatement(
        QStringLiteral("INSERT INTO FileBookmark (fileEntityID, ordinal, bookmarkData) VALUES (?, ?, ?)"), nullptr,
        [&](VMKDatabaseQuery& query) {
            for (const FileRow& file : files) {
                query.setStringValue(file.ID, 0);
                query.setLongLongValue(0, 1);
                query.setDataValue(file.bookmark, 2);
                query.execute();
                query.reset();
            }
        });
    database->executeStatement(QStringLiteral("UPDATE FileEntity SET containerEntityID = ? WHERE fileEntityID = ?"),
                               nullptr, [&](VMKDatabaseQuery& query) {
                                   for (const FileRow& file : files) {
                                       query.setStringValue(file.containerID, 0);
                                       query.setStringValue(file.ID, 1);
                                       query.execute();
                                       query.reset();
                                   }
                               });
    database->executeStatement(QStringLiteral("END TRANSACTION"));
    const double rows = secondsSince(timer);
    if (database->failureCount() != failures) {
        std::fprintf(stderr, "writing the rows failed: %s\n", qPrintable(database->lastErrorMessage()));
        return 1;
    }
    std::printf("3. Start-up with %zu file entities in %zu bound groups (files written in %.1f s, rows in %.1f s)\n",
                files.size(), groups.size(), writing, rows);
    std::fflush(stdout);
    EntityController::resetSharedInstance();
    return 0;
}

int startUp() {
    registerCatalogClasses();
    const qint64 before = statusKilobytes("VmRSS");
    QElapsedTimer timer;
    timer.start();
    auto controller = EntityController::sharedInstance();
    const auto arranged = controller->treeController().arrangedObjects();
    const double ready = secondsSince(timer);
    const qint64 peak = statusKilobytes("VmHWM");
    const size_t files = controller->allFileEntities().size();
    const qsizetype groups = controller->rootGroup()->countOfEntities();
    const size_t shown = arranged ? arranged->childNodes().size() : 0;
    const bool complete = files == size_t(kStartGroups * kStartFilesPerGroup) && groups == kStartGroups &&
                          shown == size_t(kStartGroups) && controller->countOfPendingRemovals() == 0;
    std::printf("   ready in %.3f s: %zu files, %lld groups, %zu groups shown at the top; %d files read again\n", ready,
                files, qint64(groups), shown, int(catalogStatements().rereads));
    std::printf("   peak resident %.1f MB (%.1f MB before the catalog was opened; SQLite holds %.1f MB, at most %.1f MB)\n",
                double(peak) / 1024.0, double(before) / 1024.0, double(sqlite3_memory_used()) / 1048576.0,
                double(sqlite3_memory_highwater(0)) / 1048576.0);
    std::printf("   goals: ready in at most 3 s %s, memory under 300 MB %s\n", verdict(ready <= 3.0),
                verdict(peak < 300 * 1024));
    std::fflush(stdout);
    if (!complete)
        std::fprintf(stderr, "the catalog did not load whole\n");
    return complete ? 0 : 1;
}

// MARK: The run

bool runPart(const QString& part, const QString& work, const QString& home) {
    std::fflush(stdout);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ONDREL_HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/config"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/data"));
    QProcess child;
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    child.setStandardErrorFile(work + QStringLiteral("/") + part + QStringLiteral(".log"));
    child.start(QCoreApplication::applicationFilePath(), {part, work});
    if (!child.waitForFinished(-1) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0) {
        QFile log(work + QStringLiteral("/") + part + QStringLiteral(".log"));
        std::fprintf(stderr, "%s failed:\n%s\n", qPrintable(part),
                     log.open(QIODevice::ReadOnly) ? log.readAll().right(4000).constData() : "");
        return false;
    }
    return true;
}

} // namespace

} // namespace ondrel

using namespace ondrel;

int main(int argc, char** argv) {
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(watchConnection));
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() == 3) {
        const QString& part = arguments[1];
        if (part == QLatin1String("add"))
            return addAndRemove(arguments[2]);
        if (part == QLatin1String("make-catalog"))
            return makeCatalog(arguments[2]);
        if (part == QLatin1String("start-up"))
            return startUp();
        std::fprintf(stderr, "unknown part %s\n", qPrintable(part));
        return 2;
    }
    QTemporaryDir work;
    if (!work.isValid()) {
        std::fprintf(stderr, "no temporary folder\n");
        return 1;
    }
    const bool ok = runPart(QStringLiteral("add"), work.path(), work.filePath(QStringLiteral("home-add"))) &&
                    runPart(QStringLiteral("make-catalog"), work.path(), work.filePath(QStringLiteral("home-start"))) &&
                    runPart(QStringLiteral("start-up"), work.path(), work.filePath(QStringLiteral("home-start")));
    return ok ? 0 : 1;
}
