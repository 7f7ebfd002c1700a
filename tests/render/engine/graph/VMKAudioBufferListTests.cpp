#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/graph/VMKEngineError.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace ondrel {

namespace {
std::shared_ptr<VMKAudioBufferList> makeList(uint32_t channels, int64_t capacity) {
    auto list = VMKAudioBufferList::initWithChannels(channels, capacity);
    for (uint32_t c = 0; c < channels; ++c)
        for (int64_t i = 0; i < capacity; ++i)
            list->channel(c)[i] = float(c * 1000 + i);
    return list;
}
} // namespace

TEST(VMKAudioBufferList, MakesAlignedSilentChannelsAtFullLength) {
    auto list = VMKAudioBufferList::initWithChannels(3, 1001);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->frames(), 1001);
    for (uint32_t c = 0; c < 3; ++c) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(list->channel(c)) % 64, 0u);
        for (int64_t i = 0; i < 1001; ++i)
            ASSERT_EQ(list->channel(c)[i], 0.0f);
    }
    // Channels don't overlap: writing the end of one leaves the next alone.
    list->channel(0)[1000] = 1.0f;
    EXPECT_EQ(list->channel(1)[0], 0.0f);
    EXPECT_EQ(list->bufferAtIndex(1).data, list->channel(1));
    EXPECT_EQ(list->bufferAtIndex(1).dataByteSize, 1001u * 4u);
    EXPECT_EQ(list->bufferAtIndex(3).data, nullptr);
}

TEST(VMKAudioBufferList, RefusesBadShapesWithAnError) {
    VMKError error;
    // No channels, a negative capacity, too much memory, and capacities so
    // large that rounding them up to the alignment overflows.
    for (const auto& [channels, capacity] :
         {std::pair<uint32_t, int64_t>{0, 16}, {2, -1}, {4, int64_t(1) << 50}, {1, std::numeric_limits<int64_t>::max()},
          {1, std::numeric_limits<int64_t>::max() - 7}, {1, int64_t(1) << 62}, {1, (int64_t(1) << 61) + 1}}) {
        error = VMKError();
        EXPECT_FALSE(VMKAudioBufferList::initWithChannels(channels, capacity, &error)) << capacity;
        EXPECT_EQ(error.code(), VMKEngineErrorInvalidArgument) << capacity;
    }
    auto empty = VMKAudioBufferList::initWithChannels(1, 0);
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->energy(), 0.0f);
    empty->reverse();

    auto list = makeList(1, 8);
    EXPECT_TRUE(list->setFrames(0));
    EXPECT_TRUE(list->setFrames(8));
    error = VMKError();
    EXPECT_FALSE(list->setFrames(9, &error));
    EXPECT_TRUE(error.isError());
    EXPECT_FALSE(list->setFrames(-1));
    EXPECT_EQ(list->frames(), 8);
}

TEST(VMKAudioBufferList, CopiesRangesToPositionsAndGrowsTheValidFrames) {
    auto source = makeList(2, 10);
    auto destination = VMKAudioBufferList::initWithChannels(2, 12);
    destination->setFrames(2);
    ASSERT_TRUE(destination->copyFrames({3, 4}, *source, 5));
    EXPECT_EQ(destination->frames(), 9);
    for (uint32_t c = 0; c < 2; ++c) {
        for (int64_t i = 0; i < 5; ++i)
            EXPECT_EQ(destination->channel(c)[i], 0.0f);
        for (int64_t i = 0; i < 4; ++i)
            EXPECT_EQ(destination->channel(c)[5 + i], float(c * 1000 + 3 + i));
        EXPECT_EQ(destination->channel(c)[9], 0.0f);
    }
    // Copying within the frames already valid keeps their count.
    ASSERT_TRUE(destination->copyFrames({0, 2}, *source, 0));
    EXPECT_EQ(destination->frames(), 9);
    EXPECT_EQ(destination->valueAtFrame(1, 1), 1001.0f);

    VMKError error;
    EXPECT_FALSE(destination->copyFrames({8, 3}, *source, 0, &error));  // past the source's frames
    EXPECT_TRUE(error.isError());
    EXPECT_FALSE(destination->copyFrames({0, 4}, *source, 9));  // past the capacity
    EXPECT_FALSE(destination->copyFrames({-1, 2}, *source, 0));
    auto mono = makeList(1, 10);
    EXPECT_FALSE(destination->copyFrames({0, 1}, *mono, 0));  // channel counts differ
    source->setFrames(5);
    EXPECT_FALSE(destination->copyFrames({4, 2}, *source, 0));  // the source's valid frames count
}

TEST(VMKAudioBufferList, CopiesOneChannelIntoAnother) {
    auto mono = makeList(1, 6);
    mono->setFrames(4);
    auto stereo = VMKAudioBufferList::initWithChannels(2, 8);
    stereo->setFrames(0);
    ASSERT_TRUE(stereo->copyChannel(0, *mono, 1));
    EXPECT_EQ(stereo->frames(), 4);
    EXPECT_EQ(stereo->valueAtFrame(3, 1), 3.0f);
    EXPECT_EQ(stereo->valueAtFrame(3, 0), 0.0f);
    EXPECT_EQ(stereo->channel(1)[4], 0.0f);  // only the valid frames were copied
    EXPECT_FALSE(stereo->copyChannel(1, *mono, 0));
    EXPECT_FALSE(stereo->copyChannel(0, *mono, 2));
    auto small = VMKAudioBufferList::initWithChannels(1, 3);
    EXPECT_FALSE(small->copyChannel(0, *mono, 0));
}

TEST(VMKAudioBufferList, ReversesOnlyTheValidFramesOfEveryChannel) {
    for (int64_t frames : {0, 1, 2, 7, 8, 33}) {
        auto list = makeList(2, 40);
        list->setFrames(frames);
        list->reverse();
        for (uint32_t c = 0; c < 2; ++c) {
            for (int64_t i = 0; i < frames; ++i)
                ASSERT_EQ(list->channel(c)[i], float(c * 1000 + frames - 1 - i)) << frames;
            for (int64_t i = frames; i < 40; ++i)
                ASSERT_EQ(list->channel(c)[i], float(c * 1000 + i)) << frames;
        }
    }
}

TEST(VMKAudioBufferList, EnergyIsTheSumOfSquaresOfTheValidFrames) {
    auto list = VMKAudioBufferList::initWithChannels(2, 100);
    for (int64_t i = 0; i < 100; ++i) {
        list->channel(0)[i] = (i % 2) ? 0.5f : -0.5f;
        list->channel(1)[i] = 0.25f;
    }
    EXPECT_FLOAT_EQ(list->energyOfChannel(0), 25.0f);
    EXPECT_FLOAT_EQ(list->energyOfChannel(1), 6.25f);
    EXPECT_FLOAT_EQ(list->energy(), 31.25f);
    list->setFrames(13);
    EXPECT_FLOAT_EQ(list->energyOfChannel(0), 3.25f);
    EXPECT_FLOAT_EQ(list->energy(), 3.25f + 13 * 0.0625f);
    EXPECT_EQ(list->energyOfChannel(2), 0.0f);
    EXPECT_EQ(list->valueAtFrame(13, 0), 0.0f);  // outside the valid frames
    EXPECT_EQ(list->valueAtFrame(12, 1), 0.25f);
    EXPECT_EQ(list->valueAtFrame(-1, 1), 0.0f);
    list->clear();
    list->setFrames(100);
    EXPECT_EQ(list->energy(), 0.0f);
}

} // namespace ondrel
