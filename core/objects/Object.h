#pragma once

#include "core/objects/ClassInfo.h"
#include "core/objects/IndexSet.h"
#include "core/objects/Variant.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace ondrel {

class Object;
class KeyedArchiver;
class KeyedUnarchiver;

enum class KeyValueChange { Setting = 1, Insertion = 2, Removal = 3, Replacement = 4 };

enum KeyValueObservingOption : int {
    KeyValueObservingOptionNew = 0x01,
    KeyValueObservingOptionOld = 0x02,
    KeyValueObservingOptionInitial = 0x04,
    KeyValueObservingOptionPrior = 0x08,
};

// What an observer is told of one change.
struct KeyValueChangeInfo {
    KeyValueChange kind = KeyValueChange::Setting;
    QVariant newValue;  // with the option New (the new elements, for collection changes)
    QVariant oldValue;  // with the option Old (the removed or replaced elements)
    IndexSet indexes;   // for insertion, removal and replacement
    bool isPrior = false;
};

class Observer {
public:
    virtual ~Observer() = default;
    virtual void observeValueForKeyPath(const QString& keyPath, Object* object, const KeyValueChangeInfo& change,
                                        void* context) = 0;
};

// A registration made with Object::observe(): removed when the last copy of
// the handle goes away (or on invalidate()).
class Observation {
public:
    virtual ~Observation() = default;
    virtual void invalidate() = 0;
};
using ObservationHandle = std::shared_ptr<Observation>;

// The observable base of every model object.
//
// Key-value coding: valueForKey / setValueForKey go through the class's
// property table; keys it does not know go to valueForUndefinedKey (absent by
// default) and setValueForUndefinedKey (ignored by default). Key paths
// ("a.b.c") walk objects, dictionaries and lists; on a list, "@count",
// "@max.key", "@min.key", "@sum.key" and "@avg.key" aggregate.
//
// Observation: observers of keys and key paths are told synchronously, on the
// thread that made the change, of settings and of collection insertions,
// removals and replacements with their indexes and old and new values. A key
// path observation follows replaced intermediate objects. Observers may be
// added and removed on any thread; once removeObserver returns, the observer
// is not called again (except by a call already running on the same thread).
class Object : public std::enable_shared_from_this<Object> {
public:
    Object();
    virtual ~Object();
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    static const ClassInfo& staticClassInfo();
    virtual const ClassInfo& classInfo() const { return staticClassInfo(); }
    QString className() const { return classInfo().name(); }
    bool isKindOfClass(const QString& name) const { return classInfo().isSubclassOf(name); }
    virtual bool isEqual(const Object& other) const { return this == &other; }
    virtual QString description() const;
    // The object's text in the script form of a run (a record, a list, an
    // object specifier ...). Empty here: an object with no script form of its
    // own drops out of the text.
    virtual QString scriptDescription() const { return QString(); }

    ObjectPtr self() { return shared_from_this(); }

    // Keyed archiving: an archivable class answers true, writes its keys in
    // encodeWithCoder and reads them back in initWithCoder (called on a fresh
    // instance made by class name).
    virtual bool isArchivable() const { return false; }
    virtual void encodeWithCoder(KeyedArchiver& coder) const;
    virtual void initWithCoder(const KeyedUnarchiver& coder);
    // Called after initWithCoder: answers the object the archive stands for,
    // by default this one. Null fails the read.
    virtual ObjectPtr awakeAfterUsingCoder() { return shared_from_this(); }

    // Key-value coding.
    virtual QVariant valueForKey(const QString& key) const;
    virtual void setValueForKey(const QVariant& value, const QString& key);
    virtual QVariant valueForUndefinedKey(const QString& key) const;
    virtual void setValueForUndefinedKey(const QVariant& value, const QString& key);
    QVariant valueForKeyPath(const QString& keyPath) const;
    void setValueForKeyPath(const QVariant& value, const QString& keyPath);
    QVariantMap dictionaryWithValuesForKeys(const QStringList& keys) const;

    // Observation.
    void addObserver(Observer* observer, const QString& keyPath, int options = 0, void* context = nullptr);
    void removeObserver(Observer* observer, const QString& keyPath, void* context);
    void removeObserver(Observer* observer, const QString& keyPath);  // any context
    ObservationHandle observe(const QString& keyPath, int options,
                              std::function<void(const KeyValueChangeInfo&)> handler);
    bool hasObservers() const { return m_observerCount.load(std::memory_order_acquire) > 0; }

    // Change announcements, in pairs on one thread. Nested pairs are allowed.
    void willChangeValueForKey(const QString& key);
    void didChangeValueForKey(const QString& key);
    void willChange(KeyValueChange kind, const IndexSet& indexes, const QString& key);
    void didChange(KeyValueChange kind, const IndexSet& indexes, const QString& key);

    // Free-standing key paths over any value (objects, dictionaries, lists).
    static QVariant valueForKeyPath(const QVariant& target, const QString& keyPath);
    static QVariant valueForKey(const QVariant& target, const QString& key);

protected:
    // Setter helper: announces, assigns, announces.
    template <class T, class U>
    void setAndNotify(const QString& key, T& field, U&& value) {
        willChangeValueForKey(key);
        field = std::forward<U>(value);
        didChangeValueForKey(key);
    }
    // Collection helpers over a std::vector field. The index lies within the
    // list (or at its end, for an insertion): callers that forgive bad
    // indexes check them before.
    template <class T, class U>
    void insertAndNotify(const QString& key, std::vector<T>& field, U&& value, qsizetype index) {
        Q_ASSERT(index >= 0 && size_t(index) <= field.size());
        willChange(KeyValueChange::Insertion, IndexSet(index), key);
        field.insert(field.begin() + index, std::forward<U>(value));
        didChange(KeyValueChange::Insertion, IndexSet(index), key);
    }
    template <class T>
    void removeAndNotify(const QString& key, std::vector<T>& field, qsizetype index) {
        Q_ASSERT(index >= 0 && size_t(index) < field.size());
        willChange(KeyValueChange::Removal, IndexSet(index), key);
        field.erase(field.begin() + index);
        didChange(KeyValueChange::Removal, IndexSet(index), key);
    }
    template <class T, class U>
    void replaceAndNotify(const QString& key, std::vector<T>& field, qsizetype index, U&& value) {
        Q_ASSERT(index >= 0 && size_t(index) < field.size());
        willChange(KeyValueChange::Replacement, IndexSet(index), key);
        field[size_t(index)] = std::forward<U>(value);
        didChange(KeyValueChange::Replacement, IndexSet(index), key);
    }

public:
    // Internal bookkeeping of observation (defined in Object.cpp).
    struct Registration;
    struct PendingChange;

private:
    void attachChild(const std::shared_ptr<Registration>& registration) const;
    void detachChild(Registration& registration) const;
    void notifyPrior(const QString& key, KeyValueChange kind, const IndexSet& indexes);
    void notifyAfter(const QString& key, KeyValueChange kind, const IndexSet& indexes);
    std::vector<std::shared_ptr<Registration>> registrationsForKey(const QString& key) const;
    void deliver(Registration& registration, const KeyValueChangeInfo& change);
    static QVariant elementsAt(const QVariant& collection, const IndexSet& indexes);

    mutable std::mutex m_observersMutex;
    // By first key. An object has few observed keys: a scan beats hashing.
    using RegistrationList = std::vector<std::shared_ptr<Registration>>;
    std::vector<std::pair<QString, RegistrationList>> m_observers;
    RegistrationList* observersForKey(const QString& key);
    std::atomic<int> m_observerCount{0};
};

} // namespace ondrel
