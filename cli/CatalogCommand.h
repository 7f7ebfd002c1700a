#pragma once

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include <memory>
#include <vector>

namespace ondrel {

class Entity;

// The catalog commands of `ondrel`: the tree of groups and files that
// EntityController keeps, listed, shown and edited. Each runs on the main
// thread with the shared controller made; every change is written as it
// happens, and the rows of what was removed go as the program quits.
class CatalogCommand {
public:
    // list [--tree]: every entity, groups before files, depth first.
    static int list(const QStringList& arguments);
    // show ID|PATH: every value the catalog holds of one entity.
    static int show(const QStringList& arguments);
    // remove ID|PATH...: takes entities out of the catalog; files stay on disk.
    static int remove(const QStringList& arguments);
    // group create NAME [--in ID]: a new free group.
    static int groupCreate(const QStringList& arguments);
    // group rename ID NAME
    static int groupRename(const QStringList& arguments);
    // group disconnect ID: a bound group becomes free.
    static int groupDisconnect(const QStringList& arguments);
    // move ID... --to ID: into another group, at its end.
    static int move(const QStringList& arguments);
    // select ID|PATH...: the selection that --selected runs use; none clears it.
    static int select(const QStringList& arguments);

    // The entities `names` name (IDs, or paths of their files or folders,
    // relative to the working folder), in order. False, with a usage error
    // that says which name, when one names nothing.
    static bool entitiesNamed(const QStringList& names, std::vector<std::shared_ptr<Entity>>& entities);
    // Every field of an entity, for JSON and for show: the stored values,
    // files, bookmarks, and for a file its labels, metadata and channels.
    static QVariantMap fieldsOf(const Entity& entity);
};

} // namespace ondrel
