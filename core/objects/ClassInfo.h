#pragma once

#include "core/objects/Variant.h"

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <memory>

namespace ondrel {

class Object;

// What the system knows of a class at run time: its name, its superclass, a
// factory when it can be made by name, and the table of its key-value coding
// properties. One static ClassInfo per class; the registry finds it by name.
class ClassInfo {
public:
    using Getter = std::function<QVariant(const Object*)>;
    using Setter = std::function<void(Object*, const QVariant&)>;
    using Factory = std::function<ObjectPtr()>;

    struct Property {
        Getter get;
        Setter set;  // empty for read-only keys
    };

    ClassInfo(const QString& name, const ClassInfo* superclass);

    const QString& name() const { return m_name; }
    const ClassInfo* superclass() const { return m_superclass; }
    bool isSubclassOf(const ClassInfo& other) const;  // true for itself
    bool isSubclassOf(const QString& name) const;

    // Looks the key up here, then in the superclasses.
    const Property* property(const QString& key) const;
    QStringList propertyKeys() const;  // own and inherited

    ObjectPtr create() const { return m_factory ? m_factory() : nullptr; }
    bool canCreate() const { return bool(m_factory); }
    // Never made by name: an abstract class, or one whose instances come only
    // from its own accessor. Every other registered class can be made by name.
    bool isAbstract() const { return m_abstract; }

    // Building (used once, in a class's staticClassInfo()).
    ClassInfo& setAbstract() {
        m_abstract = true;
        m_factory = nullptr;
        return *this;
    }
    ClassInfo& setFactory(Factory factory) {
        m_factory = std::move(factory);
        return *this;
    }
    ClassInfo& addProperty(const QString& key, Getter get, Setter set = {}) {
        for (auto& [k, p] : m_properties)
            if (k == key) {
                p = Property{std::move(get), std::move(set)};
                return *this;
            }
        m_properties.emplace_back(key, Property{std::move(get), std::move(set)});
        return *this;
    }

    // Typed helpers: getter and setter are member functions of C.
    template <class C, class R>
    ClassInfo& property(const QString& key, R (C::*get)() const) {
        return addProperty(key, [get](const Object* o) {
            return toVariant((static_cast<const C*>(o)->*get)());
        });
    }
    template <class C, class R, class A>
    ClassInfo& property(const QString& key, R (C::*get)() const, void (C::*set)(A)) {
        using Value = std::decay_t<A>;
        return addProperty(
            key, [get](const Object* o) { return toVariant((static_cast<const C*>(o)->*get)()); },
            [set](Object* o, const QVariant& v) { (static_cast<C*>(o)->*set)(fromVariant<Value>(v)); });
    }
    // Makes and registers the info of class C derived from Base; creatable by
    // name when C is default constructible, abstract when C is. Lives for the
    // process.
    template <class C, class Base>
    static ClassInfo& define(const QString& name);

    template <class C>
    ClassInfo& creatable() {
        return setFactory([] { return std::static_pointer_cast<Object>(std::make_shared<C>()); });
    }

private:
    static void registerSelf(const ClassInfo& info, const ClassInfo& (*complete)());

    QString m_name;
    const ClassInfo* m_superclass;
    Factory m_factory;
    bool m_abstract = false;
    // A class has a few dozen keys at most: a scan that compares lengths first
    // beats hashing the key (Qt's seeded string hash is slow for short keys).
    std::vector<std::pair<QString, Property>> m_properties;
};

template <class C, class Base>
ClassInfo& ClassInfo::define(const QString& name) {
    auto* info = new ClassInfo(name, &Base::staticClassInfo());
    if constexpr (std::is_abstract_v<C>)
        info->setAbstract();
    else if constexpr (std::is_default_constructible_v<C>)
        info->template creatable<C>();
    registerSelf(*info, &C::staticClassInfo);
    return *info;
}

// The one table of classes by name: actions, panels, file processes by command
// name, processors by class name, archived objects.
class ClassRegistry {
public:
    // `complete`, when given, answers the info once its class is fully defined
    // (the class's staticClassInfo): a lookup from another thread waits for it.
    static void registerClass(const ClassInfo& info, const ClassInfo& (*complete)() = nullptr);
    static const ClassInfo* classNamed(const QString& name);
    static ObjectPtr create(const QString& name);  // null for an unknown or abstract class
    static QStringList classNames();
    static QStringList subclassesOf(const QString& name);  // registered, excluding itself
};

// Declares the run-time class of an Object subclass. In the class body:
//   ONDREL_OBJECT(FileEntity, Entity)
// and in the source file define FileEntity::staticClassInfo(), typically:
//   const ClassInfo& FileEntity::staticClassInfo() {
//       static const ClassInfo& info = ClassInfo::define<FileEntity, Entity>("FileEntity")
//           .property("name", &FileEntity::name, &FileEntity::setName);
//       return info;
//   }
#define ONDREL_OBJECT(Class, Base)                                                  \
public:                                                                            \
    using Super = Base;                                                            \
    static const ClassInfo& staticClassInfo();                                     \
    const ClassInfo& classInfo() const override { return Class::staticClassInfo(); } \
                                                                                   \
private:

} // namespace ondrel
