#include "core/predicates/CompoundPredicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/predicates/Predicate.h"
#include "core/predicates/SortDescriptor.h"
#include "core/storage/PropertyList.h"

#include <gtest/gtest.h>

namespace ondrel {

// Filters and sort orders are stored in the defaults as keyed archives.

TEST(PredicateArchiving, TheDefaultFilterRoundTripsAndStillFilters) {
    auto sampleRate = Predicate::predicateWithFormat("sampleRate == %@", {48000});
    ASSERT_TRUE(sampleRate);
    auto filter = Predicate::andPredicateWithSubpredicates({sampleRate});
    VMKError error;
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(toVariant(filter), &error);
    ASSERT_FALSE(data.isEmpty()) << error.localizedDescription().toStdString();

    const auto back = Variant::object<Predicate>(KeyedUnarchiver::unarchiveObjectWithData(data, &error));
    ASSERT_TRUE(back) << error.localizedDescription().toStdString();
    EXPECT_TRUE(back->isEqual(*filter));
    EXPECT_TRUE(back->evaluateWithObject(QVariantMap{{"sampleRate", 48000.0}}));
    EXPECT_FALSE(back->evaluateWithObject(QVariantMap{{"sampleRate", 44100}}));
}

TEST(PredicateArchiving, CompoundsWithTextsAndModifiersRoundTrip) {
    const QString search = "Kick \"Deep\" 'n' 100%";
    auto predicate = Predicate::predicateWithFormat(
        "name CONTAINS[cd] %@ OR category CONTAINS[cd] %@ OR NOT (favorite == YES)", {search, search});
    ASSERT_TRUE(predicate);
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(QVariantList{toVariant(predicate)});
    const QVariantList list = KeyedUnarchiver::unarchiveObjectWithData(data).toList();
    ASSERT_EQ(list.size(), 1);
    const auto back = Variant::object<Predicate>(list.first());
    ASSERT_TRUE(back);
    EXPECT_EQ(back->predicateFormat(), predicate->predicateFormat());
    EXPECT_TRUE(back->evaluateWithObject(QVariantMap{{"name", "a kick \"deep\" 'N' 100% b"}, {"favorite", true}}));
}

TEST(PredicateArchiving, BrokenArchivedPredicatesFailTheReadOrReadInert) {
    const auto archive = [](const QVariantMap& root) {
        return PropertyList::dataWithPropertyList(QVariantMap{
            {"$archiver", "OndrelKeyedArchiver"}, {"$version", 1}, {"$top", QVariantMap{{"root", root}}}});
    };
    const QVariantMap broken[] = {
        {{"$class", "ComparisonPredicate"}, {"predicateFormat", "type == == 'loop'"}},
        {{"$class", "ComparisonPredicate"}},
        {{"$class", "ComparisonPredicate"}, {"predicateFormat", 12}},
        {{"$class", "ComparisonPredicate"}, {"predicateFormat", QString("(").repeated(100000) + "a == 1"}},
        {{"$class", "CompoundPredicate"}, {"subpredicates", QVariantList{QVariantMap{{"$class", "Nothing"}}}}},
    };
    for (const QVariantMap& root : broken) {
        VMKError error;
        EXPECT_FALSE(KeyedUnarchiver::unarchiveObjectWithData(archive(root), &error).isValid())
            << qPrintable(Variant::describe(root).left(200));
        EXPECT_TRUE(error.isError());
    }
    // A compound of an unknown kind, or with subpredicates of the wrong type,
    // reads as a compound of nothing, which holds for everything.
    const QVariantMap inert[] = {
        {{"$class", "CompoundPredicate"}, {"compoundPredicateType", 99}, {"subpredicates", "x"}},
        {{"$class", "CompoundPredicate"}, {"compoundPredicateType", "Not"}, {"subpredicates", QVariantList{1, "a"}}},
    };
    for (const QVariantMap& root : inert) {
        const auto back = Variant::object<Predicate>(KeyedUnarchiver::unarchiveObjectWithData(archive(root)));
        ASSERT_TRUE(back) << qPrintable(Variant::describe(root));
        EXPECT_TRUE(back->evaluateWithObject(QVariant(1)));
    }
}

TEST(SortDescriptorArchiving, KeyDirectionAndSelectorRoundTrip) {
    const QVariantList descriptors{
        toVariant(SortDescriptor::sortDescriptorWithKey("name", false, "localizedStandardCompare:")),
        toVariant(SortDescriptor::sortDescriptorWithKey("dateAdded", true)),
        toVariant(SortDescriptor::sortDescriptorWithKey("name", true, "caseInsensitiveCompare:"))};
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(descriptors);
    const QVariantList back = KeyedUnarchiver::unarchiveObjectWithData(data).toList();
    ASSERT_EQ(back.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const auto original = Variant::object<SortDescriptor>(descriptors[i]);
        const auto copy = Variant::object<SortDescriptor>(back[i]);
        ASSERT_TRUE(copy);
        EXPECT_EQ(copy->key(), original->key());
        EXPECT_EQ(copy->isAscending(), original->isAscending());
        EXPECT_EQ(copy->selector(), original->selector());
    }
}

} // namespace ondrel
