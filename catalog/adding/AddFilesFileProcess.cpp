#include "catalog/adding/AddFilesFileProcess.h"

#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/CatalogLog.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/splitfiles/SplitFileGrouping.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/text/VMKLocalizedString.h"

#include <QtCore/QFile>

#include <sys/stat.h>

namespace ondrel {

namespace {

// Only the texts with a place for it take the count: arg() on another text
// prints a warning for each description set.
QString progressText(const QString& name, quint64 count = 0) {
    const QString text = VMKLocalizedString(QStringLiteral("AddFilesFileProcess_progressDescription_") + name);
    return text.contains(QLatin1String("%1")) ? text.arg(count) : text;
}

enum class Kind { Missing, Directory, File, Other };

// What is at a path, links followed; `id` names a folder by device and inode.
Kind kindOf(const URL& url, QString* id = nullptr) {
    struct stat info {};
    if (::stat(QFile::encodeName(url.path()).constData(), &info) != 0)
        return Kind::Missing;
    if (S_ISDIR(info.st_mode)) {
        if (id)
            *id = QStringLiteral("%1:%2").arg(quint64(info.st_dev)).arg(quint64(info.st_ino));
        return Kind::Directory;
    }
    return S_ISREG(info.st_mode) ? Kind::File : Kind::Other;
}

bool isHidden(const URL& url) { return url.lastPathComponent().startsWith(QLatin1Char('.')); }

std::vector<URL> urlsOfItems(const QVariantList& items) {
    std::vector<URL> urls;
    for (const QVariant& item : items) {
        if (item.canConvert<URL>() && item.metaType() == QMetaType::fromType<URL>())
            urls.push_back(item.value<URL>());
        else if (!item.toString().isEmpty())
            urls.push_back(URL::fileURLWithPath(item.toString()));
    }
    return urls;
}

} // namespace

const ClassInfo& AddFilesFileProcess::staticClassInfo() {
    using C = AddFilesFileProcess;
    static const ClassInfo& info = ClassInfo::define<C, FileProcess>(QStringLiteral("AddFilesFileProcess"))
                                       .property(QStringLiteral("fileCount"), &C::fileCount)
                                       .property(QStringLiteral("progressCount"), &C::progressCount);
    return info;
}

AddFilesFileProcess::AddFilesFileProcess() = default;
AddFilesFileProcess::~AddFilesFileProcess() = default;

void AddFilesFileProcess::initWithFileProcessCommand(const ObjectPtr& command) {
    FileProcess::initWithFileProcessCommand(command);
    if (auto add = std::dynamic_pointer_cast<AddFilesFileProcessCommand>(command))
        m_group = add->group();
}

void AddFilesFileProcess::execute() {
    setProgressDescription(progressText(QStringLiteral("preparing")));
    setProcessing(true);
    if (!m_group)
        m_group = EntityController::sharedInstance()->rootGroup();
    auto self = std::static_pointer_cast<AddFilesFileProcess>(Object::self());
    DispatchQueue::global().async([self] { self->run(); });
}

void AddFilesFileProcess::stop() { m_shouldStop = true; }

double AddFilesFileProcess::progress() const {
    const quint64 count = m_fileCount.load();
    return count == 0 ? 0.0 : double(m_progressCount.load()) / double(count);
}

AddFilesFileProcess::Outcome AddFilesFileProcess::outcome() const {
    std::lock_guard lock(m_mutex);
    return m_outcome;
}

void AddFilesFileProcess::run() {
    setProgressDescription(progressText(QStringLiteral("counting")));
    const std::vector<URL> urls = urlsOfItems(items());
    const quint64 count = countOfFilesInURLs(urls);
    m_fileCount = count;
    if (isStopped()) {
        setItems({});
        finish(QStringLiteral("stopped"), 0);
        return;
    }
    setProgressDescription(progressText(QStringLiteral("adding"), count));

    auto controller = EntityController::sharedInstance();
    controller->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
    {
        std::lock_guard lock(m_mutex);
        m_fileEntities.clear();
    }
    auto result = entitiesForURLs(urls);
    setItems({});
    controller->executeStatement(QStringLiteral("END TRANSACTION"));

    setProgressDescription(progressText(QStringLiteral("finishing")));
    // The flag is read once: a stop between two readings would end the job
    // with what was made neither inserted nor let go, its rows kept for ever.
    if (isStopped() || !result) {
        // What was made is let go here, and its rows go with it.
        result.reset();
        {
            std::lock_guard lock(m_mutex);
            m_fileEntities.clear();
            m_outcome.added.clear();
        }
        finish(QStringLiteral("stopped"), 0);
        return;
    }

    auto self = std::static_pointer_cast<AddFilesFileProcess>(Object::self());
    // Only the main-queue block holds the new entities: kept here too, they
    // would outlive a delete made as soon as the end is reported.
    auto entities = std::make_shared<std::vector<std::shared_ptr<Entity>>>(std::move(*result));
    result.reset();
    dispatchMain([self, entities = std::move(entities)] {
        auto group = self->m_group;
        if (group && !entities->empty()) {
            const qsizetype at = group->countOfEntities();
            group->insertEntitiesAtIndexes(*entities, IndexSet::range(at, qsizetype(entities->size())));
        }
        std::vector<std::shared_ptr<FileEntity>> added;
        {
            std::lock_guard lock(self->m_mutex);
            added.swap(self->m_fileEntities);
        }
        EntityController::analyzeFileEntities(added);
        self->m_group.reset();
    });
    quint64 made;
    {
        std::lock_guard lock(m_mutex);
        made = quint64(m_fileEntities.size());
    }
    finish(QStringLiteral("completed"), made);
}

void AddFilesFileProcess::finish(const QString& descriptionKey, quint64 count) {
    // A stopped process stays in the history: it must not keep the group
    // alive, or deleting the group later would leave its rows behind.
    if (descriptionKey == QLatin1String("stopped"))
        m_group.reset();
    setProgressDescription(progressText(descriptionKey, count));
    setProcessing(false);
}

void AddFilesFileProcess::advance(quint64 files) {
    willChangeValueForKey(QStringLiteral("progress"));
    m_progressCount += files;
    didChangeValueForKey(QStringLiteral("progress"));
}

void AddFilesFileProcess::refuse(const QString& logKey, const QString& path, const QString& reason) {
    catalogLog(LogLevel::Warning, logKey, {path, reason});
    std::lock_guard lock(m_mutex);
    m_outcome.refused.append(QStringLiteral("%1: %2").arg(path, reason));
}

void AddFilesFileProcess::collectPaths(const GroupEntity& group, QSet<QString>& paths) {
    for (const auto& child : group.entities()) {
        for (const URL& url : child->URLs())
            paths.insert(url.path());
        if (auto childGroup = std::dynamic_pointer_cast<GroupEntity>(child))
            collectPaths(*childGroup, paths);
    }
}

bool AddFilesFileProcess::firstVisit(QSet<QString>& visited, const URL& folder) {
    QString id;
    if (kindOf(folder, &id) != Kind::Directory)
        return false;
    if (visited.contains(id))
        return false;
    visited.insert(id);
    return true;
}

quint64 AddFilesFileProcess::countOfFilesInURLs(const std::vector<URL>& urls) {
    quint64 count = 0;
    for (const URL& url : urls) {
        switch (kindOf(url)) {
        case Kind::File:
            ++count;
            break;
        case Kind::Directory:
            if (firstVisit(m_countedFolders, url))
                count += countOfFilesInURLs(url.contentsOfDirectory());
            break;
        default:
            break;
        }
        if (isStopped())
            break;
    }
    return count;
}

std::optional<std::vector<std::shared_ptr<Entity>>> AddFilesFileProcess::entitiesForURLs(const std::vector<URL>& urls) {
    std::vector<std::shared_ptr<Entity>> result;
    std::vector<URL> files;
    if (!m_cataloguedPaths) {
        // The paths in the catalog, gathered once per walk: asking the tree
        // for each item walked the whole catalog again, which grew with the
        // catalog times the items (minutes for a folder added to a large
        // catalog). Nothing of this walk enters the tree before it ends.
        m_cataloguedPaths.emplace();
        if (auto root = EntityController::sharedInstance()->rootGroup())
            collectPaths(*root, *m_cataloguedPaths);
    }

    for (const URL& url : urls) {
        if (isHidden(url))
            continue;
        if (m_cataloguedPaths->contains(url.path())) {
            catalogLog(LogLevel::Warning, QStringLiteral("AddFilesFileProcess_log_warning_skippedAlreadyAdded"), {url.path()});
            std::lock_guard lock(m_mutex);
            m_outcome.skipped.append(url.path());
        } else if (kindOf(url) == Kind::Directory) {
            if (!firstVisit(m_walkedFolders, url)) {
                refuse(QStringLiteral("AddFilesFileProcess_log_warning_couldNotAddDirectory"), url.path(),
                       VMKLocalizedString(QStringLiteral("AddFilesFileProcess_reason_folderAlreadyWalked")));
            } else {
                VMKError error;
                if (auto group = GroupEntity::initWithURL(url, &error)) {
                    VMKError listError;
                    const std::vector<URL> contents = url.contentsOfDirectory(&listError);
                    if (listError)
                        catalogLog(LogLevel::Warning, QStringLiteral("AddFilesFileProcess_log_warning_couldNotReadDirectory"),
                                   {url.path(), listError.localizedDescription()});
                    auto children = entitiesForURLs(contents);
                    if (!children)
                        return std::nullopt;
                    group->insertEntitiesAtIndexes(*children, IndexSet::range(0, qsizetype(children->size())));
                    result.push_back(group);
                } else {
                    refuse(QStringLiteral("AddFilesFileProcess_log_warning_couldNotAddDirectory"), url.path(),
                           error.localizedDescription());
                }
            }
        } else {
            files.push_back(url);
        }
        if (isStopped())
            return std::nullopt;
    }
    if (files.empty())
        return result;

    SplitFileGrouping::Result grouped;
    if (!SplitFileGrouping::groupURLs(files, grouped, [this] { return isStopped(); }))
        return std::nullopt;

    auto keep = [&](const std::shared_ptr<FileEntity>& entity, const std::vector<URL>& urlsOfEntity) {
        result.push_back(entity);
        std::lock_guard lock(m_mutex);
        m_fileEntities.push_back(entity);
        for (const URL& url : urlsOfEntity)
            m_outcome.added.append(url.path());
    };
    for (const URL& url : grouped.singles) {
        VMKError error;
        std::shared_ptr<FileEntity> entity;
        // Only regular files are opened: a FIFO or a device would block the
        // walk, and a dangling link has nothing to read.
        switch (kindOf(url)) {
        case Kind::File:
            entity = FileEntity::initWithURL(url, &error);
            break;
        case Kind::Missing:
            // A name whose bytes are not UTF-8 can't be spelled back to the
            // file system: say so rather than that the file vanished.
            error = VMKError::errorWithCode(
                0, QStringLiteral("Adding a file"),
                VMKLocalizedString(url.path().contains(QChar::ReplacementCharacter)
                                       ? QStringLiteral("AddFilesFileProcess_reason_undecodableName")
                                       : QStringLiteral("AddFilesFileProcess_reason_missing")));
            break;
        default:
            error = VMKError::errorWithCode(0, QStringLiteral("Adding a file"),
                                            VMKLocalizedString(QStringLiteral("AddFilesFileProcess_reason_notRegularFile")));
            break;
        }
        if (entity) {
            keep(entity, {url});
            catalogLog(LogLevel::Notice, QStringLiteral("AddFilesFileProcess_log_notice_addedFile"), {url.path()});
        } else {
            refuse(QStringLiteral("AddFilesFileProcess_log_warning_couldNotAddFile"), url.path(), error.localizedDescription());
        }
        advance(1);
        if (isStopped())
            return std::nullopt;
    }
    for (const std::vector<URL>& set : grouped.sets) {
        VMKError error;
        bool regular = true;
        for (const URL& url : set)
            regular = regular && kindOf(url) == Kind::File;
        auto entity = regular ? FileEntity::initWithURLs(set, &error) : nullptr;
        if (entity) {
            keep(entity, set);
            for (const URL& url : set)
                catalogLog(LogLevel::Notice, QStringLiteral("AddFilesFileProcess_log_notice_addedSplitFile"),
                           {url.path(), entity->name()});
        } else {
            const QString reason = error ? error.localizedDescription()
                                         : VMKLocalizedString(QStringLiteral("AddFilesFileProcess_reason_missing"));
            refuse(QStringLiteral("AddFilesFileProcess_log_warning_couldNotAddSplitFiles"), set.front().path(), reason);
        }
        advance(quint64(set.size()));
        if (isStopped())
            return std::nullopt;
    }
    return result;
}

} // namespace ondrel
