#include "core/text/StringCompare.h"

#include <gtest/gtest.h>

#include <QtCore/QStringList>

#include <algorithm>
#include <thread>

namespace ondrel {

TEST(NaturalCompare, EachSelectorOrdersPairsAsExpected) {
    struct Row {
        const char* selector;
        const char* a;
        const char* b;
        int sign;  // of the comparison of a with b
    };
    const Row rows[] = {
        // Natural order: digits as numbers, case ignored.
        {"localizedStandardCompare:", "Take 2", "take 10", -1}, {"localizedStandardCompare:", "take 10", "Take 2", 1},
        {"localizedStandardCompare:", "a", "A", 0}, {"localizedStandardCompare:", "Take 7", "TAKE 7", 0},
        {"localizedStandardCompare:", "file9.wav", "file10.wav", -1}, {"localizedStandardCompare:", "a", "B", -1},
        {"localizedStandardCompare:", "", "a", -1}, {"localizedStandardCompare:", "", "", 0},
        // Literal: by code unit, so capitals come first; unknown selectors compare literally.
        {"compare:", "B", "a", -1}, {"compare:", "a", "A", 1}, {"compare:", "file10", "file9", -1},
        {"unknownSelector:", "x", "X", 1},
        // Case folded, still literal otherwise; collated without numbers.
        {"caseInsensitiveCompare:", "Take", "tAKE", 0}, {"caseInsensitiveCompare:", "a", "B", -1},
        {"caseInsensitiveCompare:", "file10", "file9", -1}, {"localizedCaseInsensitiveCompare:", "Mix", "mix", 0},
        {"localizedCaseInsensitiveCompare:", "a", "B", -1}, {"localizedCaseInsensitiveCompare:", "file10", "file9", -1},
    };
    for (const Row& row : rows) {
        const int result = StringCompare::compareWithSelector(row.selector, row.a, row.b);
        EXPECT_EQ((result > 0) - (result < 0), row.sign) << row.selector << " " << row.a << " / " << row.b;
    }
}

TEST(NaturalCompare, SameResultsOnTwoThreadsAtOnce) {
    // The collator behind the natural order is shared: two threads sorting at
    // once must not disturb each other.
    QStringList names;
    for (int i = 0; i < 300; ++i)
        names << QString("%1 Take %2").arg(i % 2 ? "drum" : "Drum").arg((i * 37) % 101);
    const auto sorted = [&names] {
        QStringList copy = names;
        std::stable_sort(copy.begin(), copy.end(), [](const QString& a, const QString& b) {
            return StringCompare::localizedStandardCompare(a, b) < 0;
        });
        return copy;
    };
    QStringList first, second;
    std::thread other([&] { second = sorted(); });
    first = sorted();
    other.join();
    EXPECT_EQ(first, second);
    for (qsizetype i = 1; i < first.size(); ++i)
        EXPECT_LE(StringCompare::localizedStandardCompare(first[i - 1], first[i]), 0);
}

} // namespace ondrel
