#include "tests/support/engine/TestGenerator.h"

#include "render/processors/AudioProcessSourceConductor.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// Exact in float and never 0, so that no source frame passes for silence.
float sourceValue(int64_t frame, uint32_t channel) { return float(frame + 1) * (channel ? -1.0f : 1.0f); }

struct ConductorCase {
    const char* fault;
    double rate, sourceRate;  // of the mix; of the conductor's input (nothing converts)
    int64_t block, frames;
    double location, length, sourceStart;
    bool reverse;
    int64_t startFrame, endFrame, sourceStartFrame;
    std::vector<VMKFrameRange> pulls;  // (sample time, frames) upstream; unchecked when empty
};
void PrintTo(const ConductorCase& c, std::ostream* os) { *os << c.fault; }

class ConductorTest : public ::testing::TestWithParam<ConductorCase> {};

TEST_P(ConductorTest, PlacesTheStretchOnTheMixExactly) {
    const ConductorCase& c = GetParam();
    auto conductor = std::make_shared<AudioProcessSourceConductor>();
    conductor->setLocation(c.location);
    conductor->setLength(c.length);
    conductor->setSourceStart(c.sourceStart);
    conductor->setReverse(c.reverse);
    auto source = std::make_shared<TestGenerator>(2, c.sourceRate, sourceValue);
    auto head = std::make_shared<TestRecorder>();
    auto stream = std::make_shared<VMKAudioStream>();
    auto output = chainProcessors(*stream, {source, conductor, head});
    output->setSampleRate(c.rate);  // the mix's rate, set as the render sets it
    output->setMaxFrames(c.block);
    head->setFrameCount(c.frames);
    VMKError error;
    ASSERT_TRUE(stream->initialize(&error)) << qPrintable(error.localizedDescription());
    EXPECT_EQ(conductor->inputConnection()->sampleRate(), c.sourceRate);
    ASSERT_TRUE(stream->start(&error)) << qPrintable(error.localizedDescription());

    EXPECT_EQ(conductor->startFrame(), c.startFrame);
    EXPECT_EQ(conductor->endFrame(), c.endFrame);
    EXPECT_EQ(conductor->sourceStartFrame(), c.sourceStartFrame);
    if (!c.pulls.empty()) {
        ASSERT_EQ(source->pulls.size(), c.pulls.size());
        for (size_t i = 0; i < c.pulls.size(); ++i)
            EXPECT_TRUE(source->pulls[i].location == c.pulls[i].location &&
                        source->pulls[i].length == c.pulls[i].length)
                << "pull " << i << " at " << source->pulls[i].location << " of " << source->pulls[i].length;
    }
    ASSERT_EQ(head->recorded.size(), 2u);
    for (uint32_t channel = 0; channel < 2; ++channel)
        for (int64_t m = 0; m < c.frames; ++m) {
            const int64_t frame = c.reverse ? c.sourceStartFrame + c.endFrame - 1 - m : m - c.startFrame + c.sourceStartFrame;
            const float expected = m >= c.startFrame && m < c.endFrame ? sourceValue(frame, channel) : 0.0f;
            ASSERT_EQ(head->recorded[channel].at(size_t(m)), expected) << "mix frame " << m << ", channel " << channel;
        }
}

// At 1000 Hz in blocks of 100, a stretch over [250, 450) straddles the blocks
// at 200 and 400, covers the one at 300 and misses the others.
INSTANTIATE_TEST_SUITE_P(
    Placement, ConductorTest,
    ::testing::Values(
        ConductorCase{"blocks before the start or from the end pull nothing; a straddling block is silent before the "
                      "start and exact after",
                      1000, 1000, 100, 800, 0.25, 0.2, 0.0, false, 250, 450, 0, {{0, 50}, {50, 100}, {150, 50}}},
        ConductorCase{"the source is read from sourceStart on", 1000, 1000, 100, 800, 0.25, 0.2, 0.1, false, 250, 450,
                      100, {{100, 50}, {150, 100}, {250, 50}}},
        ConductorCase{"backwards, the same stretch is read from its end", 1000, 1000, 100, 800, 0.25, 0.25, 0.1, true,
                      250, 500, 100, {{300, 50}, {200, 100}, {100, 100}}},
        ConductorCase{"frames round half away from zero (not to even, not down)", 22053, 22053, 4096, 34000, 0.5, 1.0,
                      0.5, false, 11027, 33080, 11027, {}},
        ConductorCase{"frames count at the mix's rate; a source at another rate keeps it and plays its frames at the "
                      "mix's",
                      1000, 500, 100, 800, 0.25, 0.2, 0.1, false, 250, 450, 100, {{100, 50}, {150, 100}, {250, 50}}}));

} // namespace

} // namespace ondrel
