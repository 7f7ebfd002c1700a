#include "tests/support/engine/TestGenerator.h"

#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/graph/VMKEngineError.h"
#include "render/engine/effects/VMKFaderAudioProcessor.h"
#include "render/engine/effects/VMKMixerAudioProcessor.h"
#include "render/engine/effects/VMKRouterAudioProcessor.h"

#include <gtest/gtest.h>

#include <functional>

namespace ondrel {

namespace {
float other(int64_t frame, uint32_t channel) { return float((frame * 7) % 1000) / 1000.0f - float(channel); }

template <class T>
std::shared_ptr<T> add(VMKAudioStream& stream, const QString& identifier, std::shared_ptr<T> processor) {
    processor->setIdentifier(identifier);
    stream.addProcessorsObject(processor);
    return processor;
}

// stereo -> router "swap"   -> mixer bus 0
// mono   -> router "spread" -> mixer bus 1;  mixer -> fader -> recorder
struct Mix {
    std::shared_ptr<VMKAudioStream> stream = std::make_shared<VMKAudioStream>();
    std::shared_ptr<TestGenerator> stereo, mono;
    std::shared_ptr<VMKRouterAudioProcessor> swap, spread;
    std::shared_ptr<VMKMixerAudioProcessor> mixer;
    std::shared_ptr<VMKFaderAudioProcessor> fader;
    std::shared_ptr<TestRecorder> recorder;

    explicit Mix(double monoRate = 48000.0) {
        VMKAudioStream& s = *stream;
        stereo = add(s, QStringLiteral("stereo"), std::make_shared<TestGenerator>(2, 48000.0, &TestGenerator::ramp));
        mono = add(s, QStringLiteral("mono"), std::make_shared<TestGenerator>(1, monoRate, &other));
        swap = add(s, QStringLiteral("swap"), std::make_shared<VMKRouterAudioProcessor>());
        swap->setNumberOfInputChannels(2);
        swap->setNumberOfOutputChannels(2);
        swap->router()->tieInputChannel(0, 1);
        swap->router()->tieInputChannel(1, 0);
        spread = add(s, QStringLiteral("spread"), std::make_shared<VMKRouterAudioProcessor>());
        spread->setNumberOfInputChannels(1);
        spread->setNumberOfOutputChannels(2);
        spread->router()->tieInputChannel(0, 0);
        spread->router()->tieInputChannel(0, 1);
        mixer = add(s, QStringLiteral("mixer"), std::make_shared<VMKMixerAudioProcessor>());
        mixer->setNumberOfInputBuses(2);
        fader = add(s, QStringLiteral("fader"), std::make_shared<VMKFaderAudioProcessor>());
        recorder = add(s, QStringLiteral("recorder"), std::make_shared<TestRecorder>());
        s.connectProcessor(stereo.get(), swap.get());
        s.connectProcessor(mono.get(), spread.get());
        s.connectProcessor(swap.get(), mixer.get(), 0);
        s.connectProcessor(spread.get(), mixer.get(), 1);
        s.connectProcessor(mixer.get(), fader.get());
        s.connectProcessor(fader.get(), recorder.get());
    }
};
} // namespace

TEST(GraphRender, RoutesMixesAndFadesToExactSamples) {
    Mix mix;
    mix.fader->setScalar(0.5f);
    mix.recorder->setFrameCount(10000);
    mix.recorder->inputConnection()->setMaxFrames(1000);
    VMKError error;
    ASSERT_TRUE(mix.stream->initialize(&error)) << qPrintable(error.localizedDescription());
    EXPECT_EQ(mix.mixer->outputConnection()->numberOfChannels(), 2u);
    EXPECT_EQ(mix.stereo->outputConnection()->maxFrames(), 1000);
    ASSERT_TRUE(mix.stream->start(&error)) << qPrintable(error.localizedDescription());
    ASSERT_EQ(mix.recorder->recorded.size(), 2u);
    for (uint32_t c = 0; c < 2; ++c) {
        ASSERT_EQ(mix.recorder->recorded[c].size(), 10000u);
        for (int64_t f = 0; f < 10000; ++f) {
            const float expected = (TestGenerator::ramp(f, 1 - c) + other(f, 0)) * 0.5f;
            ASSERT_EQ(mix.recorder->recorded[c][size_t(f)], expected) << "channel " << c << " frame " << f;
        }
    }
    // All sources were pulled at the mix's sample times.
    ASSERT_EQ(mix.mono->pulls.size(), 10u);
    EXPECT_EQ(mix.mono->pulls[9].location, 9000);
    EXPECT_TRUE(mix.stream->stop());
    EXPECT_TRUE(mix.stream->uninitialize());
}

TEST(GraphRender, TiesIntoOneOutputAddUpAndUntiedChannelsAreSilent) {
    Mix mix;
    mix.swap->router()->untieInputChannel(1, 0);
    mix.swap->router()->tieInputChannel(1, 1);  // both stereo channels into output 1
    mix.spread->router()->untieInputChannel(0, 0);
    mix.recorder->setFrameCount(300);
    ASSERT_TRUE(mix.stream->initialize());
    ASSERT_TRUE(mix.stream->start());
    for (int64_t f = 0; f < 300; ++f) {
        ASSERT_EQ(mix.recorder->recorded[0][size_t(f)], 0.0f);
        const float both = TestGenerator::ramp(f, 0) + TestGenerator::ramp(f, 1);
        ASSERT_EQ(mix.recorder->recorded[1][size_t(f)], both + other(f, 0));
    }
}

TEST(GraphRender, TheHeadsBlockSizeReachesEverySource) {
    Mix mix;
    mix.recorder->setFrameCount(1000);
    auto input = mix.recorder->inputConnection();
    input->setMaxFrames(256);
    ASSERT_TRUE(mix.stream->initialize());
    EXPECT_EQ(mix.mono->outputConnection()->maxFrames(), 256);
    ASSERT_TRUE(mix.stream->start());
    ASSERT_EQ(mix.stereo->pulls.size(), 4u);
    EXPECT_EQ(mix.stereo->pulls[3].location, 768);
    EXPECT_EQ(mix.stereo->pulls[3].length, 232);
}

TEST(GraphRender, ReportsMismatchedFormatsAndLooseBuses) {
    struct Refusal {
        const char* what;
        double monoRate;
        std::function<void(Mix&)> change;
        int code;
        QStringList mentioned;
    };
    const Refusal refusals[] = {
        {"sources at two rates", 44100.0, [](Mix&) {}, VMKEngineErrorFormat, {"44100", "48000", "\"mixer\""}},
        {"a router told of more input channels than its source has", 48000.0,
         [](Mix& mix) { mix.spread->setNumberOfInputChannels(2); }, VMKEngineErrorFormat, {"\"spread\""}},
        {"the builder fixed the mix at three channels; the router delivers two", 48000.0,
         [](Mix& mix) { mix.spread->outputConnection()->setNumberOfChannels(3); }, VMKEngineErrorFormat, {}},
        {"a third mixer bus left unconnected", 48000.0, [](Mix& mix) { mix.mixer->setNumberOfInputBuses(3); },
         VMKEngineErrorGraph, {"input bus 2"}},
        {"a dropped bus, which disconnects it", 48000.0, [](Mix& mix) { mix.mixer->setNumberOfInputBuses(1); },
         VMKEngineErrorGraph, {}},
        {"a pass-through processor asked to change channels", 48000.0,
         [](Mix& mix) { mix.fader->outputConnection()->setNumberOfChannels(1); }, VMKEngineErrorFormat, {"\"fader\""}},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        Mix mix(refusal.monoRate);
        refusal.change(mix);
        VMKError error;
        EXPECT_FALSE(mix.stream->initialize(&error));
        EXPECT_EQ(error.code(), refusal.code);
        for (const QString& text : refusal.mentioned)
            EXPECT_TRUE(error.localizedDescription().contains(text)) << qPrintable(error.localizedDescription());
        EXPECT_FALSE(mix.stream->isInitialized());
        EXPECT_FALSE(mix.swap->isInitialized());
    }
}

// Bus counts at their limits: a mixer takes any number, each bus knowing
// its index; a pass-through processor takes one; a router needs a channel.
TEST(GraphRender, BusAndChannelCountsAtTheirLimits) {
    VMKMixerAudioProcessor mixer;
    EXPECT_TRUE(mixer.setNumberOfInputBuses(12));
    EXPECT_EQ(mixer.inputBuses()[11]->index(), 11u);
    VMKFaderAudioProcessor fader;
    VMKError error;
    EXPECT_FALSE(fader.setNumberOfInputBuses(2, &error));
    EXPECT_EQ(error.code(), VMKEngineErrorInvalidArgument);
    EXPECT_FALSE(VMKRouterAudioProcessor().setNumberOfInputChannels(0));
}

} // namespace ondrel
