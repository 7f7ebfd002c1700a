#pragma once

#include "core/objects/Object.h"
#include "core/tree/TreeNode.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariantList>

#include <functional>
#include <memory>
#include <unordered_set>
#include <vector>

namespace ondrel {

class SortDescriptor;

// Arranges a tree of model objects for display and keeps a selection in it.
//
// The content is a list of objects, set directly or bound to a key path of
// another object. Each object that the leaf key path does not call a leaf has
// its children read at the children key path, and that key path is observed:
// when the list changes the node's children are rebuilt (nodes of objects
// still there are kept, with their subtrees). Leaves are never asked for
// children. The children of every node are sorted by the sort descriptors,
// ties keeping the order of the model's list.
//
// The selection is a set of nodes. A change of the tree keeps those whose
// objects are still in it. Every change of the tree announces
// "arrangedObjects"; a change of the selection announces
// "selectionIndexPaths" and, when the selected objects changed,
// "selectedObjects" and "selectedNodes", inside the "arrangedObjects" pair.
//
// Main thread only: the observed children must change there too.
class TreeController : public Object {
    ONDREL_OBJECT(TreeController, Object)
public:
    using SortDescriptors = std::vector<std::shared_ptr<SortDescriptor>>;

    TreeController();
    ~TreeController() override;

    // The key path of an object's children list (a list of objects). Without
    // one every object is a leaf. Changing it rebuilds the tree.
    const QString& childrenKeyPath() const { return m_childrenKeyPath; }
    void setChildrenKeyPath(const QString& keyPath);

    // The key path of a boolean that says an object has no children. Without
    // one, an object is a leaf when its children list is empty (it is then
    // still observed). Changing it rebuilds the tree.
    const QString& leafKeyPath() const { return m_leafKeyPath; }
    void setLeafKeyPath(const QString& keyPath);

    // When true (the default), a change that would leave the selection empty
    // selects the first top-level node instead, if there is one.
    bool avoidsEmptySelection() const { return m_avoidsEmptySelection; }
    void setAvoidsEmptySelection(bool avoids);

    // When true (the default), objects that a change of a children list or of
    // the bound content brings into the tree become the selection. Setting or
    // binding the content selects nothing by itself.
    bool selectsInsertedObjects() const { return m_selectsInsertedObjects; }
    void setSelectsInsertedObjects(bool selects);

    // The top-level objects, in the model's order.
    QVariantList content() const;
    // Ends any content binding and shows `content` (its elements that are
    // objects). Nodes of objects already shown are kept.
    void setContent(const QVariantList& content);
    // Shows the list at `keyPath` of `object` and follows it: each change at
    // the key path reads the list again. The object is not kept alive; while
    // it is gone the content is empty. Binding again replaces the binding.
    void bindContentArray(const ObjectPtr& object, const QString& keyPath);
    // Ends the content binding; the content stays as it is.
    void unbindContentArray();

    // The orderings of every level, the first deciding first. Setting them
    // announces "sortDescriptors" and arranges the tree again.
    const SortDescriptors& sortDescriptors() const { return m_sortDescriptors; }
    void setSortDescriptors(const SortDescriptors& sortDescriptors);

    // The root node of the arranged tree: its children are the top-level
    // objects' nodes. The same root for the controller's life.
    std::shared_ptr<TreeNode> arrangedObjects() const { return m_root; }

    // Sorts every level again, for a change of the values sorted on.
    void rearrangeObjects();

    // The paths of the selected nodes, in ascending order.
    const QList<IndexPath>& selectionIndexPaths() const { return m_selectionIndexPaths; }
    // Selects the nodes at `indexPaths`; paths that lead to no node are left
    // out. Answers whether the selection changed.
    bool setSelectionIndexPaths(const QList<IndexPath>& indexPaths);

    // The represented objects and the nodes of the selection, in the order of
    // their index paths.
    QVariantList selectedObjects() const;
    std::vector<std::shared_ptr<TreeNode>> selectedNodes() const { return m_selectedNodes; }

    // Selects the nodes of `objects` (compared by identity), wherever they
    // are in the tree, collapsed or not; an object shown twice is selected
    // twice, one that is not shown is left out. Answers whether the selection
    // changed.
    bool setSelectedObjects(const QVariantList& objects);

    // The path of the first node (depth first, arranged order) that stands
    // for `object`; empty when there is none.
    IndexPath indexPathOfObject(const ObjectPtr& object) const;

private:
    struct SortEntry;

    void rebuildTree();
    void setContentObjects(const QVariantList& objects, bool selectNewObjects);
    void readBoundContent(bool selectNewObjects);
    void childrenDidChange(TreeNode& node);

    std::shared_ptr<TreeNode> makeNode(const ObjectPtr& object, const std::shared_ptr<TreeNode>& parent);
    void fillChildren(const std::shared_ptr<TreeNode>& node, const QVariantList& objects,
                      std::vector<std::shared_ptr<TreeNode>>* newNodes);
    QVariantList childObjects(const ObjectPtr& object) const;
    bool isLeafObject(const ObjectPtr& object) const;
    void observeChildren(const std::shared_ptr<TreeNode>& node);
    static void detach(TreeNode& node);

    void sortLevel(TreeNode& node) const;
    void sortAllLevels(TreeNode& node) const;

    static void collectNodes(const TreeNode& node, const std::unordered_set<const Object*>& objects,
                             std::vector<std::shared_ptr<TreeNode>>& found);

    // Announces the change of the tree that `change` makes; inside that, the
    // selection becomes the nodes `change` made when `selectNewNodes` is set
    // and there are any, else the selected nodes still in the tree.
    void changeTree(const std::function<void(std::vector<std::shared_ptr<TreeNode>>&)>& change,
                    bool selectNewNodes);
    // Selects `nodes` (those in the tree), ordered by their paths; announces
    // what changed. Answers whether anything did.
    bool applySelection(std::vector<std::shared_ptr<TreeNode>> nodes);

    QString m_childrenKeyPath;
    QString m_leafKeyPath;
    bool m_avoidsEmptySelection = true;
    bool m_selectsInsertedObjects = true;
    SortDescriptors m_sortDescriptors;

    std::shared_ptr<TreeNode> m_root;
    std::weak_ptr<Object> m_boundObject;
    QString m_boundKeyPath;
    ObservationHandle m_contentObservation;

    std::vector<std::shared_ptr<TreeNode>> m_selectedNodes;  // in index path order
    QList<IndexPath> m_selectionIndexPaths;
};

} // namespace ondrel
