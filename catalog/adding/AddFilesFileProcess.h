#pragma once

#include "core/files/URL.h"
#include "fileprocesses/FileProcess.h"

#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace ondrel {

class Entity;
class FileEntity;
class GroupEntity;

// The one way files enter the catalog: walks the items (files and folders,
// folders becoming bound groups), skips hidden items and files already in
// the catalog, groups split files, makes the entities in one transaction off
// the main thread, then hangs them under the group on the main thread and
// starts their analysis. One bad item costs only itself: it is named in one
// log line (and in `outcome`), and the others go on.
class AddFilesFileProcess : public FileProcess {
    ONDREL_OBJECT(AddFilesFileProcess, FileProcess)

public:
    // What became of the items, for a report.
    struct Outcome {
        QStringList added;    // paths of the files made into entities
        QStringList skipped;  // paths already in the catalog
        QStringList refused;  // "path: reason" of files and folders that could not be added
    };

    AddFilesFileProcess();
    ~AddFilesFileProcess() override;

    void initWithFileProcessCommand(const ObjectPtr& command) override;
    void execute() override;
    // Ends the walk soon; what was made is not inserted, and its rows go.
    void stop() override;
    // Files done over files counted (0 before counting).
    double progress() const override;

    // The number of files in the URLs and the folders beneath them.
    quint64 countOfFilesInURLs(const std::vector<URL>& urls);
    // New entities for the URLs: groups in URL order, then single files, then
    // split files. Nothing (no value) when stopped.
    std::optional<std::vector<std::shared_ptr<Entity>>> entitiesForURLs(const std::vector<URL>& urls);

    quint64 fileCount() const { return m_fileCount.load(); }
    quint64 progressCount() const { return m_progressCount.load(); }
    Outcome outcome() const;

private:
    void run();
    void finish(const QString& descriptionKey, quint64 count);
    void advance(quint64 files);
    void refuse(const QString& logKey, const QString& path, const QString& reason);
    bool isStopped() const { return m_shouldStop.load(); }
    // True the first time a folder (by device and inode) is met in a walk,
    // so that a link back up the tree is not followed round for ever.
    static bool firstVisit(QSet<QString>& visited, const URL& folder);
    // The paths of every entity beneath the group.
    static void collectPaths(const GroupEntity& group, QSet<QString>& paths);

    std::shared_ptr<GroupEntity> m_group;
    std::atomic<quint64> m_fileCount{0};
    std::atomic<quint64> m_progressCount{0};
    std::atomic<bool> m_shouldStop{false};
    mutable std::mutex m_mutex;  // guards the fields below
    std::vector<std::shared_ptr<FileEntity>> m_fileEntities;
    Outcome m_outcome;
    QSet<QString> m_countedFolders;
    QSet<QString> m_walkedFolders;
    std::optional<QSet<QString>> m_cataloguedPaths;  // the walking thread's
};

} // namespace ondrel
