#include "core/tree/TreeNode.h"

#include <algorithm>

namespace ondrel {

namespace {

QVariantList nodeList(const std::vector<std::shared_ptr<TreeNode>>& nodes) {
    QVariantList list;
    list.reserve(qsizetype(nodes.size()));
    for (const auto& node : nodes)
        list << Variant::fromObject(node);
    return list;
}

QVariantList indexList(const IndexPath& path) {
    QVariantList list;
    for (qsizetype index : path)
        list << QVariant::fromValue(qint64(index));
    return list;
}

} // namespace

const ClassInfo& TreeNode::staticClassInfo() {
    // Nodes come only from their controller: never made by name.
    static const ClassInfo& info =
        ClassInfo::define<TreeNode, Object>(QStringLiteral("TreeNode"))
            .setAbstract()
            .property(QStringLiteral("representedObject"), &TreeNode::representedObject)
            .property(QStringLiteral("parentNode"), &TreeNode::parentNode)
            .property(QStringLiteral("isLeaf"), &TreeNode::isLeaf)
            .addProperty(QStringLiteral("childNodes"),
                         [](const Object* o) { return nodeList(static_cast<const TreeNode*>(o)->childNodes()); })
            .addProperty(QStringLiteral("indexPath"),
                         [](const Object* o) { return indexList(static_cast<const TreeNode*>(o)->indexPath()); });
    return info;
}

TreeNode::TreeNode() = default;

TreeNode::~TreeNode() = default;

IndexPath TreeNode::indexPath() const {
    IndexPath path;
    if (!m_controller)
        return path;
    for (const TreeNode* node = this; node->m_index >= 0;) {
        path.prepend(node->m_index);
        const std::shared_ptr<TreeNode> parent = node->m_parentNode.lock();
        if (!parent)
            break;
        node = parent.get();
    }
    return path;
}

QVariantList TreeNode::deepChildLeafRepresentedObjects() const {
    QVariantList objects;
    collectLeafObjects(objects);
    return objects;
}

void TreeNode::collectLeafObjects(QVariantList& objects) const {
    if (m_isLeaf) {
        objects << Variant::fromObject(m_representedObject);
        return;
    }
    for (const auto& child : m_childNodes)
        child->collectLeafObjects(objects);
}

std::shared_ptr<TreeNode> TreeNode::descendantNodeAtIndexPath(const IndexPath& indexPath) const {
    auto node = std::const_pointer_cast<TreeNode>(std::static_pointer_cast<const TreeNode>(shared_from_this()));
    for (qsizetype index : indexPath) {
        if (index < 0 || size_t(index) >= node->m_childNodes.size())
            return nullptr;
        node = node->m_childNodes[size_t(index)];
    }
    return node;
}

} // namespace ondrel
