#pragma once

#include "core/files/URL.h"
#include "core/objects/Object.h"
#include "core/text/VMKError.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace ondrel {

class GroupEntity;

// A node of the catalog: a file entity or a group. Its ID (upper-case UUID
// text) is made once, when the entity is first created, and is its primary
// key for ever; an entity without an ID has no rows.
//
// The locations (bookmarks, URLs, name) may be read on any thread while the
// main thread follows a move: they are guarded by the entity's own lock and
// answered as copies.
class Entity : public Object {
    ONDREL_OBJECT(Entity, Object)

public:
    Entity();
    ~Entity() override;

    // A new entity for a file or folder that is not in the catalog yet: a
    // GroupEntity for a folder, a FileEntity for a regular file. Null with
    // EntityError 1 when an entity already owns the URL, null without an
    // error for anything else (a device, a dangling link).
    static std::shared_ptr<Entity> entityWithURL(const URL& url, VMKError* error = nullptr);

    // Makes a new upper-case UUID text for an ID.
    static QString newID();

    // The group holding this entity; null at the top of a removed subtree.
    std::shared_ptr<GroupEntity> parent() const;
    void setParent(const std::shared_ptr<GroupEntity>& parent);

    // Empty until the entity has rows.
    QString ID() const;
    std::vector<URL> URLs() const;
    URL firstURL() const;
    QList<QByteArray> bookmarks() const;
    QString name() const;
    virtual void setName(const QString& name);

    // True for files, false for groups: the tree shows no children below a leaf.
    virtual bool isLeaf() const { return true; }

    // The child indexes from the root group down to this entity (at most 16
    // levels); empty for the root or an entity outside the tree.
    QList<qsizetype> indexPath() const;

    // Keys that only file entities have read as absent on any entity, so
    // that a filter over files does not fail on a group.
    QVariant valueForUndefinedKey(const QString& key) const override;

    QString description() const override;
    // "entity id \"ID\"", followed by " of " and the parent's text when that
    // isn't empty, so the chain of groups spells itself out. The root group,
    // which has no parent, has the empty text.
    QString scriptDescription() const override;

    // MARK: File tracking: the directory events of a watched folder, turned
    // into calls on the entity they concern. Main thread.
    // The file or folder moved (or was renamed) to `url`.
    virtual void presentedItemDidMoveToURL(const URL& url);
    // The file or folder is gone: the entity leaves its group, then the
    // handler is called with no error.
    virtual void accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler);
    // The file's contents changed.
    virtual void presentedItemDidChange();

protected:
    void setID(const QString& ID);
    // Stores the resolved locations, announcing "bookmarks", "URLs" and,
    // when it changes, "name".
    void setLocations(const QList<QByteArray>& bookmarks, const std::vector<URL>& URLs, const QString& name);
    void setNameValue(const QString& name);

private:
    mutable std::mutex m_mutex;  // guards the fields below
    std::weak_ptr<GroupEntity> m_parent;
    QString m_ID;
    QList<QByteArray> m_bookmarks;
    std::vector<URL> m_URLs;
    QString m_name;
};

using EntityPtr = std::shared_ptr<Entity>;

} // namespace ondrel
