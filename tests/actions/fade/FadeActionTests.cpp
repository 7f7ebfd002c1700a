#include "tests/actions/ActionTest.h"

#include <cmath>
#include <limits>
#include <optional>

namespace ondrel {

namespace {

class FadeActionTest : public ActionTest {
protected:
    // A mono file at 8 kHz: `silentHead` seconds of silence, then half scale
    // up to `soundEnd`, then silence to `seconds`.
    std::shared_ptr<FileEntity> file(const QString& name, double seconds, double silentHead = 0.0,
                                     double soundEnd = 1e9) {
        std::vector<float> samples(size_t(seconds * 8000.0));
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = double(i) >= silentHead * 8000.0 && double(i) < soundEnd * 8000.0 ? 0.5f : 0.0f;
        return fileEntityWithAudio(dataPath(name), {samples}, 8000.0);
    }
    // The action of that class with the parameters.
    static std::shared_ptr<Action> action(const char* className, const QVariantMap& parameters = {}) {
        auto made = make(QString::fromLatin1(className));
        EXPECT_TRUE(made) << className;
        if (made)
            made->setParameterValues(parameters);
        return made;
    }
};

const float silent = -std::numeric_limits<float>::infinity();

} // namespace

// The gain rules as the run compiles them: a gain of 0 still writes one,
// gains add, normalising replaces an earlier gain and a later one adds to it,
// loudness targets are in LUFS over a catalog in LU, a silent file keeps its
// level, and a group takes the one gain of its loudest file (infinite when
// all are silent: the render refuses it). Catches a gain written only when
// non-zero, a normalise that adds, the loudness scale off by 23, a silent file
// given an infinite gain and per-file gains in a group.
TEST_F(FadeActionTest, GainsAddAndNormalisingReplacesTheGainBeforeIt) {
    const double infinity = std::numeric_limits<double>::infinity();
    const auto group = action("NormalizeAction", {{"level", -4.0}, {"isGroup", true}});
    const struct {
        const char* what;
        std::vector<std::shared_ptr<Action>> actions;
        float peak, loudness, otherPeak;  // of the file, and of the run's other file
        double gain;
    } cases[] = {
        {"a gain of 0", {action("ChangeGainAction")}, -6.0f, 0.0f, 0.0f, 0.0},
        {"gains add", {action("ChangeGainAction", {{"gain", 2.0}}), action("ChangeGainAction", {{"gain", 3.5}})},
         -6.0f, 0.0f, 0.0f, 5.5},
        {"peak 0 on -6 dB", {action("NormalizeAction")}, -6.0f, 0.0f, 0.0f, 6.0},
        {"replaced, then added",
         {action("ChangeGainAction", {{"gain", 10.0}}), action("NormalizeAction"),
          action("ChangeGainAction", {{"gain", 1.0}})},
         -6.0f, 0.0f, 0.0f, 7.0},
        {"-23 LUFS on 4 LU", {action("NormalizeAction", {{"level", -23.0}, {"measurementType", "programLoudness"}})},
         -6.0f, 4.0f, 0.0f, -4.0},
        {"silent", {action("NormalizeAction", {{"level", -1.0}})}, silent, 0.0f, 0.0f, 0.0},
        {"group, by the loudest", {group}, -30.0f, 0.0f, -10.0f, 6.0},
        {"silent group", {group}, silent, 0.0f, silent, infinity},
    };
    const auto tone = file(QStringLiteral("tone.wav"), 0.5);
    const auto other = file(QStringLiteral("other.wav"), 0.5);
    ASSERT_TRUE(tone && other);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        tone->setPeak(c.peak);
        tone->setProgramLoudness(c.loudness);
        other->setPeak(c.otherPeak);
        EXPECT_EQ(compileRun(c.actions, tone, {tone, other}).instructions->gain(), c.gain);
    }
}

// The ratio is the wanted length over the file's (5 s on 10 s is a rate of
// 0.5 and 20 s out), a length of 0 gives a rate of 0 and an infinite length
// and pitch, and the effect is added even at a rate of 1. Catches the ratio
// turned over and a guard that drops the effect.
TEST_F(FadeActionTest, ChangeLengthWritesTheRatioOfTheLengthToTheFile) {
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        double length;
        bool retainPitch;
        float rate;
        double outputLength;
        float pitch;
    } cases[] = {
        {5.0, true, 0.5f, 20.0, 0.0f},
        {5.0, false, 0.5f, 20.0, -1200.0f},
        {10.0, false, 1.0f, 10.0, 0.0f},
        {0.0, false, 0.0f, infinity, -std::numeric_limits<float>::infinity()},
    };
    const auto tenSeconds = file(QStringLiteral("ten.wav"), 10.0);
    ASSERT_TRUE(tenSeconds);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        const auto changeLength = action("ChangeLengthAction", {{"length", c.length}, {"retainPitch", c.retainPitch}});
        const auto instructions = compileRun({changeLength}, tenSeconds).instructions;
        EXPECT_EQ(instructions->length(), c.outputLength);
        ASSERT_EQ(instructions->countOfEffectInstructions(), 1);
        const auto effect = instructions->objectInEffectInstructionsAtIndex(0);
        EXPECT_EQ(effect->processorClassName(), QStringLiteral("APLTimePitchAudioProcessor"));
        EXPECT_EQ(effect->parameters().value(QStringLiteral("Rate")).toFloat(), c.rate);
        EXPECT_FLOAT_EQ(effect->parameters().value(QStringLiteral("Pitch")).toFloat(), c.pitch);
    }
}

// Where the sources land and how long the output is, for padding, extending
// and repeating a 4 s file. Catches padding in percent, an output length that
// leaves out the start padding, an extend that writes at its length, the
// balance turned over, and copies that don't start at multiples of the file.
TEST_F(FadeActionTest, PadExtendAndRepeatPlaceTheSources) {
    const struct {
        const char* what;
        std::shared_ptr<Action> action;
        std::optional<double> location;            // of the main source
        std::optional<double> outputLength;
        std::vector<double> copies;                // locations of the added sources
    } cases[] = {
        {"pad ms", action("PadAction", {{"startValue", 500.0}, {"endValue", 250.0}}), 0.5, 4.75, {}},
        {"pad frames", action("PadAction", {{"units", "frames"}, {"startValue", 8000.0}}), 1.0, 5.00125, {}},
        {"pad percent", action("PadAction", {{"units", "percent"}}), 0.0, 4.0, {}},
        {"extend at length", action("ExtendAction", {{"resultLength", 4.0}}), {}, {}, {}},
        {"extend, balance 0", action("ExtendAction", {{"resultLength", 6.0}, {"balance", 0.0}}), 2.0, 6.0, {}},
        {"extend, balance 1", action("ExtendAction", {{"resultLength", 6.0}, {"balance", 1.0}}), 0.0, 6.0, {}},
        {"repeat once", action("RepeatAction", {{"count", 1u}}), {}, {}, {}},
        {"repeat 3", action("RepeatAction", {{"count", 3u}}), {}, {}, {4.0, 8.0}},
    };
    const auto fourSeconds = file(QStringLiteral("four.wav"), 4.0);
    ASSERT_TRUE(fourSeconds);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Compiled compiled = compileRun({c.action}, fourSeconds);
        EXPECT_EQ(compiled.sources->mainSourceInstructions()->location(), c.location);
        if (c.outputLength) {
            ASSERT_TRUE(compiled.instructions->length());
            EXPECT_DOUBLE_EQ(*compiled.instructions->length(), *c.outputLength);
        } else {
            EXPECT_EQ(compiled.instructions->length(), std::nullopt);
        }
        ASSERT_EQ(compiled.sources->countOfSourceInstructions(), qsizetype(c.copies.size() + 1));
        for (size_t i = 0; i < c.copies.size(); ++i) {
            const auto copy = compiled.sources->objectInSourceInstructionsAtIndex(qsizetype(i + 1));
            EXPECT_EQ(copy->location(), c.copies[i]);
            EXPECT_EQ(copy->length(), 4.0);
            EXPECT_EQ(copy->sourceStart(), std::nullopt);
        }
    }
}

// A fade-in to a level is measured from the trimmed start and never runs past
// the file's end; a fade-out searches the file at the end of the timeline
// (here 2 s, not the 2.5 s the trimmed file reaches); a later fade of one
// direction replaces the earlier. Catches a search from the file's start, a
// fade past the end, and a fade-out measured from the file's own end.
TEST_F(FadeActionTest, FadesToALevelMeasureFromTheTrimmedStartAndTheTimelineEnd) {
    // Silence to 0.5 s, sound to 1.0 s, silence to 3.0 s.
    const auto burst = file(QStringLiteral("burst.wav"), 3.0, 0.5, 1.0);
    ASSERT_TRUE(burst);
    const auto trimmed = sourcesOf(burst);
    trimmed->mainSourceInstructions()->setSourceStart(0.25);
    trimmed->mainSourceInstructions()->setLength(2.0);
    const struct {
        const char* what;
        std::vector<std::shared_ptr<Action>> actions;
        std::optional<double> fadeIn, fadeOut;
        std::optional<QString> inCurve;
    } cases[] = {
        {"in, from the trimmed start", {action("FadeInBelowAction", {{"curve", "power"}})}, 0.25, {}, "power"},
        {"in, never past the end", {action("FadeInBelowAction", {{"level", 0.0}, {"offset", 1.0}})}, 2.75, {},
         "linear"},
        {"out, at the timeline end", {action("FadeOutBelowAction")}, {}, 1.0, {}},
        {"in, the later replaces",
         {action("FadeInBelowAction"), action("FadeInForAction", {{"value", 2400.0}, {"units", "frames"}})},
         0.3, {}, "linear"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        auto instructions = std::make_shared<AudioProcessCommandInstructions>();
        for (const auto& each : c.actions)
            each->compileInstructions(instructions, trimmed, 0);
        EXPECT_EQ(instructions->fadeInLength(), c.fadeIn);
        EXPECT_EQ(instructions->fadeOutLength(), c.fadeOut);
        EXPECT_EQ(instructions->fadeInCurve(), c.inCurve);
    }
}

} // namespace ondrel
