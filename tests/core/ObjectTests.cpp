#include "core/Object.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

// A small model: a Track has a name, a gain, an optional Take and a list of labels.
class Take : public Object {
    ONDREL_OBJECT(Take, Object)
public:
    QString name() const { return m_name; }
    void setName(const QString& name) { setAndNotify(QStringLiteral("name"), m_name, name); }

private:
    QString m_name;
};

class Track : public Object {
    ONDREL_OBJECT(Track, Object)
public:
    QString name() const { return m_name; }
    void setName(const QString& name) { setAndNotify(QStringLiteral("name"), m_name, name); }
    double gain() const { return m_gain; }
    void setGain(double gain) { setAndNotify(QStringLiteral("gain"), m_gain, gain); }
    std::optional<int> channels() const { return m_channels; }
    void setChannels(std::optional<int> channels) { setAndNotify(QStringLiteral("channels"), m_channels, channels); }
    std::shared_ptr<Take> take() const { return m_take; }
    void setTake(std::shared_ptr<Take> take) { setAndNotify(QStringLiteral("take"), m_take, std::move(take)); }
    std::shared_ptr<Track> next() const { return m_next; }
    void setNext(std::shared_ptr<Track> next) { setAndNotify(QStringLiteral("next"), m_next, std::move(next)); }

    std::vector<QString> labels() const { return m_labels; }
    void insertObjectInLabelsAtIndex(const QString& label, qsizetype index) {
        insertAndNotify(QStringLiteral("labels"), m_labels, label, index);
    }
    void removeObjectFromLabelsAtIndex(qsizetype index) { removeAndNotify(QStringLiteral("labels"), m_labels, index); }
    void replaceObjectInLabelsAtIndex(qsizetype index, const QString& label) {
        replaceAndNotify(QStringLiteral("labels"), m_labels, index, label);
    }

    QVariantMap extra;
    QVariant valueForUndefinedKey(const QString& key) const override { return extra.value(key); }
    void setValueForUndefinedKey(const QVariant& value, const QString& key) override { extra.insert(key, value); }

private:
    QString m_name;
    double m_gain = 0.0;
    std::optional<int> m_channels;
    std::shared_ptr<Take> m_take;
    std::shared_ptr<Track> m_next;
    std::vector<QString> m_labels;
};

const ClassInfo& Take::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<Take, Object>(QStringLiteral("Take")).property(QStringLiteral("name"), &Take::name, &Take::setName);
    return info;
}

const ClassInfo& Track::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Track, Object>(QStringLiteral("Track"))
                                       .property(QStringLiteral("name"), &Track::name, &Track::setName)
                                       .property(QStringLiteral("gain"), &Track::gain, &Track::setGain)
                                       .property(QStringLiteral("channels"), &Track::channels, &Track::setChannels)
                                       .property(QStringLiteral("take"), &Track::take, &Track::setTake)
                                       .property(QStringLiteral("next"), &Track::next, &Track::setNext)
                                       .property(QStringLiteral("labels"), &Track::labels);
    return info;
}

struct Recorder : Observer {
    struct Call {
        QString keyPath;
        Object* object;
        KeyValueChangeInfo change;
        void* context;
    };
    std::vector<Call> calls;
    void observeValueForKeyPath(const QString& keyPath, Object* object, const KeyValueChangeInfo& change,
                                void* context) override {
        calls.push_back({keyPath, object, change, context});
    }
};

constexpr int kNewOld = KeyValueObservingOptionNew | KeyValueObservingOptionOld;

} // namespace

TEST(ObjectKeyValueCoding, PropertiesUndefinedKeysAndOptionals) {
    auto track = std::make_shared<Track>();
    track->setValueForKey(QStringLiteral("Drums"), QStringLiteral("name"));
    track->setValueForKey(-6.5, QStringLiteral("gain"));
    EXPECT_EQ(track->name(), QStringLiteral("Drums"));
    EXPECT_DOUBLE_EQ(track->valueForKey(QStringLiteral("gain")).toDouble(), -6.5);
    EXPECT_EQ(track->valueForKey(QStringLiteral("className")).toString(), QStringLiteral("Track"));

    // An absent optional is absent, not 0; 0 is a value.
    EXPECT_FALSE(track->valueForKey(QStringLiteral("channels")).isValid());
    track->setValueForKey(0, QStringLiteral("channels"));
    ASSERT_TRUE(track->channels().has_value());
    EXPECT_EQ(*track->channels(), 0);
    track->setValueForKey(QVariant(), QStringLiteral("channels"));
    EXPECT_FALSE(track->channels().has_value());

    // Unknown keys go to the undefined-key hooks, and read-only keys ignore sets.
    track->setValueForKey(QStringLiteral("x"), QStringLiteral("artist"));
    EXPECT_EQ(track->valueForKey(QStringLiteral("artist")).toString(), QStringLiteral("x"));
    track->setValueForKey(QVariantList{QStringLiteral("a")}, QStringLiteral("labels"));
    EXPECT_TRUE(track->labels().empty());

    // A plain object ignores unknown keys silently.
    auto take = std::make_shared<Take>();
    take->setValueForKey(1, QStringLiteral("nothing"));
    EXPECT_FALSE(take->valueForKey(QStringLiteral("nothing")).isValid());
}

TEST(ObjectKeyValueCoding, KeyPathsAndAggregates) {
    auto track = std::make_shared<Track>();
    auto take = std::make_shared<Take>();
    take->setName(QStringLiteral("T1"));
    track->setTake(take);
    EXPECT_EQ(track->valueForKeyPath(QStringLiteral("take.name")).toString(), QStringLiteral("T1"));
    track->setValueForKeyPath(QStringLiteral("T2"), QStringLiteral("take.name"));
    EXPECT_EQ(take->name(), QStringLiteral("T2"));
    EXPECT_FALSE(track->valueForKeyPath(QStringLiteral("next.take.name")).isValid());

    QVariantList tracks;
    for (double gain : {-3.0, 2.5, -12.0}) {
        auto t = std::make_shared<Track>();
        t->setGain(gain);
        tracks << toVariant(t);
    }
    tracks << QVariantMap{{QStringLiteral("gain"), 1.0}};
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, QStringLiteral("@max.gain")).toDouble(), 2.5);
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, QStringLiteral("@min.gain")).toDouble(), -12.0);
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, QStringLiteral("@sum.gain")).toDouble(), -11.5);
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, QStringLiteral("@avg.gain")).toDouble(), -11.5 / 4);
    EXPECT_EQ(Object::valueForKeyPath(tracks, QStringLiteral("@count")).toInt(), 4);
    EXPECT_FALSE(Object::valueForKeyPath(QVariantList(), QStringLiteral("@max.gain")).isValid());
    const QVariantList gains = Object::valueForKey(QVariant(tracks), QStringLiteral("gain")).toList();
    ASSERT_EQ(gains.size(), 4);
    EXPECT_DOUBLE_EQ(gains[3].toDouble(), 1.0);
}

TEST(ObjectObservation, SettingReportsOldAndNewWithContext) {
    auto track = std::make_shared<Track>();
    Recorder recorder;
    int context = 0;
    track->addObserver(&recorder, QStringLiteral("gain"), kNewOld, &context);
    track->setGain(3.0);
    track->setName(QStringLiteral("not observed"));
    ASSERT_EQ(recorder.calls.size(), 1u);
    const auto& call = recorder.calls[0];
    EXPECT_EQ(call.keyPath, QStringLiteral("gain"));
    EXPECT_EQ(call.object, track.get());
    EXPECT_EQ(call.context, &context);
    EXPECT_EQ(call.change.kind, KeyValueChange::Setting);
    EXPECT_DOUBLE_EQ(call.change.oldValue.toDouble(), 0.0);
    EXPECT_DOUBLE_EQ(call.change.newValue.toDouble(), 3.0);

    track->removeObserver(&recorder, QStringLiteral("gain"), &context);
    track->setGain(4.0);
    EXPECT_EQ(recorder.calls.size(), 1u);
}

TEST(ObjectObservation, PriorAndInitialOptions) {
    auto track = std::make_shared<Track>();
    track->setGain(1.0);
    Recorder recorder;
    track->addObserver(&recorder, QStringLiteral("gain"),
                       KeyValueObservingOptionInitial | KeyValueObservingOptionPrior | kNewOld);
    ASSERT_EQ(recorder.calls.size(), 1u);  // initial
    EXPECT_DOUBLE_EQ(recorder.calls[0].change.newValue.toDouble(), 1.0);
    track->setGain(2.0);
    ASSERT_EQ(recorder.calls.size(), 3u);
    EXPECT_TRUE(recorder.calls[1].change.isPrior);
    EXPECT_DOUBLE_EQ(recorder.calls[1].change.oldValue.toDouble(), 1.0);
    EXPECT_FALSE(recorder.calls[2].change.isPrior);
    EXPECT_DOUBLE_EQ(recorder.calls[2].change.newValue.toDouble(), 2.0);
    track->removeObserver(&recorder, QStringLiteral("gain"));
}

TEST(ObjectObservation, KeyPathFollowsReplacedIntermediateObjects) {
    auto head = std::make_shared<Track>();
    auto middle = std::make_shared<Track>();
    auto firstTake = std::make_shared<Take>();
    firstTake->setName(QStringLiteral("one"));
    middle->setTake(firstTake);
    head->setNext(middle);

    Recorder recorder;
    head->addObserver(&recorder, QStringLiteral("next.take.name"), kNewOld);

    firstTake->setName(QStringLiteral("uno"));  // the leaf changes
    ASSERT_EQ(recorder.calls.size(), 1u);
    EXPECT_EQ(recorder.calls[0].keyPath, QStringLiteral("next.take.name"));
    EXPECT_EQ(recorder.calls[0].object, head.get());
    EXPECT_EQ(recorder.calls[0].change.oldValue.toString(), QStringLiteral("one"));
    EXPECT_EQ(recorder.calls[0].change.newValue.toString(), QStringLiteral("uno"));

    // Replace the last intermediate: reported, and the old take is no longer watched.
    auto secondTake = std::make_shared<Take>();
    secondTake->setName(QStringLiteral("two"));
    middle->setTake(secondTake);
    ASSERT_EQ(recorder.calls.size(), 2u);
    EXPECT_EQ(recorder.calls[1].change.oldValue.toString(), QStringLiteral("uno"));
    EXPECT_EQ(recorder.calls[1].change.newValue.toString(), QStringLiteral("two"));
    firstTake->setName(QStringLiteral("ignored"));
    EXPECT_EQ(recorder.calls.size(), 2u);
    secondTake->setName(QStringLiteral("dos"));
    EXPECT_EQ(recorder.calls.size(), 3u);

    // Replace the first intermediate with a new chain, then with nothing.
    auto otherMiddle = std::make_shared<Track>();
    auto thirdTake = std::make_shared<Take>();
    thirdTake->setName(QStringLiteral("three"));
    otherMiddle->setTake(thirdTake);
    head->setNext(otherMiddle);
    ASSERT_EQ(recorder.calls.size(), 4u);
    EXPECT_EQ(recorder.calls[3].change.oldValue.toString(), QStringLiteral("dos"));
    EXPECT_EQ(recorder.calls[3].change.newValue.toString(), QStringLiteral("three"));
    secondTake->setName(QStringLiteral("ignored too"));
    middle->setTake(nullptr);
    EXPECT_EQ(recorder.calls.size(), 4u);
    thirdTake->setName(QStringLiteral("tres"));
    EXPECT_EQ(recorder.calls.size(), 5u);

    head->setNext(nullptr);
    ASSERT_EQ(recorder.calls.size(), 6u);
    EXPECT_FALSE(recorder.calls[5].change.newValue.isValid());
    thirdTake->setName(QStringLiteral("gone"));
    EXPECT_EQ(recorder.calls.size(), 6u);

    head->removeObserver(&recorder, QStringLiteral("next.take.name"));
    head->setNext(otherMiddle);
    EXPECT_EQ(recorder.calls.size(), 6u);
}

TEST(ObjectObservation, CollectionChangesCarryKindIndexesAndElements) {
    auto track = std::make_shared<Track>();
    Recorder recorder;
    track->addObserver(&recorder, QStringLiteral("labels"), kNewOld);

    track->insertObjectInLabelsAtIndex(QStringLiteral("a"), 0);
    track->insertObjectInLabelsAtIndex(QStringLiteral("c"), 1);
    track->insertObjectInLabelsAtIndex(QStringLiteral("b"), 1);
    track->replaceObjectInLabelsAtIndex(2, QStringLiteral("C"));
    track->removeObjectFromLabelsAtIndex(0);

    ASSERT_EQ(recorder.calls.size(), 5u);
    const auto& insert = recorder.calls[2].change;
    EXPECT_EQ(insert.kind, KeyValueChange::Insertion);
    EXPECT_EQ(insert.indexes, IndexSet(1));
    EXPECT_EQ(insert.newValue.toList(), QVariantList{QStringLiteral("b")});
    EXPECT_FALSE(insert.oldValue.isValid());

    const auto& replace = recorder.calls[3].change;
    EXPECT_EQ(replace.kind, KeyValueChange::Replacement);
    EXPECT_EQ(replace.indexes, IndexSet(2));
    EXPECT_EQ(replace.oldValue.toList(), QVariantList{QStringLiteral("c")});
    EXPECT_EQ(replace.newValue.toList(), QVariantList{QStringLiteral("C")});

    const auto& remove = recorder.calls[4].change;
    EXPECT_EQ(remove.kind, KeyValueChange::Removal);
    EXPECT_EQ(remove.indexes, IndexSet(0));
    EXPECT_EQ(remove.oldValue.toList(), QVariantList{QStringLiteral("a")});
    EXPECT_FALSE(remove.newValue.isValid());

    EXPECT_EQ(track->labels(), (std::vector<QString>{QStringLiteral("b"), QStringLiteral("C")}));
    track->removeObserver(&recorder, QStringLiteral("labels"));
}

TEST(ObjectObservation, NestedChangesAndObserversThatChangeWhatTheyObserve) {
    auto track = std::make_shared<Track>();
    std::vector<QString> seen;
    auto nameHandle = track->observe(QStringLiteral("name"), KeyValueObservingOptionNew,
                                     [&](const KeyValueChangeInfo& change) { seen.push_back(change.newValue.toString()); });
    // Reacting to gain by setting the name nests one change inside another.
    auto gainHandle = track->observe(QStringLiteral("gain"), 0, [&](const KeyValueChangeInfo&) {
        track->setName(QStringLiteral("gain is %1").arg(track->gain()));
    });
    track->setGain(2.0);
    track->setGain(3.0);
    EXPECT_EQ(seen, (std::vector<QString>{QStringLiteral("gain is 2"), QStringLiteral("gain is 3")}));

    // A dropped handle stops the observation.
    nameHandle.reset();
    track->setName(QStringLiteral("quiet"));
    EXPECT_EQ(seen.size(), 2u);
}

TEST(ObjectObservation, ObserversAddedAndRemovedWhileAnotherThreadChangesTheKey) {
    auto track = std::make_shared<Track>();
    std::atomic<bool> stop{false};
    std::atomic<long> changes{0};
    std::thread writer([&] {
        double g = 0.0;
        while (!stop.load()) {
            track->setGain(g += 1.0);
            changes.fetch_add(1);
        }
    });

    struct Counting : Observer {
        std::atomic<int> calls{0};
        std::atomic<bool> removed{false};
        std::atomic<int> callsAfterRemoval{0};
        void observeValueForKeyPath(const QString&, Object*, const KeyValueChangeInfo& change, void*) override {
            if (removed.load())
                callsAfterRemoval.fetch_add(1);
            calls.fetch_add(1);
            EXPECT_TRUE(change.newValue.isValid());
        }
    };

    // Wait until the writer runs, so that registrations overlap its changes.
    while (changes.load() < 100)
        std::this_thread::yield();
    int totalCalls = 0;
    for (int round = 0; round < 300; ++round) {
        auto observer = std::make_unique<Counting>();
        track->addObserver(observer.get(), QStringLiteral("gain"), KeyValueObservingOptionNew);
        const long before = changes.load();
        while (changes.load() < before + 3)
            std::this_thread::yield();
        track->removeObserver(observer.get(), QStringLiteral("gain"));
        observer->removed = true;
        const long after = changes.load();
        while (changes.load() < after + 3)
            std::this_thread::yield();
        EXPECT_EQ(observer->callsAfterRemoval.load(), 0);
        totalCalls += observer->calls.load();
        // Destroying the observer right after removal must be safe.
    }
    stop = true;
    writer.join();
    EXPECT_GT(totalCalls, 0);
    EXPECT_FALSE(track->hasObservers());
}

TEST(ObjectObservation, ObjectsObservedFromManyThreadsAtOnce) {
    auto track = std::make_shared<Track>();
    std::atomic<int> calls{0};
    auto handle = track->observe(QStringLiteral("gain"), 0, [&](const KeyValueChangeInfo&) { calls.fetch_add(1); });
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i)
                track->setGain(i);
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(calls.load(), 8000);
}

TEST(ClassRegistry, FindsAndMakesClassesByName) {
    Track::staticClassInfo();
    Take::staticClassInfo();
    ObjectPtr made = ClassRegistry::create(QStringLiteral("Track"));
    ASSERT_TRUE(made);
    EXPECT_EQ(made->className(), QStringLiteral("Track"));
    EXPECT_TRUE(made->isKindOfClass(QStringLiteral("Object")));
    EXPECT_FALSE(ClassRegistry::create(QStringLiteral("NoSuchClass")));
    EXPECT_TRUE(ClassRegistry::subclassesOf(QStringLiteral("Object")).contains(QStringLiteral("Take")));
    EXPECT_TRUE(Track::staticClassInfo().propertyKeys().contains(QStringLiteral("gain")));
}
