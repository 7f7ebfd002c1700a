#include "core/objects/ClassInfo.h"
#include "core/objects/Object.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// Every registered class that says it can be made by name, made by name.
std::vector<ObjectPtr> madeByName() {
    std::vector<ObjectPtr> objects;
    for (const QString& name : ClassRegistry::classNames())
        if (!ClassRegistry::classNamed(name)->isAbstract())
            if (ObjectPtr object = ClassRegistry::create(name))
                objects.push_back(std::move(object));
    return objects;
}

// A stored workflow, archive or stream description names its classes: one
// that can't be made by name is lost on reading, unless it is abstract.
TEST(ClassRegistrySweep, EveryClassIsMadeByNameUnlessItIsAbstract) {
    const QStringList names = ClassRegistry::classNames();
    EXPECT_GT(names.size(), 40) << "the registration functions were not called";
    for (const QString& name : names) {
        const ClassInfo* info = ClassRegistry::classNamed(name);
        ASSERT_TRUE(info) << qPrintable(name);
        if (info->isAbstract()) {
            EXPECT_FALSE(info->canCreate()) << qPrintable(name) << " is abstract but has a factory";
            continue;
        }
        const ObjectPtr object = ClassRegistry::create(name);
        ASSERT_TRUE(object) << qPrintable(name) << " can't be made by name and doesn't say it is abstract";
        EXPECT_EQ(object->className(), name);
    }
}

// Another value of the same kind, or nothing when the kind can't be told
// (absent values, objects, lists, dictionaries, data).
QVariant anotherValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return !value.toBool();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return QVariant::fromValue(value.toLongLong() + 1);
    case QMetaType::Float:
    case QMetaType::Double:
        return value.toDouble() + 0.5;
    case QMetaType::QString:
        return value.toString() + QStringLiteral("1");
    default:
        return QVariant();
    }
}

// A key whose setter doesn't take what its getter answers, or that changes
// without telling its observers, breaks stored workflows, scripting and the
// interface's bindings. Each settable key is set to the value it reads (which
// must read back the same) and, where another value of its kind can be made,
// to that one: any change it makes must be announced. A setter may refuse or
// normalise a value; keys without a setter are read only by declaration.
TEST(ClassRegistrySweep, EveryKeyIsSetAndReadByNameAndChangesAreAnnounced) {
    for (const ObjectPtr& object : madeByName()) {
        const ClassInfo& info = object->classInfo();
        for (const QString& key : info.propertyKeys()) {
            const QString where = object->className() + "." + key;
            const QVariant value = object->valueForKey(key);
            if (!info.property(key)->set)
                continue;
            object->setValueForKey(value, key);
            EXPECT_TRUE(Variant::equal(object->valueForKey(key), value))
                << qPrintable(where) << ": set " << qPrintable(Variant::describe(value)) << ", read "
                << qPrintable(Variant::describe(object->valueForKey(key)));

            const QVariant another = anotherValue(value);
            if (!another.isValid())
                continue;
            int announced = 0;
            const ObservationHandle observation =
                object->observe(key, 0, [&announced](const KeyValueChangeInfo&) { ++announced; });
            object->setValueForKey(another, key);
            if (!Variant::equal(object->valueForKey(key), value)) {
                EXPECT_GE(announced, 1) << qPrintable(where) << " changed without telling its observers";
            }
        }
    }
}

} // namespace

} // namespace ondrel
