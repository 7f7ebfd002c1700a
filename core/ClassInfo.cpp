#include "core/ClassInfo.h"

#include <QtCore/QHash>

#include <mutex>

namespace {
std::mutex& registryMutex() {
    static std::mutex mutex;
    return mutex;
}
QHash<QString, const ClassInfo*>& registry() {
    static QHash<QString, const ClassInfo*> classes;
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

void ClassInfo::registerSelf(const ClassInfo& info) { ClassRegistry::registerClass(info); }

void ClassRegistry::registerClass(const ClassInfo& info) {
    std::lock_guard lock(registryMutex());
    registry().insert(info.name(), &info);
}

const ClassInfo* ClassRegistry::classNamed(const QString& name) {
    std::lock_guard lock(registryMutex());
    return registry().value(name, nullptr);
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
        if (it.key() != name && it.value()->isSubclassOf(name))
            names << it.key();
    names.sort();
    return names;
}
