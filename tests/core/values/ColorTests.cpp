#include "core/values/Color.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/predicates/SortDescriptor.h"

#include <gtest/gtest.h>

namespace ondrel {

TEST(ColorTest, ArchivesRoundTripAndCompareByComponents) {
    const auto color = Color::colorWithHue(0.1, 0.25, 0.5, 0.75);
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(color));
    const auto back = Variant::object<Color>(KeyedUnarchiver::unarchiveObjectWithData(data));
    ASSERT_TRUE(back);
    EXPECT_NE(back.get(), color.get());
    EXPECT_TRUE(back->isEqual(*color));
    EXPECT_EQ(back->valueForKey("alphaComponent").toDouble(), 0.75);
    EXPECT_FALSE(back->isEqual(*Color::colorWithHue(0.1, 0.25, 0.5, 1.0)));
    EXPECT_FALSE(back->isEqual(*Color::colorWithHue(0.1, 0.25, 0.4, 0.75)));
    EXPECT_FALSE(Color::ondrelGreenColor()->isEqual(SortDescriptor()));
}

TEST(ColorTest, ArchiveWithoutAlphaIsOpaque) {
    QByteArray data = KeyedArchiver::archivedDataWithRootObject(Variant::fromObject(Color::colorWithHue(0.2, 0.3, 0.4, 0.5)));
    data.replace("<key>alpha</key>", "<key>other</key>");
    const auto back = Variant::object<Color>(KeyedUnarchiver::unarchiveObjectWithData(data));
    ASSERT_TRUE(back);
    EXPECT_DOUBLE_EQ(back->brightnessComponent(), 0.4);
    EXPECT_DOUBLE_EQ(back->alphaComponent(), 1.0);
}

} // namespace ondrel
