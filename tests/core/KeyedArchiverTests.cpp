#include "core/KeyedArchiver.h"
#include "core/KeyedUnarchiver.h"
#include "core/Object.h"
#include "core/PropertyList.h"

#include <QtCore/QSize>

#include <gtest/gtest.h>

#include <limits>

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
        coder.encodeString(name, QStringLiteral("name"));
        coder.encodeInt64(count, QStringLiteral("count"));
        coder.encodeDouble(gain, QStringLiteral("gain"));
        coder.encodeBool(enabled, QStringLiteral("enabled"));
        coder.encodeData(blob, QStringLiteral("blob"));
        coder.encodeObject(payload, QStringLiteral("payload"));
        coder.encodeObject(toVariant(child), QStringLiteral("child"));
        coder.encodeString(QStringLiteral("dollar"), QStringLiteral("$class"));
    }
    void initWithCoder(const KeyedUnarchiver& coder) override {
        name = coder.decodeStringForKey(QStringLiteral("name"));
        count = coder.decodeInt64ForKey(QStringLiteral("count"));
        gain = coder.decodeDoubleForKey(QStringLiteral("gain"));
        enabled = coder.decodeBoolForKey(QStringLiteral("enabled"));
        blob = coder.decodeDataForKey(QStringLiteral("blob"));
        payload = coder.decodeObjectForKey(QStringLiteral("payload"));
        child = Variant::object<ArchiveTestItem>(coder.decodeObjectForKey(QStringLiteral("child")));
        ownDollarKey = coder.decodeStringForKey(QStringLiteral("$class"));
        hadChildKey = coder.containsValueForKey(QStringLiteral("child"));
    }

    QString ownDollarKey;
    bool hadChildKey = false;
};

const ClassInfo& ArchiveTestItem::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ArchiveTestItem, Object>(QStringLiteral("ArchiveTestItem"));
    return info;
}

// Creatable by name, but not archivable.
class ArchiveTestPlain : public Object {
    ONDREL_OBJECT(ArchiveTestPlain, Object)
};

const ClassInfo& ArchiveTestPlain::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ArchiveTestPlain, Object>(QStringLiteral("ArchiveTestPlain"));
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
    EXPECT_EQ(item->ownDollarKey, QStringLiteral("dollar"));
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
    auto item = makeItem(QStringLiteral("Grüße <&>"), std::numeric_limits<qint64>::min());
    item->payload = QVariantMap{{QStringLiteral("when"), QDateTime(QDate(2001, 1, 1), QTime(0, 0, 0, 1), Qt::UTC)}};
    item->child = makeItem(QStringLiteral("inner"), 7);
    item->child->child = makeItem(QStringLiteral("innermost"), 9);

    const QVariant back = roundTrip(Variant::fromObject(item));
    expectSameItem(back, *item);
    const auto backItem = Variant::object<ArchiveTestItem>(back);
    EXPECT_TRUE(Variant::equal(backItem->payload, item->payload)) << Variant::describe(backItem->payload).toStdString();
}

TEST(KeyedArchiver, ObjectsNestInListsAndDictionaries) {
    const auto a = makeItem(QStringLiteral("a"), 1);
    const auto b = makeItem(QStringLiteral("b"), 2);
    const auto c = makeItem(QStringLiteral("c"), 3);
    c->payload = QVariantList{Variant::fromObject(makeItem(QStringLiteral("in payload"), 4)), 5};
    const QVariantMap root{
        {QStringLiteral("list"), QVariantList{Variant::fromObject(a), QStringLiteral("plain"),
                                              QVariantList{Variant::fromObject(b)}}},
        {QStringLiteral("byName"), QVariantMap{{QStringLiteral("c"), Variant::fromObject(c)}}},
        {QStringLiteral("number"), 2.5},
    };
    const QVariantMap back = roundTrip(root).toMap();
    const QVariantList list = back.value(QStringLiteral("list")).toList();
    ASSERT_EQ(list.size(), 3);
    expectSameItem(list[0], *a);
    EXPECT_EQ(list[1].toString(), QStringLiteral("plain"));
    expectSameItem(list[2].toList().value(0), *b);
    const QVariant backC = back.value(QStringLiteral("byName")).toMap().value(QStringLiteral("c"));
    expectSameItem(backC, *c);
    const QVariantList payload = Variant::object<ArchiveTestItem>(backC)->payload.toList();
    ASSERT_EQ(payload.size(), 2);
    EXPECT_EQ(Variant::object<ArchiveTestItem>(payload[0])->name, QStringLiteral("in payload"));
    EXPECT_EQ(payload[1].toLongLong(), 5);
    EXPECT_EQ(back.value(QStringLiteral("number")).toDouble(), 2.5);

    // The same object reached twice comes back as two equal objects.
    const QVariantList twice = roundTrip(QVariantList{Variant::fromObject(a), Variant::fromObject(a)}).toList();
    ASSERT_EQ(twice.size(), 2);
    expectSameItem(twice[0], *a);
    expectSameItem(twice[1], *a);
}

TEST(KeyedArchiver, DictionariesWithDollarKeysStayDictionaries) {
    const QVariantMap tricky{
        {QStringLiteral("$class"), QStringLiteral("ArchiveTestItem")},
        {QStringLiteral("$$class"), QStringLiteral("two")},
        {QStringLiteral("$"), 1},
        {QStringLiteral("name"), QStringLiteral("not an object")},
    };
    const QVariant back = roundTrip(QVariantList{tricky, QVariantMap{{QStringLiteral("inner"), tricky}}});
    ASSERT_TRUE(Variant::isList(back));
    const QVariantList list = back.toList();
    EXPECT_EQ(list[0].typeId(), QMetaType::QVariantMap);
    EXPECT_TRUE(Variant::equal(list[0], tricky)) << Variant::describe(list[0]).toStdString();
    EXPECT_TRUE(Variant::equal(list[1].toMap().value(QStringLiteral("inner")), tricky));

    // Scalars, empty containers and a bare string are roots too.
    EXPECT_EQ(roundTrip(QStringLiteral("$class")).toString(), QStringLiteral("$class"));
    EXPECT_EQ(roundTrip(QVariantMap{}).typeId(), QMetaType::QVariantMap);
    EXPECT_EQ(roundTrip(QVariantList{}).typeId(), QMetaType::QVariantList);
}

TEST(KeyedArchiver, ArchiveHasTheDocumentedShape) {
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(makeItem(QStringLiteral("x"), 1)));
    const QVariantMap document = PropertyList::propertyListWithData(data).toMap();
    EXPECT_EQ(document.value(QStringLiteral("$archiver")).toString(), QStringLiteral("OndrelKeyedArchiver"));
    EXPECT_EQ(document.value(QStringLiteral("$version")).toLongLong(), 1);
    const QVariantMap root =
        document.value(QStringLiteral("$top")).toMap().value(QStringLiteral("root")).toMap();
    EXPECT_EQ(root.value(QStringLiteral("$class")).toString(), QStringLiteral("ArchiveTestItem"));
    EXPECT_EQ(root.value(QStringLiteral("name")).toString(), QStringLiteral("x"));
    EXPECT_EQ(root.value(QStringLiteral("$$class")).toString(), QStringLiteral("dollar"));
    EXPECT_FALSE(root.contains(QStringLiteral("child")));  // absent values are no keys
}

TEST(KeyedArchiver, UnarchivableTreesAreRefused) {
    const auto plain = std::make_shared<ArchiveTestPlain>();
    const auto looped = makeItem(QStringLiteral("loop"), 1);
    looped->child = makeItem(QStringLiteral("middle"), 2);
    looped->child->payload = Variant::fromObject(looped);

    struct Case {
        QVariant root;
        const char* reasonPart;
    };
    const std::vector<Case> cases{
        {QVariantMap{{QStringLiteral("p"), Variant::fromObject(plain)}}, "class ArchiveTestPlain"},
        {QVariantList{1, Variant::null()}, "null marker"},
        {QVariant(), "no root"},
        {Variant::fromObject(looped), "contains itself"},
        {QVariantMap{{QStringLiteral("u"), QVariant::fromValue(QSize(1, 2))}}, "QSize"},
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
    const auto archiveOf = [](const QVariant& root) {
        return PropertyList::dataWithPropertyList(QVariantMap{
            {QStringLiteral("$archiver"), QStringLiteral("OndrelKeyedArchiver")},
            {QStringLiteral("$version"), 1},
            {QStringLiteral("$top"), QVariantMap{{QStringLiteral("root"), root}}},
        });
    };
    const QVariantMap unknown{{QStringLiteral("$class"), QStringLiteral("NoSuchClassAnywhere")}};
    EXPECT_TRUE(unarchiveError(archiveOf(QVariantList{1, unknown})).reason().contains(QStringLiteral("NoSuchClassAnywhere")));

    // An unknown class deep inside an object fails the whole read.
    QVariantMap outer{{QStringLiteral("$class"), QStringLiteral("ArchiveTestItem")},
                      {QStringLiteral("child"), unknown}};
    EXPECT_TRUE(unarchiveError(archiveOf(outer)).reason().contains(QStringLiteral("unknown class")));

    const QVariantMap notArchivable{{QStringLiteral("$class"), QStringLiteral("ArchiveTestPlain")}};
    EXPECT_TRUE(unarchiveError(archiveOf(notArchivable)).reason().contains(QStringLiteral("not archivable")));

    EXPECT_TRUE(unarchiveError(PropertyList::dataWithPropertyList(QVariantMap{{QStringLiteral("a"), 1}}))
                    .reason()
                    .contains(QStringLiteral("not a keyed archive")));
    EXPECT_TRUE(unarchiveError(PropertyList::dataWithPropertyList(QVariantMap{
                                   {QStringLiteral("$archiver"), QStringLiteral("OndrelKeyedArchiver")},
                                   {QStringLiteral("$version"), 2},
                                   {QStringLiteral("$top"), QVariantMap{{QStringLiteral("root"), 1}}}}))
                    .reason()
                    .contains(QStringLiteral("newer")));
    EXPECT_TRUE(unarchiveError(PropertyList::dataWithPropertyList(QVariantMap{
                                   {QStringLiteral("$archiver"), QStringLiteral("OndrelKeyedArchiver")},
                                   {QStringLiteral("$version"), 1},
                                   {QStringLiteral("$top"), QVariantMap{}}}))
                    .reason()
                    .contains(QStringLiteral("no root")));

    const VMKError garbage = unarchiveError(QByteArray("\x00\x01garbage", 9));
    EXPECT_TRUE(garbage.reason().contains(QStringLiteral("line"))) << garbage.reason().toStdString();
    EXPECT_EQ(garbage.action(), QStringLiteral("Reading the keyed archive"));
    unarchiveError(QByteArray());
}

TEST(KeyedArchiver, DecodersAnswerDefaultsForMissingOrMistypedKeys) {
    const QByteArray data = PropertyList::dataWithPropertyList(QVariantMap{
        {QStringLiteral("$archiver"), QStringLiteral("OndrelKeyedArchiver")},
        {QStringLiteral("$version"), 1},
        {QStringLiteral("$top"),
         QVariantMap{{QStringLiteral("root"), QVariantMap{{QStringLiteral("$class"), QStringLiteral("ArchiveTestItem")},
                                                          {QStringLiteral("name"), 12},
                                                          {QStringLiteral("count"), QStringLiteral("many")}}}}},
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
