// Cost of key-value coding and change notification on the observable base.
#include "core/objects/Object.h"

#include <benchmark/benchmark.h>

namespace ondrel {

namespace {

class Meter : public Object {
    ONDREL_OBJECT(Meter, Object)
public:
    double level() const { return m_level; }
    void setLevel(double level) { setAndNotify(QStringLiteral("level"), m_level, level); }
    std::shared_ptr<Meter> child() const { return m_child; }
    void setChild(std::shared_ptr<Meter> child) { setAndNotify(QStringLiteral("child"), m_child, std::move(child)); }

private:
    double m_level = 0.0;
    std::shared_ptr<Meter> m_child;
};

const ClassInfo& Meter::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Meter, Object>(QStringLiteral("Meter"))
                                       .property(QStringLiteral("level"), &Meter::level, &Meter::setLevel)
                                       .property(QStringLiteral("child"), &Meter::child, &Meter::setChild);
    return info;
}

struct NullObserver : Observer {
    long count = 0;
    void observeValueForKeyPath(const QString&, Object*, const KeyValueChangeInfo&, void*) override { ++count; }
};

void PlainAssignment(benchmark::State& state) {
    double field = 0.0, v = 0.0;
    for (auto _ : state) {
        field = v += 1.0;
        benchmark::DoNotOptimize(field);
    }
}
BENCHMARK(PlainAssignment);

void SetterWithoutObservers(benchmark::State& state) {
    auto meter = std::make_shared<Meter>();
    double v = 0.0;
    for (auto _ : state)
        meter->setLevel(v += 1.0);
}
BENCHMARK(SetterWithoutObservers);

void SetterWithObservers(benchmark::State& state) {
    auto meter = std::make_shared<Meter>();
    std::vector<NullObserver> observers(size_t(state.range(0)));
    const int options = state.range(1) ? KeyValueObservingOptionNew | KeyValueObservingOptionOld : 0;
    for (auto& o : observers)
        meter->addObserver(&o, QStringLiteral("level"), options);
    double v = 0.0;
    for (auto _ : state)
        meter->setLevel(v += 1.0);
    for (auto& o : observers)
        meter->removeObserver(&o, QStringLiteral("level"));
    state.SetLabel(options ? "new+old" : "no options");
}
BENCHMARK(SetterWithObservers)->Args({1, 0})->Args({1, 1})->Args({8, 0})->Args({8, 1});

void KeyPathObserverThroughIntermediate(benchmark::State& state) {
    auto root = std::make_shared<Meter>();
    auto child = std::make_shared<Meter>();
    root->setChild(child);
    NullObserver observer;
    root->addObserver(&observer, QStringLiteral("child.level"), KeyValueObservingOptionNew);
    double v = 0.0;
    for (auto _ : state)
        child->setLevel(v += 1.0);
    root->removeObserver(&observer, QStringLiteral("child.level"));
}
BENCHMARK(KeyPathObserverThroughIntermediate);

void ValueForKey(benchmark::State& state) {
    auto meter = std::make_shared<Meter>();
    const QString key = QStringLiteral("level");
    for (auto _ : state)
        benchmark::DoNotOptimize(meter->valueForKey(key));
}
BENCHMARK(ValueForKey);

} // namespace

} // namespace ondrel

BENCHMARK_MAIN();
