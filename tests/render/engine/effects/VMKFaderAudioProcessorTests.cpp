#include "tests/support/engine/TestGenerator.h"

#include "render/engine/effects/VMKFaderAudioProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace ondrel {

namespace {
constexpr double kRate = 1000.0;  // a frame per millisecond keeps the numbers readable

std::shared_ptr<VMKAudioAutomation> ramp(double location, double length, float minimum, float maximum) {
    auto automation = std::make_shared<VMKAudioAutomation>();
    automation->setParameterKey(QStringLiteral("scalar"));
    automation->setLocation(location);
    automation->setLength(length);
    automation->setMinimum(minimum);
    automation->setMaximum(maximum);
    return automation;
}

// Runs ones through the fader in blocks of `block` frames; answers the gains.
std::vector<float> run(VMKFaderAudioProcessor& fader, int64_t block, int64_t frames, int64_t startFrame = 0) {
    const std::shared_ptr<VMKFaderAudioProcessor> shared(std::shared_ptr<VMKFaderAudioProcessor>{}, &fader);
    const auto out = recordThrough(shared, 2, frames, [](int64_t, uint32_t) { return 1.0f; }, block, kRate, startFrame);
    EXPECT_EQ(out[0], out[1]);
    return out[0];
}

float linear(int64_t frame, double location, double length, float minimum, float maximum) {
    const double x = (double(frame) / kRate - location) / length;
    return float(minimum + (double(maximum) - minimum) * x);
}
} // namespace

TEST(VMKFaderAudioProcessor, GainAndScalarAreOneSetting) {
    VMKFaderAudioProcessor fader;
    fader.setGain(-6.0f);
    EXPECT_NEAR(fader.scalar(), 0.501187f, 1e-6);
    fader.setScalar(0.25f);
    EXPECT_NEAR(fader.gain(), -12.0412f, 1e-4);
    fader.setGain(0.0f);
    EXPECT_EQ(fader.scalar(), 1.0f);
    const auto out = run(fader, 64, 100);
    for (float value : out)
        ASSERT_EQ(value, 1.0f);
    fader.setScalar(0.25f);
    for (float value : run(fader, 64, 100))
        ASSERT_EQ(value, 0.25f);
}

TEST(VMKFaderAudioProcessor, AnAutomationRampsSampleExactlyWhateverTheBlocks) {
    // From 10.5 ms for 20.3 ms: frames 11 to 30 lie in the stretch.
    const double location = 0.0105, length = 0.0203;
    VMKFaderAudioProcessor fader;
    fader.setScalar(0.5f);
    fader.insertObjectInAutomationsAtIndex(ramp(location, length, 0.2f, 1.0f), 0);
    const auto reference = run(fader, 1000, 60);
    ASSERT_EQ(reference.size(), 60u);
    for (int64_t f = 0; f < 60; ++f) {
        const bool inside = f >= 11 && f <= 30;
        const float expected = inside ? linear(f, location, length, 0.2f, 1.0f) : 0.5f;
        ASSERT_EQ(reference[size_t(f)], expected) << "frame " << f;
    }
    EXPECT_NEAR(reference[11], 0.2f + 0.8f * 0.5f / 20.3f, 1e-6);
    for (int64_t block : {1, 3, 7, 16, 29})
        EXPECT_EQ(run(fader, block, 60), reference) << "blocks of " << block;
    // Starting in the middle of the stretch picks it up at the right place.
    const auto late = run(fader, 7, 30, 20);
    EXPECT_EQ(std::vector<float>(late.begin(), late.begin() + 30), std::vector<float>(reference.begin() + 20, reference.begin() + 50));
}

TEST(VMKFaderAudioProcessor, OnlyEnabledScalarAutomationsActAndOverlapsMultiply) {
    VMKFaderAudioProcessor fader;
    auto fadeIn = ramp(0.0, 0.010, 0.0f, 1.0f);
    auto gain = ramp(0.0, 0.040, 0.5f, 0.5f);
    auto other = ramp(0.0, 0.040, 0.0f, 0.0f);
    other->setParameterKey(QStringLiteral("pan"));
    auto disabled = ramp(0.0, 0.040, 0.0f, 0.0f);
    disabled->setEnabled(false);
    fader.insertAutomations({fadeIn, gain, other, disabled}, IndexSet::range(0, 4));
    const auto out = run(fader, 8, 50);
    for (int64_t f = 0; f < 50; ++f) {
        float expected = 1.0f;
        if (f < 10)
            expected = linear(f, 0.0, 0.010, 0.0f, 1.0f) * 0.5f;
        else if (f < 40)
            expected = 0.5f;
        ASSERT_EQ(out[size_t(f)], expected) << "frame " << f;
    }
    // Switching the fade off while the fader is set up takes effect at once.
    fadeIn->setEnabled(false);
    gain->setLength(0.0);  // an empty stretch covers nothing
    for (float value : run(fader, 8, 50))
        ASSERT_EQ(value, 1.0f);
}

// A fade-in and a fade-out that meet on a short file each ramp up to the
// fader's gain; where they overlap the gain counts once (it used to be
// squared: +6 dB became +12 dB and clipped). A gain too small for its
// inverse to be a float (-780 dB) made the overlap infinite or not a number.
TEST(VMKFaderAudioProcessor, OverlappingFadesCarryTheGainOnce) {
    const struct {
        float scalar;
        double tolerance;
    } cases[] = {{2.0f, 1e-6}, {1e-39f, 1e-44}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "scalar " << c.scalar);
        VMKFaderAudioProcessor fader;
        fader.setScalar(c.scalar);
        fader.insertAutomations({ramp(0.0, 0.030, 0.0f, c.scalar), ramp(0.010, 0.030, c.scalar, 0.0f)},
                                IndexSet::range(0, 2));
        const auto out = run(fader, 16, 50);
        for (int64_t f = 0; f < 50; ++f) {
            const double in = f < 30 ? double(f) / 30.0 : 1.0;
            const double outFade = f < 10 ? 1.0 : f < 40 ? 1.0 - double(f - 10) / 30.0 : 1.0;
            const double expected = double(c.scalar) * (f < 40 ? in * outFade : 1.0);
            ASSERT_NEAR(out[size_t(f)], expected, c.tolerance) << "frame " << f;
        }
    }
}

// Stretches beyond any frame count (a fade from a stored workflow's 1e20 s,
// one ending at infinity, one starting far before the file or at no number)
// used to turn the search for their first frame into an endless loop.
TEST(VMKFaderAudioProcessor, StretchesBeyondAnyFrameCountEndAndCoverWhatTheyReach) {
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        double location, length;
        float expected;  // the gain over the 50 frames rendered
    } cases[] = {
        {1e20, 1.0, 1.0f},
        {0.0, 1e20, 0.5f},
        {0.0, infinity, 0.5f},
        {-1e20, 2e20, 0.5f},
        {std::nan(""), 1.0, 1.0f},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.location << " for " << c.length);
        VMKFaderAudioProcessor fader;
        fader.insertObjectInAutomationsAtIndex(ramp(c.location, c.length, 0.5f, 0.5f), 0);
        for (float value : run(fader, 16, 50))
            ASSERT_EQ(value, c.expected);
    }
}

TEST(VMKFaderAudioProcessor, AnAutomationMapsThroughItsValueMap) {
    VMKFaderAudioProcessor fader;
    auto fadeOut = ramp(0.0, 0.016, 0.0f, 1.0f);
    auto map = fadeOut->valueMap();
    map->objectInControlPointsAtIndex(0)->setPoint(0.0, 1.0);
    map->objectInControlPointsAtIndex(1)->setPoint(1.0, 0.0);
    fader.insertObjectInAutomationsAtIndex(fadeOut, 0);
    const auto out = run(fader, 5, 20);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[8], 0.5f);
    EXPECT_EQ(out[12], 0.25f);
    EXPECT_EQ(out[16], 1.0f);  // past the stretch: the fader's own scalar
}

} // namespace ondrel
