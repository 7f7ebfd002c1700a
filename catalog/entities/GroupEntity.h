#pragma once

#include "catalog/entities/Entity.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace ondrel {

class FileEntity;
class Predicate;

// A node of the catalog tree that holds other entities. A bound group
// follows a folder on disk (its name is the folder's); a free group is one
// the user made, with a stored name. The root group has no ID and no row: it
// stands for the top level.
//
// `entities` is the model, in insertion order; `displayedEntities` is the
// filtered view the files area shows (non-empty groups first, then the
// children that pass the search string and the filter). The list of
// children is guarded by the group's lock; a parent's lock is taken before a
// child's.
class GroupEntity : public Entity {
    ONDREL_OBJECT(GroupEntity, Entity)

public:
    GroupEntity();
    ~GroupEntity() override;

    // A new free group, written to the catalog.
    static std::shared_ptr<GroupEntity> init();
    // A new group bound to a folder. Null with the reason when the folder
    // can't be bookmarked.
    static std::shared_ptr<GroupEntity> initWithURL(const URL& url, VMKError* error = nullptr);
    // Rebuilds a group and everything beneath it from the catalog; an empty
    // ID rebuilds the root. Children that can't be rebuilt are dropped with a
    // warning, and so are their rows. A bound group is reconciled with its
    // folder: files that left it leave the group, new ones are added. Null
    // when a bound group's folder can't be found: its subtree then goes.
    static std::shared_ptr<GroupEntity> initWithID(const QString& ID, VMKError* error = nullptr);

    // Resolves a folder's bookmark into the URL and the name; empty data
    // makes the group free. A stale bookmark is made anew and written. False
    // (nothing changed) when the data can't be resolved.
    bool setBookmarkData(const QByteArray& data, VMKError* error = nullptr);

    bool isLeaf() const override { return false; }

    // MARK: Children
    std::vector<EntityPtr> entities() const;  // a copy
    qsizetype countOfEntities() const;
    EntityPtr objectInEntitiesAtIndex(qsizetype index) const;
    qsizetype indexOfObjectInEntities(const Entity* entity) const;
    // Takes the child in (it must not have a parent): writes its container,
    // watches its folder, updates the view. `index` may be the count.
    void insertObjectInEntitiesAtIndex(const EntityPtr& entity, qsizetype index);
    // Takes several children in with one change of the list and one update
    // of the view. `indexes` has one index per entity, as after the insert.
    void insertEntitiesAtIndexes(const std::vector<EntityPtr>& entities, const IndexSet& indexes);
    // Lets children go. Writes nothing: a child nobody else holds is
    // destroyed, and that removes its rows. Bad indexes are ignored.
    void removeObjectFromEntitiesAtIndex(qsizetype index);
    void removeEntitiesAtIndexes(const IndexSet& indexes);

    // The children of exactly one class.
    std::vector<EntityPtr> fileEntities() const;
    std::vector<EntityPtr> groupEntities() const;
    // Every file entity beneath, depth first, in child order.
    std::vector<std::shared_ptr<FileEntity>> allFileEntities() const;

    // MARK: The view
    // Rebuilds the view of this group and every group beneath from the user
    // defaults "entitiesSearchString", "entitiesPredicateEnabled" and
    // "entitiesPredicate".
    void updateDisplayedEntities();
    std::vector<EntityPtr> displayedEntities() const;
    qsizetype countOfDisplayedEntities() const;
    EntityPtr objectInDisplayedEntitiesAtIndex(qsizetype index) const;

    // MARK: Searching
    // The entity beneath that owns a file or folder, by its path.
    EntityPtr entityWithURL(const URL& url) const;
    EntityPtr entityWithID(const QString& ID) const;

    // Makes a bound group free. Its children and name stay; the folder is
    // forgotten at the next start (its URL stays in memory until then, but
    // no longer counts for the watchers).
    void disconnectFromURL();
    bool isDisconnected() const { return m_disconnected.load(); }
    // Renames and writes the name (nothing happens when it is the same).
    void setName(const QString& name) override;

    // MARK: File tracking (main thread)
    // The folder moved: a new bookmark is written, the name follows, and
    // every child follows to the same name in the new folder.
    void presentedItemDidMoveToURL(const URL& url) override;
    // The folder is gone: the group leaves its parent, then the handler is
    // called with no error.
    void accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler) override;
    // A new file or folder at `url`, in this group's folder: taken in, and a
    // file goes to analysis.
    void presentedSubitemDidChangeAtURL(const URL& url);
    // A child whose file moved from `oldURL` to `newURL` leaves this group
    // when its new folder isn't this group's.
    void presentedSubitemAtURL(const URL& oldURL, const URL& newURL);

private:
    void updateDisplayedEntities(const Predicate& predicate);
    void reconcileWithFolder();
    void persistContainer(const Entity& child) const;
    void writeBookmarkData(const QByteArray& data) const;

    mutable std::recursive_mutex m_entitiesLock;  // guards m_entities
    std::vector<EntityPtr> m_entities;
    mutable std::mutex m_displayedMutex;
    std::vector<EntityPtr> m_displayedEntities;
    std::atomic<bool> m_disconnected{false};
};

using GroupEntityPtr = std::shared_ptr<GroupEntity>;

} // namespace ondrel
