#include "core/text/VMKTimeFormatter.h"

#include <gtest/gtest.h>

#include <cmath>

namespace ondrel {

namespace {

VMKTimeFormatter formatter(int format, bool isPosition, double sampleRate = 48000.0, double tempo = 120.0,
                           int meterNumerator = 4) {
    VMKTimeFormatter result;
    result.setFormat(format);
    result.setIsPosition(isPosition);
    result.setSampleRate(sampleRate);
    result.setTempo(tempo);
    result.setMeterNumerator(meterNumerator);
    return result;
}

} // namespace

// Fixed texts at the boundaries of each kind of form: hours of positions and
// durations, a negative time that rounds to zero, the frames that drop-frame
// timecode skips, bars counted from 1, and codes that lack what they count in.
TEST(VMKTimeFormatter, TextsAtTheBoundariesOfEachForm) {
    struct Row {
        int format;
        bool isPosition;
        double seconds;
        const char* text;
        double sampleRate = 48000.0;
    };
    const Row rows[] = {
        {13, true, 65.25, "0:01:05.250"},    // positions always show hours
        {13, false, 65.25, "1:05.250"},      // durations leave out zero hours
        {13, false, 3600.0, "1:00:00.000"},
        {13, false, -1.5, "-0:01.500"},
        {13, false, -0.0001, "0:00.000"},    // rounds to zero: no minus
        {13, false, 59.9996, "1:00.000"},    // rounding carries into the minutes
        {1, false, 75.25, "75.250"},
        {3, false, 125.5, "2:05.50"},
        {10, false, 3725.0, "62:05.000"},    // minutes unbounded
        {11, false, 1.2346, "1235"},
        {12, false, 2.5, "3"},
        {14, true, 1.0, "0:00:01"},
        {15, false, 3723.25, "1h 2m 3.250s"},
        {15, false, 3.25, "3.250s"},
        {20, false, 0.96, "1.0"},
        {21, false, 0.04, "0:00.0"},
        {4, true, 1.5, "0:00:01:15"},
        {6, false, 0.999, "0:01:00"},        // 24.975 frames round up to the next second
        {7, false, 0.5, "0:00:12"},
        {5, true, 1800 / 29.97, "0:01:00;02"},   // frames 00 and 01 of minute 1 are skipped
        {5, true, 17982 / 29.97, "0:10:00;00"},  // but not at the tenth minute
        {5, true, 1799 / 29.97, "0:00:59;29"},
        {17, false, 61.5, "1:01:38"},
        {19, false, 2.0, "150"},
        {0, false, 1.0, "48000"},
        {0, false, 1.0, "0:01.000", 0.0},    // no sample rate: the default form
        {18, false, 1.0, "1575", 44100.0},
        {9, true, 0.0, "1.1.00"},            // 120 a minute in 4: a beat is 0.5 s
        {9, true, 2.25, "2.1.50"},
        {9, false, 2.25, "1.0.50"},
        {9, true, -0.25, "-0.0.50"},         // no bar before the first: counted from 0
        {9, true, -0.001, "1.1.00"},         // rounds to zero: the position of zero
        {16, true, 0.5, "1.2.000"},
        {16, true, 0.501, "1.2.001"},        // 0.96 ticks
        {99, false, 1.0, "0:01.000"},        // an unknown code: the default form
        {13, false, qInf(), "∞"},
        {13, false, -qInf(), "-∞"},
        {13, false, 2e12, "∞"},              // beyond the largest time shown
        {0, false, 1e11, "∞", 1e300},        // too many samples for a count
        {13, false, qQNaN(), ""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(formatter(row.format, row.isPosition, row.sampleRate).stringForSeconds(row.seconds),
                  QString::fromUtf8(row.text))
            << "code " << row.format << " at " << row.seconds << (row.isPosition ? " (position)" : "");
    EXPECT_EQ(VMKTimeFormatter().stringForObjectValue(QStringLiteral("12")), QString());
}

// Every code, as position and as duration, reads its own text back to a time
// that shows the same text again: a parser that drops a field, misreads
// drop-frame labels or counts bars from the wrong origin breaks the loop.
TEST(VMKTimeFormatter, EveryFormReadsItsOwnTextBack) {
    const double times[] = {0.0, 0.0123, 1.0, 59.999, 61.5, 599.99, 3723.456, 86399.9, -12.5, -3723.456};
    for (int code = 0; code < VMKTimeFormatter::NumberOfFormats; ++code) {
        for (bool isPosition : {false, true}) {
            const VMKTimeFormatter f = formatter(code, isPosition, 44100.0, 97.0, 3);
            for (double seconds : times) {
                const QString text = f.stringForSeconds(seconds);
                QVariant value;
                QString error;
                ASSERT_TRUE(f.getObjectValue(&value, text, &error))
                    << "code " << code << ": " << text.toStdString() << ": " << error.toStdString();
                EXPECT_EQ(f.stringForSeconds(value.toDouble()), text) << "code " << code;
            }
        }
    }
}

TEST(VMKTimeFormatter, TextOfAnotherFormIsRefusedWithItsReason) {
    struct Row {
        int format;
        const char* text;
    };
    const Row rows[] = {
        {4, "0:00:01:30"},  // 30 frames at 30 a second
        {17, "1:01:75"},
        {13, "1:2:3:4"},
        {13, "a minute"},
        {13, ""},
        {12, "1:30"},
        {0, "-"},
        {9, "0.1.00"},      // positions have no bar 0
        {9, "1.5.00"},      // a fifth beat in 4
        {16, "1.1.480"},
        {5, "0:00:00.5"},   // frames are whole
    };
    for (const Row& row : rows) {
        QString error;
        QVariant value;
        EXPECT_FALSE(formatter(row.format, true).getObjectValue(&value, QString::fromUtf8(row.text), &error))
            << "code " << row.format << ": " << row.text;
        EXPECT_TRUE(error.contains(VMKTimeFormatter::patternForFormat(row.format))) << error.toStdString();
    }
}

} // namespace ondrel
