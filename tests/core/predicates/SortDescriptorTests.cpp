#include "core/values/Date.h"
#include "core/predicates/SortDescriptor.h"

#include <gtest/gtest.h>

#include <QtCore/QStringList>

namespace ondrel {

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
        out << (Variant::isNullOrAbsent(value) ? "-" : Variant::describe(value));
    }
    return out;
}

std::vector<std::shared_ptr<SortDescriptor>> by(std::initializer_list<std::shared_ptr<SortDescriptor>> list) {
    return list;
}

} // namespace

const ClassInfo& SortSample::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<SortSample, Object>("SortSample")
                                       .property("name", &SortSample::name)
                                       .property("startDate", &SortSample::startDate);
    return info;
}

TEST(SortDescriptor, NamesByEachSelectorAndDescending) {
    const QVariantList files = rows({{{"name", "Take 10"}},
                                     {{"name", "take 2"}}, {{"name", "Take 1"}}, {{"name", "ambience"}},
                                     {{"name", "Bass"}}});
    const std::pair<const char*, QStringList> selectors[] = {
        {"localizedStandardCompare:", {"ambience", "Bass", "Take 1", "take 2", "Take 10"}},
        {"compare:", {"Bass", "Take 1", "Take 10", "ambience", "take 2"}},
        {"caseInsensitiveCompare:", {"ambience", "Bass", "Take 1", "Take 10", "take 2"}},
        {"localizedCaseInsensitiveCompare:", {"ambience", "Bass", "Take 1", "Take 10", "take 2"}},
    };
    for (const auto& [selector, expected] : selectors) {
        auto descriptor = SortDescriptor::sortDescriptorWithKey("name", true, selector);
        EXPECT_EQ(column(SortDescriptor::sortedArray(files, by({descriptor})), "name"), expected) << selector;
    }

    // The files area's default: natural order, descending.
    auto natural = SortDescriptor::sortDescriptorWithKey("name", true, "localizedStandardCompare:");
    auto descending = natural->reversedSortDescriptor();
    EXPECT_EQ(column(SortDescriptor::sortedArray(files, by({descending})), "name"),
              (QStringList{"Take 10", "take 2", "Take 1", "Bass", "ambience"}));
    EXPECT_TRUE(descending->reversedSortDescriptor()->isEqual(*natural));
}

TEST(SortDescriptor, AbsentAndNullComeFirstAscending) {
    const QVariantList list = rows({{{"id", "b"}, {"v", 2}},
                                    {{"id", "n"}, {"v", Variant::null()}}, {{"id", "a"}, {"v", 1.5}}, {{"id", "m"}},
                                    {{"id", "c"}, {"v", true}}});
    auto ascending = SortDescriptor::sortDescriptorWithKey("v", true);
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
                                    {{"cat", "eq"}, {"n", 3}, {"id", "2"}}, {{"cat", "fx"}, {"n", 1}, {"id", "3"}},
                                    {{"cat", "eq"}, {"n", 3}, {"id", "4"}}, {{"cat", "fx"}, {"n", 3}, {"id", "5"}}});
    auto byCategory = SortDescriptor::sortDescriptorWithKey("cat", true);
    auto byNumberDown = SortDescriptor::sortDescriptorWithKey("n", false);
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
    auto newest = SortDescriptor::sortDescriptorWithKey("startDate", false);
    EXPECT_EQ(column(SortDescriptor::sortedArray(processes, by({newest})), "name"),
              (QStringList{"third", "second", "first", "none"}));

    // No key: the values themselves.
    auto self = std::make_shared<SortDescriptor>();
    EXPECT_EQ(SortDescriptor::sortedArray({3, 1.5, -2, 10}, by({self})), (QVariantList{-2, 1.5, 3, 10}));
    // Mixed kinds keep a fixed order: nothing, numbers, texts, dates.
    EXPECT_EQ(SortDescriptor::sortedArray({"b", t0, 2, QVariant(), "a", 1}, by({self})),
              (QVariantList{QVariant(), 1, 2, "a", "b", t0}));
}

} // namespace ondrel
