#include "render/operation/AudioProcessOperation.h"

#include "process/instructions/AudioProcessCommandInstructions.h"
#include "process/instructions/AudioProcessCommandPropertyInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"
#include "process/instructions/AudioProcessCommandSourceTieInstructions.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "tests/support/engine/EngineTestSupport.h"

#include <QtCore/QDir>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <optional>

namespace ondrel {

namespace {

using SourceInstructions = AudioProcessCommandSourceInstructions;

// A source of `audio` at `rate`, written as 32-bit float WAV so that every
// value comes back exactly.
AudioProcessSource makeSource(const TestFolder& folder, const QString& name, const TestAudio& audio, double rate) {
    VMKAudioFileEncoderSettings settings;
    settings.format = VMKAudioFileFormat::formatNamed(QStringLiteral("WAVE File"));
    settings.sampleRate = rate;
    settings.bitDepth = 32;
    settings.isFloatingPoint = true;
    EXPECT_TRUE(encodeAudio(audio, settings, folder.path(name)));
    AudioProcessSource source;
    source.URLs = {folder.url(name)};
    source.format = QStringLiteral("WAVE File");
    source.encoding = QStringLiteral("PCM");
    source.sampleRate = rate;
    source.channels = audio.size();
    source.bitDepth = 32;
    source.floatingPoint = true;
    source.length = double(audio.front().size()) / rate;
    source.instructions = std::make_shared<SourceInstructions>();
    return source;
}

TestAudio constant(std::vector<float> values, qint64 frames) {
    TestAudio audio;
    for (float value : values)
        audio.emplace_back(size_t(frames), value);
    return audio;
}

struct Render {
    std::shared_ptr<AudioProcessOperation> operation = std::make_shared<AudioProcessOperation>();
    std::shared_ptr<AudioProcessCommandInstructions> output = std::make_shared<AudioProcessCommandInstructions>();

    Render(const TestFolder& folder, std::vector<AudioProcessSource> sources) {
        operation->setSources(std::move(sources));
        operation->setInstructions(output);
        operation->setDestination(folder.url(QStringLiteral("out")));
        operation->setFilename(QStringLiteral("result"));
    }
    // Runs the render; its result, or no channels when it failed.
    TestAudio run(VMKError* error = nullptr) {
        if (!operation->process(error))
            return {};
        return readFile(operation->resultURL().path());
    }
};

} // namespace

// Without resampling, the frames play at the output rate: length and labels
// stretch by the ratio of the rates (a label at 10 s of a 48 kHz file is at
// 20 s in a 24 kHz result).
TEST(AudioProcessOperation, WithoutResamplingFramesPlayAtTheOutputRateAndLabelsStretch) {
    TestFolder folder;
    AudioProcessSource source = makeSource(folder, QStringLiteral("long.wav"), makeSines(1, 12 * 48000, 48000), 48000);
    auto label = VMKAudioLabel::labelOfType(VMKAudioLabel::region);
    label->setLocation(10.0);
    label->setLength(1.0);
    source.labels = {label};
    source.instructions->setIncludeLabels(true);
    Render render(folder, {source});
    render.output->setSampleRate(24000);
    render.output->setResample(false);
    const TestAudio result = render.run();
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].size(), size_t(12 * 48000));
    auto reader = VMKAudioFileReader::initWithURL(render.operation->resultURL());
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->sampleRate(), 24000);
    const auto labels = reader->labels();
    ASSERT_EQ(labels.size(), 1u);
    EXPECT_NEAR(labels[0]->location(), 20.0, 1.0 / 24000);
    EXPECT_NEAR(labels[0]->length(), 2.0, 1.0 / 24000);
}

// The mix: ties on a source replace the default diagonal; without ties a
// source's channels above the output's are dropped; two sources that
// overlap add up; a source with nothing to play is left out.
TEST(AudioProcessOperation, TheMixFollowsTiesPlacementAndDropsEmptySources) {
    TestFolder folder;
    const qint64 frames = 44100;
    struct Case {
        const char* name;
        std::function<void(Render&, std::vector<AudioProcessSource>&)> setUp;
        std::vector<float> firstFrame;  // per output channel
        std::vector<float> frameAt075;  // at 0.75 s
    };
    const std::vector<Case> cases = {
        {"ties replace the diagonal",
         [](Render& render, std::vector<AudioProcessSource>& sources) {
             auto tie = std::make_shared<AudioProcessCommandSourceTieInstructions>();
             tie->setInputChannelIndex(1);
             tie->setOutputChannelIndex(0);
             tie->setInvert(true);
             sources[0].instructions->setSourceTieInstructions({tie});
             render.output->setNumberOfChannels(1);
         },
         {-0.5f}, {-0.5f}},
        {"channels above the output's are dropped",
         [](Render& render, std::vector<AudioProcessSource>&) { render.output->setNumberOfChannels(1); },
         {0.25f}, {0.25f}},
        {"overlapping sources add up",
         [&](Render&, std::vector<AudioProcessSource>& sources) {
             sources.push_back(makeSource(folder, QStringLiteral("second.wav"), constant({0.125f, 0.125f}, frames), 44100));
             sources[1].instructions->setLocation(0.5);
         },
         {0.25f, 0.5f}, {0.375f, 0.625f}},
        {"an empty source is left out",
         [&](Render&, std::vector<AudioProcessSource>& sources) {
             sources.insert(sources.begin(),
                            makeSource(folder, QStringLiteral("empty.wav"), constant({0.125f, 0.125f}, frames), 44100));
             sources[0].instructions->setLength(0.0);
         },
         {0.25f, 0.5f}, {0.25f, 0.5f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<AudioProcessSource> sources{
            makeSource(folder, QStringLiteral("first.wav"), constant({0.25f, 0.5f}, frames), 44100)};
        Render render(folder, {});
        c.setUp(render, sources);
        render.operation->setSources(sources);
        VMKError error;
        const TestAudio result = render.run(&error);
        ASSERT_EQ(result.size(), c.firstFrame.size()) << error.localizedDescription().toStdString();
        for (size_t channel = 0; channel < result.size(); ++channel) {
            EXPECT_EQ(result[channel].front(), c.firstFrame[channel]);
            EXPECT_FLOAT_EQ(result[channel][size_t(0.75 * 44100)], c.frameAt075[channel]);
        }
    }
}

// Failures: an unknown converter fails only when a conversion is needed,
// with its code and action; a missing source file fails the render; a
// cancel before the start means no render and no file.
TEST(AudioProcessOperation, FailuresNameTheirCauseAndLeaveNoFile) {
    TestFolder folder;
    const AudioProcessSource source = makeSource(folder, QStringLiteral("tone.wav"), makeSines(1, 4410, 44100), 44100);
    {
        Render render(folder, {source});
        render.output->setConverterName(QStringLiteral("No Such Converter"));
        EXPECT_FALSE(render.run().empty()) << "equal rates need no converter";
        render.output->setSampleRate(48000);
        VMKError error;
        EXPECT_TRUE(render.run(&error).empty());
        EXPECT_EQ(error.code(), 1);
        EXPECT_EQ(error.action(), QStringLiteral("Constructing the sample rate converter"));
    }
    {
        AudioProcessSource missing = source;
        missing.URLs = {folder.url(QStringLiteral("gone.wav"))};
        Render render(folder, {missing});
        render.operation->start();
        EXPECT_TRUE(render.operation->hasError());
        EXPECT_TRUE(render.operation->isFinished());
    }
    {
        Render render(folder, {source});
        render.operation->setDestination(folder.url(QStringLiteral("cancelled")));
        render.operation->cancel();
        render.operation->start();
        EXPECT_TRUE(render.operation->isFinished());
        EXPECT_FALSE(render.operation->hasError());
        EXPECT_FALSE(QDir(folder.path(QStringLiteral("cancelled"))).exists());
    }
}

// Numbers a stored workflow can hold but no file can have (a length
// stretched to infinity, a group normalised over silent files or to a level
// beyond any float factor, a negative length, a length or fade of more frames
// than a count holds, a source shortened by a balance out of range) fail the
// render with their reason and write nothing, where the writer used to write
// an empty file, a silent one, a square wave or none, and the fader never
// ended.
TEST(AudioProcessOperation, NumbersThatMakeNoFileFailTheRender) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::optional<double> length;
        std::optional<double> gain;
        const char* reason;
        std::optional<double> fadeIn = {}, fadeOut = {};
        std::optional<double> sourceStart = {}, location = {};
    } cases[] = {
        {infinity, {}, "the output length is not finite"},
        {nan, {}, "the output length is not finite"},
        {-1.0, {}, "the output length is negative"},
        {1e15, {}, "the output length is too long"},
        {{}, infinity, "the output gain is not finite"},
        {{}, nan, "the output gain is not finite"},
        {{}, 1e30, "the output gain is not finite"},
        {{}, {}, "the fade-in length is too long", 1e20},
        {{}, {}, "the fade-out length is too long", {}, infinity},
        {1.0, {}, "a source start is not finite", {}, {}, -infinity},
        {1.0, {}, "a source start is not finite", {}, {}, nan},
        {1.0, {}, "a source location is not finite", {}, {}, {}, nan},
    };
    TestFolder folder;
    const AudioProcessSource source = makeSource(folder, QStringLiteral("tone.wav"), makeSines(1, 4410, 44100), 44100);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        Render render(folder, {source});
        render.output->setLength(c.length);
        render.output->setGain(c.gain);
        render.output->setFadeInLength(c.fadeIn);
        render.output->setFadeOutLength(c.fadeOut);
        source.instructions->setSourceStart(c.sourceStart);
        source.instructions->setLocation(c.location);
        VMKError error;
        EXPECT_TRUE(render.run(&error).empty());
        EXPECT_EQ(error.code(), 3);
        EXPECT_EQ(error.reason(), QLatin1String(c.reason));
        EXPECT_TRUE(QDir(folder.path(QStringLiteral("out"))).isEmpty());
    }
}

// Metadata: sources that carry theirs are merged, and an output property
// with an empty text removes an inherited one.
TEST(AudioProcessOperation, AnEmptyPropertyRemovesAnInheritedOne) {
    TestFolder folder;
    AudioProcessSource source = makeSource(folder, QStringLiteral("tagged.wav"), makeSines(1, 4410, 44100), 44100);
    source.metadata = {{QStringLiteral("title"), QStringLiteral("Take")}, {QStringLiteral("artist"), QStringLiteral("Band")}};
    source.instructions->setIncludeProperties(true);
    Render render(folder, {source});
    auto property = std::make_shared<AudioProcessCommandPropertyInstructions>();
    property->setKey(QStringLiteral("artist"));
    property->setValue(QString());
    render.output->setPropertyInstructions({property});
    ASSERT_FALSE(render.run().empty());
    auto reader = VMKAudioFileReader::initWithURL(render.operation->resultURL());
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->metadata().value(QStringLiteral("title")).toString(), QStringLiteral("Take"));
    EXPECT_FALSE(reader->metadata().contains(QStringLiteral("artist")));
}

// AAC's decoder fills noisy bands from a generator that a seek doesn't
// rewind: two copies of one AAC file, back to back, each decode like the file
// read from its start. Catches a reader shared by the copies (the second
// copy, read after a seek back, gets other noise).
TEST(AudioProcessOperation, CopiesOfAnAACFileEachDecodeLikeTheFile) {
    TestFolder folder;
    ASSERT_TRUE(soxWrite(makeNoise(2, 44100 + 777, 0.3f, 11, 16), 44100, {"-b", "16"}, folder.path("noise.wav")));
    ASSERT_EQ(runTool(QStringLiteral("ffmpeg"), {"-v", "error", "-y", "-i", folder.path("noise.wav"), "-c:a", "aac",
                                                 "-b:a", "96k", folder.path("noise.m4a")}),
              0);
    auto reader = VMKAudioFileReader::initWithURL(folder.url(QStringLiteral("noise.m4a")));
    ASSERT_TRUE(reader);
    const TestAudio decoded = readAllFrames(*reader);
    const size_t frames = decoded.front().size();
    std::vector<AudioProcessSource> sources(2);
    for (size_t k = 0; k < sources.size(); ++k) {
        AudioProcessSource& source = sources[k];
        source.URLs = {folder.url(QStringLiteral("noise.m4a"))};
        source.format = QStringLiteral("M4A Audio File");
        source.encoding = QStringLiteral("AAC");
        source.sampleRate = 44100;
        source.channels = 2;
        source.length = double(frames) / 44100;
        source.instructions = std::make_shared<SourceInstructions>();
        source.instructions->setLocation(double(k) * source.length);
    }
    Render render(folder, sources);
    render.output->setFormat(QStringLiteral("WAVE File"));
    render.output->setEncoding(QStringLiteral("PCM"));
    render.output->setBitDepth(32);
    render.output->setFloatingPoint(true);
    VMKError error;
    const TestAudio result = render.run(&error);
    ASSERT_EQ(result.size(), 2u) << qPrintable(error.localizedDescription());
    ASSERT_EQ(result[0].size(), 2 * frames);
    for (size_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < 2 * frames; ++i)
            ASSERT_EQ(result[c][i], decoded[c][i % frames]) << "channel " << c << ", frame " << i;
}

} // namespace ondrel
