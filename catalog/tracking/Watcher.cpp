#include "catalog/tracking/Watcher.h"

#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/GroupEntity.h"
#include "core/dispatch/DispatchQueue.h"
#include "fileprocesses/FileProcessController.h"

namespace ondrel {

namespace {

std::shared_ptr<GroupEntity> rootGroup() {
    auto controller = EntityController::existingInstance();
    return controller ? controller->rootGroup() : nullptr;
}

bool isBeneath(const URL& url, const URL& folder) {
    return url.path().size() > folder.path().size() + 1 && url.path().startsWith(folder.path()) &&
           url.path()[folder.path().size()] == QLatin1Char('/');
}

// A group that follows a folder (a free group may keep a URL in memory after
// it was disconnected, until the next start).
bool isBound(const GroupEntity& group) { return !group.URLs().empty() && !group.isDisconnected(); }

// Each entity at and beneath `entity`, with the folder it is counted on.
void collectWatchedPaths(const EntityPtr& entity, std::vector<std::pair<EntityPtr, QString>>& out) {
    out.emplace_back(entity, EntityController::watchedPath(*entity));
    if (const auto group = std::dynamic_pointer_cast<GroupEntity>(entity))
        for (const EntityPtr& child : group->entities())
            collectWatchedPaths(child, out);
}

} // namespace

Watcher::Watcher(const URL& url) : m_URL(url), m_path(url.path()) {}

Watcher::~Watcher() = default;

URL Watcher::url() const {
    std::lock_guard lock(m_URLMutex);
    return m_URL;
}

bool Watcher::coversURL(const URL& directory) const {
    if (m_path == directory.path() || containsURL(directory))
        return true;
    const URL now = url();
    return now.path() != m_path && (now == directory || isBeneath(directory, now));
}

void Watcher::presentedItemDidMoveToURL(const URL& url) {
    Q_ASSERT(isMainThread());
    // The entities that follow stay counted here: this watcher covers its
    // folder at the new place too.
    followMove(Watcher::url(), url, false);
    {
        std::lock_guard lock(m_URLMutex);
        m_URL = url;
    }
    // Moved into a watched folder, it is swallowed by that folder's watcher.
    if (auto controller = EntityController::existingInstance())
        controller->watcherDidMove(*this);
}

void Watcher::accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler) {
    accommodatePresentedSubitemDeletionAtURL(url(), std::move(completionHandler));
}

void Watcher::accommodatePresentedSubitemDeletionAtURL(const URL& url, std::function<void(VMKError*)> completionHandler) {
    Q_ASSERT(isMainThread());
    auto root = rootGroup();
    if (!root)
        return;
    if (EntityPtr entity = root->entityWithURL(url))
        entity->accommodatePresentedItemDeletionWithCompletionHandler(std::move(completionHandler));
}

void Watcher::presentedSubitemDidChangeAtURL(const URL& url) {
    Q_ASSERT(isMainThread());
    // Hidden items (".DS_Store", the temporary files of renders) never enter
    // the catalog.
    if (url.lastPathComponent().startsWith(QLatin1Char('.')))
        return;
    auto root = rootGroup();
    if (!root)
        return;
    const EntityPtr entity = root->entityWithURL(url);
    if (!url.exists()) {
        if (entity)
            entity->accommodatePresentedItemDeletionWithCompletionHandler([](VMKError*) {});
        return;
    }
    if (entity) {
        entity->presentedItemDidChange();
        return;
    }
    auto group = std::dynamic_pointer_cast<GroupEntity>(root->entityWithURL(url.URLByDeletingLastPathComponent()));
    if (!group || !isBound(*group))
        return;
    auto command = std::make_shared<AddFilesFileProcessCommand>();
    command->setItems({QVariant::fromValue(url)});
    command->setGroup(group);
    FileProcessController::sharedInstance()->executeFileProcessCommand(command);
}

void Watcher::presentedSubitemAtURL(const URL& oldURL, const URL& newURL) { followMove(oldURL, newURL, true); }

void Watcher::followMove(const URL& oldURL, const URL& newURL, bool recount) {
    Q_ASSERT(isMainThread());
    auto root = rootGroup();
    if (!root)
        return;
    const EntityPtr entity = root->entityWithURL(oldURL);
    if (!entity) {
        // Renamed in from a name the catalog didn't hold (a file saved
        // under a temporary name, then renamed): new at the new place.
        if (isBeneath(newURL, url()))
            presentedSubitemDidChangeAtURL(newURL);
        return;
    }
    std::vector<std::pair<EntityPtr, QString>> watchedPaths;
    collectWatchedPaths(entity, watchedPaths);
    // An entity whose file was replaced by the one moved here is gone.
    if (EntityPtr displaced = root->entityWithURL(newURL); displaced && displaced != entity)
        displaced->accommodatePresentedItemDeletionWithCompletionHandler([](VMKError*) {});
    const auto parent = entity->parent();
    if (parent && isBound(*parent)) {
        parent->presentedSubitemAtURL(oldURL, newURL);
        if (entity->parent())
            entity->presentedItemDidMoveToURL(newURL);
        else if (isBeneath(newURL, url()))
            presentedSubitemDidChangeAtURL(newURL);  // it may belong to another bound folder here
    } else {
        // Entities of free groups follow their files wherever they go.
        entity->presentedItemDidMoveToURL(newURL);
    }
    // What followed into another folder is counted on the watcher there:
    // left on this one, it would keep this folder watched for nothing, and
    // its removal later would let go of a folder others still rely on.
    if (!recount)
        return;
    auto controller = EntityController::existingInstance();
    if (!controller)
        return;
    for (const auto& [moved, previousPath] : watchedPaths)
        if (!previousPath.isEmpty() && moved->parent())
            controller->moveWatcherForEntity(*moved, previousPath);
}

} // namespace ondrel
