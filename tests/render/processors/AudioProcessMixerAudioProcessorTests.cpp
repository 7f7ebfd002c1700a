#include "tests/support/engine/TestGenerator.h"

#include "render/processors/AudioProcessMixerAudioProcessor.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// Exact in float and different for every bus, channel and frame, so that a
// wrong bus, channel or sample time shows.
float busValue(uint64_t bus, int64_t frame, uint32_t channel) {
    return float(frame % 64) * 16.0f + float(bus * 4 + channel + 1);
}

struct Term {
    uint64_t bus;
    uint32_t channel;
    float factor;
};
struct MixerCase {
    const char* fault;
    std::vector<uint32_t> busChannels;
    std::vector<AudioProcessMixerTie> ties;
    std::vector<std::vector<Term>> expected;  // per output channel, the terms of its exact value
};
void PrintTo(const MixerCase& c, std::ostream* os) { *os << c.fault; }

class MixerTest : public ::testing::TestWithParam<MixerCase> {};

TEST_P(MixerTest, SumsTheTiedChannelsExactly) {
    const MixerCase& c = GetParam();
    auto mixer = std::make_shared<AudioProcessMixerAudioProcessor>();
    ASSERT_TRUE(mixer->setNumberOfInputBuses(c.busChannels.size()));
    for (const AudioProcessMixerTie& tie : c.ties)
        mixer->addTiesObject(tie);
    auto head = std::make_shared<TestRecorder>();
    auto stream = std::make_shared<VMKAudioStream>();
    stream->addProcessorsObject(mixer);
    for (uint64_t b = 0; b < c.busChannels.size(); ++b) {
        auto source = std::make_shared<TestGenerator>(c.busChannels[b], 48000.0,
                                                      [b](int64_t f, uint32_t channel) { return busValue(b, f, channel); });
        stream->addProcessorsObject(source);
        ASSERT_TRUE(stream->connectProcessor(source.get(), mixer.get(), b));
    }
    stream->addProcessorsObject(head);
    auto output = stream->connectProcessor(mixer.get(), head.get());
    output->setNumberOfChannels(uint32_t(c.expected.size()));  // as the render sets it
    output->setMaxFrames(128);
    head->setFrameCount(300);  // the last block is short
    VMKError error;
    ASSERT_TRUE(stream->initialize(&error) && stream->start(&error)) << qPrintable(error.localizedDescription());

    ASSERT_EQ(head->recorded.size(), c.expected.size());
    for (size_t o = 0; o < c.expected.size(); ++o)
        for (int64_t f = 0; f < 300; ++f) {
            float value = 0.0f;
            for (const Term& term : c.expected[o])
                value += term.factor * busValue(term.bus, f, term.channel);
            ASSERT_EQ(head->recorded[o].at(size_t(f)), value) << "output channel " << o << ", frame " << f;
        }
}

INSTANTIATE_TEST_SUITE_P(
    Ties, MixerTest,
    ::testing::Values(
        MixerCase{"0 dB is exactly x1, invert alone exactly x-1, 20 dB x10",
                  {2},
                  {{0, 0, 0, 0.0f, false}, {0, 1, 1, 0.0f, true}, {0, 0, 2, 20.0f, false}},
                  {{{0, 0, 1.0f}}, {{0, 1, -1.0f}}, {{0, 0, 10.0f}}}},
        MixerCase{"ties into one output channel sum, across buses",
                  {1, 2},
                  {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}},
                  {{{0, 0, 1.0f}, {1, 0, 1.0f}, {1, 1, 1.0f}}}},
        MixerCase{"ties to a bus or channel that isn't there are passed over; an untied output channel is silent",
                  {2},
                  {{0, 0, 0}, {0, 5, 1}, {3, 0, 1}, {0, 1, 7}},
                  {{{0, 0, 1.0f}}, {}, {}}},
        MixerCase{"buses keep their own channel counts",
                  {1, 3},
                  {{0, 0, 1}, {1, 2, 0}, {1, 0, 1}},
                  {{{1, 2, 1.0f}}, {{0, 0, 1.0f}, {1, 0, 1.0f}}}}));

} // namespace

} // namespace ondrel
