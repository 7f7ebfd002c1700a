#include "tests/support/engine/EngineTestSupport.h"
#include "tests/support/engine/TestGenerator.h"

#include "render/engine/effects/APLDynamicsAudioProcessor.h"
#include "render/engine/effects/APLTimePitchAudioProcessor.h"
#include "render/engine/effects/APLVarispeedAudioProcessor.h"
#include "render/engine/effects/GHZDitherAudioProcessor.h"
#include "render/engine/effects/VMKRemoveDCAudioProcessor.h"
#include "render/engine/graph/VMKAudioComponentRegistry.h"
#include "render/engine/graph/VMKAudioStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <numeric>

namespace ondrel {

namespace {
constexpr double kRate = 48000.0;

TestGenerator::Function sine(double frequency, double amplitude, double offset = 0.0) {
    return sineWave(frequency, amplitude, kRate, offset);
}

float silence(int64_t, uint32_t) { return 0.0f; }

// Frequency from the rising zero crossings in [from, to), interpolated
// between samples, in Hz.
double frequencyOf(const std::vector<float>& values, size_t from, size_t to) {
    double first = -1.0, last = -1.0;
    int crossings = 0;
    for (size_t i = from + 1; i < to; ++i) {
        if (values[i - 1] < 0.0f && values[i] >= 0.0f) {
            const double at = double(i - 1) + double(-values[i - 1]) / double(values[i] - values[i - 1]);
            if (first < 0.0)
                first = at;
            last = at;
            ++crossings;
        }
    }
    return crossings > 1 ? double(crossings - 1) * kRate / (last - first) : 0.0;
}

// Mean power of `values` at `frequency` over segments of 4096.
double powerAt(const std::vector<float>& values, double frequency) {
    double total = 0.0;
    size_t segments = 0;
    for (size_t start = 0; start + 4096 <= values.size(); start += 4096, ++segments)
        total += std::pow(amplitudeAt(values, frequency, kRate, start, 4096), 2.0);
    return total / double(segments);
}

// Mean noise power over a band, from a handful of frequencies in it.
double bandPower(const std::vector<float>& values, double low, double high) {
    double sum = 0.0;
    for (int i = 0; i < 8; ++i)
        sum += powerAt(values, low + (high - low) * (i + 0.5) / 8.0);
    return sum / 8.0;
}

std::shared_ptr<GHZDitherAudioProcessor> dither(int bits, const QString& shape, const QString& amount = "optimal",
                                                bool blanking = true) {
    auto processor = std::make_shared<GHZDitherAudioProcessor>();
    processor->setValueForParameterKey(bits, QStringLiteral("bitDepth"));
    processor->setValueForParameterKey(shape, QStringLiteral("noiseShaping"));
    processor->setValueForParameterKey(amount, QStringLiteral("amount"));
    processor->setValueForParameterKey(blanking, QStringLiteral("autoBlankingEnabled"));
    return processor;
}

// The quantisation error (output minus input) of a quiet 997 Hz sine.
std::vector<float> ditherError(const QString& shape, int64_t frames = 96000) {
    const auto function = sine(997.0, 0.01);
    const auto out = recordThrough(dither(16, shape, QStringLiteral("optimal"), false), 1, frames, function);
    std::vector<float> error(out[0].size());
    for (size_t i = 0; i < error.size(); ++i)
        error[i] = float(double(out[0][i]) - double(function(int64_t(i), 0)));
    return error;
}
} // namespace

TEST(Dither, OutputLiesExactlyOnTheGridAndClipsAtFullScale) {
    for (int bits : {8, 16, 24}) {
        for (const char* shape : {"none", "light", "medium", "high", "optimal"}) {
            // A loud sine that overshoots full scale, so the clipping path runs too.
            const auto out = recordThrough(dither(bits, QString::fromLatin1(shape)), 2, 20000, sine(440.0, 1.2, 0.01), 333);
            const double scale = std::ldexp(1.0, bits - 1);
            for (const auto& channel : out) {
                ASSERT_EQ(channel.size(), 20000u);
                for (float value : channel) {
                    const double k = double(value) * scale;
                    ASSERT_EQ(k, std::floor(k)) << bits << " bits, " << shape << ": " << value;
                    ASSERT_GE(k, -scale);
                    ASSERT_LE(k, scale - 1.0);
                }
            }
            const float top = *std::max_element(out[0].begin(), out[0].end());
            EXPECT_EQ(double(top), (scale - 1.0) / scale) << bits << " bits, " << shape;
        }
    }
}

TEST(Dither, FlatTriangularDitherHasTheExpectedNoiseFloor) {
    // Rounding adds 1/12 LSB^2 and a +-1 LSB triangular dither 1/6: 1/2 LSB RMS,
    // that is -96.3 dBFS at 16 bits (plain rounding alone would be -101.1).
    const auto error = ditherError(QStringLiteral("none"));
    double sum = 0.0, mean = 0.0;
    for (double e : error) {
        sum += e * e;
        mean += e;
    }
    const double level = decibels(std::sqrt(sum / double(error.size())));
    EXPECT_NEAR(level, decibels(0.5 / 32768.0), 0.3);
    EXPECT_NEAR(mean / double(error.size()), 0.0, 1e-7);  // no offset
    // And it is white: as much noise low as high.
    const double low = bandPower(error, 1000.0, 4000.0), high = bandPower(error, 16000.0, 22000.0);
    EXPECT_NEAR(10.0 * std::log10(high / low), 0.0, 1.0);
}

TEST(Dither, ShapedNoiseMovesFromTheMiddleToTheTop) {
    const auto flat = ditherError(QStringLiteral("none"));
    const double flatLow = bandPower(flat, 2500.0, 4500.0), flatHigh = bandPower(flat, 19000.0, 23000.0);
    struct Expectation {
        const char* shape;
        double lowBelow;   // dB less than flat around 3 kHz, at least
        double highAbove;  // dB more than flat above 19 kHz, at least
    };
    for (const Expectation& expected : {Expectation{"light", 3.5, 2.0}, Expectation{"medium", 13.0, 8.0},
                                        Expectation{"high", 15.0, 14.0}, Expectation{"optimal", 20.0, 20.0}}) {
        const auto shaped = ditherError(QString::fromLatin1(expected.shape));
        const double low = 10.0 * std::log10(bandPower(shaped, 2500.0, 4500.0) / flatLow);
        const double high = 10.0 * std::log10(bandPower(shaped, 19000.0, 23000.0) / flatHigh);
        EXPECT_LT(low, -expected.lowBelow) << expected.shape;
        EXPECT_GT(high, expected.highAbove) << expected.shape;
    }
}

TEST(Dither, AutoBlankingKeepsDigitalSilenceSilent) {
    // Silence, then a quiet tone, then silence again.
    const auto function = [](int64_t frame, uint32_t channel) {
        if (frame < 5000 || frame >= 15000)
            return 0.0f;
        return float(0.001 * std::sin(0.05 * double(frame) + channel));
    };
    const auto blanked = recordThrough(dither(16, QStringLiteral("optimal")), 2, 20000, function, 512);
    for (const auto& channel : blanked) {
        for (size_t i = 0; i < 5000; ++i)
            ASSERT_EQ(channel[i], 0.0f) << i;
        for (size_t i = 15000; i < 20000; ++i)
            ASSERT_EQ(channel[i], 0.0f) << i;
        EXPECT_GT(rms(std::vector<float>(channel.begin() + 5000, channel.begin() + 15000)), 0.0005);
    }
    // Without blanking, silence is dithered like everything else.
    const auto dithered = recordThrough(dither(16, QStringLiteral("none"), QStringLiteral("optimal"), false), 2, 20000,
                              function, 512);
    EXPECT_NEAR(rms(std::vector<float>(dithered[0].begin(), dithered[0].begin() + 5000)),
                0.5 / 32768.0, 0.05 / 32768.0);
}

TEST(Dither, IsReproducibleIndependentPerChannelAndBlockSizeBlind) {
    const auto function = sine(1000.0, 0.25);
    const auto first = recordThrough(dither(16, QStringLiteral("optimal")), 2, 8000, function, 1024);
    const auto again = recordThrough(dither(16, QStringLiteral("optimal")), 2, 8000, function, 77);
    EXPECT_EQ(first, again);
    EXPECT_NE(first[0], first[1]);  // the same signal gets different dither in each channel
    // Depths the processor does not reduce to pass through untouched.
    const auto untouched = recordThrough(dither(32, QStringLiteral("optimal")), 1, 1000, function);
    for (size_t i = 0; i < untouched[0].size(); ++i)
        ASSERT_EQ(untouched[0][i], function(int64_t(i), 0));
    // With no dither at all it is plain rounding.
    const auto rounded = recordThrough(dither(16, QStringLiteral("none"), QStringLiteral("none")), 1, 1000, function);
    for (size_t i = 0; i < rounded[0].size(); ++i)
        ASSERT_EQ(rounded[0][i], float(std::nearbyint(double(function(int64_t(i), 0)) * 32768.0) / 32768.0));
}

TEST(EffectRemoveDC, RemovesAnOffsetAndKeepsTheAudioBand) {
    auto processor = std::make_shared<VMKRemoveDCAudioProcessor>();
    // A 100 Hz sine riding on an offset of 0.3, in two channels with different offsets.
    const auto function = [](int64_t frame, uint32_t channel) {
        return float((channel ? -0.3 : 0.3) + 0.5 * std::sin(2.0 * std::numbers::pi * 100.0 * double(frame) / kRate));
    };
    const auto out = recordThrough(processor, 2, 96000, function, 500);
    for (const auto& channel : out) {
        // After half a second the offset is gone (a whole number of periods averages the sine out).
        EXPECT_NEAR(std::accumulate(channel.begin() + 48000, channel.end(), 0.0) / 48000.0, 0.0, 1e-5);
        EXPECT_NEAR(rms(channel, 48000), 0.5 / std::sqrt(2.0), 1e-3);
    }
    // 20 Hz passes with under 0.05 dB loss.
    const auto low = recordThrough(std::make_shared<VMKRemoveDCAudioProcessor>(), 1, 96000, sine(20.0, 0.5), 4096);
    EXPECT_NEAR(decibels(rms(low[0], 48000) / (0.5 / std::sqrt(2.0))), 0.0, 0.05);
    // Silence stays silent.
    const auto silent = recordThrough(std::make_shared<VMKRemoveDCAudioProcessor>(), 1, 4096, silence);
    for (float value : silent[0])
        ASSERT_EQ(value, 0.0f);
}

TEST(EffectVarispeed, CentsSetTheRateOfBothPitchAndTime) {
    auto varispeed = std::make_shared<APLVarispeedAudioProcessor>();
    varispeed->setCents(1200.0f);
    // An octave up doubles the frequency and reads the input twice as fast:
    // output frame j is input frame 2j.
    const auto out = recordThrough(varispeed, 1, 24000, sine(1000.0, 0.5), 1000);
    EXPECT_NEAR(frequencyOf(out[0], 100, 24000), 2000.0, 0.5);
    for (size_t j = 100; j < 24000; j += 997)
        ASSERT_NEAR(out[0][j], sine(1000.0, 0.5)(int64_t(2 * j), 0), 1e-6) << j;
    // An octave down halves it; 700 cents gives a fifth (rate 1.4983).
    varispeed->setCents(-1200.0f);
    EXPECT_NEAR(frequencyOf(recordThrough(varispeed, 1, 24000, sine(1000.0, 0.5))[0], 100, 24000), 500.0, 0.5);
    varispeed->setCents(700.0f);
    EXPECT_NEAR(frequencyOf(recordThrough(varispeed, 2, 24000, sine(1000.0, 0.5), 333)[1], 100, 24000), 1498.31, 0.5);
    // At 0 cents it passes the input through exactly.
    varispeed->setCents(0.0f);
    const auto same = recordThrough(varispeed, 2, 5000, TestGenerator::ramp, 128);
    for (uint32_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < 5000; ++i)
            ASSERT_EQ(same[c][i], TestGenerator::ramp(int64_t(i), c)) << i;
}

// Settings beyond what a processor can do are held at its limits (a tempo of
// 0 in a file asks for an infinite rate); one that is no number is ignored.
TEST(Effects, SettingsOutOfRangeAreHeld) {
    APLVarispeedAudioProcessor varispeed;
    APLDynamicsAudioProcessor dynamics;
    APLTimePitchAudioProcessor timePitch;
    struct Case {
        const char* what;
        std::function<void()> set;
        std::function<float()> get;
        float held;
    };
    const Case cases[] = {
        {"cents", [&] { varispeed.setCents(1e9f); }, [&] { return varispeed.cents(); },
         float(APLVarispeedAudioProcessor::kMaximumCents)},
        {"expansion ratio", [&] { dynamics.setExpansionRatio(100.0f); }, [&] { return dynamics.expansionRatio(); }, 50.0f},
        {"headroom", [&] { dynamics.setCompressionHeadroom(0.0f); }, [&] { return dynamics.compressionHeadroom(); }, 0.1f},
        {"infinite rate", [&] { timePitch.setPlaybackRate(std::numeric_limits<float>::infinity()); },
         [&] { return timePitch.playbackRate(); }, APLTimePitchAudioProcessor::kMaximumRate},
        {"rate that is no number", [&] { timePitch.setPlaybackRate(std::nanf("")); },
         [&] { return timePitch.playbackRate(); }, 1.0f},
    };
    for (const Case& c : cases) {
        c.set();
        EXPECT_EQ(c.get(), c.held) << c.what;
    }
}

TEST(VMKAudioComponentRegistry, AnUnknownComponentIsNamedInTheError) {
    using Registry = VMKAudioComponentRegistry;
    VMKError error;
    EXPECT_FALSE(Registry::processorForComponent(Registry::fourCharCode(QStringLiteral("aufx")),
                                                 Registry::fourCharCode(QStringLiteral("none")),
                                                 Registry::fourCharCode(QStringLiteral("appl")), &error));
    EXPECT_TRUE(error.isError());
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("'none'"))) << qPrintable(error.localizedDescription());
}

TEST(EffectDynamics, CompressionLowersLoudSignalsAndLeavesQuietOnesAlone) {
    // As a compress action sets it up: the component's parameter names, expansion off.
    auto compressor = std::make_shared<APLDynamicsAudioProcessor>();
    compressor->setExpansionRatio(1.0f);
    compressor->setValueForParameterKey(-20.0f, QStringLiteral("Compression Threshold"));
    compressor->setValueForParameterKey(6.0f, QStringLiteral("Headroom"));
    compressor->setValueForParameterKey(0.01, QStringLiteral("Attack Time"));
    compressor->setValueForParameterKey(0.05, QStringLiteral("Release Time"));
    compressor->setValueForParameterKey(0.0f, QStringLiteral("Master Gain"));
    // The curve: unity up to the threshold, then approaching threshold + headroom.
    EXPECT_EQ(compressor->gainForLevel(-30.0f), 0.0f);
    EXPECT_NEAR(compressor->gainForLevel(-19.0f), -(1.0f - 6.0f * (1.0f - std::exp(-1.0f / 6.0f))), 1e-4);
    EXPECT_NEAR(compressor->gainForLevel(60.0f), -20.0f + 6.0f - 60.0f, 1e-3);

    const auto loud = recordThrough(compressor, 2, 48000, sine(1000.0, 0.9), 512);
    const double loudPeak = decibels(peak(loud[0], 24000));
    // -0.9 dBFS in; the curve gives -14.3 dBFS for a level at the peak, and
    // the detector, rising with a 10 ms attack, sits a little under the peak.
    EXPECT_LT(loudPeak, -11.0);
    EXPECT_GT(loudPeak, -15.0);
    EXPECT_EQ(loud[0], loud[1]);
    const auto quiet = recordThrough(compressor, 2, 48000, sine(1000.0, 0.01), 512);
    for (size_t i = 0; i < quiet[0].size(); i += 7)
        ASSERT_NEAR(quiet[0][i], sine(1000.0, 0.01)(int64_t(i), 0), 1e-7) << i;
    // Master gain lifts everything.
    compressor->setMasterGain(6.0f);
    EXPECT_NEAR(peak(recordThrough(compressor, 1, 48000, sine(1000.0, 0.01))[0], 24000), 0.01 * std::pow(10.0, 0.3), 1e-4);
}

TEST(EffectDynamics, ExpansionLowersQuietSignalsAndLeavesLoudOnesAlone) {
    // As an expand action sets it up: compression threshold 20 dB, out of reach.
    auto expander = std::make_shared<APLDynamicsAudioProcessor>();
    expander->setValueForParameterKey(20, QStringLiteral("Compression Threshold"));
    expander->setValueForParameterKey(-40.0f, QStringLiteral("Expansion Threshold"));
    expander->setValueForParameterKey(2.0f, QStringLiteral("Expansion Ratio"));
    const auto quiet = recordThrough(expander, 1, 48000, sine(1000.0, 0.001), 512);  // -60 dBFS: 20 dB under
    EXPECT_NEAR(decibels(peak(quiet[0], 24000)), -80.0, 0.5);
    const auto loud = recordThrough(expander, 1, 48000, sine(1000.0, 0.5), 512);
    EXPECT_NEAR(peak(loud[0], 1000), 0.5, 1e-4);
    // A ratio of 1 does nothing, and silence stays silent.
    expander->setExpansionRatio(1.0f);
    EXPECT_NEAR(peak(recordThrough(expander, 1, 48000, sine(1000.0, 0.001))[0], 24000), 0.001, 1e-7);
    const auto silent = recordThrough(expander, 1, 2000, silence);
    for (float value : silent[0])
        ASSERT_EQ(value, 0.0f);
}

namespace {
// A 440 Hz sine of `length` frames, then silence.
TestGenerator::Function toneBurst(int64_t length) {
    return [length](int64_t frame, uint32_t channel) {
        return frame < length ? sine(440.0, 0.5)(frame, channel) : 0.0f;
    };
}

// The first and one past the last frame above -60 dBFS.
std::pair<int64_t, int64_t> audibleExtent(const std::vector<float>& values) {
    int64_t first = -1, end = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        if (std::abs(values[i]) > 0.001f) {
            if (first < 0)
                first = int64_t(i);
            end = int64_t(i) + 1;
        }
    }
    return {first, end};
}

// Expects the audio of `values` to start within 64 frames and to end in the
// last 4096 frames before `length`.
void expectAudibleFor(const std::vector<float>& values, int64_t length) {
    const auto [first, end] = audibleExtent(values);
    EXPECT_LT(first, 64);
    EXPECT_GT(end, length - 4096);
    EXPECT_LE(end, length);
}

std::shared_ptr<APLTimePitchAudioProcessor> timePitch(float rate, float cents, qint64 inputFrames) {
    auto processor = std::make_shared<APLTimePitchAudioProcessor>();
    processor->setValueForParameterKey(rate, QStringLiteral("Rate"));
    processor->setValueForParameterKey(cents, QStringLiteral("Pitch"));
    processor->setValueForParameterKey(inputFrames, QStringLiteral("inputFrameCount"));
    return processor;
}
} // namespace

TEST(EffectTimePitch, OfflineHalfRateDoublesTheLengthExactly) {
    constexpr int64_t kLength = 48000;
    const auto out = recordThrough(timePitch(0.5f, 0.0f, kLength), 2, 3 * kLength, toneBurst(kLength), 4096);
    expectAudibleFor(out[0], 2 * kLength);
    // The pitch stays.
    EXPECT_NEAR(frequencyOf(out[0], 20000, 80000), 440.0, 440.0 * 0.005);
    EXPECT_EQ(out[0], out[1]);
    // Twice the rate halves it.
    expectAudibleFor(recordThrough(timePitch(2.0f, 0.0f, kLength), 1, kLength, toneBurst(kLength), 1000)[0], kLength / 2);
}

TEST(EffectTimePitch, OfflineOctaveUpDoublesTheFrequencyAndKeepsTheLength) {
    constexpr int64_t kLength = 48000;
    const auto out = recordThrough(timePitch(1.0f, 1200.0f, kLength), 1, 2 * kLength, toneBurst(kLength), 2048);
    EXPECT_NEAR(frequencyOf(out[0], 8000, 40000), 880.0, 880.0 * 0.005);
    expectAudibleFor(out[0], kLength);
}

TEST(EffectTimePitch, RealTimeStreamsAlignedAndFollowsItsSettings) {
    constexpr int64_t kLength = 48000;
    // Octave up, length kept.
    const auto up = recordThrough(timePitch(1.0f, 1200.0f, 0), 1, 2 * kLength, toneBurst(kLength), 512);
    EXPECT_NEAR(frequencyOf(up[0], 8000, 40000), 880.0, 880.0 * 0.005);
    // Half rate: twice as long, to within a block, and aligned with the input.
    const auto slow = recordThrough(timePitch(0.5f, 0.0f, 0), 2, 3 * kLength, toneBurst(kLength), 4096);
    const auto [first, end] = audibleExtent(slow[0]);
    EXPECT_LT(first, 512);
    EXPECT_NEAR(double(end), double(2 * kLength), 4096.0);
    EXPECT_NEAR(frequencyOf(slow[0], 20000, 80000), 440.0, 440.0 * 0.005);
    // Without latency compensation the output comes later by the stretcher's delay.
    auto late = timePitch(0.5f, 0.0f, 0);
    late->setLatencyCompensationEnabled(false);
    const auto delayed = recordThrough(late, 1, 3 * kLength, toneBurst(kLength), 4096);
    EXPECT_GT(audibleExtent(delayed[0]).first, first + 256);
}

namespace {
// A 300 Hz sine at 0.25 with one bad sample (NaN or infinity) at frame 1000.
TestGenerator::Function sineWithBadSample(float bad) {
    const auto clean = sine(300.0, 0.25);
    return [=](int64_t frame, uint32_t channel) { return frame == 1000 ? bad : clean(frame, channel); };
}

} // namespace

TEST(Dither, OneBadSampleLeavesTheRestOfTheAudioOnTheGrid) {
    for (const QString& shape : {QStringLiteral("light"), QStringLiteral("optimal")}) {
        for (float bad : kBadSamples) {
            const auto out = recordThrough(dither(16, shape), 1, 4000, sineWithBadSample(bad));
            EXPECT_EQ(nonFiniteFrames(out[0], 0), 0) << qPrintable(shape) << " " << bad;
            // Away from the bad sample the error is the usual fraction of a step.
            const auto clean = sine(300.0, 0.25);
            for (size_t i = 1100; i < out[0].size(); ++i)
                ASSERT_NEAR(out[0][i], clean(int64_t(i), 0), 64.0 / 32768.0) << qPrintable(shape) << " frame " << i;
        }
    }
}

// One bad sample (an unstable filter upstream) leaves what follows it as
// numbers and as loud as before, offline and in real time.
TEST(Effects, OneBadSampleDoesNotSpoilWhatFollows) {
    struct Case {
        const char* what;
        std::function<std::shared_ptr<VMKAudioProcessor>()> make;
        uint32_t channels;
        int64_t frames, cleanFrom;  // no sample that is no number from cleanFrom on
        size_t loudFrom, loudTo;    // RMS above minimumRMS here
        double minimumRMS;
    };
    const Case cases[] = {
        {"remove DC", [] { return std::make_shared<VMKRemoveDCAudioProcessor>(); }, 1, 48000, 1001, 24000, 48000, 0.17},
        {"dynamics", [] { return std::make_shared<APLDynamicsAudioProcessor>(); }, 2, 48000, 1001, 24000, 48000, 0.05},
        {"time and pitch in real time", [] { return timePitch(1.25f, 200.0f, 0); }, 1, 38400, 12000, 20000, 36000, 0.1},
        {"time and pitch offline", [] { return timePitch(1.25f, 200.0f, 48000); }, 1, 38400, 12000, 20000, 36000, 0.1},
    };
    for (const Case& c : cases)
        for (float bad : kBadSamples) {
            SCOPED_TRACE(testing::Message() << c.what << " " << bad);
            const auto out = recordThrough(c.make(), c.channels, c.frames, sineWithBadSample(bad), 512);
            for (const auto& channel : out) {
                EXPECT_EQ(nonFiniteFrames(channel, size_t(c.cleanFrom)), 0);
                EXPECT_GT(rms(std::vector<float>(channel.begin() + qsizetype(c.loudFrom), channel.begin() + qsizetype(c.loudTo))),
                          c.minimumRMS);
            }
        }
}

// Frames don't depend on how they are pulled: runs in blocks of 1, 7 and 256
// match the run in blocks of 4096 bit for bit.
TEST(Effects, AreTheSameWhateverTheBlockSize) {
    // A click, then a long silence in which the filter's state decays towards zero.
    const auto click = [](int64_t frame, uint32_t) { return frame == 0 ? 1.0f : 0.0f; };
    // Loud, then a silence long enough for the detector to fall to its floor,
    // then a very quiet tone that the detector climbs back to.
    const auto loudSilenceQuiet = [](int64_t frame, uint32_t) {
        const double s = std::sin(2.0 * std::numbers::pi * 440.0 * double(frame) / kRate);
        return frame < 4800 ? float(0.8 * s) : frame < 200000 ? 0.0f : float(1e-9 * s);
    };
    const auto noise = [](int64_t frame, uint32_t) {
        uint64_t z = uint64_t(frame) * 0x9E3779B97F4A7C15ULL;
        z = (z ^ (z >> 31)) * 0xBF58476D1CE4E5B9ULL;
        return float(double(z >> 40) / double(1 << 24) - 0.5);
    };
    struct Case {
        const char* what;
        std::function<std::shared_ptr<VMKAudioProcessor>()> make;
        int64_t frames;
        TestGenerator::Function function;
    };
    const Case cases[] = {
        {"remove DC", [] { return std::make_shared<VMKRemoveDCAudioProcessor>(); }, 300000, click},
        {"dynamics",
         [] {
             auto processor = std::make_shared<APLDynamicsAudioProcessor>();
             processor->setExpansionThreshold(-60.0f);
             processor->setExpansionRatio(2.0f);
             return processor;
         },
         210000, loudSilenceQuiet},
        // A rate that has no short binary fraction: output frame j reads
        // input position j * rate however the frames are pulled.
        {"varispeed",
         [] {
             auto varispeed = std::make_shared<APLVarispeedAudioProcessor>();
             varispeed->setCents(700.0f);
             return varispeed;
         },
         200000, noise},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto reference = recordThrough(c.make(), 1, c.frames, c.function, 4096);
        for (int64_t block : {1, 7, 256})
            EXPECT_EQ(firstDifference(recordThrough(c.make(), 1, c.frames, c.function, block), reference), -1)
                << "block " << block;
        if (&c == &cases[0]) {
            EXPECT_EQ(reference[0].back(), 0.0f);  // and the decaying filter does end in true silence
        }
    }
}

TEST(EffectVarispeed, ChangingCentsWhileRunningGoesOnFromWhereItWas) {
    // The source turns the cents up an octave once the input has been read to
    // frame 10000; the output must go on without a jump and then read twice as fast.
    auto varispeed = std::make_shared<APLVarispeedAudioProcessor>();
    const auto tone = sine(100.0, 0.5);
    const auto function = [&](int64_t frame, uint32_t channel) {
        if (frame == 10000 && channel == 0)
            varispeed->setCents(1200.0f);
        return tone(frame, channel);
    };
    const auto out = recordThrough(varispeed, 1, 30000, function, 512);
    float largestStep = 0.0f;
    for (size_t i = 1; i < out[0].size(); ++i)
        largestStep = std::max(largestStep, std::abs(out[0][i] - out[0][i - 1]));
    EXPECT_LT(largestStep, 0.5 * 2.0 * std::numbers::pi * 200.0 / kRate * 1.05);
    EXPECT_NEAR(frequencyOf(out[0], 100, 9000), 100.0, 0.1);
    EXPECT_NEAR(frequencyOf(out[0], 12000, 30000), 200.0, 0.1);
}

} // namespace ondrel
