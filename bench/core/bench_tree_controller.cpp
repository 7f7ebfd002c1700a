// Cost of arranging a catalog-sized tree: 100,000 files under 1,000 groups at
// the top level, sorted by name in natural order (descending, the catalog's
// default). The reference sorts the same levels with a collator comparison per pair.
#include "core/predicates/SortDescriptor.h"
#include "core/text/StringCompare.h"
#include "core/tree/TreeController.h"

#include <QtCore/QCoreApplication>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>

namespace ondrel {

namespace {

class BenchItem : public Object {
    ONDREL_OBJECT(BenchItem, Object)
public:
    BenchItem(const QString& name = {}, bool leaf = false) : m_name(name), m_leaf(leaf) {}
    QString name() const { return m_name; }
    bool isLeaf() const { return m_leaf; }
    std::vector<ObjectPtr> children() const { return m_children; }
    void setChildren(std::vector<ObjectPtr> children) {
        setAndNotify(QStringLiteral("children"), m_children, std::move(children));
    }

private:
    QString m_name;
    bool m_leaf = false;
    std::vector<ObjectPtr> m_children;
};

const ClassInfo& BenchItem::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<BenchItem, Object>(QStringLiteral("BenchItem"))
                                       .property(QStringLiteral("name"), &BenchItem::name)
                                       .property(QStringLiteral("isLeaf"), &BenchItem::isLeaf)
                                       .property(QStringLiteral("children"), &BenchItem::children,
                                                 &BenchItem::setChildren);
    return info;
}

constexpr int Groups = 1000;
constexpr int FilesPerGroup = 100;

// Names as recordings get them: mixed case, numbered takes, shuffled.
QString fileName(std::mt19937& random) {
    static const char* const stems[] = {"Take", "kick", "Snare", "vox", "Room", "amb", "Guitar DI", "bass"};
    return QStringLiteral("%1 %2.wav").arg(QLatin1String(stems[random() % 8])).arg(random() % 5000);
}

struct Catalog {
    std::shared_ptr<BenchItem> root = std::make_shared<BenchItem>();
    std::vector<std::shared_ptr<BenchItem>> groups;

    Catalog() {
        std::mt19937 random(7);
        std::vector<ObjectPtr> top;
        for (int g = 0; g < Groups; ++g) {
            auto group = std::make_shared<BenchItem>(QStringLiteral("Session %1").arg(random() % 900));
            std::vector<ObjectPtr> files;
            for (int f = 0; f < FilesPerGroup; ++f)
                files.push_back(std::make_shared<BenchItem>(fileName(random), true));
            group->setChildren(std::move(files));
            groups.push_back(group);
            top.push_back(group);
        }
        root->setChildren(std::move(top));
    }
};

Catalog& catalog() {
    static Catalog shared;
    return shared;
}

std::unique_ptr<TreeController> boundController() {
    auto controller = std::make_unique<TreeController>();
    controller->setChildrenKeyPath(QStringLiteral("children"));
    controller->setLeafKeyPath(QStringLiteral("isLeaf"));
    controller->setAvoidsEmptySelection(false);
    controller->setSelectsInsertedObjects(false);
    controller->setSortDescriptors({SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), false,
                                                                          QStringLiteral("localizedStandardCompare:"))});
    controller->bindContentArray(catalog().root, QStringLiteral("children"));
    return controller;
}

void BindAndArrange(benchmark::State& state) {
    catalog();
    for (auto _ : state) {
        auto controller = boundController();
        benchmark::DoNotOptimize(controller->arrangedObjects());
        state.PauseTiming();
        controller.reset();
        state.ResumeTiming();
    }
    state.counters["files"] = Groups * FilesPerGroup;
}
BENCHMARK(BindAndArrange)->Unit(benchmark::kMillisecond);

void Rearrange(benchmark::State& state) {
    auto controller = boundController();
    for (auto _ : state)
        controller->rearrangeObjects();
}
BENCHMARK(Rearrange)->Unit(benchmark::kMillisecond);

// One group gains and loses a file in turn, as when a file is added or removed.
void ChangeOneGroupsChildren(benchmark::State& state) {
    auto controller = boundController();
    const auto group = catalog().groups[Groups / 2];
    const std::vector<ObjectPtr> original = group->children();
    std::vector<ObjectPtr> grown = original;
    grown.push_back(std::make_shared<BenchItem>(QStringLiteral("take 17.wav"), true));
    bool grow = true;
    for (auto _ : state) {
        group->setChildren(grow ? grown : original);
        grow = !grow;
    }
    group->setChildren(original);
}
BENCHMARK(ChangeOneGroupsChildren)->Unit(benchmark::kMicrosecond);

// The reference: the same levels (each group's files, then the groups) sorted
// with one collator comparison per pair.
void ReferenceCollatorPerPairSort(benchmark::State& state) {
    std::vector<QStringList> levels;
    QStringList groupNames;
    for (const auto& group : catalog().groups) {
        QStringList names;
        for (const ObjectPtr& file : group->children())
            names << file->valueForKey(QStringLiteral("name")).toString();
        levels.push_back(names);
        groupNames << group->name();
    }
    levels.push_back(groupNames);
    for (auto _ : state) {
        for (const QStringList& level : levels) {
            QStringList sorted = level;
            std::stable_sort(sorted.begin(), sorted.end(), [](const QString& a, const QString& b) {
                return StringCompare::localizedStandardCompare(a, b) > 0;
            });
            benchmark::DoNotOptimize(sorted);
        }
    }
}
BENCHMARK(ReferenceCollatorPerPairSort)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace ondrel

// The controller belongs to the main thread of an application.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
