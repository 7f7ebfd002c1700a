#include "catalog/entities/Entity.h"

#include "catalog/controller/EntityController.h"
#include "catalog/entities/EntityError.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"

#include <QtCore/QFileInfo>
#include <QtCore/QUuid>

namespace ondrel {

const ClassInfo& Entity::staticClassInfo() {
    using C = Entity;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("Entity"))
                                       .property(QStringLiteral("ID"), &C::ID)
                                       .property(QStringLiteral("name"), &C::name, &C::setName)
                                       .property(QStringLiteral("isLeaf"), &C::isLeaf)
                                       .property(QStringLiteral("parent"), &C::parent)
                                       .property(QStringLiteral("URLs"), &C::URLs)
                                       .property(QStringLiteral("bookmarks"), &C::bookmarks);
    return info;
}

Entity::Entity() = default;
Entity::~Entity() = default;

QString Entity::newID() { return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(); }

std::shared_ptr<Entity> Entity::entityWithURL(const URL& url, VMKError* error) {
    if (auto root = EntityController::sharedInstance()->rootGroup(); root && root->entityWithURL(url)) {
        VMKError::set(error, EntityError::errorWithCode(1, QStringLiteral("Adding an entity from a URL"),
                                                        QStringLiteral("%1 is already in the catalog").arg(url.path())));
        return nullptr;
    }
    const QFileInfo info(url.path());
    if (info.isDir())
        return GroupEntity::initWithURL(url, error);
    if (info.isFile())
        return FileEntity::initWithURL(url, error);
    return nullptr;
}

std::shared_ptr<GroupEntity> Entity::parent() const {
    std::lock_guard lock(m_mutex);
    return m_parent.lock();
}

void Entity::setParent(const std::shared_ptr<GroupEntity>& parent) {
    willChangeValueForKey(QStringLiteral("parent"));
    {
        std::lock_guard lock(m_mutex);
        m_parent = parent;
    }
    didChangeValueForKey(QStringLiteral("parent"));
}

QString Entity::ID() const {
    std::lock_guard lock(m_mutex);
    return m_ID;
}

void Entity::setID(const QString& ID) {
    std::lock_guard lock(m_mutex);
    m_ID = ID;
}

std::vector<URL> Entity::URLs() const {
    std::lock_guard lock(m_mutex);
    return m_URLs;
}

URL Entity::firstURL() const {
    std::lock_guard lock(m_mutex);
    return m_URLs.empty() ? URL() : m_URLs.front();
}

QList<QByteArray> Entity::bookmarks() const {
    std::lock_guard lock(m_mutex);
    return m_bookmarks;
}

QString Entity::name() const {
    std::lock_guard lock(m_mutex);
    return m_name;
}

void Entity::setName(const QString& name) { setNameValue(name); }

void Entity::setNameValue(const QString& name) {
    willChangeValueForKey(QStringLiteral("name"));
    {
        std::lock_guard lock(m_mutex);
        m_name = name;
    }
    didChangeValueForKey(QStringLiteral("name"));
}

void Entity::setLocations(const QList<QByteArray>& bookmarks, const std::vector<URL>& URLs, const QString& name) {
    willChangeValueForKey(QStringLiteral("bookmarks"));
    willChangeValueForKey(QStringLiteral("URLs"));
    bool nameChanges;
    {
        std::lock_guard lock(m_mutex);
        nameChanges = m_name != name;
    }
    if (nameChanges)
        willChangeValueForKey(QStringLiteral("name"));
    {
        std::lock_guard lock(m_mutex);
        m_bookmarks = bookmarks;
        m_URLs = URLs;
        m_name = name;
    }
    if (nameChanges)
        didChangeValueForKey(QStringLiteral("name"));
    didChangeValueForKey(QStringLiteral("URLs"));
    didChangeValueForKey(QStringLiteral("bookmarks"));
}

QList<qsizetype> Entity::indexPath() const {
    QList<qsizetype> path;
    auto parentGroup = parent();
    const Entity* child = this;
    std::shared_ptr<GroupEntity> keep;
    while (parentGroup && path.size() < 16) {
        const qsizetype index = parentGroup->indexOfObjectInEntities(child);
        if (index < 0)
            return {};
        path.prepend(index);
        keep = parentGroup;
        child = keep.get();
        parentGroup = keep->parent();
    }
    return path;
}

QVariant Entity::valueForUndefinedKey(const QString&) const { return QVariant(); }

QString Entity::scriptDescription() const {
    const auto group = parent();
    if (!group)
        return QString();
    QString text = QStringLiteral("entity id \"%1\"").arg(ID());
    const QString container = group->scriptDescription();
    if (!container.isEmpty())
        text += QStringLiteral(" of ") + container;
    return text;
}

// The kinds of entity override these; an entity of neither kind ignores them.
void Entity::presentedItemDidMoveToURL(const URL&) {}
void Entity::accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)>) {}
void Entity::presentedItemDidChange() {}

QString Entity::description() const { return QStringLiteral("<%1 %2 \"%3\">").arg(className(), ID(), name()); }

} // namespace ondrel
