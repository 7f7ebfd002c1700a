#include "tests/support/engine/EngineTestSupport.h"
#include "tests/support/engine/TestGenerator.h"

#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/meters/VMKLoudnessMeterAudioProcessor.h"
#include "render/engine/meters/VMKPitchDetectorAudioProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

namespace ondrel {

namespace {
constexpr double kRate = 48000.0;
constexpr int64_t kSecond = 48000;

float silence(int64_t, uint32_t) { return 0.0f; }

float decibelsToAmplitude(double decibels) { return float(std::pow(10.0, decibels / 20.0)); }

// A sine of `frequency` Hz with peak `decibels` dBFS on every channel.
TestGenerator::Function sine(double frequency, double decibels, double rate = kRate, double phase = 0.0) {
    const double amplitude = decibelsToAmplitude(decibels);
    return [=](int64_t frame, uint32_t) {
        return float(amplitude * std::sin(2.0 * std::numbers::pi * frequency * double(frame) / rate + phase));
    };
}

// A head that hands every block it pulled to a function.
class BlockProbe : public VMKHeadAudioProcessor {
public:
    std::function<void(const VMKAudioBufferList&, int64_t sampleTime)> onBlock;

protected:
    bool didPullBlock(const VMKAudioBufferList& block, VMKError*) override {
        if (onBlock)
            onBlock(block, info().sampleTime());
        return true;
    }
};

std::shared_ptr<VMKLoudnessMeterAudioProcessor> measure(uint32_t channels, TestGenerator::Function function,
                                                        int64_t frames, bool truePeak = false, int64_t block = 256) {
    auto meter = std::make_shared<VMKLoudnessMeterAudioProcessor>();
    meter->setEnableTruePeak(truePeak);
    pullThrough(meter, std::make_shared<BlockProbe>(), channels, std::move(function), frames, block);
    return meter;
}

// Alternates two sine levels, `seconds` each, starting with the first.
TestGenerator::Function alternating(double first, double second, int64_t seconds) {
    auto a = sine(1000.0, first), b = sine(1000.0, second);
    return [=](int64_t frame, uint32_t channel) {
        return (frame / (seconds * kSecond)) % 2 == 0 ? a(frame, channel) : b(frame, channel);
    };
}
} // namespace

TEST(LoudnessMeter, SineOf1kHzReadsItsLevelInLUFS) {
    // Stereo 1 kHz sine at -23 dBFS is -23 LUFS, at -33 dBFS -33 LUFS.
    auto meter = measure(2, sine(1000.0, -23.0), 20 * kSecond);
    EXPECT_NEAR(meter->integratedLoudness(), -23.0, 0.1);
    EXPECT_NEAR(meter->peak(), -23.0, 0.01);
    EXPECT_NEAR(meter->loudnessRange(), 0.0, 0.1);
    meter = measure(2, sine(1000.0, -33.0), 20 * kSecond, false, 1000);
    EXPECT_NEAR(meter->integratedLoudness(), -33.0, 0.1);
}

TEST(LoudnessMeter, ChannelsCountByTheirPlace) {
    // A single channel counts as the same signal on two loudspeakers.
    auto meter = measure(1, sine(1000.0, -23.0), 10 * kSecond);
    EXPECT_NEAR(meter->integratedLoudness(), -23.0, 0.1);
    // Six channels: the LFE (the fourth) does not count, the surrounds weigh 1.5 dB more.
    auto only = [](uint32_t wanted) {
        auto tone = sine(1000.0, -20.0);
        return [=](int64_t frame, uint32_t channel) { return channel == wanted ? tone(frame, channel) : 0.0f; };
    };
    meter = measure(6, only(3), 5 * kSecond);
    EXPECT_EQ(meter->integratedLoudness(), -std::numeric_limits<double>::infinity());
    EXPECT_NEAR(meter->peak(), -20.0, 0.01);  // the peak still sees it
    const double front = measure(6, only(0), 5 * kSecond)->integratedLoudness();
    EXPECT_NEAR(measure(6, only(2), 5 * kSecond)->integratedLoudness(), front, 0.05);
    EXPECT_NEAR(measure(6, only(4), 5 * kSecond)->integratedLoudness() - front, 1.5, 0.05);
    EXPECT_NEAR(front, -23.0, 0.1);  // one channel of a -20 dBFS sine: 3 dB under the stereo pair
}

TEST(LoudnessMeter, TruePeakFindsThePeakBetweenSamples) {
    // A sine at a quarter of the rate, 45 degrees off: every sample sits at
    // 1/sqrt(2) of the amplitude, the true peak is the amplitude itself.
    const double amplitude = -6.0;
    const auto quarter = sine(kRate / 4.0, amplitude, kRate, std::numbers::pi / 4.0);
    const double samplePeak = decibels(double(decibelsToAmplitude(amplitude)) / std::sqrt(2.0));
    auto meter = measure(2, quarter, 2 * kSecond, true);
    EXPECT_NEAR(meter->peak(), amplitude, 0.2);
    meter = measure(2, quarter, 2 * kSecond, false);
    EXPECT_NEAR(meter->peak(), samplePeak, 0.001);
    // A full scale sine at 1 kHz: both peaks at 0 dB.
    EXPECT_NEAR(measure(2, sine(1000.0, 0.0), kSecond, true)->peak(), 0.0, 0.2);
    // Peak is the largest over the channels.
    auto louder = [](int64_t frame, uint32_t channel) { return channel == 1 && frame == 100 ? -0.5f : 0.0f; };
    EXPECT_NEAR(measure(2, louder, kSecond)->peak(), decibels(0.5), 1e-6);
}

TEST(LoudnessMeter, LoudnessRangeOfAlternatingLevels) {
    EXPECT_NEAR(measure(2, alternating(-20.0, -30.0, 20), 40 * kSecond)->loudnessRange(), 10.0, 1.0);
    EXPECT_NEAR(measure(2, alternating(-20.0, -15.0, 20), 40 * kSecond)->loudnessRange(), 5.0, 1.0);
}

TEST(LoudnessMeter, SilenceAndEmptyRunsAndResultsAfterTheRun) {
    auto meter = measure(2, silence, 5 * kSecond, true);
    EXPECT_EQ(meter->integratedLoudness(), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(meter->peak(), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(meter->loudnessRange(), 0.0);
    // A second run starts afresh; results outlive uninitialize (measure() has run it).
    pullThrough(meter, std::make_shared<BlockProbe>(), 2, sine(1000.0, -23.0), 5 * kSecond);
    EXPECT_NEAR(meter->integratedLoudness(), -23.0, 0.1);
    pullThrough(meter, std::make_shared<BlockProbe>(), 2, sine(1000.0, -40.0), 5 * kSecond);
    EXPECT_NEAR(meter->integratedLoudness(), -40.0, 0.1);
    EXPECT_NEAR(meter->peak(), -40.0, 0.01);
}

TEST(LoudnessMeter, OneBadSampleDoesNotSpoilTheMeasurement) {
    // A bad sample a second in: the nine seconds after it must still count
    // (a sample that is no number is measured as silence, never as the peak).
    const auto clean = sine(1000.0, -23.0);
    for (float bad : kBadSamples) {
        const auto function = [=](int64_t frame, uint32_t channel) {
            return frame == kSecond ? bad : clean(frame, channel);
        };
        for (bool truePeak : {false, true}) {
            auto meter = measure(2, function, 10 * kSecond, truePeak);
            EXPECT_NEAR(meter->integratedLoudness(), -23.0, 0.1) << bad << " true peak " << truePeak;
            EXPECT_NEAR(meter->loudnessRange(), 0.0, 0.1) << bad << " true peak " << truePeak;
            EXPECT_NEAR(meter->peak(), -23.0, 0.2) << bad << " true peak " << truePeak;
        }
    }
}
TEST(LoudnessMeter, RefusesARateItCannotMeasure) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto meter = std::make_shared<VMKLoudnessMeterAudioProcessor>();
    meter->setIdentifier(QStringLiteral("LUMeter"));
    chainProcessors(*stream, {std::make_shared<TestGenerator>(2, 8.0, &TestGenerator::ramp), meter,
                              std::make_shared<BlockProbe>()});
    VMKError error;
    EXPECT_FALSE(stream->initialize(&error));
    EXPECT_TRUE(error.isError());
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("LUMeter"))) << qPrintable(error.localizedDescription());
    EXPECT_FALSE(stream->isInitialized());
}

TEST(Meters, PassAudioThroughBitExact) {
    auto lu = std::make_shared<VMKLoudnessMeterAudioProcessor>();
    lu->setEnableTruePeak(true);
    const auto out = recordThrough(lu, 3, 30011, &TestGenerator::ramp, 300);
    ASSERT_EQ(out.size(), 3u);
    // The pitch detector gathers hops of its own size, out of step with the pulls.
    EXPECT_EQ(firstDifference(recordThrough(std::make_shared<VMKPitchDetectorAudioProcessor>(), 3, 30011,
                                            &TestGenerator::ramp, 300),
                              out),
              -1);
    for (uint32_t c = 0; c < 3; ++c) {
        ASSERT_EQ(out[c].size(), 30011u);
        for (int64_t f = 0; f < 30011; ++f)
            ASSERT_EQ(out[c][size_t(f)], TestGenerator::ramp(f, c)) << f << " " << c;
    }
    EXPECT_GT(lu->integratedLoudness(), -30.0);
}

namespace {
double noteFrequency(int note) { return 440.0 * std::pow(2.0, (note - 69) / 12.0); }

struct PitchRun {
    int blocks = 0;     // blocks looked at (after the settling time)
    int pitched = 0;    // of which with power above 0
    int right = 0;      // of which rounding to the expected note
    float lastSemitone = 0.0f;
};

PitchRun followPitch(const std::shared_ptr<VMKPitchDetectorAudioProcessor>& detector, uint32_t channels,
                     TestGenerator::Function function, int expected, double rate = kRate) {
    PitchRun result;
    auto probe = std::make_shared<BlockProbe>();
    const int64_t settle = int64_t(rate * 0.1);
    probe->onBlock = [&](const VMKAudioBufferList&, int64_t sampleTime) {
        if (sampleTime < settle)
            return;
        ++result.blocks;
        if (detector->power() > 0.0f) {
            ++result.pitched;
            result.right += int(std::lround(detector->semitone())) == expected;
            result.lastSemitone = detector->semitone();
        }
    };
    pullThrough(detector, probe, channels, std::move(function), int64_t(rate * 0.5), 256, rate);
    return result;
}

// Expects nine in ten blocks of a run to have a pitch, each the expected note.
void expectHeard(const PitchRun& run, const std::string& what) {
    EXPECT_GT(run.blocks, 0) << what;
    EXPECT_GE(run.pitched, run.blocks * 9 / 10) << what;
    EXPECT_EQ(run.right, run.pitched) << what << ", heard " << run.lastSemitone;
}
} // namespace

// Sines from note 36 to 96, sines at other rates, a tone on one channel of
// three (heard in the mix) and tones whose second and third harmonics are
// the strongest overtones: each is heard as its fundamental.
TEST(PitchDetector, FindsTheNotesOfTones) {
    struct Case {
        std::string what;
        uint32_t channels;
        TestGenerator::Function function;
        int note;
        double rate = kRate;
    };
    std::vector<Case> cases;
    for (int note = 36; note <= 96; ++note)
        cases.push_back({"note " + std::to_string(note), 2, sine(noteFrequency(note), -12.0), note});
    for (double rate : {44100.0, 96000.0})
        for (int note : {40, 69, 90})
            cases.push_back({std::to_string(rate) + " " + std::to_string(note), 1,
                             sine(noteFrequency(note), -12.0, rate), note, rate});
    const auto tone = sine(noteFrequency(57), -6.0);
    cases.push_back({"a tone on the third channel", 3,
                     [=](int64_t frame, uint32_t channel) { return channel == 2 ? tone(frame, channel) : 0.0f; }, 57});
    for (int note : {38, 50, 62, 74, 86}) {
        const double f = noteFrequency(note);
        // Eight harmonics falling as 1/k.
        cases.push_back({"harmonics of " + std::to_string(note), 2, [f](int64_t frame, uint32_t) {
                             double x = 0.0;
                             for (int k = 1; k <= 8; ++k)
                                 if (f * k < kRate / 2.0)
                                     x += 0.1 / k * std::sin(2.0 * std::numbers::pi * f * k * double(frame) / kRate + 0.3 * k);
                             return float(x);
                         }, note});
    }
    auto detector = std::make_shared<VMKPitchDetectorAudioProcessor>();
    for (const Case& c : cases)
        expectHeard(followPitch(detector, c.channels, c.function, c.note, c.rate), c.what);
}

TEST(PitchDetector, SilenceHasNoPitch) {
    auto detector = std::make_shared<VMKPitchDetectorAudioProcessor>();
    auto run = followPitch(detector, 2, silence, 0);
    EXPECT_GT(run.blocks, 0);
    EXPECT_EQ(run.pitched, 0);
    // A tone that stops: the pitch goes with it.
    auto tone = sine(noteFrequency(60), -12.0);
    auto stops = [=](int64_t frame, uint32_t channel) { return frame < kSecond / 4 ? tone(frame, channel) : 0.0f; };
    auto probe = std::make_shared<BlockProbe>();
    int pitchedEarly = 0, pitchedLate = 0;
    probe->onBlock = [&](const VMKAudioBufferList&, int64_t sampleTime) {
        if (detector->power() > 0.0f)
            (sampleTime < kSecond / 4 ? pitchedEarly : pitchedLate) += sampleTime > kSecond / 10;
        if (sampleTime > kSecond / 10 && sampleTime < kSecond / 4 - 256) {
            EXPECT_GT(detector->power(), 0.0f);
            EXPECT_EQ(std::lround(detector->semitone()), 60);
        }
    };
    pullThrough(detector, probe, 2, stops, kSecond / 2);
    EXPECT_GT(pitchedEarly, 0);
    EXPECT_LT(pitchedLate, 12);  // the window (2048 frames) still holds the tone for a few hops
    EXPECT_EQ(detector->power(), 0.0f);
}

TEST(PitchDetector, NoiseHasHardlyAnyPitch) {
    auto detector = std::make_shared<VMKPitchDetectorAudioProcessor>();
    auto noise = [](int64_t frame, uint32_t channel) {
        // A fixed white noise: a hash of frame and channel, uniform in [-0.5, 0.5).
        uint64_t x = uint64_t(frame) * 0x9E3779B97F4A7C15ull + channel * 0xBF58476D1CE4E5B9ull + 1;
        x ^= x >> 31;
        x *= 0x94D049BB133111EBull;
        x ^= x >> 29;
        return float(x >> 40) / float(1 << 24) - 0.5f;
    };
    const auto run = followPitch(detector, 2, noise, -1);
    EXPECT_GT(run.blocks, 0);
    EXPECT_LE(run.pitched, run.blocks / 20) << "heard " << run.lastSemitone;
}

TEST(PitchDetector, OneBadSampleIsForgottenWithinAWindow) {
    // A bad sample at 0.1 s; the second half of the half second must find A4 again.
    const auto tone = sine(noteFrequency(69), -12.0);
    for (float bad : kBadSamples) {
        auto detector = std::make_shared<VMKPitchDetectorAudioProcessor>();
        int late = 0, lateRight = 0;
        auto probe = std::make_shared<BlockProbe>();
        probe->onBlock = [&](const VMKAudioBufferList&, int64_t sampleTime) {
            if (sampleTime < kSecond / 4)
                return;
            ++late;
            lateRight += detector->power() > 0.0f && std::lround(detector->semitone()) == 69;
        };
        pullThrough(detector, probe, 1,
            [&](int64_t frame, uint32_t channel) { return frame == kSecond / 10 ? bad : tone(frame, channel); },
            kSecond / 2);
        EXPECT_GE(lateRight, late * 9 / 10) << bad;
        EXPECT_TRUE(std::isfinite(detector->semitone())) << bad;
    }
}

} // namespace ondrel
