#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/objects/Object.h"
#include "core/storage/PropertyList.h"

#include <QtCore/QSize>

#include <gtest/gtest.h>

#include <limits>

namespace ondrel {

namespace {

// A small archivable record with every kind of encoded key.
class ArchiveTestItem : public Object {
    ONDREL_OBJECT(ArchiveTestItem, Object)
public:
    QString name;
    qint64 count = 0;
    double gain = 0.0;
    bool enabled = false;
    QByteArray blob;
    QVariant payload;  // any value, objects included
    std::shared_ptr<ArchiveTestItem> child;

    bool isArchivable() const override { return true; }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeString(name, "name");
        coder.encodeInt64(count, "count");
        coder.encodeDouble(gain, "gain");
        coder.encodeBool(enabled, "enabled");
        coder.encodeData(blob, "blob");
        coder.encodeObject(payload, "payload");
        coder.encodeObject(toVariant(child), "child");
        coder.encodeString("dollar", "$class");
    }
    void initWithCoder(const KeyedUnarchiver& coder) override {
        name = coder.decodeStringForKey("name");
        count = coder.decodeInt64ForKey("count");
        gain = coder.decodeDoubleForKey("gain");
        enabled = coder.decodeBoolForKey("enabled");
        blob = coder.decodeDataForKey("blob");
        payload = coder.decodeObjectForKey("payload");
        child = Variant::object<ArchiveTestItem>(coder.decodeObjectForKey("child"));
        ownDollarKey = coder.decodeStringForKey("$class");
        hadChildKey = coder.containsValueForKey("child");
    }

    QString ownDollarKey;
    bool hadChildKey = false;
};

const ClassInfo& ArchiveTestItem::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ArchiveTestItem, Object>("ArchiveTestItem");
    return info;
}

// Creatable by name, but not archivable.
class ArchiveTestPlain : public Object {
    ONDREL_OBJECT(ArchiveTestPlain, Object)
};

const ClassInfo& ArchiveTestPlain::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ArchiveTestPlain, Object>("ArchiveTestPlain");
    return info;
}

std::shared_ptr<ArchiveTestItem> makeItem(const QString& name, qint64 count) {
    auto item = std::make_shared<ArchiveTestItem>();
    item->name = name;
    item->count = count;
    item->gain = -6.02;
    item->enabled = count % 2 == 1;
    for (int i = 0; i < 256; ++i)
        item->blob.append(char(i));
    return item;
}

QVariant roundTrip(const QVariant& root) {
    VMKError error;
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(root, &error);
    EXPECT_FALSE(error) << error.localizedDescription().toStdString();
    const QVariant back = KeyedUnarchiver::unarchiveObjectWithData(data, &error);
    EXPECT_FALSE(error) << error.localizedDescription().toStdString() << "\n" << data.toStdString();
    return back;
}

void expectSameItem(const QVariant& value, const ArchiveTestItem& original) {
    const auto item = Variant::object<ArchiveTestItem>(value);
    ASSERT_TRUE(item) << Variant::describe(value).toStdString();
    EXPECT_NE(item.get(), &original);
    EXPECT_EQ(item->name, original.name);
    EXPECT_EQ(item->count, original.count);
    EXPECT_EQ(item->gain, original.gain);
    EXPECT_EQ(item->enabled, original.enabled);
    EXPECT_EQ(item->blob, original.blob);
    EXPECT_EQ(item->ownDollarKey, "dollar");
    EXPECT_EQ(item->hadChildKey, bool(original.child));
    EXPECT_EQ(bool(item->child), bool(original.child));
    if (item->child && original.child)
        expectSameItem(Variant::fromObject(item->child), *original.child);
}

VMKError unarchiveError(const QByteArray& data) {
    VMKError error;
    EXPECT_FALSE(KeyedUnarchiver::unarchiveObjectWithData(data, &error).isValid());
    EXPECT_TRUE(error.isError());
    return error;
}

} // namespace

TEST(KeyedArchiver, ObjectRoundTripsWithEveryKind) {
    auto item = makeItem("Grüße <&>", std::numeric_limits<qint64>::min());
    item->payload = QVariantMap{{"when", QDateTime(QDate(2001, 1, 1), QTime(0, 0, 0, 1), Qt::UTC)}};
    item->child = makeItem("inner", 7);
    item->child->child = makeItem("innermost", 9);

    const QVariant back = roundTrip(Variant::fromObject(item));
    expectSameItem(back, *item);
    const auto backItem = Variant::object<ArchiveTestItem>(back);
    EXPECT_TRUE(Variant::equal(backItem->payload, item->payload)) << Variant::describe(backItem->payload).toStdString();
}

TEST(KeyedArchiver, ObjectsNestInListsAndDictionaries) {
    const auto a = makeItem("a", 1);
    const auto b = makeItem("b", 2);
    const auto c = makeItem("c", 3);
    c->payload = QVariantList{Variant::fromObject(makeItem("in payload", 4)), 5};
    const QVariantMap root{
        {"list", QVariantList{Variant::fromObject(a), "plain", QVariantList{Variant::fromObject(b)}}},
        {"byName", QVariantMap{{"c", Variant::fromObject(c)}}},
        {"number", 2.5},
    };
    const QVariantMap back = roundTrip(root).toMap();
    const QVariantList list = back.value("list").toList();
    ASSERT_EQ(list.size(), 3);
    expectSameItem(list[0], *a);
    EXPECT_EQ(list[1].toString(), "plain");
    expectSameItem(list[2].toList().value(0), *b);
    const QVariant backC = back.value("byName").toMap().value("c");
    expectSameItem(backC, *c);
    const QVariantList payload = Variant::object<ArchiveTestItem>(backC)->payload.toList();
    ASSERT_EQ(payload.size(), 2);
    EXPECT_EQ(Variant::object<ArchiveTestItem>(payload[0])->name, "in payload");
    EXPECT_EQ(payload[1].toLongLong(), 5);
    EXPECT_EQ(back.value("number").toDouble(), 2.5);

    // The same object reached twice comes back as two equal objects.
    const QVariantList twice = roundTrip(QVariantList{Variant::fromObject(a), Variant::fromObject(a)}).toList();
    ASSERT_EQ(twice.size(), 2);
    expectSameItem(twice[0], *a);
    expectSameItem(twice[1], *a);
}

TEST(KeyedArchiver, DictionariesWithDollarKeysStayDictionaries) {
    const QVariantMap tricky{
        {"$class", "ArchiveTestItem"},
        {"$$class", "two"},
        {"$", 1},
        {"name", "not an object"},
    };
    const QVariant back = roundTrip(QVariantList{tricky, QVariantMap{{"inner", tricky}}});
    ASSERT_TRUE(Variant::isList(back));
    const QVariantList list = back.toList();
    EXPECT_EQ(list[0].typeId(), QMetaType::QVariantMap);
    EXPECT_TRUE(Variant::equal(list[0], tricky)) << Variant::describe(list[0]).toStdString();
    EXPECT_TRUE(Variant::equal(list[1].toMap().value("inner"), tricky));

    // Scalars, empty containers and a bare string are roots too.
    EXPECT_EQ(roundTrip("$class").toString(), "$class");
    EXPECT_EQ(roundTrip(QVariantMap{}).typeId(), QMetaType::QVariantMap);
    EXPECT_EQ(roundTrip(QVariantList{}).typeId(), QMetaType::QVariantList);
}

TEST(KeyedArchiver, ArchiveHasTheDocumentedShape) {
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(makeItem("x", 1)));
    const QVariantMap document = PropertyList::propertyListWithData(data).toMap();
    EXPECT_EQ(document.value("$archiver").toString(), "OndrelKeyedArchiver");
    EXPECT_EQ(document.value("$version").toLongLong(), 1);
    const QVariantMap root = document.value("$top").toMap().value("root").toMap();
    EXPECT_EQ(root.value("$class").toString(), "ArchiveTestItem");
    EXPECT_EQ(root.value("name").toString(), "x");
    EXPECT_EQ(root.value("$$class").toString(), "dollar");
    EXPECT_FALSE(root.contains("child"));  // absent values are no keys
}

TEST(KeyedArchiver, UnarchivableTreesAreRefused) {
    const auto plain = std::make_shared<ArchiveTestPlain>();
    const auto looped = makeItem("loop", 1);
    looped->child = makeItem("middle", 2);
    looped->child->payload = Variant::fromObject(looped);

    struct Case {
        QVariant root;
        const char* reasonPart;
    };
    const std::vector<Case> cases{
        {QVariantMap{{"p", Variant::fromObject(plain)}}, "class ArchiveTestPlain"},
        {QVariantList{1, Variant::null()}, "null marker"},
        {QVariant(), "no root"},
        {Variant::fromObject(looped), "contains itself"},
        {QVariantMap{{"u", QVariant::fromValue(QSize(1, 2))}}, "QSize"},
    };
    for (const Case& c : cases) {
        VMKError error;
        EXPECT_TRUE(KeyedArchiver::archivedDataWithRootObject(c.root, &error).isNull());
        EXPECT_TRUE(error.isError());
        EXPECT_TRUE(error.reason().contains(QLatin1String(c.reasonPart))) << error.reason().toStdString();
    }
    looped->child.reset();  // break the cycle so the objects go away
}

TEST(KeyedArchiver, BadArchivesAreRefusedWithClearErrors) {
    ArchiveTestPlain::staticClassInfo();
    ArchiveTestItem::staticClassInfo();
    const auto archive = [](const QVariant& top, int version = 1) {
        return PropertyList::dataWithPropertyList(
            QVariantMap{{"$archiver", "OndrelKeyedArchiver"}, {"$version", version}, {"$top", top}});
    };
    const QVariantMap unknown{{"$class", "NoSuchClassAnywhere"}};
    const QByteArray good = archive(QVariantMap{{"root", QVariantMap{{"$class", "ArchiveTestItem"}, {"name", "x"}}}});
    const std::pair<QByteArray, const char*> cases[] = {
        {archive(QVariantMap{{"root", QVariantList{1, unknown}}}), "NoSuchClassAnywhere"},
        // An unknown class deep inside an object fails the whole read.
        {archive(QVariantMap{{"root", QVariantMap{{"$class", "ArchiveTestItem"}, {"child", unknown}}}}),
         "unknown class"},
        {archive(QVariantMap{{"root", QVariantMap{{"$class", "ArchiveTestPlain"}}}}), "not archivable"},
        {archive(QVariantMap{{"root", QVariantMap{{"$class", ""}}}}), "unknown class"},
        {archive(QVariantMap{{"root", QVariantMap{{"$class", 42}}}}), ""},
        {archive(QVariantMap{{"root", QVariantMap{{"$class", QVariantList{"ArchiveTestItem"}}}}}), ""},
        {PropertyList::dataWithPropertyList(QVariantMap{{"a", 1}}), "not a keyed archive"},
        {PropertyList::dataWithPropertyList(QVariantList{"$archiver", "OndrelKeyedArchiver"}), "not a keyed archive"},
        {archive(QVariantMap{{"root", 1}}, 2), "newer"},
        {archive(QVariantMap{}), "no root"}, {archive("root"), ""}, {archive(QVariantList{1}), ""},
        // Not a property list at all, or cut short.
        {QByteArray("\x00\x01garbage", 9), "line"}, {QByteArray(), ""}, {good.left(good.size() / 2), "line"},
        {good.left(good.size() - 12), "line"}, {QByteArray(good).replace("ArchiveTestItem", "\xff\xfe"), "line"},
    };
    for (const auto& [data, reasonPart] : cases) {
        const VMKError error = unarchiveError(data);
        EXPECT_TRUE(error.reason().contains(QLatin1String(reasonPart))) << error.reason().toStdString();
        EXPECT_EQ(error.action(), "Reading the keyed archive");
    }
}

TEST(KeyedArchiver, DecodersAnswerDefaultsForMissingOrMistypedKeys) {
    const QByteArray data = PropertyList::dataWithPropertyList(QVariantMap{
        {"$archiver", "OndrelKeyedArchiver"},
        {"$version", 1},
        {"$top", QVariantMap{{"root", QVariantMap{{"$class", "ArchiveTestItem"}, {"name", 12}, {"count", "many"}}}}},
    });
    ArchiveTestItem::staticClassInfo();
    const auto item = Variant::object<ArchiveTestItem>(KeyedUnarchiver::unarchiveObjectWithData(data));
    ASSERT_TRUE(item);
    EXPECT_TRUE(item->name.isNull());
    EXPECT_EQ(item->count, 0);
    EXPECT_FALSE(item->enabled);
    EXPECT_TRUE(item->blob.isEmpty());
    EXPECT_FALSE(item->payload.isValid());
    EXPECT_FALSE(item->hadChildKey);
}

} // namespace ondrel
