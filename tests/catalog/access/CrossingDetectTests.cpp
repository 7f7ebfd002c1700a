#include "catalog/entities/FileEntity.h"
#include "tests/support/catalog/CatalogTestSupport.h"

using namespace ondrel;

namespace {

using CrossingDetectTest = CatalogTest;

// Binary fractions of a second are exact at this rate.
constexpr double kRate = 8192.0;

enum class Search { ZeroBefore, ZeroAfter, ZeroNearest, LevelBefore, LevelAfter };

struct CrossingCase {
    const char* what;
    Search search;
    double fromFrame;
    float threshold;  // for the level searches
    double expectedFrame;
};

double find(FileEntity& file, const CrossingCase& c) {
    const double location = c.fromFrame / kRate;
    switch (c.search) {
    case Search::ZeroBefore: return file.locationOfZeroCrossingBefore(location);
    case Search::ZeroAfter: return file.locationOfZeroCrossingAfter(location);
    case Search::ZeroNearest: return file.locationOfNearestZeroCrossingTo(location);
    case Search::LevelBefore: return file.locationOfThresholdCrossingBefore(location, c.threshold);
    case Search::LevelAfter: return file.locationOfThresholdCrossingAfter(location, c.threshold);
    }
    return -1.0;
}

void expectCases(FileEntity& file, const std::vector<CrossingCase>& cases) {
    for (const CrossingCase& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_NEAR(find(file, c) * kRate, c.expectedFrame, 1e-6);
    }
    EXPECT_FALSE(file.isLoaded());  // each search unloads what it loaded
}

} // namespace

// Zero crossings are searched in blocks of 1024 frames, so a block's own
// location must carry into the answer, forwards and backwards (reversed
// block). The one sign change is at frame 1500, in the second block; silence
// past the end has the sign of the last samples, and silence before the start
// gives a change at frame 0. A start far outside the file answers as a near
// one would, instead of walking block by block through silence.
TEST_F(CrossingDetectTest, ZeroCrossingsAreFoundAcrossBlocks) {
    std::vector<float> step(4096, 0.5f);
    std::fill(step.begin(), step.begin() + 1500, -0.5f);
    auto file = fileEntityWithAudio(dataPath("step.wav"), {step}, kRate);
    ASSERT_TRUE(file);
    expectCases(*file, {
                           {"after, one block on", Search::ZeroAfter, 0, 0, 1500},
                           {"after, none later: the length", Search::ZeroAfter, 2000, 0, 4096},
                           {"before, three blocks back", Search::ZeroBefore, 4096, 0, 1500},
                           {"before, from within a block", Search::ZeroBefore, 2000, 0, 1500},
                           {"nearest: the one after", Search::ZeroNearest, 1400, 0, 1500},
                           {"nearest: the one before", Search::ZeroNearest, 1600, 0, 1500},
                           // So far out that a block's step doesn't move the location;
                           // whole blocks from there, so the silence meets the file
                           // between two blocks.
                           {"after, from far before the start", Search::ZeroAfter, -1e20, 0, 1500},
                           {"before, from far past the end", Search::ZeroBefore, 1e20, 0, 1500},
                       });

    auto steady = fileEntityWithAudio(dataPath("steady.wav"), {std::vector<float>(4096, 0.5f)}, kRate);
    ASSERT_TRUE(steady);
    expectCases(*steady, {
                             {"no crossing after: the length", Search::ZeroAfter, 0, 0, 4096},
                             {"no crossing before: 0", Search::ZeroBefore, 4096, 0, 0},
                         });
}

// The level searches read one second at a time and try the channels in
// order over the whole second: the first channel's hit wins even when the
// second channel has an earlier one. Backwards, the second's last frame
// reports the location itself, so a hit reads one frame late. Far starts as
// above.
TEST_F(CrossingDetectTest, TheFirstChannelWithAHitDecidesTheLevelCrossing) {
    std::vector<std::vector<float>> audio(2, std::vector<float>(16384, 0.1f));
    audio[0][3000] = 0.5f;
    audio[0][9000] = 0.5f;
    audio[1][100] = -0.5f;  // magnitudes count
    audio[1][5000] = -0.5f;
    auto file = fileEntityWithAudio(dataPath("hits.wav"), audio, kRate);
    ASSERT_TRUE(file);
    expectCases(*file, {
                           {"after: channel 0 over channel 1's earlier hit", Search::LevelAfter, 0, 0.4f, 3000},
                           {"after: still channel 0 in the second read", Search::LevelAfter, 4096, 0.4f, 9000},
                           {"after, none: the length", Search::LevelAfter, 9830, 0.4f, 16384},
                           {"before: channel 0 over channel 1's later hit", Search::LevelBefore, 8192, 0.4f, 3001},
                           {"before, from the end", Search::LevelBefore, 16384, 0.4f, 9001},
                           {"after, too high: the length", Search::LevelAfter, 0, 0.9f, 16384},
                           {"before, too high: 0", Search::LevelBefore, 16384, 0.9f, 0},
                           {"after, from far before the start", Search::LevelAfter, -1e20, 0.4f, 3000},
                           {"before, from far past the end", Search::LevelBefore, 1e20, 0.4f, 9001},
                       });
}

// A sound runs from its attack through its release tail; a louder frame in
// the tail starts the count of quiet frames again, and a negative half-wave
// is no attack. A sound to the last frame ends at the file's end. A start far
// before the file finds the first sound; one past the end or no number at all
// finds none.
TEST_F(CrossingDetectTest, TheSoundRangeHoldsItsTailAndEndsAtTheFileEnd) {
    std::vector<float> audio(16384, 0.05f);
    std::fill(audio.begin(), audio.begin() + 1000, 0.0f);
    audio[500] = -0.9f;
    std::fill(audio.begin() + 1000, audio.begin() + 2000, 0.8f);
    std::fill(audio.begin() + 2050, audio.begin() + 2100, 0.8f);  // 50 quiet frames, fewer than the 82 of a release
    std::fill(audio.begin() + 16000, audio.end(), 0.8f);
    auto file = fileEntityWithAudio(dataPath("sounds.wav"), {audio}, kRate);
    ASSERT_TRUE(file);
    auto rangeFrom = [&](double seconds) {
        return file->rangeOfNextDetectedBeatUsingThresholdsWithAttackThreshold(0.5f, 0.1f, 0.01, seconds);
    };

    const DoubleRange first = rangeFrom(0.0);
    EXPECT_NEAR(first.location * kRate, 1000, 1e-6);
    EXPECT_NEAR(first.length * kRate, 2182 - 1000, 1e-6);  // quiet from 2100, 82 frames on
    const DoubleRange last = rangeFrom(1.0);
    EXPECT_NEAR(last.location * kRate, 16000, 1e-6);
    EXPECT_NEAR(last.length * kRate, 384, 1e-6);
    const DoubleRange far = rangeFrom(-1e16);  // a second's step doesn't move it
    EXPECT_NEAR(far.location * kRate, 1000, 1e-6);
    EXPECT_NEAR(far.length * kRate, 2182 - 1000, 1e-6);
    for (double start : {2.0, std::nan("")}) {
        const DoubleRange none = rangeFrom(start);
        EXPECT_EQ(none.location, FileEntity::NotFoundLocation) << start;
        EXPECT_EQ(none.length, 0.0) << start;
    }
    EXPECT_FALSE(file->isLoaded());
}
