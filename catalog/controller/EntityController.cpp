#include "catalog/controller/EntityController.h"

#include "catalog/entities/CatalogLog.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/tracking/Watcher.h"
#include "core/dispatch/ApplicationNotifications.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/Timer.h"
#include "core/files/FileCoordinator.h"
#include "core/objects/ClassInfo.h"
#include "core/predicates/SortDescriptor.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/tree/TreeController.h"
#include "core/tree/TreeNode.h"
#include "fileprocesses/FileProcessController.h"

#include <QtCore/QFileInfo>

#include <algorithm>

namespace ondrel {

const QString EntityController::SortDescriptorsKey = QStringLiteral("EntityControllerSortDescriptors");
const QString EntityController::SelectionKey = QStringLiteral("EntityControllerSelection");

namespace {

std::recursive_mutex& sharedMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

std::shared_ptr<EntityController>& sharedPointer() {
    static auto* shared = new std::shared_ptr<EntityController>();
    return *shared;
}

const QStringList& schemaStatements() {
    static const QStringList statements = {
        QStringLiteral("CREATE TABLE [Global] (version INTEGER);"),
        QStringLiteral("INSERT INTO Global (version) VALUES (1);"),
        QStringLiteral("CREATE TABLE FileEntity (fileEntityID TEXT PRIMARY KEY NOT NULL, containerEntityID TEXT, "
                       "dateAdded REAL, dateModified REAL, format TEXT, encoding TEXT, channelSuffixDelimiter TEXT, "
                       "fileSize INTEGER, bitDepth INTEGER, floatingPoint INTEGER, bitrate INTEGER, sampleRate REAL, "
                       "frames INTEGER, channels INTEGER, countOfMarkers INTEGER, countOfSlices INTEGER, "
                       "countOfRegions INTEGER, countOfLoops INTEGER, difference REAL, detectedSemitone INTEGER, LU "
                       "REAL);"),
        QStringLiteral("CREATE TABLE FileBookmark (fileBookmarkID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, "
                       "ordinal INTEGER, bookmarkData BLOB);"),
        QStringLiteral("CREATE TABLE FileProperty (filePropertyID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, key "
                       "TEXT, value BLOB);"),
        QStringLiteral("CREATE TABLE FileLabel (fileLabelID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, type TEXT, "
                       "location REAL, length REAL, name TEXT);"),
        QStringLiteral("CREATE TABLE FileAnalysis (fileAnalysisID INTEGER PRIMARY KEY NOT NULL, fileEntityID TEXT, "
                       "channelIndex INTEGER, DCOffset REAL, average REAL, crestFactor REAL, formFactor REAL, "
                       "negativeMaximum REAL, peak REAL, peakToPeak REAL, positiveMaximum REAL, RMS REAL, "
                       "countOfClipEvents INTEGER, wavetable BLOB);"),
        QStringLiteral("CREATE TABLE GroupEntity (groupEntityID TEXT PRIMARY KEY NOT NULL, containerEntityID TEXT, "
                       "bookmarkData BLOB, name TEXT);"),
        QStringLiteral("CREATE INDEX FileAnalysisEntityID ON FileAnalysis (fileEntityID ASC);"),
        QStringLiteral("CREATE INDEX FileBookmarkEntityID ON FileBookmark (fileEntityID ASC);"),
        QStringLiteral("CREATE INDEX FileLabelEntityID ON FileLabel (fileEntityID ASC);"),
        QStringLiteral("CREATE INDEX FilePropertyEntityID ON FileProperty (fileEntityID ASC);"),
    };
    return statements;
}

// Indexes beyond the schema, made at every start when missing: a group's
// children are found by their container, and without these each group of a
// large catalog scans the whole table at start-up.
const QStringList& containerIndexStatements() {
    static const QStringList statements = {
        QStringLiteral("CREATE INDEX IF NOT EXISTS FileEntityContainerEntityID ON FileEntity (containerEntityID ASC);"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS GroupEntityContainerEntityID ON GroupEntity (containerEntityID ASC);"),
    };
    return statements;
}

std::vector<std::shared_ptr<SortDescriptor>> sortDescriptorsFromData(const QByteArray& data) {
    std::vector<std::shared_ptr<SortDescriptor>> descriptors;
    for (const QVariant& value : KeyedUnarchiver::unarchiveObjectWithData(data).toList()) {
        auto descriptor = Variant::object<SortDescriptor>(value);
        if (!descriptor)
            continue;
        if (descriptor->selector() == QLatin1String("caseInsensitiveCompare:"))
            descriptor = SortDescriptor::sortDescriptorWithKey(descriptor->key(), descriptor->isAscending(),
                                                               QStringLiteral("localizedStandardCompare:"));
        descriptors.push_back(std::move(descriptor));
    }
    return descriptors;
}

} // namespace

const ClassInfo& EntityController::staticClassInfo() {
    using C = EntityController;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("EntityController"))
                                       .setAbstract()
                                       .property(QStringLiteral("rootGroup"), &C::rootGroup)
                                       .property(QStringLiteral("selectedFileEntities"), &C::selectedFileEntities)
                                       .property(QStringLiteral("allFileEntities"), &C::allFileEntities);
    return info;
}

// MARK: Shared instance

std::shared_ptr<EntityController> EntityController::sharedInstance() {
    std::lock_guard lock(sharedMutex());
    auto& shared = sharedPointer();
    if (!shared) {
        // Stored before init runs: the entities it loads ask for it again.
        shared = std::make_shared<EntityController>();
        shared->init();
    }
    return shared;
}

std::shared_ptr<EntityController> EntityController::existingInstance() {
    std::lock_guard lock(sharedMutex());
    return sharedPointer();
}

void EntityController::resetSharedInstance() {
    std::shared_ptr<EntityController> old;
    {
        std::lock_guard lock(sharedMutex());
        old = std::move(sharedPointer());
    }
    if (old)
        old->tearDown();
}

EntityController::EntityController() = default;

EntityController::~EntityController() {
    removeAllWatchers();
    if (m_terminateObserver)
        NotificationCenter::defaultCenter().removeObserver(m_terminateObserver);
}

void EntityController::tearDown() {
    drainRemovalPool();
    // Letting the tree go is not a removal: nothing more is queued.
    m_tornDown = true;
    std::shared_ptr<Timer> timer;
    {
        std::lock_guard lock(m_removalPoolTimerLock);
        timer = m_removalPoolTimer.lock();
    }
    if (timer)
        timer->invalidate();
    {
        std::lock_guard lock(m_observationsMutex);
        m_observations.clear();
        m_controllerObservations.clear();
    }
    if (m_terminateObserver) {
        NotificationCenter::defaultCenter().removeObserver(m_terminateObserver);
        m_terminateObserver = 0;
    }
    m_treeController.reset();
    m_selectedFileEntities.clear();
    m_rootGroup.reset();
    // The folders of a catalog let go are no longer followed.
    removeAllWatchers();
}

// MARK: Start

void EntityController::registerClassDefaults() {
    const QVariantList descriptors = {
        Variant::fromObject(SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), false,
                                                                  QStringLiteral("localizedStandardCompare:")))};
    UserDefaults::standardUserDefaults()->registerDefaults(
        {{SortDescriptorsKey, KeyedArchiver::archivedDataWithRootObject(descriptors)}});
}

namespace {

std::mutex& catalogFileMutex() {
    static std::mutex mutex;
    return mutex;
}

URL& catalogFile() {
    static URL url;
    return url;
}

} // namespace

void EntityController::setCatalogFile(const URL& url) {
    std::lock_guard lock(catalogFileMutex());
    catalogFile() = url;
}

void EntityController::init() {
    registerClassDefaults();

    URL url;
    {
        std::lock_guard lock(catalogFileMutex());
        url = catalogFile();
    }
    m_storesSelection = url.isEmpty();
    if (url.isEmpty())
        url = URL::supportDirectory().URLByAppendingPathComponent(QStringLiteral("Entities"))
                  .URLByAppendingPathExtension(QStringLiteral("db"));
    m_database = VMKDatabaseController::initWithURL(url);
    if (!url.existsAsFile())
        createSchema();
    migrate();
    for (const QString& statement : containerIndexStatements())
        executeStatement(statement);

    executeStatement(QStringLiteral("BEGIN IMMEDIATE TRANSACTION"));
    m_rootGroup = GroupEntity::initWithID(QString());
    executeStatement(QStringLiteral("END TRANSACTION"));
    if (!m_rootGroup)
        m_rootGroup = std::make_shared<GroupEntity>();
    beginObservingGroup(m_rootGroup);

    setUpTreeController();

    auto defaults = UserDefaults::standardUserDefaults();
    for (const QString& key : {QStringLiteral("entitiesSearchString"), QStringLiteral("entitiesPredicateEnabled"),
                               QStringLiteral("entitiesPredicate")})
        m_controllerObservations.push_back(defaults->observe(key, 0, [this](const KeyValueChangeInfo&) {
            if (auto root = rootGroup())
                root->updateDisplayedEntities();
        }));
    m_terminateObserver = NotificationCenter::defaultCenter().addObserver(
        ApplicationWillTerminateNotification, nullptr, [this](const Notification&) { applicationWillTerminate(); });
}

void EntityController::createSchema() {
    for (const QString& statement : schemaStatements())
        executeStatement(statement);
}

void EntityController::migrate() {
    executeStatement(QStringLiteral("SELECT version FROM Global"), nullptr, [this](VMKDatabaseQuery& query) {
        if (!query.evaluateNextRow())
            return;
        const qint64 version = query.longLongValueAtColumn(0);
        if (version == 1) {
            executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN midPeak REAL"));
            executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN sidePeak REAL"));
            executeStatement(QStringLiteral("UPDATE Global SET version = 2 WHERE version = 1"));
        }
        if (version == 1 || version == 2) {
            executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN truePeak REAL"));
            executeStatement(QStringLiteral("ALTER TABLE FileEntity ADD COLUMN loudnessRange REAL"));
            executeStatement(QStringLiteral("UPDATE Global SET version = 3 WHERE version = 2"));
        }
    });
}

void EntityController::setUpTreeController() {
    m_treeController = std::make_shared<TreeController>();
    m_treeController->setChildrenKeyPath(QStringLiteral("displayedEntities"));
    m_treeController->setLeafKeyPath(QStringLiteral("isLeaf"));
    m_treeController->setAvoidsEmptySelection(false);
    m_treeController->setSelectsInsertedObjects(false);
    m_treeController->bindContentArray(m_rootGroup, QStringLiteral("displayedEntities"));
    m_treeController->setSortDescriptors(
        sortDescriptorsFromData(UserDefaults::standardUserDefaults()->dataForKey(SortDescriptorsKey)));
    restoreSelection();

    m_controllerObservations.push_back(m_treeController->observe(QStringLiteral("sortDescriptors"), 0,
                                                                 [this](const KeyValueChangeInfo&) {
        QVariantList descriptors;
        for (const auto& descriptor : m_treeController->sortDescriptors())
            descriptors.append(Variant::fromObject(descriptor));
        UserDefaults::standardUserDefaults()->setObjectForKey(KeyedArchiver::archivedDataWithRootObject(descriptors),
                                                              SortDescriptorsKey);
    }));
    m_controllerObservations.push_back(m_treeController->observe(QStringLiteral("selectedObjects"), 0,
                                                                 [this](const KeyValueChangeInfo&) { selectionDidChange(); }));
    // Files can leave or join a selected group while the selected nodes stay
    // the same: the flattened selection follows every change of the tree, so
    // that it never holds (and keeps in the catalog) a file deleted there.
    m_controllerObservations.push_back(m_treeController->observe(QStringLiteral("arrangedObjects"), 0,
                                                                 [this](const KeyValueChangeInfo&) { selectionDidChange(); }));
}

void EntityController::restoreSelection() {
    if (!m_storesSelection)
        return;
    QVariantList selected;
    for (const QString& ID : UserDefaults::standardUserDefaults()->stringArrayForKey(SelectionKey))
        if (auto entity = m_rootGroup->entityWithID(ID))
            selected.append(Variant::fromObject(entity));
    if (!selected.isEmpty()) {
        m_treeController->setSelectedObjects(selected);
        selectionDidChange();
    }
}

// MARK: The tree and its observation

std::shared_ptr<GroupEntity> EntityController::rootGroup() const { return m_rootGroup; }

TreeController& EntityController::treeController() const {
    Q_ASSERT(m_treeController);
    return *m_treeController;
}

void EntityController::observeName(const std::shared_ptr<Entity>& entity) {
    auto handle = entity->observe(QStringLiteral("name"), 0, [this](const KeyValueChangeInfo&) { scheduleRearrange(); });
    std::lock_guard lock(m_observationsMutex);
    m_observations[entity.get()].push_back(std::move(handle));
}

void EntityController::beginObservingGroup(const std::shared_ptr<GroupEntity>& group) {
    observeName(group);
    for (const EntityPtr& child : group->entities()) {
        if (auto childGroup = std::dynamic_pointer_cast<GroupEntity>(child))
            beginObservingGroup(childGroup);
        else
            observeName(child);
    }
    auto handle = group->observe(QStringLiteral("entities"), KeyValueObservingOptionNew | KeyValueObservingOptionOld,
                                 [this](const KeyValueChangeInfo& change) {
                                     entitiesDidChange(change.oldValue, change.newValue, int(change.kind));
                                 });
    std::lock_guard lock(m_observationsMutex);
    m_observations[group.get()].push_back(std::move(handle));
}

void EntityController::endObservingGroup(const GroupEntity& group) {
    for (const EntityPtr& child : group.entities()) {
        if (auto childGroup = std::dynamic_pointer_cast<GroupEntity>(child)) {
            endObservingGroup(*childGroup);
        } else {
            std::lock_guard lock(m_observationsMutex);
            m_observations.erase(child.get());
        }
    }
    std::lock_guard lock(m_observationsMutex);
    m_observations.erase(&group);
}

void EntityController::entitiesDidChange(const QVariant& oldValues, const QVariant& newValues, int kind) {
    willChangeValueForKey(QStringLiteral("allFileEntities"));
    const bool removal = kind == int(KeyValueChange::Removal);
    const bool insertion = kind == int(KeyValueChange::Insertion);
    if (removal || insertion) {
        for (const QVariant& value : (removal ? oldValues : newValues).toList()) {
            auto entity = Variant::object<Entity>(value);
            if (!entity)
                continue;
            auto group = std::dynamic_pointer_cast<GroupEntity>(entity);
            if (removal && group) {
                endObservingGroup(*group);
            } else if (removal) {
                std::lock_guard lock(m_observationsMutex);
                m_observations.erase(entity.get());
            } else if (group) {
                beginObservingGroup(group);
            } else {
                observeName(entity);
            }
        }
    }
    didChangeValueForKey(QStringLiteral("allFileEntities"));
}

void EntityController::scheduleRearrange() {
    if (m_needsRearrangeObjects)
        return;
    m_needsRearrangeObjects = true;
    std::weak_ptr<EntityController> weak = std::static_pointer_cast<EntityController>(self());
    dispatchMain([weak] {
        if (auto controller = weak.lock()) {
            if (controller->m_treeController)
                controller->m_treeController->rearrangeObjects();
            controller->m_needsRearrangeObjects = false;
        }
    });
}

// MARK: Selection

void EntityController::selectionDidChange() {
    std::vector<std::shared_ptr<FileEntity>> selected;
    QStringList IDs;
    for (const auto& node : m_treeController->selectedNodes()) {
        if (auto entity = std::dynamic_pointer_cast<Entity>(node->representedObject()))
            IDs.append(entity->ID());
        if (node->isLeaf()) {
            if (auto file = std::dynamic_pointer_cast<FileEntity>(node->representedObject()))
                selected.push_back(std::move(file));
            continue;
        }
        for (const QVariant& object : node->deepChildLeafRepresentedObjects())
            if (auto file = Variant::object<FileEntity>(object))
                selected.push_back(std::move(file));
    }
    auto defaults = UserDefaults::standardUserDefaults();
    if (m_storesSelection && defaults->stringArrayForKey(SelectionKey) != IDs)
        defaults->setObjectForKey(IDs, SelectionKey);
    if (selected == m_selectedFileEntities)
        return;
    if (m_selectedFileEntities.size() == 1)
        m_selectedFileEntities.front()->unload();
    if (selected.size() == 1)
        selected.front()->load();
    willChangeValueForKey(QStringLiteral("selectedFileEntities"));
    m_selectedFileEntities = std::move(selected);
    didChangeValueForKey(QStringLiteral("selectedFileEntities"));
}

std::vector<std::shared_ptr<FileEntity>> EntityController::selectedFileEntities() const { return m_selectedFileEntities; }

void EntityController::setSelectedEntities(const std::vector<std::shared_ptr<Entity>>& entities) {
    QVariantList objects;
    for (const auto& entity : entities)
        objects.append(Variant::fromObject(entity));
    m_treeController->setSelectedObjects(objects);
}

std::vector<std::shared_ptr<FileEntity>> EntityController::allFileEntities() const {
    return m_rootGroup ? m_rootGroup->allFileEntities() : std::vector<std::shared_ptr<FileEntity>>{};
}

std::shared_ptr<Entity> EntityController::entityNamed(const QString& IDOrPath) const {
    if (!m_rootGroup || IDOrPath.isEmpty())
        return nullptr;
    if (auto entity = m_rootGroup->entityWithID(IDOrPath.toUpper()))
        return entity;
    return m_rootGroup->entityWithURL(URL::fileURLWithPath(IDOrPath));
}

// MARK: Database

std::shared_ptr<VMKDatabaseController> EntityController::database() { return sharedInstance()->m_database; }

void EntityController::executeStatement(const QString& sql, DispatchQueue* queue, VMKDatabaseController::QueryHandler handler) {
    if (m_database)
        m_database->executeStatement(sql, queue, std::move(handler));
}

// MARK: Removal pool

bool EntityController::queueEntityForRemoval(const QString& className, const QString& ID) {
    if (ID.isEmpty())
        return false;
    auto controller = existingInstance();
    if (!controller || controller->m_tornDown)
        return false;
    controller->queue(className, ID);
    return true;
}

void EntityController::queue(const QString& className, const QString& ID) {
    {
        std::lock_guard lock(m_removalPoolLock);
        m_removalPool.push_back({className, ID});
    }
    {
        // Entities are let go on any thread while the main thread stores or
        // clears the timer: the pointer itself is read and written under its
        // own lock (the worst outcome of the check is still an extra drain).
        std::lock_guard lock(m_removalPoolTimerLock);
        if (!m_removalPoolTimer.expired() || m_removalPoolTimerWillBeScheduled)
            return;
        m_removalPoolTimerWillBeScheduled = true;
    }
    std::weak_ptr<EntityController> weak = std::static_pointer_cast<EntityController>(self());
    dispatchMain([weak] {
        auto controller = weak.lock();
        if (!controller || controller->m_tornDown)
            return;
        auto timer = Timer::scheduledTimer(3.0, false, [weak] {
            if (auto owner = weak.lock())
                owner->doDrainRemovalPool();
        });
        std::lock_guard lock(controller->m_removalPoolTimerLock);
        controller->m_removalPoolTimer = timer;
        controller->m_removalPoolTimerWillBeScheduled = false;
    });
}

void EntityController::doDrainRemovalPool() {
    std::weak_ptr<EntityController> weak = std::static_pointer_cast<EntityController>(self());
    DispatchQueue::global(DispatchQueue::Priority::Background).async([weak] {
        if (auto controller = weak.lock())
            controller->drainRemovalPool();
    });
    std::lock_guard lock(m_removalPoolTimerLock);
    m_removalPoolTimer.reset();
}

void EntityController::drainRemovalPool() {
    std::lock_guard lock(m_removalPoolLock);
    if (m_removalPool.empty())
        return;
    executeStatement(QStringLiteral("BEGIN IMMEDIATE TRANSACTION"));
    static const QStringList fileStatements = {
        QStringLiteral("DELETE FROM FileEntity WHERE fileEntityID = ?"),
        QStringLiteral("DELETE FROM FileBookmark WHERE fileEntityID = ?"),
        QStringLiteral("DELETE FROM FileProperty WHERE fileEntityID = ?"),
        QStringLiteral("DELETE FROM FileLabel WHERE fileEntityID = ?"),
        QStringLiteral("DELETE FROM FileAnalysis WHERE fileEntityID = ?")};
    for (const RemovalEntry& entry : m_removalPool) {
        auto run = [&](const QString& sql) {
            executeStatement(sql, nullptr, [&](VMKDatabaseQuery& query) {
                query.setStringValue(entry.ID, 0);
                query.execute();
            });
        };
        if (entry.className == QLatin1String("FileEntity")) {
            for (const QString& sql : fileStatements)
                run(sql);
        } else if (entry.className == QLatin1String("GroupEntity")) {
            run(QStringLiteral("DELETE FROM GroupEntity WHERE groupEntityID = ?"));
        }
    }
    executeStatement(QStringLiteral("END TRANSACTION"));
    m_removalPool.clear();
}

qsizetype EntityController::countOfPendingRemovals() const {
    std::lock_guard lock(m_removalPoolLock);
    return qsizetype(m_removalPool.size());
}

void EntityController::applicationWillTerminate() { drainRemovalPool(); }

// MARK: Analysis

void EntityController::analyzeFileEntities(const std::vector<std::shared_ptr<FileEntity>>& fileEntities) {
    if (fileEntities.empty())
        return;
    auto command = ClassRegistry::create(QStringLiteral("AnalysisFileProcessCommand"));
    if (!command) {
        static std::once_flag once;
        std::call_once(once, [] { catalogLog(LogLevel::Notice, QStringLiteral("EntityController_log_notice_noAnalysis")); });
        return;
    }
    QVariantList items;
    for (const auto& file : fileEntities)
        items.append(Variant::fromObject(file));
    command->setValueForKey(items, QStringLiteral("items"));
    FileProcessController::sharedInstance()->executeFileProcessCommand(command);
}

// MARK: Watchers

QString EntityController::watchedPath(const Entity& entity) {
    if (const auto* group = dynamic_cast<const GroupEntity*>(&entity); group && group->isDisconnected())
        return {};
    const URL url = entity.firstURL();
    if (url.isEmpty())
        return {};
    return entity.isLeaf() ? url.URLByDeletingLastPathComponent().path() : url.path();
}

void EntityController::addWatcherForEntity(const Entity& entity) { addWatcherForPath(watchedPath(entity)); }

void EntityController::removeWatcherForEntity(const Entity& entity) { removeWatcherForPath(watchedPath(entity)); }

void EntityController::moveWatcherForEntity(const Entity& entity, const QString& previousPath) {
    const QString path = watchedPath(entity);
    if (path == previousPath)
        return;
    // Counted at the new place first: when both places share a watcher, it
    // never drops to nothing on the way (its folder would be let go and
    // watched again, and events on their way lost).
    addWatcherForPath(path);
    removeWatcherForPath(previousPath);
}

void EntityController::addWatcherForPath(const QString& path) {
    if (path.isEmpty())
        return;
    const URL directory = URL::fileURLWithPath(path);
    std::lock_guard lock(m_watchersMutex);
    // No watcher lies inside another, so at most one covers a folder: the
    // one that covered the last folder asked for usually covers this one.
    auto covers = [&](const Watcher& watcher) { return watcher.coversURL(directory); };
    if (m_lastWatcher >= 0 && size_t(m_lastWatcher) < m_watchers.size() && covers(*m_watchers[size_t(m_lastWatcher)])) {
        Watcher& watcher = *m_watchers[size_t(m_lastWatcher)];
        watcher.setCounter(watcher.counter() + 1);
        return;
    }
    qsizetype covering = -1;
    std::vector<size_t> contained;
    for (size_t i = 0; i < m_watchers.size(); ++i) {
        if (covers(*m_watchers[i])) {
            covering = qsizetype(i);
            break;
        }
        if (m_watchers[i]->isContainedByURL(directory))
            contained.push_back(i);
    }
    quint64 swallowed = 0;
    for (size_t index : contained)
        swallowed += m_watchers[index]->counter();
    if (covering >= 0) {
        m_watchers[size_t(covering)]->setCounter(m_watchers[size_t(covering)]->counter() + 1);
    } else {
        auto watcher = std::make_shared<Watcher>(directory);
        watcher->setCounter(1 + swallowed);
        m_watchers.push_back(watcher);
        FileCoordinator::addFilePresenter(watcher);
        covering = qsizetype(m_watchers.size() - 1);
    }
    const std::shared_ptr<Watcher> kept = m_watchers[size_t(covering)];
    for (auto it = contained.rbegin(); it != contained.rend(); ++it) {
        FileCoordinator::removeFilePresenter(m_watchers[*it]);
        m_watchers.erase(m_watchers.begin() + qsizetype(*it));
    }
    for (size_t i = 0; i < m_watchers.size(); ++i)
        if (m_watchers[i] == kept)
            m_lastWatcher = qsizetype(i);
}

void EntityController::removeWatcherForPath(const QString& path) {
    if (path.isEmpty())
        return;
    const URL directory = URL::fileURLWithPath(path);
    std::lock_guard lock(m_watchersMutex);
    qsizetype emptied = -1;
    for (size_t i = 0; i < m_watchers.size(); ++i) {
        Watcher& watcher = *m_watchers[i];
        if (!watcher.coversURL(directory))
            continue;
        if (watcher.counter() > 0)
            watcher.setCounter(watcher.counter() - 1);
        if (watcher.counter() == 0)
            emptied = qsizetype(i);
    }
    if (emptied >= 0) {
        FileCoordinator::removeFilePresenter(m_watchers[size_t(emptied)]);
        m_watchers.erase(m_watchers.begin() + emptied);
        m_lastWatcher = -1;
    }
}

void EntityController::watcherDidMove(const Watcher& watcher) {
    const URL directory = watcher.url();
    std::lock_guard lock(m_watchersMutex);
    const auto moved = std::find_if(m_watchers.begin(), m_watchers.end(),
                                    [&](const std::shared_ptr<Watcher>& each) { return each.get() == &watcher; });
    if (moved == m_watchers.end())
        return;
    for (const auto& other : m_watchers) {
        if (other.get() == &watcher || !other->coversURL(directory))
            continue;
        other->setCounter(other->counter() + watcher.counter());
        const std::shared_ptr<Watcher> swallowed = *moved;
        m_watchers.erase(moved);
        m_lastWatcher = -1;
        FileCoordinator::removeFilePresenter(swallowed);
        return;
    }
}

std::vector<std::shared_ptr<Watcher>> EntityController::watchers() const {
    std::lock_guard lock(m_watchersMutex);
    return m_watchers;
}

void EntityController::removeAllWatchers() {
    std::vector<std::shared_ptr<Watcher>> watchers;
    {
        std::lock_guard lock(m_watchersMutex);
        watchers.swap(m_watchers);
        m_lastWatcher = -1;
    }
    for (const auto& watcher : watchers)
        FileCoordinator::removeFilePresenter(watcher);
}

} // namespace ondrel
