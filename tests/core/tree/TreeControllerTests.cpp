#include "core/predicates/SortDescriptor.h"
#include "core/text/StringCompare.h"
#include "core/tree/TreeController.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// A catalog-like model: groups list their children, leaves say so and count
// every time they are asked for children anyway.
class Item : public Object {
    ONDREL_OBJECT(Item, Object)
public:
    Item(const QString& name = {}, bool leaf = false) : m_name(name), m_leaf(leaf) {}
    QString name() const { return m_name; }
    void setName(const QString& name) { setAndNotify(QStringLiteral("name"), m_name, name); }
    bool isLeaf() const { return m_leaf; }
    std::vector<ObjectPtr> children() const {
        ++childrenReads;
        return m_children;
    }
    void setChildren(std::vector<ObjectPtr> children) { setAndNotify(QStringLiteral("children"), m_children, std::move(children)); }
    void insertChild(ObjectPtr child, qsizetype at) { insertAndNotify(QStringLiteral("children"), m_children, std::move(child), at); }
    void removeChild(qsizetype at) { removeAndNotify(QStringLiteral("children"), m_children, at); }

    mutable int childrenReads = 0;

private:
    QString m_name;
    bool m_leaf = false;
    std::vector<ObjectPtr> m_children;
};

const ClassInfo& Item::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Item, Object>(QStringLiteral("TreeTestItem"))
                                       .property(QStringLiteral("name"), &Item::name, &Item::setName)
                                       .property(QStringLiteral("isLeaf"), &Item::isLeaf)
                                       .property(QStringLiteral("children"), &Item::children, &Item::setChildren);
    return info;
}

using ItemPtr = std::shared_ptr<Item>;
ItemPtr leaf(const QString& name) { return std::make_shared<Item>(name, true); }
ItemPtr group(const QString& name, std::vector<ObjectPtr> children) {
    auto g = std::make_shared<Item>(name);
    g->setChildren(std::move(children));
    return g;
}

QStringList names(const std::shared_ptr<TreeNode>& node) {
    QStringList list;
    for (const auto& child : node->childNodes())
        list << child->representedObject()->valueForKey(QStringLiteral("name")).toString();
    return list;
}

// A controller set up as the catalog sets up its own, sorted by name.
std::unique_ptr<TreeController> makeController(bool ascending = true) {
    auto controller = std::make_unique<TreeController>();
    controller->setChildrenKeyPath(QStringLiteral("children"));
    controller->setLeafKeyPath(QStringLiteral("isLeaf"));
    controller->setAvoidsEmptySelection(false);
    controller->setSelectsInsertedObjects(false);
    controller->setSortDescriptors(
        {SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), ascending, QStringLiteral("localizedStandardCompare:"))});
    return controller;
}

} // namespace

// A lost update (the group's node not rebuilt, or rebuilt unsorted) or a
// selection that keeps removed objects, drops kept ones or is announced twice.
TEST(TreeController, ChangedChildrenShowAtTheirGroupAndTheSelectionKeepsWhatStays) {
    auto x = leaf("x"), y = leaf("y"), other = leaf("other");
    auto a = group("A", {x, y}), b = group("B", {other});
    auto controller = makeController();
    controller->setContent({Variant::fromObject(b), Variant::fromObject(a)});
    const auto nodeB = controller->arrangedObjects()->childNodes()[1];
    controller->setSelectedObjects({Variant::fromObject(x), Variant::fromObject(y), Variant::fromObject(other)});
    int selectedObjectsChanges = 0, arrangedChanges = 0;
    auto o1 = controller->observe("selectedObjects", 0, [&](const KeyValueChangeInfo&) { ++selectedObjectsChanges; });
    auto o2 = controller->observe("arrangedObjects", 0, [&](const KeyValueChangeInfo&) { ++arrangedChanges; });

    a->removeChild(0);                // x leaves
    a->insertChild(leaf("w"), 1);     // sorts before y
    EXPECT_EQ(names(controller->arrangedObjects()->childNodes()[0]), QStringList({"w", "y"}));
    EXPECT_EQ(controller->arrangedObjects()->childNodes()[1], nodeB) << "another group's node was rebuilt";
    EXPECT_EQ(controller->selectedObjects(), QVariantList({Variant::fromObject(y), Variant::fromObject(other)}));
    EXPECT_EQ(controller->selectionIndexPaths(), QList<IndexPath>({{0, 1}, {1, 0}}));
    EXPECT_EQ(selectedObjectsChanges, 1) << "only the removal changed the selected objects";
    EXPECT_EQ(arrangedChanges, 2);
}

// The sort must be the user's natural order, honour the direction and keep
// ties in the model's order in both directions; sort keys must order exactly
// as the comparison does.
TEST(TreeController, LevelsSortInNaturalOrderStablyInBothDirections) {
    struct Case {
        QStringList content;
        bool ascending;
        QList<int> expected;  // indexes into content
    } cases[] = {
        {{"take 10", "Take 2", "take 1"}, true, {2, 1, 0}},
        {{"take 10", "Take 2", "take 1"}, false, {0, 1, 2}},
        {{"Mix", "a", "mix", "A", "b"}, true, {1, 3, 4, 0, 2}},   // equal under case folding: model order
        {{"Mix", "a", "mix", "A", "b"}, false, {0, 2, 4, 1, 3}},  // ties keep model order descending too
        {{"file9.wav", "", "Été", "ete", "file10.wav", "Zebra"}, true, {}},
    };
    for (const Case& c : cases) {
        std::vector<ObjectPtr> leaves;
        QVariantList content;
        for (const QString& name : c.content) {
            leaves.push_back(leaf(name));
            content << Variant::fromObject(leaves.back());
        }
        QList<int> expected = c.expected;
        if (expected.isEmpty()) {  // against the comparison itself
            for (int i = 0; i < c.content.size(); ++i)
                expected << i;
            std::stable_sort(expected.begin(), expected.end(), [&](int l, int r) {
                return StringCompare::localizedStandardCompare(c.content[l], c.content[r]) < 0;
            });
        }
        auto controller = makeController(c.ascending);
        controller->setContent(content);
        QList<int> arranged;
        for (const auto& node : controller->arrangedObjects()->childNodes())
            arranged << int(std::find(leaves.begin(), leaves.end(), node->representedObject()) - leaves.begin());
        EXPECT_EQ(arranged, expected) << qPrintable(c.content.join(',')) << (c.ascending ? " ascending" : " descending");
    }
}

// Asking a leaf for children (the catalog's files have none to give) or
// observing them costs time and memory for every file of the catalog.
TEST(TreeController, LeafObjectsAreNeverAskedForChildren) {
    auto file = leaf("file");
    auto g = group("g", {file});
    auto controller = makeController();
    controller->setContent({Variant::fromObject(g), Variant::fromObject(leaf("top"))});
    g->insertChild(leaf("another"), 0);
    file->setName("renamed");
    controller->rearrangeObjects();
    controller->setSelectedObjects({Variant::fromObject(file)});
    EXPECT_EQ(file->childrenReads, 0);
    EXPECT_FALSE(file->hasObservers());
    EXPECT_GT(g->childrenReads, 0);
}

// Selection by objects must reach nodes below unexpanded groups, follow
// re-sorting, and leave out objects that aren't shown.
TEST(TreeController, SelectsObjectsDeepInTheTreeAndFollowsARearrange) {
    auto deep = leaf("deep");
    auto inner = group("inner", {leaf("a"), deep});
    auto outer = group("outer", {leaf("z"), inner});
    auto controller = makeController();
    controller->setContent({Variant::fromObject(outer)});
    EXPECT_TRUE(controller->setSelectedObjects({Variant::fromObject(deep), Variant::fromObject(leaf("absent"))}));
    EXPECT_EQ(controller->selectionIndexPaths(), QList<IndexPath>({{0, 0, 1}}));
    EXPECT_EQ(controller->indexPathOfObject(deep), IndexPath({0, 0, 1}));
    EXPECT_EQ(controller->arrangedObjects()->childNodes()[0]->deepChildLeafRepresentedObjects(),
              QVariantList({Variant::fromObject(inner->children()[0]), Variant::fromObject(deep),
                            Variant::fromObject(outer->children()[0])}));
    int pathChanges = 0;
    auto o = controller->observe("selectionIndexPaths", 0, [&](const KeyValueChangeInfo&) { ++pathChanges; });
    deep->setName("0 deep");
    controller->rearrangeObjects();
    EXPECT_EQ(controller->selectionIndexPaths(), QList<IndexPath>({{0, 0, 0}}));
    EXPECT_EQ(pathChanges, 1);
}

// A second binding must end the first: the old owner's changes would
// otherwise overwrite the new content.
TEST(TreeController, BindingAgainReplacesTheBoundContent) {
    auto first = group("first", {leaf("1")}), second = group("second", {leaf("2")});
    auto controller = makeController();
    controller->bindContentArray(first, "children");
    first->insertChild(leaf("0"), 0);
    EXPECT_EQ(names(controller->arrangedObjects()), QStringList({"0", "1"}));
    controller->bindContentArray(second, "children");
    first->insertChild(leaf("late"), 0);
    EXPECT_EQ(names(controller->arrangedObjects()), QStringList({"2"}));
    EXPECT_FALSE(first->hasObservers());
}

// Nodes handed out may outlive their controller; a change of their objects
// must then reach neither the dead controller nor a left-behind observer
// (a use after free under AddressSanitizer).
TEST(TreeController, NothingObservesTheModelAfterTheControllerDies) {
    auto inner = group("inner", {leaf("x")});
    auto outer = group("outer", {inner});
    auto controller = makeController();
    controller->bindContentArray(outer, "children");
    const std::shared_ptr<TreeNode> root = controller->arrangedObjects();
    controller.reset();
    inner->insertChild(leaf("y"), 0);
    outer->setChildren({});
    EXPECT_FALSE(inner->hasObservers());
    EXPECT_FALSE(outer->hasObservers());
    EXPECT_EQ(root->childNodes().size(), 1u);
}

} // namespace ondrel
