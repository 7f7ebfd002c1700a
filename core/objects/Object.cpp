#include "core/objects/Object.h"

#include <QtCore/QStringList>

#include <algorithm>
#include <condition_variable>
#include <thread>

namespace ondrel {

// One observer of one key path on one object.
struct Object::Registration {
    Observer* observer = nullptr;
    QString keyPath;   // as the observer gave it
    QString firstKey;  // the key on this object
    QString rest;      // the remaining key path, empty for a plain key
    int options = 0;
    void* context = nullptr;
    Object* owner = nullptr;
    std::atomic<bool> removed{false};
    std::atomic<int> inflight{0};

    // For key paths: the observation of the rest of the path on the current
    // intermediate object, which reports its changes as changes of the whole path.
    std::recursive_mutex childMutex;  // re-entered when following the path makes a change that is heard at once
    ObservationHandle childObservation;
};

struct Object::PendingChange {
    const Object* object;
    QString key;
    std::vector<std::pair<std::shared_ptr<Registration>, QVariant>> registrations;  // with old values
};

namespace {

thread_local std::vector<Object::PendingChange> t_pendingChanges;
thread_local std::vector<const void*> t_delivering;

std::vector<Object::PendingChange>& pendingChanges() { return t_pendingChanges; }

bool isDeliveringOnThisThread(const void* registration) {
    return std::find(t_delivering.begin(), t_delivering.end(), registration) != t_delivering.end();
}

void splitKeyPath(const QString& keyPath, QString* first, QString* rest) {
    // An aggregate ("@max.peak") is one step: it consumes the rest of the path.
    const qsizetype dot = keyPath.startsWith(QLatin1Char('@')) ? -1 : keyPath.indexOf(QLatin1Char('.'));
    if (dot < 0) {
        *first = keyPath;
        rest->clear();
    } else {
        *first = keyPath.left(dot);
        *rest = keyPath.mid(dot + 1);
    }
}

// The handlers running on this thread, innermost last.
thread_local std::vector<const void*> t_handlersRunning;

class HandlerObserver : public Observer, public Observation {
public:
    HandlerObserver(Object* object, std::weak_ptr<Object> weak, bool managed, QString keyPath,
                    std::function<void(const KeyValueChangeInfo&)> handler)
        : m_object(object), m_weak(std::move(weak)), m_managed(managed), m_keyPath(std::move(keyPath)),
          m_handler(std::move(handler)) {}
    ~HandlerObserver() override { invalidate(); }

    void observeValueForKeyPath(const QString&, Object*, const KeyValueChangeInfo& change, void*) override {
        struct Running {
            explicit Running(const void* h) { t_handlersRunning.push_back(h); }
            ~Running() { t_handlersRunning.pop_back(); }
        } running(this);
        m_handler(change);
    }

    // The removal runs without the lock: it waits for calls of the handler on
    // other threads, and such a call may itself invalidate. A second caller
    // waits for the first to finish, unless it is one of those calls.
    void invalidate() override {
        std::unique_lock lock(m_mutex);
        if (m_state == State::Removing) {
            if (std::find(t_handlersRunning.begin(), t_handlersRunning.end(), this) == t_handlersRunning.end())
                m_removed.wait(lock, [this] { return m_state == State::Removed; });
            return;
        }
        if (m_state == State::Removed)
            return;
        m_state = State::Removing;
        lock.unlock();
        if (m_managed) {
            if (auto strong = m_weak.lock())
                strong->removeObserver(this, m_keyPath, nullptr);
        } else {
            m_object->removeObserver(this, m_keyPath, nullptr);
        }
        lock.lock();
        m_state = State::Removed;
        m_object = nullptr;
        m_removed.notify_all();
    }

private:
    enum class State { Observing, Removing, Removed };
    std::mutex m_mutex;
    std::condition_variable m_removed;
    State m_state = State::Observing;
    Object* m_object;
    std::weak_ptr<Object> m_weak;
    bool m_managed;
    QString m_keyPath;
    std::function<void(const KeyValueChangeInfo&)> m_handler;
};

QVariantList listOf(const QVariant& value) {
    if (value.typeId() == QMetaType::QStringList) {
        QVariantList list;
        for (const QString& s : value.toStringList())
            list << s;
        return list;
    }
    return value.toList();
}

QVariant aggregate(const QString& op, const QVariantList& values) {
    if (op == QLatin1String("@count"))
        return qint64(values.size());
    QVariantList present;
    for (const QVariant& v : values)
        if (!Variant::isNullOrAbsent(v))
            present << v;
    if (op == QLatin1String("@max") || op == QLatin1String("@min")) {
        QVariant best;
        const bool max = op == QLatin1String("@max");
        for (const QVariant& v : present) {
            if (!best.isValid()) {
                best = v;
                continue;
            }
            const auto order = Variant::compare(v, best);
            if ((max && order > 0) || (!max && order < 0))
                best = v;
        }
        return best;
    }
    if (op == QLatin1String("@sum") || op == QLatin1String("@avg")) {
        double sum = 0.0;
        for (const QVariant& v : present)
            sum += v.toDouble();
        if (op == QLatin1String("@sum"))
            return sum;
        return present.isEmpty() ? QVariant() : QVariant(sum / double(present.size()));
    }
    if (op == QLatin1String("@unionOfObjects"))
        return present;
    if (op == QLatin1String("@distinctUnionOfObjects")) {
        QVariantList distinct;
        for (const QVariant& v : present)
            if (std::none_of(distinct.begin(), distinct.end(), [&](const QVariant& d) { return Variant::equal(d, v); }))
                distinct << v;
        return distinct;
    }
    return QVariant();
}

} // namespace

// MARK: - Class

const ClassInfo& Object::staticClassInfo() {
    static ClassInfo* info = [] {
        auto* i = new ClassInfo(QStringLiteral("Object"), nullptr);
        i->setAbstract();  // the root: only its subclasses are made by name
        ClassRegistry::registerClass(*i);
        return i;
    }();
    return *info;
}

Object::Object() = default;

Object::~Object() {
    std::vector<std::shared_ptr<Registration>> all;
    {
        std::lock_guard lock(m_observersMutex);
        for (auto& [key, list] : m_observers)
            all.insert(all.end(), list.begin(), list.end());
        m_observers.clear();
    }
    for (auto& r : all) {
        r->removed = true;
        detachChild(*r);
    }
}

QString Object::description() const {
    return QStringLiteral("<%1 %2>").arg(className(), QString::number(quintptr(this), 16));
}

void Object::encodeWithCoder(KeyedArchiver&) const {}

void Object::initWithCoder(const KeyedUnarchiver&) {}

// MARK: - Key-value coding

QVariant Object::valueForKey(const QString& key) const {
    if (const ClassInfo::Property* p = classInfo().property(key))
        return p->get(this);
    if (key == QLatin1String("className"))
        return className();
    return valueForUndefinedKey(key);
}

void Object::setValueForKey(const QVariant& value, const QString& key) {
    const ClassInfo::Property* p = classInfo().property(key);
    if (p && p->set)
        p->set(this, value);
    else if (!p)
        setValueForUndefinedKey(value, key);
}

QVariant Object::valueForUndefinedKey(const QString&) const { return QVariant(); }

void Object::setValueForUndefinedKey(const QVariant&, const QString&) {}

QVariant Object::valueForKeyPath(const QString& keyPath) const {
    QString first, rest;
    splitKeyPath(keyPath, &first, &rest);
    if (first.startsWith(QLatin1Char('@')))
        return QVariant();
    const QVariant value = valueForKey(first);
    return rest.isEmpty() ? value : valueForKeyPath(value, rest);
}

void Object::setValueForKeyPath(const QVariant& value, const QString& keyPath) {
    const qsizetype dot = keyPath.lastIndexOf(QLatin1Char('.'));
    if (dot < 0) {
        setValueForKey(value, keyPath);
        return;
    }
    if (ObjectPtr target = Variant::object(valueForKeyPath(keyPath.left(dot))))
        target->setValueForKey(value, keyPath.mid(dot + 1));
}

QVariantMap Object::dictionaryWithValuesForKeys(const QStringList& keys) const {
    QVariantMap map;
    for (const QString& key : keys)
        map.insert(key, valueForKey(key));
    return map;
}

QVariant Object::valueForKey(const QVariant& target, const QString& key) {
    if (ObjectPtr object = Variant::object(target))
        return object->valueForKey(key);
    if (Variant::isDictionary(target))
        return target.toMap().value(key);
    if (Variant::isList(target)) {
        if (key.startsWith(QLatin1Char('@')))
            return valueForKeyPath(target, key);
        QVariantList values;
        for (const QVariant& element : listOf(target)) {
            const QVariant v = valueForKey(element, key);
            values << (v.isValid() ? v : Variant::null());
        }
        return values;
    }
    return QVariant();
}

QVariant Object::valueForKeyPath(const QVariant& target, const QString& keyPath) {
    if (keyPath.startsWith(QLatin1Char('@'))) {
        if (!Variant::isList(target))
            return QVariant();
        const qsizetype dot = keyPath.indexOf(QLatin1Char('.'));
        const QString op = dot < 0 ? keyPath : keyPath.left(dot);
        const QVariantList elements = listOf(target);
        if (dot < 0)
            return aggregate(op, elements);
        const QVariant values = valueForKeyPath(QVariant(elements), keyPath.mid(dot + 1));
        return aggregate(op, listOf(values));
    }
    QString first, rest;
    splitKeyPath(keyPath, &first, &rest);
    const QVariant value = valueForKey(target, first);
    return rest.isEmpty() ? value : valueForKeyPath(value, rest);
}

// MARK: - Observation

void Object::addObserver(Observer* observer, const QString& keyPath, int options, void* context) {
    Q_ASSERT(observer && !keyPath.isEmpty());
    if (!observer || keyPath.isEmpty())
        return;
    auto r = std::make_shared<Registration>();
    r->observer = observer;
    r->keyPath = keyPath;
    splitKeyPath(keyPath, &r->firstKey, &r->rest);
    r->options = options;
    r->context = context;
    r->owner = this;
    {
        std::lock_guard lock(m_observersMutex);
        if (RegistrationList* list = observersForKey(r->firstKey))
            list->push_back(r);
        else
            m_observers.emplace_back(r->firstKey, RegistrationList{r});
    }
    m_observerCount.fetch_add(1, std::memory_order_acq_rel);
    if (!r->rest.isEmpty())
        attachChild(r);
    if (options & KeyValueObservingOptionInitial) {
        KeyValueChangeInfo change;
        if (options & KeyValueObservingOptionNew)
            change.newValue = valueForKeyPath(keyPath);
        deliver(*r, change);
    }
}

void Object::removeObserver(Observer* observer, const QString& keyPath, void* context) {
    QString first, rest;
    splitKeyPath(keyPath, &first, &rest);
    std::vector<std::shared_ptr<Registration>> removed;
    {
        std::lock_guard lock(m_observersMutex);
        RegistrationList* found = observersForKey(first);
        if (!found)
            return;
        auto& list = *found;
        // The most recent matching registration, as the platform does.
        for (auto r = list.rbegin(); r != list.rend(); ++r) {
            if ((*r)->observer == observer && (*r)->keyPath == keyPath &&
                (context == nullptr || (*r)->context == context)) {
                removed.push_back(*r);
                list.erase(std::next(r).base());
                break;
            }
        }
        if (list.empty())
            m_observers.erase(std::find_if(m_observers.begin(), m_observers.end(),
                                           [&](const auto& entry) { return &entry.second == found; }));
    }
    for (auto& r : removed) {
        m_observerCount.fetch_sub(1, std::memory_order_acq_rel);
        r->removed = true;
        detachChild(*r);
        while (r->inflight.load(std::memory_order_acquire) > 0 && !isDeliveringOnThisThread(r.get()))
            std::this_thread::yield();
    }
}

void Object::removeObserver(Observer* observer, const QString& keyPath) { removeObserver(observer, keyPath, nullptr); }

ObservationHandle Object::observe(const QString& keyPath, int options,
                                  std::function<void(const KeyValueChangeInfo&)> handler) {
    Q_ASSERT(handler);
    std::weak_ptr<Object> weak = weak_from_this();
    const bool managed = !weak.expired();
    auto observer = std::make_shared<HandlerObserver>(this, weak, managed, keyPath, std::move(handler));
    addObserver(observer.get(), keyPath, options, nullptr);
    return observer;
}

Object::RegistrationList* Object::observersForKey(const QString& key) {
    for (auto& [k, list] : m_observers)
        if (k.size() == key.size() && k == key)
            return &list;
    return nullptr;
}

std::vector<std::shared_ptr<Object::Registration>> Object::registrationsForKey(const QString& key) const {
    std::lock_guard lock(m_observersMutex);
    RegistrationList* list = const_cast<Object*>(this)->observersForKey(key);
    return list ? *list : RegistrationList();
}

void Object::attachChild(const std::shared_ptr<Registration>& r) const {
    ObjectPtr target = Variant::object(valueForKey(r->firstKey));
    ObservationHandle oldObservation, staleObservation;
    {
        // The observation is made with the lock held, so that a detach on
        // another thread (a removal, or a re-attach after another change) waits
        // for it and then finds it made, and never ends it before.
        std::lock_guard lock(r->childMutex);
        if (r->removed)
            return;
        oldObservation = std::move(r->childObservation);
        if (target) {
            // The intermediate object may change on another thread while the
            // owner is being destroyed: an owner held by a shared_ptr is kept
            // alive for each call, and one whose last owner is gone is not
            // told any more. Dropping the last reference inside the call
            // destroys the owner, and with it this observation: nothing of it
            // is touched after the call. The registration is held for the
            // call too: its observer may remove it from inside, and the
            // delivery still counts itself off it afterwards.
            Object* owner = r->owner;
            const std::weak_ptr<Registration> weakRegistration = r;
            const std::weak_ptr<Object> ownerRef = owner->weak_from_this();
            const std::weak_ptr<Object> none;
            const bool ownerShared = ownerRef.owner_before(none) || none.owner_before(ownerRef);
            r->childObservation = target->observe(
                r->rest, r->options & ~KeyValueObservingOptionInitial,
                [owner, weakRegistration, ownerRef, ownerShared](const KeyValueChangeInfo& change) {
                    const std::shared_ptr<Registration> registration = weakRegistration.lock();
                    if (!registration)
                        return;
                    if (!ownerShared) {
                        owner->deliver(*registration, change);
                        return;
                    }
                    if (const ObjectPtr strong = ownerRef.lock())
                        owner->deliver(*registration, change);
                });
            // Removed while the path was being followed (by an observer told
            // of a change that following it made): not kept.
            if (r->removed)
                staleObservation = std::move(r->childObservation);
        }
    }
    // Ending an observation waits for its calls on other threads: never under the lock.
    oldObservation.reset();
    staleObservation.reset();
}

void Object::detachChild(Registration& r) const {
    ObservationHandle observation;
    {
        std::lock_guard lock(r.childMutex);
        observation = std::move(r.childObservation);
    }
    observation.reset();
}

void Object::deliver(Registration& r, const KeyValueChangeInfo& change) {
    if (r.removed.load(std::memory_order_acquire))
        return;
    // Undone also when the observer throws: a removal waits for this count.
    struct InFlight {
        Registration& r;
        explicit InFlight(Registration& registration) : r(registration) {
            r.inflight.fetch_add(1, std::memory_order_acq_rel);
        }
        ~InFlight() { r.inflight.fetch_sub(1, std::memory_order_acq_rel); }
    } inFlight(r);
    if (!r.removed.load(std::memory_order_acquire)) {
        struct Delivering {
            explicit Delivering(const void* registration) { t_delivering.push_back(registration); }
            ~Delivering() { t_delivering.pop_back(); }
        } delivering(&r);
        r.observer->observeValueForKeyPath(r.keyPath, this, change, r.context);
    }
}

QVariant Object::elementsAt(const QVariant& collection, const IndexSet& indexes) {
    const QVariantList list = listOf(collection);
    QVariantList elements;
    for (qsizetype i : indexes)
        if (i >= 0 && i < list.size())
            elements << list[i];
    return elements;
}

void Object::willChangeValueForKey(const QString& key) { notifyPrior(key, KeyValueChange::Setting, IndexSet()); }

void Object::didChangeValueForKey(const QString& key) { notifyAfter(key, KeyValueChange::Setting, IndexSet()); }

void Object::willChange(KeyValueChange kind, const IndexSet& indexes, const QString& key) {
    notifyPrior(key, kind, indexes);
}

void Object::didChange(KeyValueChange kind, const IndexSet& indexes, const QString& key) {
    notifyAfter(key, kind, indexes);
}

void Object::notifyPrior(const QString& key, KeyValueChange kind, const IndexSet& indexes) {
    PendingChange pending{this, key, {}};
    if (m_observerCount.load(std::memory_order_acquire) > 0) {
        const auto registrations = registrationsForKey(key);
        pending.registrations.reserve(registrations.size());
        for (const auto& r : registrations) {
            QVariant old;
            const bool wantsOld = r->options & KeyValueObservingOptionOld;
            if (wantsOld) {
                if (kind == KeyValueChange::Setting || !r->rest.isEmpty())
                    old = valueForKeyPath(r->keyPath);
                else if (kind != KeyValueChange::Insertion)
                    old = elementsAt(valueForKey(key), indexes);
            }
            if (r->options & KeyValueObservingOptionPrior) {
                KeyValueChangeInfo change;
                change.kind = r->rest.isEmpty() ? kind : KeyValueChange::Setting;
                change.indexes = r->rest.isEmpty() ? indexes : IndexSet();
                change.oldValue = old;
                change.isPrior = true;
                deliver(*r, change);
            }
            pending.registrations.emplace_back(r, std::move(old));
        }
    }
    pendingChanges().push_back(std::move(pending));
}

void Object::notifyAfter(const QString& key, KeyValueChange kind, const IndexSet& indexes) {
    auto& stack = pendingChanges();
    PendingChange pending{this, key, {}};
    bool found = false;
    for (auto it = stack.rbegin(); it != stack.rend(); ++it) {
        if (it->object == this && it->key == key) {
            pending = std::move(*it);
            stack.erase(std::next(it).base());
            found = true;
            break;
        }
    }
    if (!found && m_observerCount.load(std::memory_order_acquire) > 0) {
        for (const auto& r : registrationsForKey(key))
            pending.registrations.emplace_back(r, QVariant());
    }
    for (auto& [r, old] : pending.registrations) {
        if (r->removed.load(std::memory_order_acquire))
            continue;
        if (!r->rest.isEmpty())
            attachChild(r);  // moves the observation to the new intermediate object
        KeyValueChangeInfo change;
        const bool whole = kind == KeyValueChange::Setting || !r->rest.isEmpty();
        change.kind = whole ? KeyValueChange::Setting : kind;
        change.indexes = whole ? IndexSet() : indexes;
        change.oldValue = std::move(old);
        if (r->options & KeyValueObservingOptionNew) {
            if (whole)
                change.newValue = valueForKeyPath(r->keyPath);
            else if (kind != KeyValueChange::Removal)
                change.newValue = elementsAt(valueForKey(key), indexes);
        }
        deliver(*r, change);
    }
}

} // namespace ondrel
