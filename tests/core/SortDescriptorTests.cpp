#include "core/Date.h"
#include "core/SortDescriptor.h"

#include <gtest/gtest.h>

#include <QtCore/QStringList>

namespace {

class SortSample : public Object {
    ONDREL_OBJECT(SortSample, Object)
public:
    static ObjectPtr make(const QString& name, QVariant startDate = {}) {
        auto s = std::make_shared<SortSample>();
        s->m_name = name;
        s->m_startDate = std::move(startDate);
        return s;
    }
    QString name() const { return m_name; }
    QVariant startDate() const { return m_startDate; }

private:
    QString m_name;
    QVariant m_startDate;
};

QVariantList rows(std::initializer_list<QVariantMap> maps) {
    QVariantList list;
    for (const QVariantMap& m : maps)
        list << m;
    return list;
}

QStringList column(const QVariantList& list, const QString& key) {
    QStringList out;
    for (const QVariant& v : list) {
        const QVariant value = Object::valueForKeyPath(v, key);
        out << (Variant::isNullOrAbsent(value) ? QStringLiteral("-") : Variant::describe(value));
    }
    return out;
}

std::vector<std::shared_ptr<SortDescriptor>> by(std::initializer_list<std::shared_ptr<SortDescriptor>> list) {
    return list;
}

} // namespace

const ClassInfo& SortSample::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<SortSample, Object>(QStringLiteral("SortSample"))
                                       .property(QStringLiteral("name"), &SortSample::name)
                                       .property(QStringLiteral("startDate"), &SortSample::startDate);
    return info;
}

TEST(SortDescriptor, NamesInNaturalOrderBothWays) {
    const QVariantList files = rows({{{"name", "Take 10"}},
                                     {{"name", "take 2"}},
                                     {{"name", "Take 1"}},
                                     {{"name", "ambience"}},
                                     {{"name", "Bass"}}});
    auto natural = SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), true,
                                                         QStringLiteral("localizedStandardCompare:"));
    EXPECT_EQ(column(SortDescriptor::sortedArray(files, by({natural})), "name"),
              (QStringList{"ambience", "Bass", "Take 1", "take 2", "Take 10"}));
    // The files area's default: the same, descending.
    auto descending = natural->reversedSortDescriptor();
    EXPECT_FALSE(descending->isAscending());
    EXPECT_EQ(descending->key(), QStringLiteral("name"));
    EXPECT_EQ(descending->selector(), QStringLiteral("localizedStandardCompare:"));
    EXPECT_EQ(column(SortDescriptor::sortedArray(files, by({descending})), "name"),
              (QStringList{"Take 10", "take 2", "Take 1", "Bass", "ambience"}));
    EXPECT_TRUE(descending->reversedSortDescriptor()->isEqual(*natural));

    auto literal = SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), true);
    EXPECT_EQ(literal->selector(), QStringLiteral("compare:"));
    EXPECT_EQ(column(SortDescriptor::sortedArray(files, by({literal})), "name"),
              (QStringList{"Bass", "Take 1", "Take 10", "ambience", "take 2"}));
    auto folded =
        SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), true, QStringLiteral("caseInsensitiveCompare:"));
    EXPECT_EQ(column(SortDescriptor::sortedArray(files, by({folded})), "name"),
              (QStringList{"ambience", "Bass", "Take 1", "Take 10", "take 2"}));
    auto collated = SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), true,
                                                          QStringLiteral("localizedCaseInsensitiveCompare:"));
    EXPECT_EQ(column(SortDescriptor::sortedArray(files, by({collated})), "name"),
              (QStringList{"ambience", "Bass", "Take 1", "Take 10", "take 2"}));
}

TEST(SortDescriptor, AbsentAndNullComeFirstAscending) {
    const QVariantList list = rows({{{"id", "b"}, {"v", 2}},
                                    {{"id", "n"}, {"v", Variant::null()}},
                                    {{"id", "a"}, {"v", 1.5}},
                                    {{"id", "m"}},
                                    {{"id", "c"}, {"v", true}}});
    auto ascending = SortDescriptor::sortDescriptorWithKey(QStringLiteral("v"), true);
    EXPECT_EQ(column(SortDescriptor::sortedArray(list, by({ascending})), "id"),
              (QStringList{"n", "m", "c", "a", "b"}));  // true counts as 1
    EXPECT_EQ(column(SortDescriptor::sortedArray(list, by({ascending->reversedSortDescriptor()})), "id"),
              (QStringList{"b", "a", "c", "n", "m"}));  // ties keep their order
    EXPECT_LT(ascending->compareObjects(QVariantMap{}, QVariantMap{{"v", -100}}), 0);
    EXPECT_GT(ascending->compareObjects(QVariantMap{{"v", -100}}, QVariantMap{{"v", Variant::null()}}), 0);
    EXPECT_EQ(ascending->compareObjects(QVariantMap{}, QVariantMap{{"v", Variant::null()}}), 0);
    EXPECT_EQ(ascending->compareObjects(QVariantMap{{"v", 2}}, QVariantMap{{"v", 2.0}}), 0);
}

TEST(SortDescriptor, SeveralKeysAndStability) {
    const QVariantList list = rows({{{"cat", "fx"}, {"n", 3}, {"id", "1"}},
                                    {{"cat", "eq"}, {"n", 3}, {"id", "2"}},
                                    {{"cat", "fx"}, {"n", 1}, {"id", "3"}},
                                    {{"cat", "eq"}, {"n", 3}, {"id", "4"}},
                                    {{"cat", "fx"}, {"n", 3}, {"id", "5"}}});
    auto byCategory = SortDescriptor::sortDescriptorWithKey(QStringLiteral("cat"), true);
    auto byNumberDown = SortDescriptor::sortDescriptorWithKey(QStringLiteral("n"), false);
    EXPECT_EQ(column(SortDescriptor::sortedArray(list, by({byCategory, byNumberDown})), "id"),
              (QStringList{"2", "4", "1", "5", "3"}));
    EXPECT_EQ(column(SortDescriptor::sortedArray(list, by({byNumberDown})), "id"),
              (QStringList{"1", "2", "4", "5", "3"}));
    EXPECT_EQ(SortDescriptor::sortedArray(list, {}), list);
    EXPECT_EQ(SortDescriptor::sortedArray({}, by({byCategory})), QVariantList());
}

TEST(SortDescriptor, ObjectsDatesAndPlainValues) {
    const QDateTime t0 = Date::dateWithTimeIntervalSinceReferenceDate(1000.0);
    const QVariantList processes{Variant::fromObject(SortSample::make("second", t0.addSecs(60))),
                                 Variant::fromObject(SortSample::make("none")),
                                 Variant::fromObject(SortSample::make("third", t0.addSecs(120))),
                                 Variant::fromObject(SortSample::make("first", t0))};
    // The activity list: newest first.
    auto newest = SortDescriptor::sortDescriptorWithKey(QStringLiteral("startDate"), false);
    EXPECT_EQ(column(SortDescriptor::sortedArray(processes, by({newest})), "name"),
              (QStringList{"third", "second", "first", "none"}));

    // No key: the values themselves.
    auto self = std::make_shared<SortDescriptor>();
    EXPECT_TRUE(self->key().isEmpty());
    EXPECT_TRUE(self->isAscending());
    EXPECT_EQ(SortDescriptor::sortedArray({3, 1.5, -2, 10}, by({self})), (QVariantList{-2, 1.5, 3, 10}));
    // Mixed kinds keep a fixed order: nothing, numbers, texts, dates.
    EXPECT_EQ(SortDescriptor::sortedArray({"b", t0, 2, QVariant(), "a", 1}, by({self})),
              (QVariantList{QVariant(), 1, 2, "a", "b", t0}));

    // Key-value coding sees the descriptor.
    auto d = SortDescriptor::sortDescriptorWithKey(QStringLiteral("name"), false,
                                                   QStringLiteral("localizedStandardCompare:"));
    EXPECT_EQ(d->valueForKey(QStringLiteral("key")).toString(), QStringLiteral("name"));
    EXPECT_EQ(d->valueForKey(QStringLiteral("ascending")).toBool(), false);
    EXPECT_EQ(d->valueForKey(QStringLiteral("selector")).toString(), QStringLiteral("localizedStandardCompare:"));
    EXPECT_TRUE(ClassRegistry::create(QStringLiteral("SortDescriptor")));
}
