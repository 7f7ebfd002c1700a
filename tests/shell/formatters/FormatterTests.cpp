#include "shell/formatters/ActivityPaneLengthFormatter.h"
#include "shell/formatters/FormatterController.h"
#include "shell/formatters/FrequencyFormatter.h"
#include "shell/formatters/LevelFormatter.h"
#include "shell/formatters/LoudnessFormatter.h"

#include "core/values/Date.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ondrel {

namespace {

struct KeyRow {
    const char* key;
    QVariant value;
    const char* text;
};

} // namespace

// One row per rule of the key table that a wrong setting would break: zero
// shows as nothing, suffixes of both signs, multipliers, separators, the
// not-measured true peak, the ends of the note ranges, and the fall-back of
// keys without a formatter. The preferences are at their defaults here.
TEST(FormatterController, EachKeyShowsItsValuesByItsRules) {
    const KeyRow rows[] = {
        {"bitDepth", 24, "24 bit"},
        {"bitDepth", 0, ""},
        {"bitrate", 320000, "320 kbps"},
        {"bitrate", 0.0, ""},
        {"DCOffset", 0.0123, "1.23 %"},
        {"DCOffset", -0.0123, "-1.23 %"},
        {"DCOffset", 0.0, ""},
        {"DCOffset", -1e-7, "0 %"},          // rounds to zero: no minus
        {"peakToPeak", 1.23456, "123.456 %"},
        {"formFactor", 1.5, "1.50"},
        {"crestFactor", 12.345678, "12.35"},  // one integer digit is a minimum only
        {"formFactor", 0.125, "0.12"},        // an exact binary tie goes to even, not up
        {"channels", 2.5, "2"},
        {"loudnessRange", 7.04, "7.0 LU"},
        {"difference", -0.5, "-0.50 %"},
        {"frames", 1234567, "1,234,567"},
        {"channels", 2, "2"},
        {"gain", 0, "0"},                     // plain numbers show zero
        {"fileSize", 512, "512 bytes"},
        {"fileSize", 1, "1 byte"},
        {"fileSize", 0, "Zero KB"},
        {"fileSize", 1234567, "1.2 MB"},
        {"fileSize", 999999, "1 MB"},         // 1000 KB moves up a unit
        {"fileSize", 3456789012.0, "3.46 GB"},
        {"sampleRate", 44100, "44,100 Hz"},
        {"truePeak", double(std::numeric_limits<float>::max()), ""},  // not measured
        {"truePeak", 3.4028235e38, ""},
        {"truePeak", -qInf(), "-∞ dBTP"},
        {"truePeak", -0.314, "-0.31 dBTP"},
        {"truePeak", -0.125, "-0.12 dBTP"},   // "%.2f": a tie to even
        {"truePeak", QStringLiteral("-1"), ""},
        {"peak", 0.0, "0.00 dB"},
        {"programLoudness", 0.0, "-23.0 LUFS"},
        {"programLoudness", QVariant(), ""},
        {"detectedSemitone", 0, ""},          // nothing detected
        {"detectedSemitone", 1, "C♯-2"},
        {"detectedSemitone", 60, "C3"},
        {"detectedSemitone", 127, "G8"},
        {"detectedSemitone", 128, ""},
        {"baseNote", 0, "C-2"},
        {"highNote", 70, "B♭3"},
        {"lowNote", -1, ""},
        {"musicalScale", QStringLiteral("harmonic MINOR"), "Harmonic Minor"},
        {"instrument", QStringLiteral("Keys>Grand>Piano"), "Piano"},
        {"instrument", QStringLiteral("Bass"), "Bass"},
        {"descriptors", QVariantList{QStringLiteral("dark"), QStringLiteral("warm")}, "dark, warm"},
        {"playbackType", QStringLiteral("oneShot"), "One shot"},
        {"playbackType", QStringLiteral("loop"), "Loop"},
        {"playbackType", QStringLiteral("pingPong"), ""},
        {"floatingPoint", true, "Floating point"},
        {"floatingPoint", false, "Integer"},
        {"length", 65.25, "1:05.250"},
        {"location", 65.25, "0:01:05.250"},
        {"unknownKey", 1.5, "1.5"},           // without a formatter: the description
        {"unknownKey", 7, "7"},
        {"unknownKey", QStringLiteral("as is"), "as is"},
        {"unknownKey", QVariant(), ""},
    };
    const auto controller = FormatterController::sharedInstance();
    for (const KeyRow& row : rows)
        EXPECT_EQ(controller->stringForObjectValue(row.value, QString::fromUtf8(row.key)), QString::fromUtf8(row.text))
            << row.key << " of " << row.value.toString().toStdString();
}

// Text read back by key: suffixes and multipliers are undone, note names in
// either spelling, and a key without a formatter keeps the text.
TEST(FormatterController, TextsReadBackByKey) {
    const struct {
        const char* key;
        const char* text;
        QVariant value;  // absent: refused
    } rows[] = {
        {"DCOffset", "1.23 %", 0.0123},
        {"DCOffset", "", 0.0},
        {"bitrate", "320 kbps", 320000.0},
        {"frames", "1,234,567", 1234567.0},
        {"baseNote", "B♭2", 58},
        {"baseNote", "Bb2", 58},
        {"baseNote", "G#8", QVariant()},      // 128
        {"detectedSemitone", "C-2", QVariant()},
        {"length", "1:05.250", 65.25},
        {"location", "1h", QVariant()},
        {"peak", "-6.00 dB", -6.0},
        {"truePeak", "loud", QVariant()},
        {"programLoudness", "-21.5 LUFS", 1.5},
        {"programLoudness", "-∞ LUFS", -qInf()},  // silence, as it shows
        {"playbackType", "one shot", QStringLiteral("oneShot")},
        {"unknownKey", "as is", QStringLiteral("as is")},
    };
    const auto controller = FormatterController::sharedInstance();
    for (const auto& row : rows) {
        QString error;
        const QVariant value = controller->objectValueForString(QString::fromUtf8(row.text), QString::fromUtf8(row.key), &error);
        if (!row.value.isValid()) {
            EXPECT_FALSE(value.isValid()) << row.key << ": " << row.text;
            EXPECT_FALSE(error.isEmpty()) << row.key << ": " << row.text;
        } else if (row.value.typeId() == QMetaType::Double && std::isinf(row.value.toDouble())) {
            EXPECT_EQ(value.toDouble(), row.value.toDouble()) << row.key << ": " << row.text;
        } else if (row.value.typeId() == QMetaType::Double) {
            EXPECT_NEAR(value.toDouble(), row.value.toDouble(), 1e-9 * std::max(1.0, std::abs(row.value.toDouble()))) << row.key << ": " << row.text;
        } else {
            EXPECT_EQ(value, row.value) << row.key << ": " << row.text;
        }
    }
}

// 0 dB in all six scales; the infinities and not-a-number; levels above full
// scale keep the low 16 or 24 bits (and infinite ones don't overflow).
TEST(LevelFormatter, EachScaleShowsTheEdgesOfItsRange) {
    const struct {
        const char* format;
        double level;
        const char* text;
    } rows[] = {
        {"decibel", 0.0, "0.00 dB"},
        {"percent", 0.0, "100 %"},
        {"normalized", 0.0, "1.00"},
        {"8bit", 0.0, "127"},
        {"16bit", 0.0, "7FFF"},
        {"24bit", 0.0, "7FFFFF"},
        {"decibel", -qInf(), "-∞ dB"},
        {"decibel", qQNaN(), "-∞ dB"},
        {"decibel", -6.0206, "-6.02 dB"},
        {"decibel", -0.125, "-0.12 dB"},      // "%.2f" takes an exact tie to even
        {"percent", -6.0206, "50 %"},
        {"normalized", -6.0206, "0.50"},
        {"8bit", -20.0, "13"},
        {"16bit", -6.0206, "4000"},
        {"24bit", -6.0206, "400000"},
        {"16bit", -qInf(), "0000"},
        {"24bit", qQNaN(), "000000"},
        {"16bit", 6.0206, "FFFE"},            // 2.0 x 32767 = 65534 in 16 bits
        {"16bit", 12.0412, "FFFC"},           // 131068 truncated to 16 bits
        {"16bit", qInf(), "FFFF"},
        {"24bit", qInf(), "FFFFFF"},
        {"8bit", qInf(), "2147483647"},
        {"kelvin", 0.0, ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LevelFormatter::stringForLevel(row.level, QString::fromUtf8(row.format)), QString::fromUtf8(row.text))
            << row.format << " of " << row.level;
}

// Tenths are rounded before the reference is taken away, halves away from
// zero, and a loudness that rounds to zero shows no sign.
TEST(LoudnessFormatter, RoundsToTenthsBeforeShowing) {
    const struct {
        const char* format;
        double loudness;
        const char* text;
    } rows[] = {
        {"LUFS", 0.0, "-23.0 LUFS"}, {"LU", 0.0, "0.0 LU"},      {"LU", 0.15, "0.2 LU"},
        {"LUFS", 2.25, "-20.7 LUFS"}, {"LU", -0.25, "-0.3 LU"},  {"LU", -0.04, "0.0 LU"},
        {"LUFS", -qInf(), "-∞ LUFS"}, {"LU", qQNaN(), ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LoudnessFormatter::stringForLoudness(row.loudness, QString::fromUtf8(row.format)),
                  QString::fromUtf8(row.text))
            << row.format << " of " << row.loudness;
}

TEST(FrequencyFormatter, HertzAndKilohertzScaleAndSeparate) {
    FrequencyFormatter formatter;
    const struct {
        const char* format;
        double frequency;
        const char* text;
    } rows[] = {
        {"hz", 44100, "44,100 Hz"}, {"hz", 8000, "8,000 Hz"},  {"khz", 44100, "44.1 kHz"},
        {"khz", 48000, "48 kHz"},   {"khz", 1234567, "1234.6 kHz"}, {"hz", 0, "0 Hz"},
    };
    for (const auto& row : rows) {
        formatter.setFormat(QString::fromUtf8(row.format));
        EXPECT_EQ(formatter.stringForObjectValue(row.frequency), QString::fromUtf8(row.text)) << row.format;
    }
}

// Lengths in whole rounded seconds; a NULL end (read back as the reference
// date) is a failed run, no end a running one.
TEST(ActivityPaneLengthFormatter, LengthsFailuresAndRunningWork) {
    const ActivityPaneLengthFormatter formatter;
    const QDateTime start = Date::now();
    const QString startText = ActivityPaneLengthFormatter::relativeStringForDate(start, Date::now());
    ASSERT_TRUE(startText.startsWith(QStringLiteral("Today "))) << startText.toStdString();
    const struct {
        qint64 lengthMs;
        const char* suffix;
    } rows[] = {
        {59600, " [1m 0s]"}, {400, " [<1s]"}, {42200, " [42s]"}, {125000, " [2m 5s]"}, {60000, " [1m 0s]"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(formatter.stringForStartDate(start, start.addMSecs(row.lengthMs)),
                  startText + QString::fromUtf8(row.suffix));
    EXPECT_EQ(formatter.stringForStartDate(start, Date::referenceDate()), startText + QStringLiteral(" [failed]"));
    EXPECT_EQ(formatter.stringForStartDate(start, QDateTime()), startText);
    EXPECT_EQ(formatter.stringForStartDate(QDateTime(), start), QStringLiteral("[failed]"));
}

} // namespace ondrel
