#include "catalog/entities/FileEntity.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <cmath>

using namespace ondrel;

namespace {

constexpr double kRate = 32768.0;
constexpr int kBlock = 512;

// Two blocks of 512 frames, each a low sine (one period a block, so its
// peak is the amplitude, first at frame 128) plus a high one (four frames a
// period, in the 8 kHz band). The file ends after the second block, so the
// only comparison is between the two.
struct BeatCase {
    const char* method;
    float sensitivity;
    float low[2];
    float high[2];
    int expectedFrame;  // 1024, the length, when no beat is found
};

std::ostream& operator<<(std::ostream& out, const BeatCase& c) {
    return out << c.method << " at " << c.sensitivity << ", low " << c.low[0] << " to " << c.low[1] << ", high "
               << c.high[0] << " to " << c.high[1];
}

class BeatDetectTest : public CatalogTest, public ::testing::WithParamInterface<BeatCase> {};

} // namespace

// The sensitivity curves at their ends: magnitude wants a log ratio above 1
// at sensitivity 1 and above 3 at 0; energy above 1.5 and 20; the low band
// above 5 and 30, the high band above 1 and 200. Digital silence before sound
// is an infinite rise; two silent blocks are no beat. The file is not loaded
// beforehand: the call loads it.
TEST_P(BeatDetectTest, TheSensitivityCurveDecides) {
    const BeatCase& c = GetParam();
    std::vector<float> audio(2 * kBlock);
    for (int block = 0; block < 2; ++block)
        for (int n = 0; n < kBlock; ++n)
            audio[size_t(block * kBlock + n)] = float(c.low[block] * std::sin(2 * M_PI * n / kBlock) +
                                                      c.high[block] * std::sin(2 * M_PI * n / 4));
    auto file = fileEntityWithAudio(dataPath("beat.wav"), {audio}, kRate);
    ASSERT_TRUE(file);
    const double found = file->locationOfNextDetectedBeatUsing(QString::fromLatin1(c.method), c.sensitivity, 0.0);
    EXPECT_NEAR(found * kRate, c.expectedFrame, 1e-6);
    EXPECT_FALSE(file->isLoaded());
}

INSTANTIATE_TEST_SUITE_P(
    Curves, BeatDetectTest,
    ::testing::Values(BeatCase{"magnitude", 1.0f, {0.01f, 0.1f}, {0, 0}, kBlock + 128},  // log ratio 2
                      BeatCase{"magnitude", 1.0f, {0.1f, 0.01f}, {0, 0}, 1024},          // a fall
                      BeatCase{"magnitude", 0.0f, {0.01f, 0.1f}, {0, 0}, 1024},
                      BeatCase{"magnitude", 0.0f, {0.0001f, 0.1f}, {0, 0}, kBlock + 128},  // log ratio 4
                      BeatCase{"magnitude", 0.0f, {0.0f, 0.1f}, {0, 0}, kBlock + 128},
                      BeatCase{"magnitude", 1.0f, {0.0f, 0.0f}, {0, 0}, 1024},
                      BeatCase{"energy", 1.0f, {0.1f, 0.15f}, {0, 0}, kBlock},  // ratio 2.25
                      BeatCase{"energy", 1.0f, {0.1f, 0.11f}, {0, 0}, 1024},    // 1.21
                      BeatCase{"energy", 0.0f, {0.1f, 0.5f}, {0, 0}, kBlock},   // 25
                      BeatCase{"energy", 0.0f, {0.1f, 0.4f}, {0, 0}, 1024},     // 16
                      BeatCase{"energy", 0.0f, {0.0f, 0.1f}, {0, 0}, kBlock},
                      // Band ratios as measured: low 9.5, high 0.27.
                      BeatCase{"energyBands", 1.0f, {0.1f, 0.3f}, {0.1f, 0.05f}, kBlock},
                      BeatCase{"energyBands", 1.0f, {0.1f, 0.15f}, {0.1f, 0.05f}, 1024},  // low 2.5
                      BeatCase{"energyBands", 1.0f, {0.1f, 0.1f}, {0.1f, 0.12f}, kBlock},  // high 1.47
                      BeatCase{"energyBands", 0.0f, {0.05f, 0.4f}, {0.1f, 0.05f}, kBlock}, // low 65
                      BeatCase{"energyBands", 0.0f, {0.1f, 0.4f}, {0.02f, 0.2f}, 1024},   // low 17, high 100
                      BeatCase{"energyBands", 0.0f, {0.1f, 0.1f}, {0.01f, 0.3f}, kBlock})); // high 900

using BeatDispatchDetectTest = CatalogTest;

// A method the dispatcher doesn't know answers 0, wherever the search would
// start; a known one started at the end, or at no number, answers the length.
// Started so far before the file that a block's step doesn't move the
// location, each finds the file's start, in the block that holds it.
TEST_F(BeatDispatchDetectTest, AStartOutsideTheFileEndsTheSearch) {
    auto file = fileEntityWithAudio(dataPath("short.wav"), {std::vector<float>(1024, 0.1f)}, kRate);
    ASSERT_TRUE(file);
    const double length = file->length();
    EXPECT_EQ(file->locationOfNextDetectedBeatUsing(QStringLiteral("loudness"), 1.0f, length + 1.0), 0.0);
    for (const char* method : {"magnitude", "energy", "energyBands"}) {
        const QString name = QString::fromLatin1(method);
        EXPECT_EQ(file->locationOfNextDetectedBeatUsing(name, 1.0f, length), length) << method;
        EXPECT_EQ(file->locationOfNextDetectedBeatUsing(name, 1.0f, std::nan("")), length) << method;
        const double far = file->locationOfNextDetectedBeatUsing(name, 1.0f, -1e20);
        EXPECT_GT(far * kRate, -kBlock) << method;
        EXPECT_LE(far * kRate, 0.5) << method;
    }
}

// The tempo is folded into 60 .. 240 by doubling and halving: 30 beats a
// minute read as 60 and 500 as 125; no beats have no tempo.
TEST_F(BeatDispatchDetectTest, TheTempoIsFoldedIntoItsRange) {
    auto file = fileEntityWithAudio(dataPath("six.wav"), {std::vector<float>(6000, 0.0f)}, 1000.0);
    ASSERT_TRUE(file);
    const struct {
        int beats;  // over 6 seconds
        float tempo;
    } cases[] = {{3, 60.0f}, {50, 125.0f}, {0, 0.0f}, {-4, 0.0f}};
    for (const auto& c : cases) {
        file->setMetadata({{QStringLiteral("beats"), c.beats}});
        EXPECT_EQ(file->estimatedTempo(), c.tempo) << c.beats << " beats";
    }
}
