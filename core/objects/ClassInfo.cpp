#include "core/objects/ClassInfo.h"

#include <QtCore/QHash>

#include <mutex>

namespace ondrel {

namespace {
std::mutex& registryMutex() {
    static std::mutex mutex;
    return mutex;
}
// A class is registered as soon as its info is made, before its keys are added.
struct Entry {
    const ClassInfo* info = nullptr;
    const ClassInfo& (*complete)() = nullptr;
};
QHash<QString, Entry>& registry() {
    static QHash<QString, Entry> classes;
    return classes;
}
} // namespace

ClassInfo::ClassInfo(const QString& name, const ClassInfo* superclass) : m_name(name), m_superclass(superclass) {}

bool ClassInfo::isSubclassOf(const ClassInfo& other) const {
    for (const ClassInfo* c = this; c; c = c->m_superclass)
        if (c == &other)
            return true;
    return false;
}

bool ClassInfo::isSubclassOf(const QString& name) const {
    for (const ClassInfo* c = this; c; c = c->m_superclass)
        if (c->m_name == name)
            return true;
    return false;
}

const ClassInfo::Property* ClassInfo::property(const QString& key) const {
    for (const ClassInfo* c = this; c; c = c->m_superclass) {
        for (const auto& [k, p] : c->m_properties)
            if (k.size() == key.size() && k == key)
                return &p;
    }
    return nullptr;
}

QStringList ClassInfo::propertyKeys() const {
    QStringList keys;
    for (const ClassInfo* c = this; c; c = c->m_superclass)
        for (const auto& entry : c->m_properties)
            if (!keys.contains(entry.first))
                keys << entry.first;
    keys.sort();
    return keys;
}

void ClassInfo::registerSelf(const ClassInfo& info, const ClassInfo& (*complete)()) {
    ClassRegistry::registerClass(info, complete);
}

void ClassRegistry::registerClass(const ClassInfo& info, const ClassInfo& (*complete)()) {
    std::lock_guard lock(registryMutex());
    registry().insert(info.name(), Entry{&info, complete});
}

const ClassInfo* ClassRegistry::classNamed(const QString& name) {
    Entry entry;
    {
        std::lock_guard lock(registryMutex());
        entry = registry().value(name);
    }
    // The class may still be adding its keys on the thread that defines it:
    // its staticClassInfo() returns once that is done. Never under the lock.
    if (entry.complete)
        entry.complete();
    return entry.info;
}

ObjectPtr ClassRegistry::create(const QString& name) {
    const ClassInfo* info = classNamed(name);
    return info ? info->create() : nullptr;
}

QStringList ClassRegistry::classNames() {
    std::lock_guard lock(registryMutex());
    QStringList names = registry().keys();
    names.sort();
    return names;
}

QStringList ClassRegistry::subclassesOf(const QString& name) {
    QStringList names;
    std::lock_guard lock(registryMutex());
    for (auto it = registry().cbegin(); it != registry().cend(); ++it)
        if (it.key() != name && it.value().info->isSubclassOf(name))
            names << it.key();
    names.sort();
    return names;
}

} // namespace ondrel
