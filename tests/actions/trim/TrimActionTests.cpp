#include "tests/actions/ActionTest.h"

#include "actions/trim/TrimRules.h"
#include "catalog/controller/EntityController.h"

#include <QtCore/QVariantMap>

#include <cmath>
#include <functional>
#include <numbers>
#include <optional>

namespace ondrel {

namespace {

// 0.6 s of silence, 1.0 s of a 1 kHz cosine at half scale (its first and
// last samples loud), 0.25 s of silence: 1.85 s at 48 kHz. At -40 dB the
// sound starts at 0.6 and, searched back from the end, ends at 1.6.
constexpr double fileLength = 1.85;

std::vector<float> toneBetweenSilences() {
    std::vector<float> samples(88800, 0.0f);
    for (int n = 0; n < 48000; ++n)
        samples[size_t(28800 + n)] = float(0.5 * std::cos(2.0 * std::numbers::pi * n / 48.0));
    return samples;
}

struct Step {
    const char* className;
    QVariantMap parameters;
};

struct Expected {
    std::optional<double> sourceStart;
    std::optional<double> length;
    std::optional<double> outputLength = std::nullopt;
};

class TrimActionTest : public ActionTest {
protected:
    void SetUp() override {
        ActionTest::SetUp();
        m_tone = fileEntityWithAudio(dataPath(QStringLiteral("tone.wav")), {toneBetweenSilences()}, 48000.0);
        ASSERT_TRUE(m_tone);
        ASSERT_DOUBLE_EQ(m_tone->length(), fileLength);
    }

    // Compiles the steps, each a new action of its class, as one run on the file.
    ActionTest::Compiled run(const std::vector<Step>& steps, const std::shared_ptr<FileEntity>& file) {
        std::vector<std::shared_ptr<Action>> actions;
        for (const Step& step : steps) {
            auto action = make(QString::fromLatin1(step.className));
            EXPECT_TRUE(action) << step.className;
            if (!action)
                return {};
            action->setParameterValues(step.parameters);
            actions.push_back(action);
        }
        return compileRun(actions, file);
    }

    void expectCompiled(const std::vector<Step>& steps, const std::shared_ptr<FileEntity>& file,
                        const Expected& expected) {
        const Compiled compiled = run(steps, file);
        ASSERT_TRUE(compiled.sources);
        const auto main = compiled.sources->mainSourceInstructions();
        expectNear(main->sourceStart(), expected.sourceStart, "sourceStart");
        expectNear(main->length(), expected.length, "length");
        expectNear(compiled.instructions->length(), expected.outputLength, "output length");
    }

    static void expectNear(std::optional<double> actual, std::optional<double> expected, const char* what) {
        ASSERT_EQ(actual.has_value(), expected.has_value()) << what;
        if (expected) {
            EXPECT_NEAR(*actual, *expected, 1e-9) << what;
        }
    }

    std::shared_ptr<FileEntity> m_tone;
};

QVariantMap level(float dB, double offset = 0.0) {
    return {{QStringLiteral("level"), dB}, {QStringLiteral("offset"), offset}};
}

QVariantMap amount(double value, const char* units) {
    return {{QStringLiteral("value"), value}, {QStringLiteral("units"), QString::fromLatin1(units)}};
}

} // namespace

// The level actions find the sound on the whole file, move it by the offset
// and keep the cut within the file. Catches an offset of the wrong sign, a
// negative start or a start past the end, the clamp applied in the wrong
// order, a level turned into a threshold wrongly, the tail measured from the
// wrong end, and a detach that moves the start it should leave alone.
TEST_F(TrimActionTest, LevelActionsCutAtTheSoundMovedByTheOffsetAndKeptWithinTheFile) {
    const struct Case {
        Step step;
        Expected expected;
    } cases[] = {
        {{"TrimBeginningBelowAction", level(-40.0f)}, {0.6, 1.25}},
        {{"TrimBeginningBelowAction", level(-40.0f, 0.1)}, {0.7, 1.15}},
        {{"TrimBeginningBelowAction", level(-40.0f, -0.1)}, {0.5, 1.35}},
        {{"TrimBeginningBelowAction", level(-40.0f, -1.0)}, {0.0, fileLength}},
        {{"TrimBeginningBelowAction", level(-40.0f, 5.0)}, {fileLength, 0.0}},
        // Never reached: the search answers the file's end.
        {{"TrimBeginningBelowAction", level(0.0f)}, {fileLength, 0.0}},
        {{"TrimEndBelowAction", level(-40.0f)}, {std::nullopt, 1.6}},
        {{"TrimEndBelowAction", level(-40.0f, 0.1)}, {std::nullopt, 1.7}},
        {{"TrimEndBelowAction", level(-40.0f, 1.0)}, {std::nullopt, fileLength}},
        {{"TrimEndBelowAction", level(-40.0f, -2.0)}, {std::nullopt, 0.0}},
        {{"TrimEndBelowAction", level(0.0f)}, {std::nullopt, 0.0}},
        {{"DetachBeginningBelowAction", level(-40.0f, -0.1)}, {std::nullopt, 0.5}},
        {{"DetachEndBelowAction", level(-40.0f, 0.1)}, {1.7, 0.15}},
        {{"DetachEndBelowAction", level(-40.0f)}, {1.6, 0.25}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.step.className << " level " << c.step.parameters.value(QStringLiteral("level")).toFloat()
                                          << " offset " << c.step.parameters.value(QStringLiteral("offset")).toDouble());
        expectCompiled({c.step}, m_tone, c.expected);
    }
}

// The peak trim lowers the analysed peak a little before it becomes the
// threshold, so that the peak sample itself reaches it: here a peak whose
// level in decibels turns back into an amplitude just above the sample.
// Catches the level taken as is, which finds nothing and trims everything.
TEST_F(TrimActionTest, ThePeakTrimFindsThePeakSampleItself) {
    float peak = 0.001f;
    const auto levelOf = [](float amplitude) { return float(20.0 * std::log10(double(amplitude))); };
    while (amplitudeForLevel(levelOf(peak)) <= peak && peak < 1.0f)
        peak *= 1.01f;
    ASSERT_LT(peak, 1.0f);
    std::vector<float> samples(48000, 0.0f);
    samples[14400] = 0.9f * peak;
    samples[28800] = peak;
    const auto file = fileEntityWithAudio(dataPath(QStringLiteral("peak.wav")), {samples}, 48000.0);
    ASSERT_TRUE(file);
    file->setPeak(levelOf(peak));
    expectCompiled({{"TrimBeginningToPeakAction", {}}}, file, {0.6, 0.4});
}

// Amounts in each unit, the four actions that take them, and several actions
// in one run. Catches frames counted at a fixed rate, percent of the wrong
// length, an unknown unit that isn't 0, a clamp where none belongs (a detach
// beyond the file starts before it), a level trim that adds to the start
// instead of replacing it, a length reduced from the file's length instead of
// from what earlier actions left, and a shortened file measured by its
// remaining length instead of the file's.
TEST_F(TrimActionTest, AmountActionsConvertUnitsPerFileAndAccumulate) {
    const auto at44k = fileEntityWithAudio(dataPath(QStringLiteral("44k.wav")), {std::vector<float>(88200)}, 44100.0);
    const auto tenSeconds = fileEntityWithAudio(dataPath(QStringLiteral("10s.wav")), {std::vector<float>(80000)}, 8000.0);
    ASSERT_TRUE(at44k && tenSeconds);
    const QVariantMap shortenTo2{{QStringLiteral("resultLength"), 2.0}, {QStringLiteral("balance"), 0.5}};
    const struct Case {
        const char* what;
        std::vector<Step> steps;
        std::shared_ptr<FileEntity> file;
        Expected expected;
    } cases[] = {
        {"frames at 48 kHz", {{"TrimBeginningToAction", amount(48000, "frames")}}, m_tone, {1.0, 0.85}},
        {"frames at 44.1 kHz", {{"TrimBeginningToAction", amount(48000, "frames")}}, at44k,
         {48000.0 / 44100.0, 2.0 - 48000.0 / 44100.0}},
        {"milliseconds", {{"TrimBeginningToAction", amount(250, "milliseconds")}}, m_tone, {0.25, 1.6}},
        {"all in percent", {{"TrimEndForAction", amount(100, "percent")}}, m_tone, {std::nullopt, 0.0}},
        {"half in percent", {{"TrimEndForAction", amount(50, "percent")}}, at44k, {std::nullopt, 1.0}},
        {"seconds", {{"DetachBeginningToAction", amount(0.5, "seconds")}}, m_tone, {std::nullopt, 0.5}},
        {"beyond the file", {{"DetachEndForAction", amount(3, "seconds")}}, m_tone, {fileLength - 3.0, 3.0}},
        {"unknown trim start", {{"TrimBeginningToAction", amount(5, "bars")}}, m_tone, {0.0, fileLength}},
        {"unknown trim end", {{"TrimEndForAction", amount(5, "bars")}}, m_tone, {std::nullopt, fileLength}},
        {"unknown detach start", {{"DetachBeginningToAction", amount(5, "bars")}}, m_tone, {std::nullopt, 0.0}},
        {"unknown detach end", {{"DetachEndForAction", amount(5, "bars")}}, m_tone, {fileLength, 0.0}},
        {"twice 10 ms",
         {{"TrimBeginningToAction", amount(10, "milliseconds")}, {"TrimBeginningToAction", amount(10, "milliseconds")}},
         m_tone, {0.02, fileLength - 0.02}},
        {"level after amount",
         {{"TrimBeginningToAction", amount(100, "milliseconds")}, {"TrimBeginningBelowAction", level(-40.0f)}},
         m_tone, {0.6, fileLength - 0.1 - 0.6}},
        {"shorten", {{"ShortenAction", shortenTo2}}, tenSeconds, {4.0, std::nullopt, 2.0}},
        {"shorten from the beginning",
         {{"ShortenAction", {{QStringLiteral("resultLength"), 2.0}, {QStringLiteral("balance"), 0.0}}}}, tenSeconds,
         {8.0, std::nullopt, 2.0}},
        {"shorten a file of that length",
         {{"ShortenAction", {{QStringLiteral("resultLength"), fileLength}}}}, m_tone, {}},
        {"shorten after a trim below the length",
         {{"TrimEndForAction", amount(9, "seconds")}, {"ShortenAction", shortenTo2}}, tenSeconds,
         {-0.5, 1.0, 2.0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectCompiled(c.steps, c.file, c.expected);
    }
}

// With zeroCross each cut goes to the file's nearest zero crossing of the
// location given to the search; the end actions give it the amount to
// remove or keep, as though it were a location. The silence before the tone
// has no crossing, so an amount of 0.25 s snaps to 0 while the cut near 1.6 s
// would snap into the tone. Catches the search skipped, given the cut instead
// of the amount, or its answer used in the wrong field.
TEST_F(TrimActionTest, ZeroCrossMovesEachCutToTheNearestCrossingOfWhatTheSearchIsGiven) {
    const auto withZeroCross = [](QVariantMap parameters) {
        parameters.insert(QStringLiteral("zeroCross"), true);
        return parameters;
    };
    const struct Case {
        Step step;
        double searchedAt;
        std::function<Expected(double)> expected;  // of the nearest crossing
    } cases[] = {
        {{"TrimBeginningBelowAction", withZeroCross(level(-40.0f, 0.05))}, 0.65,
         [](double n) { return Expected{n, fileLength - n}; }},
        {{"DetachBeginningToAction", withZeroCross(amount(1.2, "seconds"))}, 1.2,
         [](double n) { return Expected{std::nullopt, n}; }},
        {{"TrimEndBelowAction", withZeroCross(level(-40.0f))}, 0.25,
         [](double n) { return Expected{std::nullopt, fileLength - n}; }},
        {{"TrimEndForAction", withZeroCross(amount(0.25, "seconds"))}, 0.25,
         [](double n) { return Expected{std::nullopt, fileLength - n}; }},
        {{"DetachEndBelowAction", withZeroCross(level(-40.0f))}, 0.25,
         [](double n) { return Expected{fileLength - n, n}; }},
        {{"ShortenAction", withZeroCross({{QStringLiteral("resultLength"), 1.0}})}, 0.425,
         [](double n) { return Expected{n, std::nullopt, 1.0}; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.step.className);
        const double nearest = m_tone->locationOfNearestZeroCrossingTo(c.searchedAt);
        ASSERT_GT(std::abs(nearest - c.searchedAt), 1e-6) << "the file must make the crossing matter";
        expectCompiled({c.step}, m_tone, c.expected(nearest));
    }
}

// The loop trim reads the file's first loop label, passing over other types;
// a file without one reads as a loop at 0 of length 0. Catches a label of
// another type taken for the loop, the last loop taken, the start left in
// place when only the part after the loop goes, and a loop kept from the
// previous file.
TEST_F(TrimActionTest, LoopTrimUsesTheFirstLoopLabelOrAnEmptyLoop) {
    const auto looped = fileEntityWithAudio(dataPath(QStringLiteral("looped.wav")), {toneBetweenSilences()}, 48000.0);
    ASSERT_TRUE(looped);
    EntityController::sharedInstance()->executeStatement(
        QStringLiteral("INSERT INTO FileLabel (fileEntityID, type, location, length, name) VALUES "
                       "('%1', 'region', 0.1, 0.2, ''), ('%1', 'loop', 0.8, 0.5, ''), ('%1', 'loop', 0.2, 0.3, '')")
            .arg(looped->ID()));
    looped->dropCachedLabels();

    const auto loop = [](bool before, bool after) {
        return QVariantMap{{QStringLiteral("beforeLoop"), before}, {QStringLiteral("afterLoop"), after}};
    };
    const Step trimFirst{"TrimBeginningToAction", amount(100, "milliseconds")};
    const struct Case {
        const char* what;
        std::shared_ptr<FileEntity> file;
        QVariantMap switches;
        Expected expected;
    } cases[] = {
        {"both", looped, loop(true, true), {0.2, 0.3}},
        {"before", looped, loop(true, false), {0.2, fileLength - 0.2}},
        {"after", looped, loop(false, true), {std::nullopt, 0.5}},
        {"neither", looped, loop(false, false), {0.1, fileLength - 0.1}},
        {"both, no loop", m_tone, loop(true, true), {0.0, 0.0}},
        {"before, no loop", m_tone, loop(true, false), {0.0, fileLength}},
        {"after, no loop", m_tone, loop(false, true), {std::nullopt, 0.0}},
    };
    const auto action = make(QStringLiteral("TrimAroundLoopAction"));
    ASSERT_TRUE(action);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        // One action for every file, as a run over several files uses it.
        action->setParameterValues(c.switches);
        auto first = make(QString::fromLatin1(trimFirst.className));
        first->setParameterValues(trimFirst.parameters);
        const Compiled compiled = compileRun({first, action}, c.file);
        const auto main = compiled.sources->mainSourceInstructions();
        expectNear(main->sourceStart(), c.expected.sourceStart, "sourceStart");
        expectNear(main->length(), c.expected.length, "length");
    }
}

} // namespace ondrel
