#pragma once

#include "core/objects/Object.h"

#include <QtCore/QList>
#include <QtCore/QVariantList>

#include <memory>
#include <vector>

namespace ondrel {

class TreeController;

// The place of a node: its index among the root's children, then among that
// child's children, and so on. The root's own path is empty.
using IndexPath = QList<qsizetype>;

// One node of the arranged tree of a TreeController: the object it stands for
// and its children in the controller's sort order. Nodes are made and
// rearranged by their controller only, on the main thread. A node the
// controller drops (its object left the tree) keeps its object and its
// subtree as they were, but it loses its parent and nothing in it follows
// the objects' children any more.
class TreeNode : public Object {
    ONDREL_OBJECT(TreeNode, Object)
public:
    TreeNode();
    ~TreeNode() override;

    // The object this node stands for; null for the root of the arranged tree.
    ObjectPtr representedObject() const { return m_representedObject; }

    // The children, sorted as the controller arranges them. Always empty for a leaf.
    const std::vector<std::shared_ptr<TreeNode>>& childNodes() const { return m_childNodes; }

    // The node this one is a child of; null for the root and for the top node
    // of a dropped subtree.
    std::shared_ptr<TreeNode> parentNode() const { return m_parentNode.lock(); }

    // True when the controller's leaf key path says the object has no
    // children (its children were then never asked for).
    bool isLeaf() const { return m_isLeaf; }

    // The path from the root's children to this node; empty for the root and
    // for a dropped node.
    IndexPath indexPath() const;

    // The represented objects of the leaves beneath this node, depth first in
    // the arranged order of the children; a leaf answers its own object.
    QVariantList deepChildLeafRepresentedObjects() const;

    // The node at `indexPath` relative to this one (this node for an empty
    // path); null when an index is outside its level.
    std::shared_ptr<TreeNode> descendantNodeAtIndexPath(const IndexPath& indexPath) const;

private:
    friend class TreeController;

    void collectLeafObjects(QVariantList& objects) const;

    ObjectPtr m_representedObject;
    std::vector<std::shared_ptr<TreeNode>> m_childNodes;  // arranged
    std::weak_ptr<TreeNode> m_parentNode;
    bool m_isLeaf = false;

    // Kept by the controller: the children in the order of the object's
    // children list (the order ties keep), this node's index among its
    // parent's arranged children, the controller while the node is in its
    // tree, and the observation of the object's children.
    std::vector<std::shared_ptr<TreeNode>> m_contentNodes;
    qsizetype m_index = -1;
    TreeController* m_controller = nullptr;
    ObservationHandle m_childrenObservation;
};

} // namespace ondrel
