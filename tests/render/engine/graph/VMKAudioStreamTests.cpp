#include "tests/support/engine/TestGenerator.h"

#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/graph/VMKEngineError.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ondrel {

namespace {
struct Chain {
    std::shared_ptr<VMKAudioStream> stream = std::make_shared<VMKAudioStream>();
    std::shared_ptr<TestGenerator> generator;
    std::shared_ptr<VMKAudioProcessor> middle = std::make_shared<VMKAudioProcessor>();
    std::shared_ptr<TestRecorder> recorder = std::make_shared<TestRecorder>();

    Chain(uint32_t channels, double rate)
        : generator(std::make_shared<TestGenerator>(channels, rate, &TestGenerator::ramp)) {
        generator->setIdentifier(QStringLiteral("generator"));
        middle->setIdentifier(QStringLiteral("middle"));
        recorder->setIdentifier(QStringLiteral("recorder"));
        chainProcessors(*stream, {generator, middle, recorder});
    }
};
} // namespace

TEST(VMKAudioStream, RunsAPassThroughChainToCompletionInBlocks) {
    Chain chain(2, 48000.0);
    chain.recorder->setFrameCount(10000);
    chain.recorder->info().setSampleTime(500);
    chain.generator->outputConnection()->setMaxFrames(3000);  // a source may set the block size
    VMKError error;
    ASSERT_TRUE(chain.stream->initialize(&error)) << error.localizedDescription().toStdString();
    EXPECT_EQ(chain.stream->head(), chain.recorder.get());
    EXPECT_EQ(chain.recorder->inputConnection()->numberOfChannels(), 2u);
    EXPECT_EQ(chain.recorder->inputConnection()->sampleRate(), 48000.0);
    EXPECT_EQ(chain.recorder->inputConnection()->maxFrames(), 3000);
    ASSERT_TRUE(chain.stream->start(&error));
    EXPECT_FALSE(chain.stream->isRunning());

    ASSERT_EQ(chain.generator->pulls.size(), 4u);
    EXPECT_EQ(chain.generator->pulls[0].location, 500);
    EXPECT_EQ(chain.generator->pulls[3].location, 9500);
    EXPECT_EQ(chain.generator->pulls[3].length, 1000);
    ASSERT_EQ(chain.recorder->recorded.size(), 2u);
    ASSERT_EQ(chain.recorder->recorded[1].size(), 10000u);
    for (int64_t i = 0; i < 10000; ++i)
        ASSERT_EQ(chain.recorder->recorded[1][size_t(i)], TestGenerator::ramp(500 + i, 1)) << i;

    EXPECT_TRUE(chain.stream->stop(&error));
    EXPECT_TRUE(chain.stream->uninitialize(&error));
    // Negotiated fields go back to undecided; what the builder set stays.
    EXPECT_EQ(chain.recorder->inputConnection()->numberOfChannels(), 0u);
    EXPECT_EQ(chain.generator->outputConnection()->maxFrames(), 3000);
}

TEST(VMKAudioStream, TheHeadSetsTheBlockSizeWhenNobodyElseDoes) {
    Chain chain(1, 44100.0);
    chain.recorder->setFrameCount(VMKAudioStream::kDefaultMaxFrames + 1);
    ASSERT_TRUE(chain.stream->initialize());
    EXPECT_EQ(chain.generator->outputConnection()->maxFrames(), VMKAudioStream::kDefaultMaxFrames);
    ASSERT_TRUE(chain.stream->start());
    ASSERT_EQ(chain.generator->pulls.size(), 2u);
    EXPECT_EQ(chain.generator->pulls[1].length, 1);
    // A second run after uninitialize negotiates again.
    ASSERT_TRUE(chain.stream->uninitialize());
    chain.recorder->info().setSampleTime(0);
    ASSERT_TRUE(chain.stream->initialize());
    ASSERT_TRUE(chain.stream->start());
    EXPECT_EQ(chain.generator->pulls.size(), 4u);
}

TEST(VMKAudioStream, AFailedPullEndsTheRunWithTheSourcesError) {
    Chain chain(1, 44100.0);
    chain.recorder->setFrameCount(20000);
    chain.generator->failAtFrame = 5000;
    ASSERT_TRUE(chain.stream->initialize());
    VMKError error;
    EXPECT_FALSE(chain.stream->start(&error));
    EXPECT_EQ(error.code(), 42);
    EXPECT_EQ(chain.generator->pulls.size(), 2u);
    EXPECT_FALSE(chain.stream->isRunning());
}

TEST(VMKAudioStream, RefusesGraphsThatCantRun) {
    {
        Chain chain(1, 44100.0);
        VMKError error;
        EXPECT_FALSE(chain.stream->start(&error));
        EXPECT_EQ(error.code(), VMKEngineErrorState);
    }
    struct Refusal {
        const char* what;
        uint32_t channels;
        std::function<void(Chain&)> change;
        int code;
        QString mentioned = {};
    };
    const Refusal refusals[] = {
        {"an unconnected input bus", 1,
         [](Chain& chain) { chain.stream->disconnectInputBus(chain.middle->inputBus()); }, VMKEngineErrorGraph,
         QStringLiteral("\"middle\"")},
        {"two processors with a free output", 1,
         [](Chain& chain) {
             chain.stream->addProcessorsObject(std::make_shared<TestGenerator>(1, 44100.0, &TestGenerator::ramp));
         },
         VMKEngineErrorGraph},
        {"a loop beside the head", 1,
         [](Chain& chain) {
             auto a = std::make_shared<VMKAudioProcessor>();
             auto b = std::make_shared<VMKAudioProcessor>();
             chainProcessors(*chain.stream, {a, b});
             chain.stream->connectProcessor(b.get(), a.get());
         },
         VMKEngineErrorGraph},
        {"a channel count nobody decides", 0, [](Chain&) {}, VMKEngineErrorFormat},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        Chain chain(refusal.channels, 44100.0);
        refusal.change(chain);
        VMKError error;
        EXPECT_FALSE(chain.stream->initialize(&error));
        EXPECT_EQ(error.code(), refusal.code);
        EXPECT_TRUE(error.localizedDescription().contains(refusal.mentioned)) << qPrintable(error.localizedDescription());
        EXPECT_FALSE(chain.stream->isInitialized());
    }
    {  // a source whose rate disagrees with what the builder set downstream
        Chain chain(2, 44100.0);
        chain.middle->outputConnection()->setSampleRate(48000.0);
        VMKError error;
        EXPECT_FALSE(chain.stream->initialize(&error));
        EXPECT_EQ(error.code(), VMKEngineErrorFormat);
        // Nothing stays initialized and the connections are as they were.
        EXPECT_FALSE(chain.middle->isInitialized());
        EXPECT_EQ(chain.middle->outputConnection()->sampleRate(), 48000.0);
        EXPECT_EQ(chain.generator->outputConnection()->sampleRate(), 0.0);
    }
}

TEST(VMKAudioStream, BuildsProcessorsAndConnectionsFromADescription) {
    const QVariantMap description{
        {QStringLiteral("processors"),
         QVariantList{processorEntry(QStringLiteral("VMKAudioProcessor"), QStringLiteral("a")),
                      processorEntry(QStringLiteral("VMKAudioProcessor"), QStringLiteral("b")),
                      processorEntry(QStringLiteral("VMKHeadAudioProcessor"), QStringLiteral("head"),
                                     {{QStringLiteral("parameters"), QVariantMap{{QStringLiteral("frameCount"), 100}}}})}},
        {QStringLiteral("chain"), QStringList{QStringLiteral("a"), QStringLiteral("b")}},
        {QStringLiteral("connections"),
         QVariantList{QVariantMap{{QStringLiteral("source"), QStringLiteral("b")},
                                  {QStringLiteral("destination"), QStringLiteral("head")},
                                  {QStringLiteral("sampleRate"), 96000.0},
                                  {QStringLiteral("numberOfChannels"), 3}}}}};
    VMKError error;
    auto stream = VMKAudioStream::initWithDescription(description, &error);
    ASSERT_TRUE(stream) << qPrintable(error.localizedDescription());
    auto head = std::dynamic_pointer_cast<VMKHeadAudioProcessor>(stream->processorWithIdentifier(QStringLiteral("head")));
    ASSERT_TRUE(head);
    EXPECT_EQ(head->frameCount(), 100);
    EXPECT_EQ(head->inputConnection()->sampleRate(), 96000.0);
    EXPECT_EQ(head->inputConnection()->numberOfChannels(), 3u);
    auto a = stream->processorWithIdentifier(QStringLiteral("a"));
    EXPECT_EQ(a->outputConnection()->outputBus(), stream->processorWithIdentifier(QStringLiteral("b"))->inputBus());
    EXPECT_EQ(stream->connections().size(), 2u);

    // "a" has nothing feeding it, so the described graph can't run until more is added.
    EXPECT_FALSE(stream->initialize(&error));
    auto source = std::make_shared<TestGenerator>(3, 96000.0, &TestGenerator::ramp);
    stream->addProcessorsObject(source);
    stream->connectProcessor(source.get(), a.get());
    ASSERT_TRUE(stream->initialize(&error)) << qPrintable(error.localizedDescription());
    EXPECT_TRUE(stream->start(&error));
    EXPECT_EQ(source->pulls.size(), 1u);

    // Removing a processor disconnects it and drops the connections left loose.
    stream->uninitialize();
    stream->removeProcessorsObject(a);
    EXPECT_FALSE(a->stream());
    EXPECT_FALSE(source->outputConnection());
    EXPECT_EQ(stream->connections().size(), 1u);
}

TEST(VMKAudioStream, RefusesDescriptionsItCantBuild) {
    const auto processors = [](const QVariantMap& entry) {
        return QVariantMap{{QStringLiteral("processors"), QVariantList{entry}}};
    };
    QVariantMap badLink = processors(processorEntry(QStringLiteral("VMKAudioProcessor"), QStringLiteral("a")));
    badLink.insert(QStringLiteral("chain"), QStringList{QStringLiteral("a"), QStringLiteral("z")});
    struct Refusal {
        const char* what;
        QVariantMap description;
        int code;  // 0: any error
        QString mentioned;
    };
    const Refusal refusals[] = {
        {"unknown class", processors(processorEntry(QStringLiteral("NoSuchProcessor"))), VMKEngineErrorDescription,
         QStringLiteral("NoSuchProcessor")},
        {"not a processor", processors(processorEntry(QStringLiteral("VMKAudioStream"))), 0, {}},
        {"a link to a processor that isn't there", badLink, VMKEngineErrorDescription, {}},
        {"more buses than the class has",
         processors(processorEntry(QStringLiteral("VMKAudioProcessor"), {},
                                   {{QStringLiteral("numberOfInputBuses"), 2}})),
         VMKEngineErrorInvalidArgument, {}},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        VMKError error;
        EXPECT_FALSE(VMKAudioStream::initWithDescription(refusal.description, &error));
        if (refusal.code) {
            EXPECT_EQ(error.code(), refusal.code);
        }
        EXPECT_TRUE(error.localizedDescription().contains(refusal.mentioned)) << qPrintable(error.localizedDescription());
    }
}

namespace {
// A head that starts "a device" and returns at once, as a playback head does.
class DeviceHead : public VMKHeadAudioProcessor {
public:
    bool runsToCompletion() const override { return false; }
    bool start(VMKError*) override {
        started = true;
        return true;
    }
    bool stop(VMKError*) override {
        stopped = true;
        return true;
    }
    bool started = false, stopped = false;
};

class CountingSource : public VMKAudioProcessor {
public:
    CountingSource() { setNumberOfInputBuses(0); }
    bool proposeOutputFormat(VMKAudioConnection& output, VMKError* error) override {
        return proposeNumberOfChannels(output, 1, error) && proposeSampleRate(output, 8000.0, error);
    }
    bool render(VMKAudioBufferList& destination, VMKAudioBus&, const VMKAudioStreamRenderInfo&) override {
        destination.clear();
        pulls.fetch_add(1);
        return true;
    }
    std::atomic<int> pulls{0};
};
} // namespace

TEST(VMKAudioStream, ADeviceHeadRunsUntilStopped) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto source = std::make_shared<CountingSource>();
    auto head = std::make_shared<DeviceHead>();
    chainProcessors(*stream, {source, head});
    ASSERT_TRUE(stream->initialize());
    ASSERT_TRUE(stream->start());
    EXPECT_TRUE(stream->start());  // already running: nothing more happens
    EXPECT_TRUE(head->started);
    EXPECT_TRUE(stream->isRunning());
    ASSERT_TRUE(stream->stop());
    EXPECT_TRUE(head->stopped);
    EXPECT_FALSE(stream->isRunning());
    EXPECT_TRUE(stream->uninitialize());
    EXPECT_FALSE(head->isInitialized());
}

TEST(VMKAudioStream, StopFromAnotherThreadEndsARunToCompletion) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto source = std::make_shared<CountingSource>();
    auto head = std::make_shared<VMKHeadAudioProcessor>();
    chainProcessors(*stream, {source, head})->setMaxFrames(64);
    head->setFrameCount(int64_t(1) << 50);
    ASSERT_TRUE(stream->initialize());
    std::atomic<bool> finished{false};
    bool result = false;
    std::thread runner([&] {
        result = stream->start();
        finished = true;
    });
    while (source->pulls.load() < 10)
        std::this_thread::yield();
    EXPECT_TRUE(stream->isRunning());
    stream->stop();
    runner.join();
    EXPECT_TRUE(finished);
    EXPECT_TRUE(result);
    EXPECT_FALSE(stream->isRunning());
    EXPECT_LT(head->info().sampleTime(), int64_t(1) << 50);
}

TEST(VMKAudioStream, ABusHasOneConnectionAndAConnectionOneBusAtEachEnd) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto a = std::make_shared<VMKAudioProcessor>();
    auto b = std::make_shared<VMKAudioProcessor>();
    auto c = std::make_shared<VMKAudioProcessor>();
    stream->addProcessorsObject(a);
    stream->addProcessorsObject(b);
    stream->addProcessorsObject(c);
    auto connection = stream->connectProcessor(a.get(), b.get());
    EXPECT_EQ(connection->inputBus(), a->outputBus());
    EXPECT_EQ(connection->outputBus(), b->inputBus());
    EXPECT_EQ(b->inputConnection(), connection.get());
    stream->connectInputBus(c->inputBus(), connection);  // c takes the downstream end over
    EXPECT_FALSE(b->inputConnection());
    EXPECT_EQ(connection->outputBus(), c->inputBus());
    stream->disconnectOutputBus(a->outputBus());
    EXPECT_FALSE(connection->inputBus());
    EXPECT_FALSE(a->outputConnection());
    stream->removeConnectionsObject(connection);
    EXPECT_FALSE(c->inputConnection());
    EXPECT_TRUE(stream->connections().empty());
    // Connections outlive nothing they point to: a processor that goes away lets go of its end.
    auto d = std::make_shared<VMKAudioProcessor>();
    auto loose = std::make_shared<VMKAudioConnection>();
    stream->connectOutputBus(d->outputBus(), loose);
    d.reset();
    EXPECT_FALSE(loose->inputBus());
}

TEST(VMKAudioStream, RemovingAProcessorFromAnInitializedStreamUninitializesItFirst) {
    // A processor that counts how often it is uninitialized.
    struct Counting : VMKAudioProcessor {
        int* uninitialized;
        explicit Counting(int* counter) : uninitialized(counter) {}
        bool uninitialize(VMKError* error) override {
            ++*uninitialized;
            return VMKAudioProcessor::uninitialize(error);
        }
    };
    int uninitialized = 0;
    auto stream = std::make_shared<VMKAudioStream>();
    auto generator = std::make_shared<TestGenerator>(2, 48000.0, &TestGenerator::ramp);
    auto counting = std::make_shared<Counting>(&uninitialized);
    auto recorder = std::make_shared<TestRecorder>();
    chainProcessors(*stream, {generator, counting, recorder});
    VMKError error;
    ASSERT_TRUE(stream->initialize(&error)) << qPrintable(error.localizedDescription());
    ASSERT_TRUE(counting->isInitialized());

    // Taking it out while the stream is initialized leaves it uninitialized,
    // and the stream, whose graph has changed, must negotiate again.
    stream->removeProcessorsObject(counting);
    EXPECT_FALSE(counting->isInitialized());
    EXPECT_EQ(uninitialized, 1);
    EXPECT_FALSE(stream->isInitialized());
    // Once it is gone the stream never reaches for it again.
    counting.reset();
    EXPECT_TRUE(stream->uninitialize(&error));
    EXPECT_EQ(uninitialized, 1);
}

} // namespace ondrel
