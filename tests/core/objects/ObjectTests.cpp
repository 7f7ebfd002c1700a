#include "core/objects/Object.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace ondrel {

namespace {

// A small model: a Track has a name, a gain, an optional Take and a list of labels.
class Take : public Object {
    ONDREL_OBJECT(Take, Object)
public:
    QString name() const { return m_name; }
    void setName(const QString& name) { setAndNotify("name", m_name, name); }

private:
    QString m_name;
};

class Track : public Object {
    ONDREL_OBJECT(Track, Object)
public:
    QString name() const { return m_name; }
    void setName(const QString& name) { setAndNotify("name", m_name, name); }
    double gain() const { return m_gain; }
    void setGain(double gain) { setAndNotify("gain", m_gain, gain); }
    std::optional<int> channels() const { return m_channels; }
    void setChannels(std::optional<int> channels) { setAndNotify("channels", m_channels, channels); }
    std::shared_ptr<Take> take() const { return m_take; }
    void setTake(std::shared_ptr<Take> take) { setAndNotify("take", m_take, std::move(take)); }
    std::shared_ptr<Track> next() const { return m_next; }
    void setNext(std::shared_ptr<Track> next) { setAndNotify("next", m_next, std::move(next)); }

    std::vector<QString> labels() const { return m_labels; }
    void insertObjectInLabelsAtIndex(const QString& label, qsizetype i) { insertAndNotify("labels", m_labels, label, i); }
    void removeObjectFromLabelsAtIndex(qsizetype index) { removeAndNotify("labels", m_labels, index); }
    void replaceObjectInLabelsAtIndex(qsizetype i, const QString& label) { replaceAndNotify("labels", m_labels, i, label); }

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
        ClassInfo::define<Take, Object>("Take").property("name", &Take::name, &Take::setName);
    return info;
}

const ClassInfo& Track::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Track, Object>("Track")
                                       .property("name", &Track::name, &Track::setName)
                                       .property("gain", &Track::gain, &Track::setGain)
                                       .property("channels", &Track::channels, &Track::setChannels)
                                       .property("take", &Track::take, &Track::setTake)
                                       .property("next", &Track::next, &Track::setNext)
                                       .property("labels", &Track::labels);
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
    track->setValueForKey("Drums", "name");
    track->setValueForKey(-6.5, "gain");
    EXPECT_EQ(track->name(), "Drums");
    EXPECT_DOUBLE_EQ(track->valueForKey("gain").toDouble(), -6.5);
    EXPECT_EQ(track->valueForKey("className").toString(), "Track");

    // An absent optional is absent, not 0; 0 is a value.
    EXPECT_FALSE(track->valueForKey("channels").isValid());
    track->setValueForKey(0, "channels");
    ASSERT_TRUE(track->channels().has_value());
    EXPECT_EQ(*track->channels(), 0);
    track->setValueForKey(QVariant(), "channels");
    EXPECT_FALSE(track->channels().has_value());

    // Unknown keys go to the undefined-key hooks, and read-only keys ignore sets.
    track->setValueForKey("x", "artist");
    EXPECT_EQ(track->valueForKey("artist").toString(), "x");
    track->setValueForKey(QVariantList{"a"}, "labels");
    EXPECT_TRUE(track->labels().empty());

    // A plain object ignores unknown keys silently.
    auto take = std::make_shared<Take>();
    take->setValueForKey(1, "nothing");
    EXPECT_FALSE(take->valueForKey("nothing").isValid());
}

TEST(ObjectKeyValueCoding, KeyPathsAndAggregates) {
    auto track = std::make_shared<Track>();
    auto take = std::make_shared<Take>();
    take->setName("T1");
    track->setTake(take);
    EXPECT_EQ(track->valueForKeyPath("take.name").toString(), "T1");
    track->setValueForKeyPath("T2", "take.name");
    EXPECT_EQ(take->name(), "T2");
    EXPECT_FALSE(track->valueForKeyPath("next.take.name").isValid());

    QVariantList tracks;
    for (double gain : {-3.0, 2.5, -12.0}) {
        auto t = std::make_shared<Track>();
        t->setGain(gain);
        tracks << toVariant(t);
    }
    tracks << QVariantMap{{"gain", 1.0}};
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, "@max.gain").toDouble(), 2.5);
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, "@min.gain").toDouble(), -12.0);
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, "@sum.gain").toDouble(), -11.5);
    EXPECT_DOUBLE_EQ(Object::valueForKeyPath(tracks, "@avg.gain").toDouble(), -11.5 / 4);
    EXPECT_EQ(Object::valueForKeyPath(tracks, "@count").toInt(), 4);
    EXPECT_FALSE(Object::valueForKeyPath(QVariantList(), "@max.gain").isValid());
    const QVariantList gains = Object::valueForKey(QVariant(tracks), "gain").toList();
    ASSERT_EQ(gains.size(), 4);
    EXPECT_DOUBLE_EQ(gains[3].toDouble(), 1.0);
}

TEST(ObjectObservation, SettingReportsOldAndNewWithContext) {
    auto track = std::make_shared<Track>();
    Recorder recorder;
    int context = 0;
    track->addObserver(&recorder, "gain", kNewOld, &context);
    track->setGain(3.0);
    track->setName("not observed");
    ASSERT_EQ(recorder.calls.size(), 1u);
    const auto& call = recorder.calls[0];
    EXPECT_EQ(call.keyPath, "gain");
    EXPECT_EQ(call.object, track.get());
    EXPECT_EQ(call.context, &context);
    EXPECT_EQ(call.change.kind, KeyValueChange::Setting);
    EXPECT_DOUBLE_EQ(call.change.oldValue.toDouble(), 0.0);
    EXPECT_DOUBLE_EQ(call.change.newValue.toDouble(), 3.0);

    track->removeObserver(&recorder, "gain", &context);
    track->setGain(4.0);
    EXPECT_EQ(recorder.calls.size(), 1u);
}

TEST(ObjectObservation, PriorAndInitialOptions) {
    auto track = std::make_shared<Track>();
    track->setGain(1.0);
    Recorder recorder;
    track->addObserver(&recorder, "gain",
                       KeyValueObservingOptionInitial | KeyValueObservingOptionPrior | kNewOld);
    ASSERT_EQ(recorder.calls.size(), 1u);  // initial
    EXPECT_DOUBLE_EQ(recorder.calls[0].change.newValue.toDouble(), 1.0);
    track->setGain(2.0);
    ASSERT_EQ(recorder.calls.size(), 3u);
    EXPECT_TRUE(recorder.calls[1].change.isPrior);
    EXPECT_DOUBLE_EQ(recorder.calls[1].change.oldValue.toDouble(), 1.0);
    EXPECT_FALSE(recorder.calls[2].change.isPrior);
    EXPECT_DOUBLE_EQ(recorder.calls[2].change.newValue.toDouble(), 2.0);
    track->removeObserver(&recorder, "gain");
}

TEST(ObjectObservation, KeyPathFollowsReplacedIntermediateObjects) {
    auto makeTake = [](const char* name) {
        auto take = std::make_shared<Take>();
        take->setName(name);
        return take;
    };
    auto head = std::make_shared<Track>(), middle = std::make_shared<Track>();
    auto firstTake = makeTake("one");
    middle->setTake(firstTake);
    head->setNext(middle);
    Recorder recorder;
    head->addObserver(&recorder, "next.take.name", kNewOld);
    // The number of calls so far, and the old and new value of the last one.
    auto expectCalls = [&](size_t count, const char* oldName, const char* newName) {
        ASSERT_EQ(recorder.calls.size(), count);
        EXPECT_EQ(recorder.calls.back().change.oldValue.toString(), oldName);
        EXPECT_EQ(recorder.calls.back().change.newValue.toString(), newName);
    };

    firstTake->setName("uno");  // the leaf changes
    expectCalls(1, "one", "uno");
    EXPECT_EQ(recorder.calls[0].keyPath, "next.take.name");
    EXPECT_EQ(recorder.calls[0].object, head.get());

    // Replace the last intermediate: reported, and the old take is no longer watched.
    auto secondTake = makeTake("two");
    middle->setTake(secondTake);
    expectCalls(2, "uno", "two");
    firstTake->setName("ignored");
    secondTake->setName("dos");
    expectCalls(3, "two", "dos");

    // Replace the first intermediate with a new chain, then with nothing.
    auto otherMiddle = std::make_shared<Track>();
    auto thirdTake = makeTake("three");
    otherMiddle->setTake(thirdTake);
    head->setNext(otherMiddle);
    expectCalls(4, "dos", "three");
    secondTake->setName("ignored too");
    middle->setTake(nullptr);
    thirdTake->setName("tres");
    expectCalls(5, "three", "tres");
    head->setNext(nullptr);
    expectCalls(6, "tres", "");
    EXPECT_FALSE(recorder.calls.back().change.newValue.isValid());
    thirdTake->setName("gone");
    head->removeObserver(&recorder, "next.take.name");
    head->setNext(otherMiddle);
    EXPECT_EQ(recorder.calls.size(), 6u);
}

TEST(ObjectObservation, CollectionChangesCarryKindIndexesAndElements) {
    auto track = std::make_shared<Track>();
    Recorder recorder;
    track->addObserver(&recorder, "labels", kNewOld);
    track->insertObjectInLabelsAtIndex("a", 0);
    track->insertObjectInLabelsAtIndex("c", 1);
    track->insertObjectInLabelsAtIndex("b", 1);
    track->replaceObjectInLabelsAtIndex(2, "C");
    track->removeObjectFromLabelsAtIndex(0);
    EXPECT_EQ(track->labels(), (std::vector<QString>{"b", "C"}));
    track->removeObserver(&recorder, "labels");

    struct Expected {
        KeyValueChange kind;
        qsizetype index;
        QVariant oldValue, newValue;  // lists of one element, or nothing
    };
    const Expected expected[] = {
        {KeyValueChange::Insertion, 0, {}, QVariantList{"a"}},
        {KeyValueChange::Insertion, 1, {}, QVariantList{"c"}},
        {KeyValueChange::Insertion, 1, {}, QVariantList{"b"}},
        {KeyValueChange::Replacement, 2, QVariantList{"c"}, QVariantList{"C"}},
        {KeyValueChange::Removal, 0, QVariantList{"a"}, {}},
    };
    ASSERT_EQ(recorder.calls.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(i);
        const KeyValueChangeInfo& change = recorder.calls[i].change;
        EXPECT_EQ(change.kind, expected[i].kind);
        EXPECT_EQ(change.indexes, IndexSet(expected[i].index));
        EXPECT_EQ(change.oldValue, expected[i].oldValue);
        EXPECT_EQ(change.newValue, expected[i].newValue);
    }
}

TEST(ObjectObservation, NestedChangesAndObserversThatChangeWhatTheyObserve) {
    auto track = std::make_shared<Track>();
    std::vector<QString> seen;
    auto nameHandle = track->observe("name", KeyValueObservingOptionNew,
                                     [&](const KeyValueChangeInfo& change) { seen.push_back(change.newValue.toString()); });
    // Reacting to gain by setting the name nests one change inside another.
    auto gainHandle = track->observe("gain", 0, [&](const KeyValueChangeInfo&) {
        track->setName(QString("gain is %1").arg(track->gain()));
    });
    track->setGain(2.0);
    track->setGain(3.0);
    EXPECT_EQ(seen, (std::vector<QString>{"gain is 2", "gain is 3"}));

    // A dropped handle stops the observation.
    nameHandle.reset();
    track->setName("quiet");
    EXPECT_EQ(seen.size(), 2u);
}

TEST(ObjectObservation, RemovalWaitsForACallUnderWayOnAnotherThread) {
    // Once removeObserver returns the caller may free the observer: a call
    // still running on another thread must be over by then.
    auto track = std::make_shared<Track>();
    struct Blocking : Observer {
        std::atomic<bool> entered{false}, release{false}, left{false};
        std::atomic<int> calls{0};
        void observeValueForKeyPath(const QString&, Object*, const KeyValueChangeInfo&, void*) override {
            ++calls;
            entered = true;
            while (!release)
                std::this_thread::yield();
            left = true;
        }
    } observer;
    track->addObserver(&observer, "gain");
    std::thread changer([&] { track->setGain(1.0); });
    while (!observer.entered)
        std::this_thread::yield();
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        track->removeObserver(&observer, "gain");
        removed = observer.left.load();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    observer.release = true;
    remover.join();
    changer.join();
    EXPECT_TRUE(removed) << "removeObserver returned while the call was still running";
    track->setGain(2.0);
    EXPECT_EQ(observer.calls.load(), 1);
    EXPECT_FALSE(track->hasObservers());
}

namespace {

// A class with many keys, first defined while another thread looks for it by name.
class LateClass : public Object {
    ONDREL_OBJECT(LateClass, Object)
};

const ClassInfo& LateClass::staticClassInfo() {
    static const ClassInfo& info = []() -> const ClassInfo& {
        ClassInfo& i = ClassInfo::define<LateClass, Object>("LateClass");
        for (int k = 0; k < 20000; ++k)
            i.addProperty(QStringLiteral("k%1").arg(k), [k](const Object*) { return QVariant(k); });
        return i;
    }();
    return info;
}

} // namespace

TEST(ClassRegistry, AClassFoundByNameIsComplete) {
    std::atomic<bool> go{false};
    const ClassInfo::Property* last = nullptr;
    std::thread finder([&] {
        go = true;
        const ClassInfo* found = nullptr;
        while (!(found = ClassRegistry::classNamed("LateClass")))
            std::this_thread::yield();
        last = found->property("k19999");
    });
    while (!go.load())
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    LateClass::staticClassInfo();
    finder.join();
    EXPECT_NE(last, nullptr);
}

namespace {

// A holder whose "take" may be read and replaced from several threads at
// once. An armed gate stops the next read of the take until it is released;
// a lazy holder makes its take when first asked, and announces it.
class TakeHolder : public Object {
    ONDREL_OBJECT(TakeHolder, Object)
public:
    std::shared_ptr<Take> take() const {
        if (gateArmed.exchange(false)) {
            gateReached = true;
            while (!gateReleased)
                std::this_thread::yield();
        }
        if (lazy && !m_take)
            const_cast<TakeHolder*>(this)->setTake(std::make_shared<Take>());
        std::lock_guard lock(m_mutex);
        return m_take;
    }
    void setTake(std::shared_ptr<Take> take) {
        willChangeValueForKey("take");
        {
            std::lock_guard lock(m_mutex);
            m_take = std::move(take);
        }
        didChangeValueForKey("take");
    }
    std::shared_ptr<TakeHolder> holder() const { return m_holder; }
    void setHolder(std::shared_ptr<TakeHolder> holder) { setAndNotify("holder", m_holder, std::move(holder)); }

    mutable std::atomic<bool> gateArmed{false}, gateReached{false}, gateReleased{false};
    bool lazy = false;

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<Take> m_take;
    std::shared_ptr<TakeHolder> m_holder;
};

const ClassInfo& TakeHolder::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<TakeHolder, Object>("TakeHolder")
                                       .property("take", &TakeHolder::take, &TakeHolder::setTake)
                                       .property("holder", &TakeHolder::holder, &TakeHolder::setHolder);
    return info;
}

struct Quiet : Observer {
    void observeValueForKeyPath(const QString&, Object*, const KeyValueChangeInfo&, void*) override {}
};

} // namespace

TEST(ObjectObservation, KeyPathObserverRemovedWhileAnotherThreadFollowsItToANewIntermediate) {
    // The writer replaces the take and stops just as the key path is being
    // followed to the new one; the observer is removed meanwhile. Nothing may
    // be left registered on either take.
    auto holder = std::make_shared<TakeHolder>();
    auto first = std::make_shared<Take>(), second = std::make_shared<Take>();
    holder->setTake(first);
    Quiet observer;
    holder->addObserver(&observer, "take.name");
    holder->gateArmed = true;
    std::thread writer([&] { holder->setTake(second); });
    while (!holder->gateReached)
        std::this_thread::yield();
    holder->removeObserver(&observer, "take.name");
    holder->gateReleased = true;
    writer.join();
    EXPECT_FALSE(holder->hasObservers());
    EXPECT_FALSE(first->hasObservers());
    EXPECT_FALSE(second->hasObservers());
}

TEST(ObjectObservation, KeyPathObserverIsNotToldOnceItsObjectIsBeingDestroyed) {
    // While the holder is being destroyed, another thread changes the take's
    // name: the observer of the holder's key path must not hear of it.
    struct DyingHolder : TakeHolder {
        std::function<void()> whileDying;
        ~DyingHolder() override { whileDying(); }
    };
    struct Watcher : Observer {
        int calls = 0;
        void observeValueForKeyPath(const QString&, Object*, const KeyValueChangeInfo&, void*) override { ++calls; }
    } watcher;
    auto take = std::make_shared<Take>();
    auto holder = std::make_shared<DyingHolder>();
    holder->setTake(take);
    holder->addObserver(&watcher, "take.name");
    take->setName("heard");
    EXPECT_EQ(watcher.calls, 1);
    holder->whileDying = [&] { std::thread([&] { take->setName("not heard"); }).join(); };
    holder.reset();
    EXPECT_EQ(watcher.calls, 1);
    EXPECT_FALSE(take->hasObservers());
}

TEST(ObjectObservation, ObserverToldWhileItsKeyPathIsBeingFollowedMayRemoveItself) {
    // Following the path asks the lazy holder for its take, which announces it
    // being made: the observer hears of it and removes itself at once.
    auto owner = std::make_shared<TakeHolder>();
    struct SelfRemoving : Observer {
        Object* object = nullptr;
        int calls = 0;
        void observeValueForKeyPath(const QString& keyPath, Object*, const KeyValueChangeInfo&, void*) override {
            ++calls;
            object->removeObserver(this, keyPath);
        }
    } remover;
    remover.object = owner.get();
    owner->addObserver(&remover, "holder.take.name");
    auto lazyHolder = std::make_shared<TakeHolder>();
    lazyHolder->lazy = true;
    owner->setHolder(lazyHolder);
    EXPECT_EQ(remover.calls, 1);
    EXPECT_FALSE(owner->hasObservers());
    EXPECT_FALSE(lazyHolder->hasObservers());
}

TEST(ObjectObservation, KeyPathHandleDroppedByItsHandlerWhenTheLeafChanges) {
    // The leaf's change reaches the handler through the intermediate take;
    // dropping the handle there frees the observation of the whole path while
    // its delivery is still under way (a use after free without the fix,
    // seen by AddressSanitizer).
    auto holder = std::make_shared<TakeHolder>();
    auto take = std::make_shared<Take>();
    holder->setTake(take);
    int calls = 0;
    ObservationHandle handle;
    handle = holder->observe("take.name", 0, [&](const KeyValueChangeInfo&) {
        ++calls;
        handle.reset();
    });
    take->setName("once");
    take->setName("twice");
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(holder->hasObservers());
    EXPECT_FALSE(take->hasObservers());
}

TEST(ObjectObservation, HandleInvalidatedFromItsHandlerWhileAnotherThreadInvalidatesIt) {
    auto track = std::make_shared<Track>();
    std::atomic<bool> inHandler{false};
    std::atomic<int> calls{0};
    ObservationHandle handle;
    handle = track->observe("gain", 0, [&](const KeyValueChangeInfo&) {
        calls.fetch_add(1);
        inHandler = true;
        // Give the main thread time to start its own invalidation, then stop
        // observing from here too (an observer that wanted one change).
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        handle->invalidate();
    });
    std::thread changer([&] { track->setGain(1.0); });
    while (!inHandler.load())
        std::this_thread::yield();
    handle->invalidate();  // waits for the handler, which must not wait for this call
    changer.join();
    track->setGain(2.0);
    EXPECT_EQ(calls.load(), 1);
    EXPECT_FALSE(track->hasObservers());
}

TEST(ObjectObservation, ObserverThatThrowsCanStillBeRemovedFromAnotherThread) {
    auto track = std::make_shared<Track>();
    struct Throwing : Observer {
        void observeValueForKeyPath(const QString&, Object*, const KeyValueChangeInfo&, void*) override {
            throw std::runtime_error("observer failed");
        }
    } observer;
    track->addObserver(&observer, "gain");
    EXPECT_THROW(track->setGain(1.0), std::runtime_error);
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        track->removeObserver(&observer, "gain");
        removed = true;
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!removed.load() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_TRUE(removed.load()) << "removal hangs after an observer threw";
    remover.join();
    EXPECT_FALSE(track->hasObservers());
}

} // namespace ondrel
