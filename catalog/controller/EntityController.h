#pragma once

#include "core/dispatch/NotificationCenter.h"
#include "core/objects/Object.h"
#include "core/storage/VMKDatabaseController.h"

#include <QtCore/QHash>

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace ondrel {

class DispatchQueue;
class URL;
class Entity;
class FileEntity;
class GroupEntity;
class Timer;
class TreeController;
class Watcher;

// The owner of the catalog: the tree of groups and file entities, the
// database "Entities.db" in the support folder that keeps it, the tree
// controller the files area shows, the selection, the folders watched, and
// the pool of entities whose rows wait to be deleted.
//
// The catalog is written as it changes; there is no save step. Rows are
// deleted when the last owner of an entity lets go of it: the entity queues
// its ID here, and the pool is drained in one transaction three seconds
// after the first removal of a batch (or at once when the program quits).
class EntityController : public Object {
    ONDREL_OBJECT(EntityController, Object)

public:
    // The default that keeps the files area's order (a keyed archive of sort
    // descriptors), and the one that keeps the selection (a list of IDs).
    static const QString SortDescriptorsKey;
    static const QString SelectionKey;

    // The one controller, made (and the catalog opened and loaded) at the
    // first call, on the main thread.
    static std::shared_ptr<EntityController> sharedInstance();
    // For tests, as a quit and a new start: drains the pool and lets the tree
    // go without deleting any row; the next sharedInstance() loads again.
    static void resetSharedInstance();
    // The catalog file the shared controller opens, when set before it is
    // made; empty: "Entities.db" in the support folder. For a one-shot run
    // over a catalog of its own, whose selection is neither restored from
    // nor stored in the user's defaults.
    static void setCatalogFile(const URL& url);
    // The shared controller when one exists; never makes one (for
    // destructors, which may run while the tree is let go).
    static std::shared_ptr<EntityController> existingInstance();

    EntityController();
    ~EntityController() override;

    // The catalog's database (the shared controller's).
    static std::shared_ptr<VMKDatabaseController> database();
    void executeStatement(const QString& sql, DispatchQueue* queue = nullptr,
                          VMKDatabaseController::QueryHandler handler = {});

    std::shared_ptr<GroupEntity> rootGroup() const;
    TreeController& treeController() const;
    // The flattened selection: the selected files, and the files beneath
    // selected groups, depth first.
    std::vector<std::shared_ptr<FileEntity>> selectedFileEntities() const;
    // Selects these entities in the tree (as a click in the files area does).
    void setSelectedEntities(const std::vector<std::shared_ptr<Entity>>& entities);
    // Every file entity of the catalog, depth first (observable).
    std::vector<std::shared_ptr<FileEntity>> allFileEntities() const;
    // The entity with this ID, or the one owning the file or folder at this
    // path; null when there is none.
    std::shared_ptr<Entity> entityNamed(const QString& IDOrPath) const;

    // Called by a file or group entity that is destroyed with an ID; any
    // thread. False when there is no catalog to remove it from (a quit, or
    // a test letting the tree go).
    static bool queueEntityForRemoval(const QString& className, const QString& ID);
    // Deletes the rows of the entities in the pool, in one transaction.
    void drainRemovalPool();
    // IDs waiting to be deleted (for the command line and tests).
    qsizetype countOfPendingRemovals() const;

    // Starts the analysis of these entities, when analysis is available
    // (said once in the log when it is not).
    static void analyzeFileEntities(const std::vector<std::shared_ptr<FileEntity>>& fileEntities);

    // Counted watching of the folder of an entity (the folder itself for a
    // group, the file's folder for a file). A new watcher is registered with
    // FileCoordinator, and one that is swallowed or no longer counted is
    // removed from it. Any thread.
    void addWatcherForEntity(const Entity& entity);
    void removeWatcherForEntity(const Entity& entity);
    // The entity moved: it is counted on the watcher of its folder now
    // instead of the one of `previousPath`, the watchedPath it had before.
    // Nothing happens when the folder is the same. Any thread.
    void moveWatcherForEntity(const Entity& entity, const QString& previousPath);
    // The watcher's folder moved into the folder of another: that one takes
    // over its count, and it goes, as if it had been made there. Any thread.
    void watcherDidMove(const Watcher& watcher);
    // The folder an entity is counted on: a group's own, a file's folder;
    // empty for an entity not watched (a disconnected group, or no file).
    static QString watchedPath(const Entity& entity);
    std::vector<std::shared_ptr<Watcher>> watchers() const;

    // Deletes what is waiting in the pool before the program ends.
    void applicationWillTerminate();

private:
    struct RemovalEntry {
        QString className;
        QString ID;
    };

    void init();
    void createSchema();
    void migrate();
    void registerClassDefaults();
    void setUpTreeController();
    void restoreSelection();
    void beginObservingGroup(const std::shared_ptr<GroupEntity>& group);
    void endObservingGroup(const GroupEntity& group);
    void observeName(const std::shared_ptr<Entity>& entity);
    void entitiesDidChange(const QVariant& oldValues, const QVariant& newValues, int kind);
    void selectionDidChange();
    void scheduleRearrange();
    void doDrainRemovalPool();
    void queue(const QString& className, const QString& ID);
    void tearDown();
    void removeAllWatchers();
    void addWatcherForPath(const QString& path);
    void removeWatcherForPath(const QString& path);

    std::shared_ptr<VMKDatabaseController> m_database;
    std::shared_ptr<GroupEntity> m_rootGroup;
    std::shared_ptr<TreeController> m_treeController;
    std::vector<std::shared_ptr<FileEntity>> m_selectedFileEntities;  // main thread

    mutable std::mutex m_watchersMutex;
    std::vector<std::shared_ptr<Watcher>> m_watchers;
    qsizetype m_lastWatcher = -1;  // where the last lookup hit

    mutable std::mutex m_removalPoolLock;
    std::vector<RemovalEntry> m_removalPool;
    std::mutex m_removalPoolTimerLock;  // guards m_removalPoolTimer
    std::weak_ptr<Timer> m_removalPoolTimer;
    std::atomic<bool> m_removalPoolTimerWillBeScheduled{false};
    std::atomic<bool> m_tornDown{false};

    bool m_needsRearrangeObjects = false;  // main thread
    // False on a catalog file of its own (setCatalogFile): its selection is
    // not the user's, and the user's stored one stays as it is.
    bool m_storesSelection = true;
    mutable std::mutex m_observationsMutex;
    std::unordered_map<const Object*, std::vector<ObservationHandle>> m_observations;
    std::vector<ObservationHandle> m_controllerObservations;
    NotificationCenter::ObserverToken m_terminateObserver = 0;
};

} // namespace ondrel
