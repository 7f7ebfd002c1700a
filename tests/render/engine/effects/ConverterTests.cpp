#include "tests/support/engine/EngineTestSupport.h"
#include "tests/support/engine/TestGenerator.h"

#include "render/engine/effects/APLConverterAudioProcessor.h"
#include "render/engine/effects/GHZConverterAudioProcessor.h"
#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/graph/VMKEngineError.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

namespace ondrel {

namespace {
using ConverterPtr = std::shared_ptr<VMKConverterAudioProcessor>;
using Signal = std::vector<float>;
constexpr double kPi = std::numbers::pi;

// The recipes as a render builds them.
ConverterPtr apple(uint32_t complexity) {
    auto converter = std::make_shared<APLConverterAudioProcessor>();
    converter->setComplexity(complexity);
    return converter;
}
ConverterPtr goodhertz(const char* filterType, bool compensated = true) {
    auto converter = std::make_shared<GHZConverterAudioProcessor>();
    converter->setFilterType(QString::fromLatin1(filterType));
    converter->setLatencyCompensationEnabled(compensated);
    return converter;
}
using Maker = std::function<ConverterPtr()>;
struct Recipe {
    const char* name;
    Maker make;
};
const std::vector<Recipe>& highQualityRecipes() {
    static const std::vector<Recipe> recipes{
        {"Apple High Quality", [] { return apple(APLConverterAudioProcessor::kComplexityMastering); }},
        {"Goodhertz Linear Phase", [] { return goodhertz("linearPhase"); }},
        {"Goodhertz Minimum Phase", [] { return goodhertz("minimumPhase"); }},
    };
    return recipes;
}
// The high quality recipes and Apple's standard one.
std::vector<Recipe> goodRecipes() {
    std::vector<Recipe> recipes = highQualityRecipes();
    recipes.push_back({"Apple Standard", [] { return apple(APLConverterAudioProcessor::kComplexityNormal); }});
    return recipes;
}

// Runs `signal` (silence around it) at rates[0] through one converter per
// further rate, and records `frames` output frames from `start` on.
struct Conversion {
    std::vector<std::vector<float>> output;
    VMKError error;
    bool ok = false;
};
Conversion convert(const std::vector<ConverterPtr>& converters, const std::vector<double>& rates,
            TestGenerator::Function function, int64_t frames, uint32_t channels = 1, int64_t blockSize = 0,
            int64_t start = 0) {
    auto stream = std::make_shared<VMKAudioStream>();
    auto recorder = std::make_shared<TestRecorder>();
    std::vector<std::shared_ptr<VMKAudioProcessor>> chain{std::make_shared<TestGenerator>(channels, rates[0], std::move(function))};
    chain.insert(chain.end(), converters.begin(), converters.end());
    chain.push_back(recorder);
    stream->addProcessorsObject(chain[0]);
    for (size_t i = 1; i < chain.size(); ++i) {  // connection i carries rates[i - 1]
        stream->addProcessorsObject(chain[i]);
        stream->connectProcessor(chain[i - 1].get(), chain[i].get())->setSampleRate(rates[i - 1]);
        if (i <= converters.size()) {
            EXPECT_TRUE(converters[i - 1]->setInSampleRate(rates[i - 1]));
        }
    }
    if (blockSize > 0)
        recorder->inputConnection()->setMaxFrames(blockSize);
    recorder->setFrameCount(frames);
    recorder->info().setSampleTime(start);
    Conversion run;
    run.ok = stream->initialize(&run.error) && stream->start(&run.error);
    run.output = recorder->recorded;
    stream->uninitialize();
    return run;
}

// Source -> converter -> recorder, the recorder's input at `outputRate`.
struct Chain {
    std::shared_ptr<VMKAudioStream> stream = std::make_shared<VMKAudioStream>();
    std::shared_ptr<TestGenerator> source;
    std::shared_ptr<TestRecorder> recorder = std::make_shared<TestRecorder>();
};
Chain chain(std::shared_ptr<TestGenerator> source, const ConverterPtr& converter, double outputRate) {
    Chain result;
    result.source = std::move(source);
    chainProcessors(*result.stream, {result.source, converter, result.recorder})->setSampleRate(outputRate);
    return result;
}

// Silence with a single 1 at frame `at`, the last one.
Signal impulseAt(int64_t at) {
    Signal impulse(size_t(at) + 1, 0.0f);
    impulse.back() = 1.0f;
    return impulse;
}

TestGenerator::Function play(const Signal& signal) {
    return [&signal](int64_t frame, uint32_t) {
        return frame >= 0 && frame < int64_t(signal.size()) ? signal[size_t(frame)] : 0.0f;
    };
}

// Least-squares fit of a sine and cosine at a known frequency plus an offset
// over [from, to); answers the residual's level against the fitted sine's, in
// decibels, and the fitted coefficients.
struct Fit {
    double sine = 0, cosine = 0, residualDecibels = 0;
};
Fit fitSine(const std::vector<float>& x, double frequency, double rate, size_t from, size_t to) {
    double m[3][4] = {};
    for (size_t n = from; n < to; ++n) {
        const double phase = 2.0 * kPi * frequency * double(n) / rate;
        const double basis[3] = {std::sin(phase), std::cos(phase), 1.0};
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j)
                m[i][j] += basis[i] * basis[j];
            m[i][3] += basis[i] * double(x[n]);
        }
    }
    for (int i = 0; i < 3; ++i)  // Gauss-Jordan on the 3x3 normal equations
        for (int k = 0; k < 3; ++k)
            if (k != i) {
                const double f = m[k][i] / m[i][i];
                for (int j = 0; j < 4; ++j)
                    m[k][j] -= f * m[i][j];
            }
    Fit fit{m[0][3] / m[0][0], m[1][3] / m[1][1], 0.0};
    const double offset = m[2][3] / m[2][2];
    double residual = 0.0;
    for (size_t n = from; n < to; ++n) {
        const double phase = 2.0 * kPi * frequency * double(n) / rate;
        const double e = double(x[n]) - fit.sine * std::sin(phase) - fit.cosine * std::cos(phase) - offset;
        residual += e * e;
    }
    const double signalPower = (fit.sine * fit.sine + fit.cosine * fit.cosine) / 2.0;
    fit.residualDecibels = 10.0 * std::log10(residual / double(to - from) / signalPower);
    return fit;
}

// A 1 kHz sine at 48 kHz taken to 44.1 kHz and back by two converters from
// `make`, fitted over the middle second.
Fit roundTrip(const Maker& make) {
    const Conversion run =
        convert({make(), make()}, {48000.0, 44100.0, 48000.0}, sineWave(1000.0, 0.5, 48000.0), 96000);
    EXPECT_TRUE(run.ok) << qPrintable(run.error.localizedDescription());
    return run.ok ? fitSine(run.output[0], 1000.0, 48000.0, 24000, 72000) : Fit{};
}

// Energy-weighted centre: the sample time a symmetric pulse is centred on.
double centreOf(const std::vector<float>& x, double around, int64_t reach) {
    double moment = 0.0, sum = 0.0;
    for (int64_t n = int64_t(around) - reach; n <= int64_t(around) + reach; ++n) {
        moment += double(n) * double(x[size_t(n)]);
        sum += double(x[size_t(n)]);
    }
    return moment / sum;
}
} // namespace

// MARK: Quality

// A round trip of a sine stays clean below 120 dB with the high quality
// recipes, and each of Apple's complexities is cleaner than the one below.
TEST(ConverterQuality, RoundTripsOfASineRankByQuality) {
    for (const Recipe& recipe : highQualityRecipes()) {
        SCOPED_TRACE(recipe.name);
        const Fit fit = roundTrip(recipe.make);
        EXPECT_LT(fit.residualDecibels, -120.0);
        EXPECT_NEAR(std::hypot(fit.sine, fit.cosine), 0.5, 0.5 * 0.0012);  // within 0.01 dB
    }
    double previous = 0.0;
    for (uint32_t complexity : {APLConverterAudioProcessor::kComplexityLinear,
                                APLConverterAudioProcessor::kComplexityNormal,
                                APLConverterAudioProcessor::kComplexityMastering}) {
        const double level = roundTrip([=] { return apple(complexity); }).residualDecibels;
        EXPECT_LT(level, std::min(-60.0, previous - 10.0));
        previous = level;
    }
}

TEST(ConverterQuality, TonesAboveTheNewNyquistLeaveNoAliases) {
    const double tones[] = {22500.0, 23000.0, 23500.0};
    auto multitone = [&](int64_t frame, uint32_t) {
        double sum = 0.25 * std::sin(2.0 * kPi * 10000.0 * double(frame) / 48000.0);
        for (double f : tones)
            sum += 0.2 * std::sin(2.0 * kPi * f * double(frame) / 48000.0);
        return float(sum);
    };
    for (const Recipe& recipe : goodRecipes()) {
        SCOPED_TRACE(recipe.name);
        const Conversion run = convert({recipe.make()}, {48000.0, 44100.0}, multitone, 88200);
        ASSERT_TRUE(run.ok);
        for (double f : tones)
            EXPECT_LT(decibels(amplitudeAt(run.output[0], 44100.0 - f, 44100.0, 22050, 44100) / 0.2), -100.0)
                << "alias of " << f << " Hz";
        EXPECT_NEAR(amplitudeAt(run.output[0], 10000.0, 44100.0, 22050, 44100), 0.25, 0.25 * 0.0012);
    }
}

TEST(ConverterQuality, QualityWidensThePassband) {
    // 21 kHz lies outside the narrowest passband and inside the widest one.
    auto level = [](float quality) {
        auto converter = goodhertz("linearPhase");
        converter->setQuality(quality);
        const Conversion run = convert({converter}, {48000.0, 44100.0}, sineWave(21000.0, 0.5, 48000.0), 88200);
        EXPECT_TRUE(run.ok);
        return decibels(amplitudeAt(run.output[0], 21000.0, 44100.0, 22050, 44100) / 0.5);
    };
    EXPECT_NEAR(level(1.0f), 0.0, 0.02);
    EXPECT_LT(level(0.0f), -3.0);
}

// MARK: Timing

TEST(ConverterTiming, AnImpulseComesOutCentredOnItsInstant) {
    struct Case {
        double from, to;
        int64_t at;
    };
    std::vector<Recipe> recipes = goodRecipes();
    recipes.erase(recipes.begin() + 2);  // minimum phase: its response is not centred
    recipes.push_back({"Apple Low Quality", [] { return apple(APLConverterAudioProcessor::kComplexityLinear); }});
    for (const Recipe& recipe : recipes)
        for (const Case& c : {Case{48000, 44100, 1120}, Case{48000, 44100, 5001}, Case{44100, 48000, 1470},
                              Case{44100, 48000, 4999}, Case{44100, 96000, 3333}, Case{96000, 8000, 20000},
                              Case{44100, 47999.5, 2000}, Case{8000, 192000, 1001}, Case{192000, 8000, 96007}}) {
            SCOPED_TRACE(testing::Message() << recipe.name << " " << c.from << " -> " << c.to << " at " << c.at);
            const Signal impulse = impulseAt(c.at);
            const double expected = double(c.at) * c.to / c.from;
            const auto reach = int64_t(std::max(400.0, 400.0 * c.to / c.from));
            const int64_t frames = int64_t(expected) + reach + 1000;
            const Conversion run = convert({recipe.make()}, {c.from, c.to}, play(impulse), frames, 1, 1000);
            ASSERT_TRUE(run.ok);
            ASSERT_EQ(int64_t(run.output[0].size()), frames);
            EXPECT_NEAR(centreOf(run.output[0], expected, reach), expected, 0.01);
        }
}

TEST(ConverterTiming, AWholeSignalFitsTheRoundedLengthExactly) {
    // A Hann-windowed tone burst is smooth enough that the converted frames must
    // equal the burst sampled at the new rate, from the first frame to the last.
    constexpr int64_t length = 10007;
    for (const auto& [from, to] : {std::pair{48000.0, 44100.0}, std::pair{44100.0, 48000.0}}) {
        auto burst = [&](double seconds) {
            const double t = seconds * from;  // in input frames
            if (t < 0.0 || t > double(length - 1))
                return 0.0;
            return 0.5 * std::sin(2.0 * kPi * 1000.0 * seconds) * (0.5 - 0.5 * std::cos(2.0 * kPi * t / double(length - 1)));
        };
        Signal signal(static_cast<size_t>(length));
        for (int64_t n = 0; n < length; ++n)
            signal[size_t(n)] = float(burst(double(n) / from));
        const int64_t frames = VMKConverterAudioProcessor::outputFrameCount(length, from, to);
        for (const Recipe& recipe : highQualityRecipes()) {
            if (std::string(recipe.name).find("Minimum") != std::string::npos)
                continue;  // its phase shifts the burst; alignment holds for linear phase
            SCOPED_TRACE(testing::Message() << recipe.name << " " << from << " -> " << to);
            const Conversion run = convert({recipe.make()}, {from, to}, play(signal), frames, 1, 777);
            ASSERT_TRUE(run.ok);
            ASSERT_EQ(int64_t(run.output[0].size()), frames);
            double worst = 0.0;
            for (int64_t n = 0; n < frames; ++n)
                worst = std::max(worst, std::fabs(double(run.output[0][size_t(n)]) - burst(double(n) / to)));
            EXPECT_LT(worst, 1e-6);
        }
    }
}

TEST(ConverterTiming, OutputFrameCountRoundsToTheNearestFrame) {
    struct Row {
        int64_t frames;
        double from, to;
        int64_t expected;
    };
    for (const Row& row : {Row{48000, 48000.0, 44100.0, 44100}, Row{1, 48000.0, 44100.0, 1},
                           Row{160, 48000.0, 44100.0, 147},
                           Row{10007, 48000.0, 44100.0, 9194},  // 9193.93...
                           Row{3, 44100.0, 8000.0, 1},          // 0.544...
                           Row{int64_t(1) << 40, 44100.0, 48000.0,
                               std::llround(double(int64_t(1) << 40) * 48000.0 / 44100.0)},
                           Row{1000, 44100.0, 0.0, 0}}) {
        SCOPED_TRACE(testing::Message() << row.frames << " frames, " << row.from << " -> " << row.to);
        EXPECT_EQ(VMKConverterAudioProcessor::outputFrameCount(row.frames, row.from, row.to), row.expected);
    }
}

TEST(ConverterTiming, StartingLateGivesTheFramesOfAContinuousRun) {
    const Signal noise = makeNoise(1, 60000, 0.5f, 7)[0];
    for (const auto& [from, to] : {std::pair{48000.0, 44100.0}, std::pair{44100.0, 48000.0}})
        for (const Recipe& recipe : highQualityRecipes()) {
            SCOPED_TRACE(testing::Message() << recipe.name << " " << from << " -> " << to);
            const Conversion whole = convert({recipe.make()}, {from, to}, play(noise), 40000, 1, 512);
            const Conversion late = convert({recipe.make()}, {from, to}, play(noise), 5000, 1, 512, 17777);
            ASSERT_TRUE(whole.ok && late.ok);
            for (size_t i = 0; i < 5000; ++i)
                ASSERT_NEAR(late.output[0][i], whole.output[0][17777 + i], 1e-6) << "frame " << 17777 + i;
        }
}

TEST(ConverterTiming, PullingAnEarlierTimeAgainRepeatsTheFrames) {
    const Signal noise = makeNoise(1, 30000, 0.5f, 11)[0];
    for (bool compensated : {true, false}) {
        SCOPED_TRACE(compensated ? "compensated" : "not compensated");
        auto converter = goodhertz("linearPhase", compensated);
        auto [stream, source, recorder] =
            chain(std::make_shared<TestGenerator>(1, 44100.0, play(noise)), converter, 48000.0);
        recorder->inputConnection()->setMaxFrames(1024);
        recorder->setFrameCount(20000);
        VMKError error;
        ASSERT_TRUE(stream->initialize(&error)) << qPrintable(error.localizedDescription());
        ASSERT_TRUE(stream->start(&error));
        recorder->info().setSampleTime(3000);
        recorder->setFrameCount(4000);
        ASSERT_TRUE(stream->start(&error));
        const std::vector<float>& out = recorder->recorded[0];
        ASSERT_EQ(out.size(), 24000u);
        for (size_t i = 0; i < 4000; ++i)
            ASSERT_NEAR(out[20000 + i], out[3000 + i], 1e-6) << "frame " << 3000 + i;
        if (!compensated) {
            for (int64_t n = 0; n < converter->latency() - 1; ++n)
                ASSERT_LT(std::fabs(out[size_t(n)]), 1e-4f) << "the first frames trail the input";
        }
    }
}

// An impulse through linear and minimum phase filters, with and without
// latency compensation.
TEST(ConverterTiming, LinearPhaseIsSymmetricAndMinimumPhaseRingsAfter) {
    // 1120 frames at 48 kHz are exactly 1029 frames at 44.1 kHz.
    const Signal impulse = impulseAt(1120);
    const Conversion linear = convert({goodhertz("linearPhase")}, {48000.0, 44100.0}, play(impulse), 4000);
    const Conversion minimum = convert({goodhertz("minimumPhase")}, {48000.0, 44100.0}, play(impulse), 4000);
    ASSERT_TRUE(linear.ok && minimum.ok);
    const std::vector<float>& l = linear.output[0];
    double asymmetry = 0.0, before = 0.0, after = 0.0;
    for (int64_t i = 1; i <= 1000; ++i) {
        asymmetry = std::max(asymmetry, double(std::fabs(l[size_t(1029 + i)] - l[size_t(1029 - i)])));
        before += double(l[size_t(1029 - i)]) * l[size_t(1029 - i)];
        after += double(l[size_t(1029 + i)]) * l[size_t(1029 + i)];
    }
    EXPECT_LT(asymmetry, 1e-6);
    EXPECT_NEAR(before, after, after * 1e-4);

    // Share of the energy in the first 8 frames from where the response starts.
    auto frontShare = [](const std::vector<float>& y) {
        const float top = float(peak(y));
        size_t onset = 0;
        while (std::fabs(y[onset]) <= top * 1e-4f)
            ++onset;
        double front = 0.0, total = 0.0;
        for (size_t n = onset; n < y.size(); ++n)
            (n < onset + 8 ? front : total) += double(y[n]) * y[n];
        return front / (front + total);
    };
    EXPECT_GT(frontShare(minimum.output[0]), 0.5);
    EXPECT_LT(frontShare(l), 0.01);

    // Without compensation the output trails by the latency, which minimum
    // phase keeps short; nothing comes out before the response's reach.
    auto lateLinear = goodhertz("linearPhase", false);
    auto lateMinimum = goodhertz("minimumPhase", false);
    const Conversion late = convert({lateLinear}, {48000.0, 44100.0}, play(impulse), 6000);
    const Conversion early = convert({lateMinimum}, {48000.0, 44100.0}, play(impulse), 6000);
    ASSERT_TRUE(late.ok && early.ok);
    EXPECT_GT(lateLinear->latency(), 20);
    EXPECT_LT(lateMinimum->latency(), lateLinear->latency() / 4);
    const double expected = 1029.0 + double(lateLinear->latency());
    EXPECT_NEAR(centreOf(late.output[0], expected, 400), expected, 0.01);
    for (int64_t n = 0; n < 1029; ++n)
        ASSERT_LT(std::fabs(early.output[0][size_t(n)]), 1e-5f) << "frame " << n;
}

// MARK: Graph

TEST(ConverterGraph, KeepsChannelsApartAndPassesEqualRatesThrough) {
    auto converter = apple(APLConverterAudioProcessor::kComplexityMastering);
    const Conversion stereo = convert({converter}, {48000.0, 44100.0},
                               [](int64_t frame, uint32_t channel) {
                                   const float v = float(std::sin(0.05 * double(frame)));
                                   return channel == 0 ? v : -0.5f * v;
                               },
                               5000, 2, 300);
    ASSERT_TRUE(stereo.ok);
    ASSERT_EQ(stereo.output.size(), 2u);
    for (size_t n = 0; n < 5000; ++n)
        ASSERT_NEAR(stereo.output[1][n], -0.5f * stereo.output[0][n], 1e-6f) << "frame " << n;

    const Conversion same = convert({goodhertz("minimumPhase")}, {44100.0, 44100.0}, &TestGenerator::ramp, 9000, 2);
    ASSERT_TRUE(same.ok);
    for (uint32_t c = 0; c < 2; ++c)
        for (int64_t n = 0; n < 9000; ++n)
            ASSERT_EQ(same.output[c][size_t(n)], TestGenerator::ramp(n, c));
}

TEST(ConverterGraph, PullsUpstreamAtInputTimesAndReportsItsFailures) {
    auto converter = apple(APLConverterAudioProcessor::kComplexityNormal);
    auto [stream, source, recorder] =
        chain(std::make_shared<TestGenerator>(1, 44100.0, &TestGenerator::ramp), converter, 88200.0);
    recorder->setFrameCount(30000);
    source->failAtFrame = 10000;
    VMKError error;
    ASSERT_TRUE(stream->initialize(&error)) << qPrintable(error.localizedDescription());
    EXPECT_EQ(converter->inputConnection()->sampleRate(), 44100.0);
    EXPECT_FALSE(stream->start(&error));
    EXPECT_EQ(error.code(), 42);
    ASSERT_FALSE(source->pulls.empty());
    EXPECT_EQ(source->pulls.front().location, 0);
    for (size_t i = 1; i < source->pulls.size(); ++i)
        EXPECT_EQ(source->pulls[i].location, source->pulls[i - 1].location + source->pulls[i - 1].length);
}

// MARK: Settings and errors

TEST(ConverterSettings, RejectsRatesItCannotConvert) {
    auto converter = std::make_shared<APLConverterAudioProcessor>();
    for (double rate : {0.0, -44100.0, std::nan(""), double(INFINITY), 2e7}) {
        VMKError error;
        EXPECT_FALSE(converter->setInSampleRate(rate, &error)) << rate;
        EXPECT_EQ(error.code(), VMKEngineErrorInvalidArgument);
        EXPECT_FALSE(error.localizedDescription().isEmpty());
    }
    EXPECT_EQ(converter->inSampleRate(), 0.0);
    EXPECT_TRUE(converter->setInSampleRate(44100.0));
    EXPECT_EQ(converter->inSampleRate(), 44100.0);

    // An output rate beyond reach fails the stream, not the render.
    const Conversion tooFast = convert({apple(APLConverterAudioProcessor::kComplexityNormal)}, {44100.0, 2e7},
                                &TestGenerator::ramp, 100);
    EXPECT_FALSE(tooFast.ok);
    EXPECT_EQ(tooFast.error.code(), VMKEngineErrorFormat);
}

TEST(ConverterSettings, RefusesAnInputAtAnotherRateThanItsOwn) {
    auto converter = goodhertz("linearPhase");
    auto [stream, source, recorder] =
        chain(std::make_shared<TestGenerator>(1, 48000.0, &TestGenerator::ramp), converter, 44100.0);
    ASSERT_TRUE(converter->setInSampleRate(96000.0));
    VMKError error;
    EXPECT_FALSE(stream->initialize(&error));
    EXPECT_EQ(error.code(), VMKEngineErrorFormat);
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("96000")));
    EXPECT_FALSE(stream->isInitialized());
}

// Settings a converter can't take leave it as it was or are held at their limit.
TEST(ConverterSettings, SettingsOutOfRangeAreHeld) {
    APLConverterAudioProcessor apl;
    apl.setComplexity(APLConverterAudioProcessor::kComplexityLinear);
    apl.setComplexity(APLConverterAudioProcessor::fourCharCode("zzzz"));
    EXPECT_EQ(apl.complexity(), APLConverterAudioProcessor::kComplexityLinear);
    apl.setQuality(3.0f);
    EXPECT_FLOAT_EQ(apl.quality(), 1.0f);
    apl.setQuality(std::nanf(""));
    EXPECT_FLOAT_EQ(apl.quality(), 1.0f);
    GHZConverterAudioProcessor ghz;
    ghz.setFilterType(QStringLiteral("minimumPhase"));
    ghz.setFilterType(QStringLiteral("sideways"));
    EXPECT_EQ(ghz.filterType(), QStringLiteral("minimumPhase"));
}

TEST(ConverterTiming, TheBlockSizeChangesNoFrame) {
    const Signal noise = makeNoise(1, 12000, 0.5f, 5)[0];
    for (const auto& [from, to] :
         {std::pair{48000.0, 44100.0}, std::pair{22050.0, 96000.0}, std::pair{44100.0, 7999.0},
          std::pair{44100.0, 47999.5}}) {
        const int64_t frames = VMKConverterAudioProcessor::outputFrameCount(12000, from, to);
        const Conversion reference = convert({goodhertz("linearPhase")}, {from, to}, play(noise), frames, 2, 4096);
        ASSERT_TRUE(reference.ok);
        for (int64_t block : {1, 7, 256}) {
            SCOPED_TRACE(testing::Message() << from << " -> " << to << " in blocks of " << block);
            const Conversion run = convert({goodhertz("linearPhase")}, {from, to}, play(noise), frames, 2, block);
            ASSERT_TRUE(run.ok);
            EXPECT_EQ(firstDifference(run.output, reference.output), -1);
        }
    }
}

TEST(ConverterTiming, OneBadSampleIsForgottenOnceTheFilterHasPassedIt) {
    const auto tone = sineWave(1000.0, 0.5, 48000.0);
    for (float bad : kBadSamples)
        for (const Recipe& recipe : highQualityRecipes()) {
            SCOPED_TRACE(testing::Message() << recipe.name << " " << bad);
            const auto function = [&](int64_t frame, uint32_t channel) {
                return frame == 1000 ? bad : tone(frame, channel);
            };
            const Conversion run = convert({recipe.make()}, {48000.0, 44100.0}, function, 44100, 1, 1024);
            ASSERT_TRUE(run.ok);
            ASSERT_EQ(run.output[0].size(), 44100u);
            EXPECT_EQ(nonFiniteFrames(run.output[0], 22050), 0);
        }
}

} // namespace ondrel
