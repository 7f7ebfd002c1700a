#include "core/tree/TreeController.h"

#include "core/dispatch/DispatchQueue.h"
#include "core/predicates/SortDescriptor.h"
#include "core/text/StringCompare.h"

#include <QtCore/QCollator>
#include <QtCore/QDebug>

#include <algorithm>
#include <numeric>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace ondrel {

namespace {

const QString ArrangedObjectsKey = QStringLiteral("arrangedObjects");
const QString SelectionIndexPathsKey = QStringLiteral("selectionIndexPaths");
const QString SelectedObjectsKey = QStringLiteral("selectedObjects");
const QString SelectedNodesKey = QStringLiteral("selectedNodes");

bool pathLess(const IndexPath& a, const IndexPath& b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
}

QVariantList pathsToVariant(const QList<IndexPath>& paths) {
    QVariantList list;
    for (const IndexPath& path : paths) {
        QVariantList indexes;
        for (qsizetype index : path)
            indexes << QVariant::fromValue(qint64(index));
        list << QVariant(indexes);
    }
    return list;
}

QList<IndexPath> pathsFromVariant(const QVariant& value) {
    QList<IndexPath> paths;
    for (const QVariant& path : value.toList()) {
        IndexPath indexes;
        for (const QVariant& index : path.toList())
            indexes << qsizetype(index.toLongLong());
        paths << indexes;
    }
    return paths;
}

QVariantList nodesToVariant(const std::vector<std::shared_ptr<TreeNode>>& nodes) {
    QVariantList list;
    for (const auto& node : nodes)
        list << Variant::fromObject(node);
    return list;
}

} // namespace

// One element of a level being sorted: the value of each descriptor's key,
// with the collation sort key of a text that a localized ordering compares.
struct TreeController::SortEntry {
    QVariant value;
    std::optional<QCollatorSortKey> collationKey;
};

const ClassInfo& TreeController::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<TreeController, Object>(QStringLiteral("TreeController"))
            .property(QStringLiteral("childrenKeyPath"), &TreeController::childrenKeyPath,
                      &TreeController::setChildrenKeyPath)
            .property(QStringLiteral("leafKeyPath"), &TreeController::leafKeyPath, &TreeController::setLeafKeyPath)
            .property(QStringLiteral("avoidsEmptySelection"), &TreeController::avoidsEmptySelection,
                      &TreeController::setAvoidsEmptySelection)
            .property(QStringLiteral("selectsInsertedObjects"), &TreeController::selectsInsertedObjects,
                      &TreeController::setSelectsInsertedObjects)
            .property(QStringLiteral("sortDescriptors"), &TreeController::sortDescriptors,
                      &TreeController::setSortDescriptors)
            .property(QStringLiteral("content"), &TreeController::content, &TreeController::setContent)
            .property(QStringLiteral("arrangedObjects"), &TreeController::arrangedObjects)
            .addProperty(
                SelectionIndexPathsKey,
                [](const Object* o) { return pathsToVariant(static_cast<const TreeController*>(o)->selectionIndexPaths()); },
                [](Object* o, const QVariant& v) {
                    static_cast<TreeController*>(o)->setSelectionIndexPaths(pathsFromVariant(v));
                })
            .addProperty(
                SelectedObjectsKey,
                [](const Object* o) { return QVariant(static_cast<const TreeController*>(o)->selectedObjects()); },
                [](Object* o, const QVariant& v) { static_cast<TreeController*>(o)->setSelectedObjects(v.toList()); })
            .addProperty(SelectedNodesKey, [](const Object* o) {
                return QVariant(nodesToVariant(static_cast<const TreeController*>(o)->selectedNodes()));
            });
    return info;
}

TreeController::TreeController() : m_root(std::make_shared<TreeNode>()) { m_root->m_controller = this; }

TreeController::~TreeController() {
    // Nodes handed out may outlive the controller: none of them may follow
    // its object any longer, nor reach back here.
    m_contentObservation.reset();
    detach(*m_root);
}

// MARK: - Settings

void TreeController::setChildrenKeyPath(const QString& keyPath) {
    Q_ASSERT(isMainThread());
    if (keyPath == m_childrenKeyPath)
        return;
    setAndNotify(QStringLiteral("childrenKeyPath"), m_childrenKeyPath, keyPath);
    rebuildTree();
}

void TreeController::setLeafKeyPath(const QString& keyPath) {
    Q_ASSERT(isMainThread());
    if (keyPath == m_leafKeyPath)
        return;
    setAndNotify(QStringLiteral("leafKeyPath"), m_leafKeyPath, keyPath);
    rebuildTree();
}

void TreeController::setAvoidsEmptySelection(bool avoids) {
    setAndNotify(QStringLiteral("avoidsEmptySelection"), m_avoidsEmptySelection, avoids);
}

void TreeController::setSelectsInsertedObjects(bool selects) {
    setAndNotify(QStringLiteral("selectsInsertedObjects"), m_selectsInsertedObjects, selects);
}

void TreeController::setSortDescriptors(const SortDescriptors& sortDescriptors) {
    Q_ASSERT(isMainThread());
    setAndNotify(QStringLiteral("sortDescriptors"), m_sortDescriptors, sortDescriptors);
    rearrangeObjects();
}

// MARK: - Content

QVariantList TreeController::content() const {
    QVariantList objects;
    objects.reserve(qsizetype(m_root->m_contentNodes.size()));
    for (const auto& node : m_root->m_contentNodes)
        objects << Variant::fromObject(node->m_representedObject);
    return objects;
}

void TreeController::setContent(const QVariantList& content) {
    Q_ASSERT(isMainThread());
    unbindContentArray();
    setContentObjects(content, false);
}

void TreeController::bindContentArray(const ObjectPtr& object, const QString& keyPath) {
    Q_ASSERT(isMainThread());
    Q_ASSERT(object && !keyPath.isEmpty());
    unbindContentArray();
    if (!object || keyPath.isEmpty())
        return;
    m_boundObject = object;
    m_boundKeyPath = keyPath;
    // The handle is ended in the destructor, before `this` goes.
    m_contentObservation = object->observe(keyPath, 0, [this](const KeyValueChangeInfo&) {
        Q_ASSERT(isMainThread());
        readBoundContent(m_selectsInsertedObjects);
    });
    readBoundContent(false);
}

void TreeController::unbindContentArray() {
    m_contentObservation.reset();
    m_boundObject.reset();
    m_boundKeyPath.clear();
}

void TreeController::readBoundContent(bool selectNewObjects) {
    const ObjectPtr object = m_boundObject.lock();
    setContentObjects(object ? object->valueForKeyPath(m_boundKeyPath).toList() : QVariantList(), selectNewObjects);
}

void TreeController::setContentObjects(const QVariantList& objects, bool selectNewObjects) {
    changeTree([&](std::vector<std::shared_ptr<TreeNode>>& newNodes) { fillChildren(m_root, objects, &newNodes); },
               selectNewObjects);
}

void TreeController::rebuildTree() {
    const QVariantList objects = content();
    const QVariantList selected = selectedObjects();
    willChangeValueForKey(ArrangedObjectsKey);
    for (const auto& node : m_root->m_contentNodes)
        detach(*node);
    m_root->m_contentNodes.clear();
    m_root->m_childNodes.clear();
    fillChildren(m_root, objects, nullptr);
    // The new nodes stand for the same objects: the selection follows them.
    std::vector<std::shared_ptr<TreeNode>> nodes;
    std::unordered_set<const Object*> wanted;
    for (const QVariant& value : selected)
        wanted.insert(Variant::object(value).get());
    collectNodes(*m_root, wanted, nodes);
    applySelection(std::move(nodes));
    didChangeValueForKey(ArrangedObjectsKey);
}

void TreeController::childrenDidChange(TreeNode& node) {
    Q_ASSERT(isMainThread());
    const auto shared = std::static_pointer_cast<TreeNode>(node.shared_from_this());
    const QVariantList objects = childObjects(node.m_representedObject);
    changeTree(
        [&](std::vector<std::shared_ptr<TreeNode>>& newNodes) {
            fillChildren(shared, objects, &newNodes);
            if (m_leafKeyPath.isEmpty())
                shared->m_isLeaf = shared->m_contentNodes.empty();
        },
        m_selectsInsertedObjects);
}

// MARK: - Nodes

std::shared_ptr<TreeNode> TreeController::makeNode(const ObjectPtr& object, const std::shared_ptr<TreeNode>& parent) {
    auto node = std::make_shared<TreeNode>();
    node->m_representedObject = object;
    node->m_parentNode = parent;
    node->m_controller = this;
    if (m_childrenKeyPath.isEmpty() || isLeafObject(object)) {
        node->m_isLeaf = true;
        return node;
    }
    // An object among its own ancestors would make the tree endless: it is
    // shown once more, as a leaf.
    for (TreeNode* ancestor = parent.get(); ancestor; ancestor = ancestor->m_parentNode.lock().get()) {
        if (ancestor->m_representedObject == object) {
            qWarning("TreeController: %s contains itself at \"%s\"; shown as a leaf there",
                     qPrintable(object->className()), qPrintable(m_childrenKeyPath));
            node->m_isLeaf = true;
            return node;
        }
    }
    observeChildren(node);
    fillChildren(node, childObjects(object), nullptr);
    if (m_leafKeyPath.isEmpty())
        node->m_isLeaf = node->m_contentNodes.empty();
    return node;
}

void TreeController::fillChildren(const std::shared_ptr<TreeNode>& node, const QVariantList& objects,
                                  std::vector<std::shared_ptr<TreeNode>>* newNodes) {
    // Nodes of objects still in the list are kept, with their subtrees, their
    // observations and their place in the selection; an object listed twice
    // takes its old nodes in order.
    struct Kept {
        std::vector<std::shared_ptr<TreeNode>> nodes;
        size_t used = 0;
    };
    std::unordered_map<const Object*, Kept> kept;
    kept.reserve(node->m_contentNodes.size());
    for (auto& child : node->m_contentNodes)
        kept[child->m_representedObject.get()].nodes.push_back(std::move(child));

    std::vector<std::shared_ptr<TreeNode>> children;
    children.reserve(size_t(objects.size()));
    for (const QVariant& value : objects) {
        ObjectPtr object = Variant::object(value);
        if (!object)
            continue;
        const auto found = kept.find(object.get());
        if (found != kept.end() && found->second.used < found->second.nodes.size()) {
            children.push_back(found->second.nodes[found->second.used++]);
            continue;
        }
        children.push_back(makeNode(object, node));
        if (newNodes)
            newNodes->push_back(children.back());
    }
    for (auto& [object, entry] : kept)
        for (size_t i = entry.used; i < entry.nodes.size(); ++i) {
            TreeNode& gone = *entry.nodes[i];
            gone.m_parentNode.reset();
            gone.m_index = -1;
            detach(gone);
        }
    node->m_contentNodes = std::move(children);
    sortLevel(*node);
}

QVariantList TreeController::childObjects(const ObjectPtr& object) const {
    return object->valueForKeyPath(m_childrenKeyPath).toList();
}

bool TreeController::isLeafObject(const ObjectPtr& object) const {
    return !m_leafKeyPath.isEmpty() && object->valueForKeyPath(m_leafKeyPath).toBool();
}

void TreeController::observeChildren(const std::shared_ptr<TreeNode>& node) {
    const std::weak_ptr<TreeNode> weak = node;
    node->m_childrenObservation =
        node->m_representedObject->observe(m_childrenKeyPath, 0, [weak](const KeyValueChangeInfo&) {
            const std::shared_ptr<TreeNode> changed = weak.lock();
            if (changed && changed->m_controller)
                changed->m_controller->childrenDidChange(*changed);
        });
}

void TreeController::detach(TreeNode& node) {
    node.m_controller = nullptr;
    node.m_childrenObservation.reset();
    for (const auto& child : node.m_contentNodes)
        detach(*child);
}

void TreeController::collectNodes(const TreeNode& node, const std::unordered_set<const Object*>& objects,
                                  std::vector<std::shared_ptr<TreeNode>>& found) {
    for (const auto& child : node.m_childNodes) {
        if (objects.count(child->m_representedObject.get()))
            found.push_back(child);
        collectNodes(*child, objects, found);
    }
}

// MARK: - Sorting

void TreeController::sortLevel(TreeNode& node) const {
    const auto& content = node.m_contentNodes;
    const size_t count = content.size();
    std::vector<std::shared_ptr<SortDescriptor>> descriptors;
    for (const auto& d : m_sortDescriptors)
        if (d)
            descriptors.push_back(d);

    if (descriptors.empty() || count < 2) {
        node.m_childNodes = content;
    } else {
        // Each value is read once per sort, and a text compared by the user's
        // collation gets its sort key once: comparing keys is a byte compare,
        // where the collator would redo the work for every pair.
        const size_t width = descriptors.size();
        std::vector<SortEntry> entries(count * width);
        // The same direction and selector without a key: compares the values
        // read here as the descriptor compares objects.
        std::vector<std::shared_ptr<SortDescriptor>> comparers;
        std::vector<const QCollator*> collators;
        for (const auto& d : descriptors) {
            comparers.push_back(std::make_shared<SortDescriptor>(QString(), d->isAscending(), d->selector()));
            collators.push_back(StringCompare::collatorForSelector(d->selector()));
        }
        for (size_t i = 0; i < count; ++i) {
            const ObjectPtr& object = content[i]->m_representedObject;
            for (size_t d = 0; d < width; ++d) {
                SortEntry& entry = entries[i * width + d];
                entry.value = descriptors[d]->key().isEmpty() ? Variant::fromObject(object)
                                                               : object->valueForKeyPath(descriptors[d]->key());
                if (collators[d] && Variant::isString(entry.value))
                    entry.collationKey = collators[d]->sortKey(entry.value.toString());
            }
        }
        std::vector<uint32_t> order(count);
        std::iota(order.begin(), order.end(), uint32_t(0));
        std::stable_sort(order.begin(), order.end(), [&](uint32_t x, uint32_t y) {
            for (size_t d = 0; d < width; ++d) {
                const SortEntry& a = entries[x * width + d];
                const SortEntry& b = entries[y * width + d];
                int c;
                if (a.collationKey && b.collationKey) {
                    c = a.collationKey->compare(*b.collationKey);
                    if (!comparers[d]->isAscending())
                        c = -c;
                } else {
                    c = comparers[d]->compareObjects(a.value, b.value);
                }
                if (c)
                    return c < 0;
            }
            return false;
        });
        node.m_childNodes.clear();
        node.m_childNodes.reserve(count);
        for (uint32_t i : order)
            node.m_childNodes.push_back(content[i]);
    }
    for (size_t i = 0; i < node.m_childNodes.size(); ++i)
        node.m_childNodes[i]->m_index = qsizetype(i);
}

void TreeController::sortAllLevels(TreeNode& node) const {
    if (node.m_contentNodes.empty())
        return;
    sortLevel(node);
    for (const auto& child : node.m_contentNodes)
        sortAllLevels(*child);
}

void TreeController::rearrangeObjects() {
    Q_ASSERT(isMainThread());
    changeTree([&](std::vector<std::shared_ptr<TreeNode>>&) { sortAllLevels(*m_root); }, false);
}

// MARK: - Selection

void TreeController::changeTree(const std::function<void(std::vector<std::shared_ptr<TreeNode>>&)>& change,
                                bool selectNewNodes) {
    willChangeValueForKey(ArrangedObjectsKey);
    std::vector<std::shared_ptr<TreeNode>> newNodes;
    change(newNodes);
    if (selectNewNodes && !newNodes.empty()) {
        applySelection(std::move(newNodes));
    } else {
        applySelection(m_selectedNodes);  // keeps those still in the tree
    }
    didChangeValueForKey(ArrangedObjectsKey);
}

bool TreeController::applySelection(std::vector<std::shared_ptr<TreeNode>> nodes) {
    std::vector<std::pair<IndexPath, std::shared_ptr<TreeNode>>> byPath;
    byPath.reserve(nodes.size());
    for (auto& node : nodes)
        if (node && node != m_root && node->m_controller == this)
            byPath.emplace_back(node->indexPath(), std::move(node));
    if (byPath.empty() && m_avoidsEmptySelection && !m_root->m_childNodes.empty())
        byPath.emplace_back(IndexPath{0}, m_root->m_childNodes.front());
    std::sort(byPath.begin(), byPath.end(), [](const auto& a, const auto& b) { return pathLess(a.first, b.first); });
    byPath.erase(std::unique(byPath.begin(), byPath.end(),
                             [](const auto& a, const auto& b) { return a.second == b.second; }),
                 byPath.end());

    QList<IndexPath> paths;
    std::vector<std::shared_ptr<TreeNode>> selected;
    paths.reserve(qsizetype(byPath.size()));
    selected.reserve(byPath.size());
    for (auto& [path, node] : byPath) {
        paths << path;
        selected.push_back(std::move(node));
    }
    const bool pathsChanged = paths != m_selectionIndexPaths;
    const bool nodesChanged = selected != m_selectedNodes;
    if (!pathsChanged && !nodesChanged)
        return false;
    willChangeValueForKey(SelectionIndexPathsKey);
    if (nodesChanged) {
        willChangeValueForKey(SelectedObjectsKey);
        willChangeValueForKey(SelectedNodesKey);
    }
    m_selectionIndexPaths = std::move(paths);
    m_selectedNodes = std::move(selected);
    if (nodesChanged) {
        didChangeValueForKey(SelectedNodesKey);
        didChangeValueForKey(SelectedObjectsKey);
    }
    didChangeValueForKey(SelectionIndexPathsKey);
    return true;
}

bool TreeController::setSelectionIndexPaths(const QList<IndexPath>& indexPaths) {
    Q_ASSERT(isMainThread());
    std::vector<std::shared_ptr<TreeNode>> nodes;
    for (const IndexPath& path : indexPaths)
        if (!path.isEmpty())
            if (auto node = m_root->descendantNodeAtIndexPath(path))
                nodes.push_back(std::move(node));
    return applySelection(std::move(nodes));
}

QVariantList TreeController::selectedObjects() const {
    QVariantList objects;
    objects.reserve(qsizetype(m_selectedNodes.size()));
    for (const auto& node : m_selectedNodes)
        objects << Variant::fromObject(node->m_representedObject);
    return objects;
}

bool TreeController::setSelectedObjects(const QVariantList& objects) {
    Q_ASSERT(isMainThread());
    std::unordered_set<const Object*> wanted;
    for (const QVariant& value : objects)
        if (const ObjectPtr object = Variant::object(value))
            wanted.insert(object.get());
    std::vector<std::shared_ptr<TreeNode>> nodes;
    if (!wanted.empty())
        collectNodes(*m_root, wanted, nodes);
    return applySelection(std::move(nodes));
}

IndexPath TreeController::indexPathOfObject(const ObjectPtr& object) const {
    if (!object)
        return {};
    std::vector<std::shared_ptr<TreeNode>> found;
    collectNodes(*m_root, {object.get()}, found);
    return found.empty() ? IndexPath() : found.front()->indexPath();
}

} // namespace ondrel
