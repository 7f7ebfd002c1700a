#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "tests/support/process/TestFileEntity.h"

#include <gtest/gtest.h>

#include <limits>

namespace ondrel {

namespace {

struct Source {
    std::optional<double> location;
    std::optional<double> length;
    std::optional<double> sourceStart;
    double fileLength = 10.0;
};

std::shared_ptr<AudioProcessCommandSourceInstructionsGroup> groupOf(const std::vector<Source>& sources) {
    auto group = std::make_shared<AudioProcessCommandSourceInstructionsGroup>();
    for (const Source& s : sources) {
        auto source = std::make_shared<AudioProcessCommandSourceInstructions>();
        source->setFileEntity(std::make_shared<FileEntity>(s.fileLength));
        source->setLocation(s.location);
        source->setLength(s.length);
        source->setSourceStart(s.sourceStart);
        group->insertObjectInSourceInstructionsAtIndex(source, group->countOfSourceInstructions());
    }
    return group;
}

TEST(SourceRange, SpansFromTheEarliestStartToTheLatestEnd) {
    EXPECT_EQ(groupOf({{0.0, 2.0}, {1.0, 3.0}})->range(), (DoubleRange{0.0, 4.0}));
    EXPECT_EQ(groupOf({{5.0, 1.0}})->range(), (DoubleRange{5.0, 1.0}));
    EXPECT_EQ(groupOf({{1.0, 3.0}, {0.0, 2.0}})->range(), (DoubleRange{0.0, 4.0}));
    EXPECT_EQ(groupOf({{2.0, 1.0}, {7.0, 0.5}})->range(), (DoubleRange{2.0, 5.5}));
}

TEST(SourceRange, AnAbsentLocationStartsAtZero) {
    EXPECT_EQ(groupOf({{std::nullopt, 2.0}, {3.0, 1.0}})->range(), (DoubleRange{0.0, 4.0}));
}

TEST(SourceRange, ALengthOfZeroCountsAsTheWholeFileLikeAnAbsentOne) {
    const DoubleRange zero = groupOf({{1.0, 0.0, std::nullopt, 6.0}})->range();
    const DoubleRange absent = groupOf({{1.0, std::nullopt, std::nullopt, 6.0}})->range();
    EXPECT_EQ(zero, (DoubleRange{1.0, 6.0}));
    EXPECT_EQ(absent, zero);
}

TEST(SourceRange, TheFileLengthIsTakenWholeWhateverTheSourceStart) {
    EXPECT_EQ(groupOf({{0.0, std::nullopt, 4.0, 6.0}})->range(), (DoubleRange{0.0, 6.0}));
    // An explicit length is used as it is.
    EXPECT_EQ(groupOf({{0.0, 1.5, 4.0, 6.0}})->range(), (DoubleRange{0.0, 1.5}));
}

TEST(SourceRange, AnEmptyGroupAnswersTheLargestDoubleAndItsNegative) {
    const DoubleRange range = AudioProcessCommandSourceInstructionsGroup().range();
    EXPECT_EQ(range.location, std::numeric_limits<double>::max());
    EXPECT_EQ(range.length, -std::numeric_limits<double>::max());
}

TEST(SourceRange, IsReadableByKey) {
    const QVariant value = groupOf({{0.5, 2.0}})->valueForKey("range");
    ASSERT_TRUE(value.canConvert<DoubleRange>());
    EXPECT_EQ(value.value<DoubleRange>(), (DoubleRange{0.5, 2.0}));
}

TEST(SourceRange, MainSourceIsTheFirstOrAbsent) {
    AudioProcessCommandSourceInstructionsGroup empty;
    EXPECT_EQ(empty.mainSourceInstructions(), nullptr);
    EXPECT_TRUE(Variant::isAbsent(empty.valueForKey("mainSourceInstructions")));

    auto group = groupOf({{0.0, 1.0}, {1.0, 1.0}});
    auto first = group->objectInSourceInstructionsAtIndex(0);
    EXPECT_EQ(group->mainSourceInstructions(), first);
    auto added = std::make_shared<AudioProcessCommandSourceInstructions>();
    group->insertObjectInSourceInstructionsAtIndex(added, 0);
    EXPECT_EQ(group->mainSourceInstructions(), added);
}

} // namespace

} // namespace ondrel
