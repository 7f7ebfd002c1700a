#include "tests/actions/ActionTest.h"

#include "render/engine/files/VMKAudioFileFormat.h"

#include <optional>

namespace ondrel {

namespace {

using FormatActionTest = ActionTest;

std::shared_ptr<AudioProcessCommandEffectInstructions> lastEffect(const AudioProcessCommandInstructions& instructions) {
    return instructions.objectInEffectInstructionsAtIndex(instructions.countOfEffectInstructions() - 1);
}

// The rule of the first depth, across every format action, with the depth set
// to 24 and floating point on: a source with a depth of its own keeps it (a
// 24-bit file written to AIFF stays 24-bit), a compressed source gets the
// action's. Each format and encoding written must be one the engine writes,
// or the render fails on a name ("Wave64 File", the micro sign of "µLaw").
TEST_F(FormatActionTest, TheFirstDepthIsKeptAndOnlyACompressedSourceTakesTheActionsDepth) {
    struct Case {
        const char* className;
        std::optional<qint64> depthOf24BitSource;
        std::optional<qint64> depthOfCompressedSource;
        std::optional<bool> floatingPointOfCompressedSource;
    };
    const Case cases[] = {
        {"ChangeToWAVEAction", {}, 24, true},      {"ChangeToAIFFAction", {}, 24, true},
        {"ChangeToAUAction", {}, 24, true},        {"ChangeToWAV64Action", {}, 24, true},
        {"ChangeToCAFAction", {}, 24, true},       {"ChangeToALACAction", {}, 24, {}},
        {"ChangeToFLACAction", {}, 24, {}},        {"ChangeToFLACAdvancedAction", {}, 24, {}},
        {"ChangeToAACAction", {}, {}, {}},         {"ChangeToMP3Action", {}, {}, {}},
        {"ChangeToVorbisAction", {}, {}, {}},      {"ChangeToVorbisAdvancedAction", {}, {}, {}},
        {"ChangeToVOXAction", 8, 8, {}},
    };
    const auto deep = waveFile(QStringLiteral("deep.wav"), 2, 24);
    const auto coded = oggFile();
    ASSERT_TRUE(deep && coded);
    ASSERT_EQ(deep->bitDepth(), 24u);
    ASSERT_EQ(coded->bitDepth(), 0u);

    for (const Case& c : cases) {
        SCOPED_TRACE(c.className);
        const auto action = make(QString::fromLatin1(c.className));
        ASSERT_TRUE(action);
        action->setParameterValues({{QStringLiteral("bitDepth"), 24}, {QStringLiteral("floatingPoint"), true}});

        const auto ofDeep = compile({action}, deep);
        EXPECT_EQ(ofDeep->bitDepth(), c.depthOf24BitSource);
        EXPECT_EQ(ofDeep->floatingPoint(), std::nullopt);
        const auto ofCoded = compile({action}, coded);
        EXPECT_EQ(ofCoded->bitDepth(), c.depthOfCompressedSource);
        EXPECT_EQ(ofCoded->floatingPoint(), c.floatingPointOfCompressedSource);

        ASSERT_TRUE(ofCoded->format());
        const VMKAudioFileFormat* format = VMKAudioFileFormat::formatNamed(*ofCoded->format());
        ASSERT_TRUE(format) << qPrintable(*ofCoded->format());
        if (ofCoded->encoding()) {
            EXPECT_TRUE(format->hasEncoding(VMKAudioFileFormat::encodingCodeFromEncoding(*ofCoded->encoding())))
                << qPrintable(*ofCoded->encoding());
        }
    }
}

// CAF with AAC takes a bit rate and no depth at all, even from a source
// without one (AAC has no depth to give).
TEST_F(FormatActionTest, CAFWithAACWritesTheBitrateAndNoDepth) {
    const auto coded = oggFile();
    ASSERT_TRUE(coded);
    const auto caf = make(QStringLiteral("ChangeToCAFAction"));
    caf->setValueForKey(QStringLiteral("AAC"), QStringLiteral("encoding"));
    const auto instructions = compile({caf}, coded);
    EXPECT_EQ(instructions->encoding(), QStringLiteral("AAC"));
    EXPECT_EQ(instructions->bitrate(), 160000);
    EXPECT_EQ(instructions->bitDepth(), std::nullopt);
    EXPECT_EQ(instructions->floatingPoint(), std::nullopt);
}

// Two format actions: the later format wins, and the encoder settings of both
// stay (a second action must not wipe the first's arguments). VOX forces its
// whole format over a stereo 16-bit source.
TEST_F(FormatActionTest, ALaterFormatWinsAndEveryArgumentStays) {
    const auto stereo = waveFile(QStringLiteral("stereo.wav"), 2, 16);
    ASSERT_TRUE(stereo);
    const auto instructions =
        compile({make(QStringLiteral("ChangeToFLACAdvancedAction")), make(QStringLiteral("ChangeToMP3Action"))}, stereo);
    EXPECT_EQ(instructions->format(), QStringLiteral("MP3 Audio File"));
    EXPECT_EQ(instructions->valueForKey(QStringLiteral("QLP precision")).toString(), QStringLiteral("default"));
    EXPECT_EQ(instructions->valueForKey(QStringLiteral("max order")).toULongLong(), 5u);
    EXPECT_EQ(instructions->valueForKey(QStringLiteral("method")).toString(), QStringLiteral("cbr"));
    EXPECT_DOUBLE_EQ(instructions->valueForKey(QStringLiteral("quality")).toDouble(), 0.8);

    compile({make(QStringLiteral("ChangeToVOXAction"))}, stereo, instructions);
    EXPECT_EQ(instructions->format(), QStringLiteral("VOX Audio File"));
    EXPECT_EQ(instructions->numberOfChannels(), 1);
    EXPECT_EQ(instructions->sampleRate(), 8000.0);
    EXPECT_EQ(instructions->bitDepth(), 8);
}

// The dither goes to the end of the chain, after what earlier actions put
// there, with its four settings; GoodhertzDither at the depth the file has
// anyway still adds it, and changes no depth. Without applyDither,
// ChangeBitDepth forces the depth alone.
TEST_F(FormatActionTest, TheDitherIsAppendedAtTheEndWithItsSettings) {
    const auto file = waveFile(QStringLiteral("plain.wav"), 1, 16);
    ASSERT_TRUE(file);
    const auto changeBitDepth = make(QStringLiteral("ChangeBitDepthAction"));
    changeBitDepth->setParameterValues({{QStringLiteral("bitDepth"), 24},
                                        {QStringLiteral("shape"), QStringLiteral("high")},
                                        {QStringLiteral("amount"), QStringLiteral("low")},
                                        {QStringLiteral("autoBlanking"), false}});
    const auto instructions = compile({make(QStringLiteral("ChangeFrameRateAction")), changeBitDepth}, file);
    EXPECT_EQ(instructions->bitDepth(), 24);
    EXPECT_EQ(instructions->floatingPoint(), false);
    ASSERT_EQ(instructions->countOfEffectInstructions(), 2);
    const auto dither = lastEffect(*instructions);
    EXPECT_EQ(dither->processorClassName(), QStringLiteral("GHZDitherAudioProcessor"));
    const QVariantMap expected{{QStringLiteral("bitDepth"), 24u},
                               {QStringLiteral("noiseShaping"), QStringLiteral("high")},
                               {QStringLiteral("amount"), QStringLiteral("low")},
                               {QStringLiteral("autoBlankingEnabled"), false}};
    EXPECT_TRUE(Variant::equal(dither->parameters(), expected)) << qPrintable(Variant::describe(dither->parameters()));

    const auto atSixteen = compile({make(QStringLiteral("GoodhertzDitherAction"))}, file);
    EXPECT_EQ(atSixteen->bitDepth(), std::nullopt);
    ASSERT_EQ(atSixteen->countOfEffectInstructions(), 1);
    EXPECT_EQ(lastEffect(*atSixteen)->parameters().value(QStringLiteral("bitDepth")).toULongLong(), 16u);

    changeBitDepth->setValueForKey(false, QStringLiteral("applyDither"));
    const auto undithered = compile({changeBitDepth}, file);
    EXPECT_EQ(undithered->bitDepth(), 24);
    EXPECT_EQ(undithered->countOfEffectInstructions(), 0);
}

// Each quality name gives its converter quality as a 32-bit float (32/127 is
// not the double 0.2519685039...), and a name the table doesn't know gives the
// best quality rather than none. FixSampleRate only relabels.
TEST_F(FormatActionTest, SampleRateActionsWriteTheirConverterAndQuality) {
    struct Case {
        const char* className;
        const char* quality;
        float converterQuality;
    };
    const Case cases[] = {
        {"ChangeSampleRateAppleAction", "minimum", 0.0f},      {"ChangeSampleRateAppleAction", "low", 0.25196850f},
        {"ChangeSampleRateAppleAction", "medium", 0.50393701f}, {"ChangeSampleRateAppleAction", "high", 0.75590551f},
        {"ChangeSampleRateAppleAction", "maximum", 1.0f},      {"ChangeSampleRateAppleAction", "best", 1.0f},
        {"ChangeSampleRateGoodhertzAction", "low", 0.25f},     {"ChangeSampleRateGoodhertzAction", "medium", 0.5f},
        {"ChangeSampleRateGoodhertzAction", "high", 0.75f},    {"ChangeSampleRateGoodhertzAction", "highest", 1.0f},
        {"ChangeSampleRateGoodhertzAction", "minimum", 1.0f},
    };
    const auto file = waveFile(QStringLiteral("rate.wav"), 1, 16);
    ASSERT_TRUE(file);
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.className) + " " + c.quality);
        const auto action = make(QString::fromLatin1(c.className));
        action->setParameterValues({{QStringLiteral("sampleRate"), 96000.0},
                                    {QStringLiteral("type"), QStringLiteral("Converter")},
                                    {QStringLiteral("quality"), QString::fromLatin1(c.quality)}});
        const auto instructions = compile({action}, file);
        EXPECT_EQ(instructions->sampleRate(), 96000.0);
        EXPECT_EQ(instructions->converterName(), QStringLiteral("Converter"));
        EXPECT_EQ(instructions->converterQuality(), double(c.converterQuality));
        EXPECT_EQ(instructions->resample(), std::nullopt);
    }

    const auto fixed = compile({make(QStringLiteral("FixSampleRateAction"))}, file);
    EXPECT_EQ(fixed->sampleRate(), 48000.0);
    EXPECT_EQ(fixed->resample(), false);
}

// r = 24/30 = 0.8 in 32-bit float; the length is r over the file's length
// (0.8 / 0.1 s), not the other way round; the pitch follows the speed only
// with retainPitch off (-386.31 cents). A file of no length gets no length
// rather than an infinite one, and still gets the effect.
TEST_F(FormatActionTest, ChangeFrameRateWritesRatePitchAndLength) {
    const auto file = waveFile(QStringLiteral("film.wav"), 1, 16);
    const auto empty = waveFile(QStringLiteral("empty.wav"), 1, 16, 0);
    ASSERT_TRUE(file && empty);
    const auto action = make(QStringLiteral("ChangeFrameRateAction"));

    auto instructions = compile({action}, file);
    ASSERT_TRUE(instructions->length());
    EXPECT_NEAR(*instructions->length(), 8.0, 1e-5);
    ASSERT_EQ(instructions->countOfEffectInstructions(), 1);
    auto effect = lastEffect(*instructions);
    EXPECT_EQ(effect->processorClassName(), QStringLiteral("APLTimePitchAudioProcessor"));
    EXPECT_EQ(effect->parameters().value(QStringLiteral("Rate")).toFloat(), 0.8f);
    EXPECT_EQ(effect->parameters().value(QStringLiteral("Pitch")).toFloat(), 0.0f);

    action->setValueForKey(false, QStringLiteral("retainPitch"));
    effect = lastEffect(*compile({action}, file));
    EXPECT_NEAR(effect->parameters().value(QStringLiteral("Pitch")).toDouble(), -386.3137, 1e-3);

    instructions = compile({action}, empty);
    EXPECT_EQ(instructions->length(), std::nullopt);
    EXPECT_EQ(instructions->countOfEffectInstructions(), 1);
}

} // namespace

} // namespace ondrel
