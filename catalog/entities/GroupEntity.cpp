#include "catalog/entities/GroupEntity.h"

#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/CatalogLog.h"
#include "catalog/entities/EntityError.h"
#include "catalog/entities/FileEntity.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/files/Bookmark.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/predicates/Predicate.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "fileprocesses/FileProcessController.h"

#include <QtCore/QSet>

#include <algorithm>

namespace ondrel {

const ClassInfo& GroupEntity::staticClassInfo() {
    using C = GroupEntity;
    static const ClassInfo& info = ClassInfo::define<C, Entity>(QStringLiteral("GroupEntity"))
                                       .property(QStringLiteral("entities"), &C::entities)
                                       .property(QStringLiteral("displayedEntities"), &C::displayedEntities)
                                       .property(QStringLiteral("fileEntities"), &C::fileEntities)
                                       .property(QStringLiteral("groupEntities"), &C::groupEntities)
                                       .property(QStringLiteral("allFileEntities"), &C::allFileEntities);
    return info;
}

GroupEntity::GroupEntity() = default;

GroupEntity::~GroupEntity() {
    std::vector<EntityPtr> children;
    {
        std::lock_guard lock(m_entitiesLock);
        children.swap(m_entities);
    }
    auto controller = EntityController::existingInstance();
    for (const EntityPtr& child : children) {
        if (controller && !child->URLs().empty())
            controller->removeWatcherForEntity(*child);
        child->setParent(nullptr);
    }
    children.clear();
    if (EntityController::queueEntityForRemoval(QStringLiteral("GroupEntity"), ID()))
        catalogLog(LogLevel::Notice, QStringLiteral("GroupEntity_log_notice_removedGroup"), {name()});
}

// MARK: Creation

std::shared_ptr<GroupEntity> GroupEntity::init() {
    auto group = std::make_shared<GroupEntity>();
    group->setID(newID());
    EntityController::database()->executeStatement(QStringLiteral("INSERT INTO GroupEntity (groupEntityID) VALUES (?)"),
                                                   nullptr, [&](VMKDatabaseQuery& query) {
                                                       query.setStringValue(group->ID(), 0);
                                                       query.execute();
                                                   });
    group->setLocations({QByteArray("")}, {}, QString());
    catalogLog(LogLevel::Notice, QStringLiteral("GroupEntity_log_notice_added"));
    return group;
}

std::shared_ptr<GroupEntity> GroupEntity::initWithURL(const URL& url, VMKError* error) {
    VMKError bookmarkError;
    const QByteArray data = Bookmark::bookmarkData(url, 2048, &bookmarkError);
    if (data.isNull()) {
        VMKError::set(error, VMKError::errorWithUnderlying(bookmarkError, QStringLiteral("Creating a bookmark from a URL")));
        return nullptr;
    }
    auto group = init();
    if (!group->setBookmarkData(data, error))
        return nullptr;
    group->writeBookmarkData(data);
    return group;
}

void GroupEntity::writeBookmarkData(const QByteArray& data) const {
    EntityController::database()->executeStatement(
        QStringLiteral("UPDATE GroupEntity SET bookmarkData = ? WHERE groupEntityID = ?"), nullptr,
        [&](VMKDatabaseQuery& query) {
            query.setDataValue(data, 0);
            query.setStringValue(ID(), 1);
            query.execute();
        });
}

bool GroupEntity::setBookmarkData(const QByteArray& data, VMKError* error) {
    if (data.isEmpty()) {
        setLocations({QByteArray("")}, {}, QString());
        return true;
    }
    bool stale = false;
    VMKError resolveError;
    const URL url = Bookmark::URLByResolvingBookmarkData(data, &stale, &resolveError);
    if (url.isEmpty()) {
        VMKError::set(error, VMKError::errorWithUnderlying(resolveError, QStringLiteral("Resolving bookmark data")));
        return false;
    }
    QByteArray current = data;
    if (stale) {
        VMKError freshError;
        current = Bookmark::bookmarkData(url, 2048, &freshError);
        if (current.isNull()) {
            VMKError::set(error, VMKError::errorWithUnderlying(freshError, QStringLiteral("Recreating bookmark data")));
            return false;
        }
        if (!ID().isEmpty())
            writeBookmarkData(current);
        catalogLog(LogLevel::Notice, QStringLiteral("GroupEntity_log_notice_updatedLocation"),
                   {url.lastPathComponent(), url.path()});
    }
    // The name follows the folder, and is written when it changed.
    setLocations({current}, {url}, name());
    setName(url.lastPathComponent());
    return true;
}

// MARK: Rebuilding from rows

std::shared_ptr<GroupEntity> GroupEntity::initWithID(const QString& ID, VMKError* error) {
    auto group = std::make_shared<GroupEntity>();
    group->setID(ID);
    auto database = EntityController::database();
    auto controller = EntityController::sharedInstance();

    QStringList fileIDs;
    QStringList groupIDs;
    const bool root = ID.isEmpty();
    auto collect = [&](const QString& sql, QStringList& into) {
        database->executeStatement(sql, nullptr, [&](VMKDatabaseQuery& query) {
            while (query.evaluateNextRow())
                into.append(query.stringValueAtColumn(0));
        });
    };
    if (root) {
        collect(QStringLiteral("SELECT fileEntityID FROM FileEntity WHERE containerEntityID IS NULL"), fileIDs);
        collect(QStringLiteral("SELECT groupEntityID FROM GroupEntity WHERE containerEntityID IS NULL"), groupIDs);
    } else {
        // IDs are UUID texts made here; a quote could only come from a
        // damaged file, and would make the query find nothing.
        collect(QStringLiteral("SELECT fileEntityID FROM FileEntity WHERE containerEntityID = '%1'").arg(ID), fileIDs);
        collect(QStringLiteral("SELECT groupEntityID FROM GroupEntity WHERE containerEntityID = '%1'").arg(ID), groupIDs);
    }

    for (const QString& fileID : fileIDs) {
        VMKError childError;
        if (auto file = FileEntity::initWithID(fileID, &childError)) {
            file->setParent(group);
            group->m_entities.push_back(file);
            controller->addWatcherForEntity(*file);
        } else {
            catalogLog(LogLevel::Warning, QStringLiteral("GroupEntity_log_warning_accessFile"),
                       {childError.localizedDescription()});
        }
    }
    for (const QString& groupID : groupIDs) {
        if (groupID.isEmpty())
            continue;
        VMKError childError;
        if (auto child = GroupEntity::initWithID(groupID, &childError)) {
            child->setParent(group);
            group->m_entities.push_back(child);
            if (!child->URLs().empty())
                controller->addWatcherForEntity(*child);
        } else {
            catalogLog(LogLevel::Warning, QStringLiteral("GroupEntity_log_warning_accessGroup"),
                       {childError.localizedDescription()});
        }
    }

    QByteArray bookmarkData;
    QString storedName;
    database->executeStatement(QStringLiteral("SELECT bookmarkData, name FROM GroupEntity WHERE groupEntityID = ?"),
                               nullptr, [&](VMKDatabaseQuery& query) {
                                   if (root)
                                       query.setNullValueToArgumentAtIndex(0);
                                   else
                                       query.setStringValue(ID, 0);
                                   query.evaluateNextRow();
                                   bookmarkData = query.dataValueAtColumn(0);
                                   storedName = query.stringValueAtColumn(1);
                               });
    if (!group->setBookmarkData(bookmarkData, error)) {
        catalogLog(LogLevel::Warning, QStringLiteral("GroupEntity_log_warning_accessGroup"),
                   {error ? error->localizedDescription() : QString()});
        return nullptr;
    }
    if (group->name().isEmpty())
        group->setNameValue(storedName);
    if (!group->URLs().empty())
        group->reconcileWithFolder();
    group->updateDisplayedEntities();
    return group;
}

void GroupEntity::reconcileWithFolder() {
    const URL folder = firstURL();
    IndexSet gone;
    QSet<QString> known;
    {
        std::lock_guard lock(m_entitiesLock);
        for (size_t i = 0; i < m_entities.size(); ++i) {
            for (const URL& url : m_entities[i]->URLs()) {
                known.insert(url.path());
                if (url.URLByDeletingLastPathComponent().path() != folder.path() && !gone.contains(qsizetype(i))) {
                    gone.add(qsizetype(i));
                    catalogLog(LogLevel::Notice, QStringLiteral("GroupEntity_log_notice_removedFile"),
                               {name(), url.lastPathComponent()});
                }
            }
        }
    }
    removeEntitiesAtIndexes(gone);

    QVariantList newcomers;
    for (const URL& item : folder.contentsOfDirectory())
        if (!item.lastPathComponent().startsWith(QLatin1Char('.')) && !known.contains(item.path()))
            newcomers.append(QVariant::fromValue(item));
    if (newcomers.isEmpty())
        return;
    auto command = std::make_shared<AddFilesFileProcessCommand>();
    command->setItems(newcomers);
    command->setGroup(std::static_pointer_cast<GroupEntity>(self()));
    FileProcessController::sharedInstance()->executeFileProcessCommand(command);
}

// MARK: Children

std::vector<EntityPtr> GroupEntity::entities() const {
    std::lock_guard lock(m_entitiesLock);
    return m_entities;
}

qsizetype GroupEntity::countOfEntities() const {
    std::lock_guard lock(m_entitiesLock);
    return qsizetype(m_entities.size());
}

EntityPtr GroupEntity::objectInEntitiesAtIndex(qsizetype index) const {
    std::lock_guard lock(m_entitiesLock);
    return index >= 0 && size_t(index) < m_entities.size() ? m_entities[size_t(index)] : nullptr;
}

qsizetype GroupEntity::indexOfObjectInEntities(const Entity* entity) const {
    std::lock_guard lock(m_entitiesLock);
    for (size_t i = 0; i < m_entities.size(); ++i)
        if (m_entities[i].get() == entity)
            return qsizetype(i);
    return -1;
}

void GroupEntity::persistContainer(const Entity& child) const {
    const bool group = child.isKindOfClass(QStringLiteral("GroupEntity"));
    const QString sql = group ? QStringLiteral("UPDATE GroupEntity SET containerEntityID = ? WHERE groupEntityID = ?")
                              : QStringLiteral("UPDATE FileEntity SET containerEntityID = ? WHERE fileEntityID = ?");
    const QString containerID = ID();
    EntityController::database()->executeStatement(sql, nullptr, [&](VMKDatabaseQuery& query) {
        if (containerID.isEmpty())
            query.setNullValueToArgumentAtIndex(0);
        else
            query.setStringValue(containerID, 0);
        query.setStringValue(child.ID(), 1);
        query.execute();
    });
}

void GroupEntity::insertObjectInEntitiesAtIndex(const EntityPtr& entity, qsizetype index) {
    insertEntitiesAtIndexes({entity}, IndexSet(std::clamp<qsizetype>(index, 0, countOfEntities())));
}

void GroupEntity::insertEntitiesAtIndexes(const std::vector<EntityPtr>& entities, const IndexSet& indexes) {
    Q_ASSERT(qsizetype(entities.size()) == indexes.count());
    if (entities.empty())
        return;
    auto self = std::static_pointer_cast<GroupEntity>(Object::self());
    auto controller = EntityController::sharedInstance();
    for (const EntityPtr& child : entities) {
        Q_ASSERT(child && child.get() != this);
        child->setParent(self);
        persistContainer(*child);
        if (!child->URLs().empty())
            controller->addWatcherForEntity(*child);
    }
    // Indexes past the end append, so a bad index never loses a child.
    willChange(KeyValueChange::Insertion, indexes, QStringLiteral("entities"));
    {
        std::lock_guard lock(m_entitiesLock);
        size_t i = 0;
        for (qsizetype index : indexes) {
            const size_t at = std::min(size_t(index), m_entities.size());
            m_entities.insert(m_entities.begin() + qsizetype(at), entities[i++]);
        }
    }
    didChange(KeyValueChange::Insertion, indexes, QStringLiteral("entities"));
    updateDisplayedEntities();
}

void GroupEntity::removeObjectFromEntitiesAtIndex(qsizetype index) { removeEntitiesAtIndexes(IndexSet(index)); }

void GroupEntity::removeEntitiesAtIndexes(const IndexSet& indexes) {
    IndexSet valid;
    const qsizetype count = countOfEntities();
    for (qsizetype index : indexes)
        if (index >= 0 && index < count)
            valid.add(index);
    if (valid.isEmpty())
        return;
    auto controller = EntityController::sharedInstance();
    // The children stay alive until the change has been announced, so that
    // observers see them go before they are destroyed.
    std::vector<EntityPtr> removed;
    willChange(KeyValueChange::Removal, valid, QStringLiteral("entities"));
    {
        std::lock_guard lock(m_entitiesLock);
        for (auto it = valid.indexes().rbegin(); it != valid.indexes().rend(); ++it) {
            EntityPtr child = m_entities[size_t(*it)];
            if (!child->URLs().empty())
                controller->removeWatcherForEntity(*child);
            child->setParent(nullptr);
            m_entities.erase(m_entities.begin() + *it);
            removed.push_back(std::move(child));
        }
    }
    didChange(KeyValueChange::Removal, valid, QStringLiteral("entities"));
    updateDisplayedEntities();
}

std::vector<EntityPtr> GroupEntity::fileEntities() const {
    std::vector<EntityPtr> out;
    for (const EntityPtr& child : entities())
        if (child->classInfo().name() == QLatin1String("FileEntity"))
            out.push_back(child);
    return out;
}

std::vector<EntityPtr> GroupEntity::groupEntities() const {
    std::vector<EntityPtr> out;
    for (const EntityPtr& child : entities())
        if (child->classInfo().name() == QLatin1String("GroupEntity"))
            out.push_back(child);
    return out;
}

std::vector<std::shared_ptr<FileEntity>> GroupEntity::allFileEntities() const {
    std::vector<std::shared_ptr<FileEntity>> out;
    for (const EntityPtr& child : entities()) {
        if (auto file = std::dynamic_pointer_cast<FileEntity>(child)) {
            out.push_back(std::move(file));
        } else if (auto group = std::dynamic_pointer_cast<GroupEntity>(child)) {
            auto beneath = group->allFileEntities();
            out.insert(out.end(), std::make_move_iterator(beneath.begin()), std::make_move_iterator(beneath.end()));
        }
    }
    return out;
}

// MARK: The view

void GroupEntity::updateDisplayedEntities() {
    auto defaults = UserDefaults::standardUserDefaults();
    std::vector<std::shared_ptr<Predicate>> parts;
    const QString search = defaults->stringForKey(QStringLiteral("entitiesSearchString"));
    if (!search.isEmpty())
        parts.push_back(Predicate::predicateWithFormat(QStringLiteral("name CONTAINS[cd] %@"), {search}));
    if (defaults->boolForKey(QStringLiteral("entitiesPredicateEnabled"))) {
        const QByteArray data = defaults->dataForKey(QStringLiteral("entitiesPredicate"));
        if (auto filter = Variant::object<Predicate>(KeyedUnarchiver::unarchiveObjectWithData(data)))
            parts.push_back(filter);
    }
    std::erase(parts, nullptr);
    const std::shared_ptr<Predicate> predicate =
        parts.empty() ? Predicate::truePredicate() : std::shared_ptr<Predicate>(Predicate::andPredicateWithSubpredicates(parts));
    updateDisplayedEntities(*predicate);
}

void GroupEntity::updateDisplayedEntities(const Predicate& predicate) {
    const std::vector<EntityPtr> children = entities();
    std::vector<EntityPtr> displayed;
    std::vector<bool> shown(children.size(), false);
    for (size_t i = 0; i < children.size(); ++i) {
        if (auto group = std::dynamic_pointer_cast<GroupEntity>(children[i])) {
            group->updateDisplayedEntities(predicate);
            if (group->countOfDisplayedEntities() > 0) {
                displayed.push_back(children[i]);
                shown[i] = true;
            }
        }
    }
    const bool everything = predicate.predicateFormat() == QLatin1String("TRUEPREDICATE");
    for (size_t i = 0; i < children.size(); ++i)
        if (!shown[i] && (everything || predicate.evaluateWithObject(std::static_pointer_cast<Object>(children[i]))))
            displayed.push_back(children[i]);
    willChangeValueForKey(QStringLiteral("displayedEntities"));
    {
        std::lock_guard lock(m_displayedMutex);
        m_displayedEntities.swap(displayed);
    }
    didChangeValueForKey(QStringLiteral("displayedEntities"));
}

std::vector<EntityPtr> GroupEntity::displayedEntities() const {
    std::lock_guard lock(m_displayedMutex);
    return m_displayedEntities;
}

qsizetype GroupEntity::countOfDisplayedEntities() const {
    std::lock_guard lock(m_displayedMutex);
    return qsizetype(m_displayedEntities.size());
}

EntityPtr GroupEntity::objectInDisplayedEntitiesAtIndex(qsizetype index) const {
    std::lock_guard lock(m_displayedMutex);
    return index >= 0 && size_t(index) < m_displayedEntities.size() ? m_displayedEntities[size_t(index)] : nullptr;
}

// MARK: Searching

EntityPtr GroupEntity::entityWithURL(const URL& url) const {
    std::lock_guard lock(m_entitiesLock);
    for (const EntityPtr& child : m_entities) {
        for (const URL& childURL : child->URLs())
            if (childURL.path() == url.path())
                return child;
        if (auto group = std::dynamic_pointer_cast<GroupEntity>(child))
            if (auto found = group->entityWithURL(url))
                return found;
    }
    return nullptr;
}

EntityPtr GroupEntity::entityWithID(const QString& ID) const {
    for (const EntityPtr& child : entities()) {
        if (child->ID() == ID)
            return child;
        if (auto group = std::dynamic_pointer_cast<GroupEntity>(child))
            if (auto found = group->entityWithID(ID))
                return found;
    }
    return nullptr;
}

void GroupEntity::disconnectFromURL() {
    if (URLs().empty() || isDisconnected())
        return;
    // Uncounted here, once: the watchers pass over it from now on.
    EntityController::sharedInstance()->removeWatcherForEntity(*this);
    m_disconnected = true;
    EntityController::database()->executeStatement(
        QStringLiteral("UPDATE GroupEntity SET bookmarkData = NULL WHERE groupEntityID = ?"), nullptr,
        [&](VMKDatabaseQuery& query) {
            query.setStringValue(ID(), 0);
            query.execute();
        });
}

void GroupEntity::setName(const QString& name) {
    if (name == Entity::name())
        return;
    setNameValue(name);
    if (ID().isEmpty())
        return;
    EntityController::database()->executeStatement(QStringLiteral("UPDATE GroupEntity SET name = ? WHERE groupEntityID = ?"),
                                                   nullptr, [&](VMKDatabaseQuery& query) {
                                                       query.setStringValue(name, 0);
                                                       query.setStringValue(ID(), 1);
                                                       query.execute();
                                                   });
}

// MARK: File tracking

void GroupEntity::presentedItemDidMoveToURL(const URL& url) {
    Q_ASSERT(isMainThread());
    VMKError error;
    const QByteArray data = Bookmark::bookmarkData(url, Bookmark::WithSecurityScope, &error);
    if (data.isNull()) {
        // Gone again already: its deletion comes as an event of its own.
        catalogLog(LogLevel::Warning, QStringLiteral("GroupEntity_log_warning_move"),
                   {url.path(), error.localizedDescription()});
        return;
    }
    const URL newURL = URL::fileURLWithPath(url.path());
    setLocations({data}, {newURL}, name());
    // A group made free keeps its name and writes no location.
    if (!isDisconnected()) {
        setName(newURL.lastPathComponent());
        if (!ID().isEmpty())
            writeBookmarkData(data);
    }
    // The children follow one by one from a copy of the list: a child
    // writes its rows, and the catalog's database is never reached while a
    // group's lock is held (the catalog takes group locks while it loads).
    for (const EntityPtr& child : entities()) {
        const URL childURL = child->firstURL();
        if (!childURL.isEmpty())
            child->presentedItemDidMoveToURL(newURL.URLByAppendingPathComponent(childURL.lastPathComponent()));
    }
}

void GroupEntity::accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler) {
    Q_ASSERT(isMainThread());
    const ObjectPtr keep = self();  // the parent may hold the last reference
    if (auto group = parent())
        group->removeObjectFromEntitiesAtIndex(group->indexOfObjectInEntities(this));
    if (completionHandler)
        completionHandler(nullptr);
}

void GroupEntity::presentedSubitemDidChangeAtURL(const URL& url) {
    Q_ASSERT(isMainThread());
    if (!url.exists())
        return;
    VMKError error;
    const EntityPtr entity = Entity::entityWithURL(url, &error);
    if (!entity) {
        catalogLog(LogLevel::Warning, QStringLiteral("GroupEntity_log_warning_add"),
                   {url.path(), error.localizedDescription()});
        return;
    }
    insertObjectInEntitiesAtIndex(entity, countOfEntities());
    if (auto file = std::dynamic_pointer_cast<FileEntity>(entity))
        EntityController::analyzeFileEntities({file});
}

void GroupEntity::presentedSubitemAtURL(const URL& oldURL, const URL& newURL) {
    Q_ASSERT(isMainThread());
    const QString folder = firstURL().path();
    const bool staysInFolder = newURL.URLByDeletingLastPathComponent().path() == folder;
    qsizetype leaving = -1;
    {
        std::lock_guard lock(m_entitiesLock);
        for (size_t i = 0; i < m_entities.size(); ++i) {
            const std::vector<URL> urls = m_entities[i]->URLs();
            if (std::none_of(urls.begin(), urls.end(), [&](const URL& url) { return url.path() == oldURL.path(); }))
                continue;
            if (!staysInFolder)
                leaving = qsizetype(i);
            break;
        }
    }
    if (leaving >= 0)
        removeObjectFromEntitiesAtIndex(leaving);
}

} // namespace ondrel
