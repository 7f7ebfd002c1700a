#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "catalog/entities/FileEntity.h"
#include "tests/support/process/TestFileEntities.h"

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
        source->setFileEntity(testFileEntity(s.fileLength));
        source->setLocation(s.location);
        source->setLength(s.length);
        source->setSourceStart(s.sourceStart);
        group->insertObjectInSourceInstructionsAtIndex(source, group->countOfSourceInstructions());
    }
    return group;
}

// From the earliest start to the latest end, in any order; an absent
// location is 0; a length of 0 or none takes the whole file, whatever the
// source start; an explicit length is used as it is.
TEST(SourceRange, SpansFromTheEarliestStartToTheLatestEnd) {
    const std::pair<std::vector<Source>, DoubleRange> rows[] = {
        {{{0.0, 2.0}, {1.0, 3.0}}, {0.0, 4.0}},
        {{{1.0, 3.0}, {0.0, 2.0}}, {0.0, 4.0}},
        {{{5.0, 1.0}}, {5.0, 1.0}},
        {{{2.0, 1.0}, {7.0, 0.5}}, {2.0, 5.5}},
        {{{std::nullopt, 2.0}, {3.0, 1.0}}, {0.0, 4.0}},
        {{{1.0, 0.0, std::nullopt, 6.0}}, {1.0, 6.0}},
        {{{1.0, std::nullopt, std::nullopt, 6.0}}, {1.0, 6.0}},
        {{{0.0, std::nullopt, 4.0, 6.0}}, {0.0, 6.0}},
        {{{0.0, 1.5, 4.0, 6.0}}, {0.0, 1.5}},
    };
    for (size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(groupOf(rows[i].first)->range(), rows[i].second) << "row " << i;
}

TEST(SourceRange, AnEmptyGroupAnswersTheLargestDoubleAndItsNegative) {
    const DoubleRange range = AudioProcessCommandSourceInstructionsGroup().range();
    EXPECT_EQ(range.location, std::numeric_limits<double>::max());
    EXPECT_EQ(range.length, -std::numeric_limits<double>::max());
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
