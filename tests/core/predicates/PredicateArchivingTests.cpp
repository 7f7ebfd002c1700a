#include "core/predicates/CompoundPredicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/predicates/Predicate.h"
#include "core/predicates/SortDescriptor.h"

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

TEST(PredicateArchiving, ABrokenArchivedFormatFailsTheRead) {
    auto predicate = Predicate::predicateWithFormat("type == \"loop\"");
    QByteArray data = KeyedArchiver::archivedDataWithRootObject(toVariant(predicate));
    data.replace("type ==", "type == ==");
    VMKError error;
    EXPECT_FALSE(KeyedUnarchiver::unarchiveObjectWithData(data, &error).isValid());
    EXPECT_TRUE(error.isError());
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
