#include "core/text/StringCompare.h"

#include <gtest/gtest.h>

#include <QtCore/QStringList>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace ondrel {

TEST(NaturalCompare, StandardCompareReadsDigitsAsNumbersAndIgnoresCase) {
    EXPECT_LT(StringCompare::localizedStandardCompare("Take 2", "take 10"), 0);
    EXPECT_GT(StringCompare::localizedStandardCompare("take 10", "Take 2"), 0);
    EXPECT_EQ(StringCompare::localizedStandardCompare("a", "A"), 0);
    EXPECT_EQ(StringCompare::localizedStandardCompare("Take 7", "TAKE 7"), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare("file9.wav", "file10.wav"), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare("abc", "abd"), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare("a", "B"), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare("", "a"), 0);
    EXPECT_EQ(StringCompare::localizedStandardCompare("", ""), 0);

    QStringList names{"Take 10", "take 2", "Take 1", "Take 100", "Ambience", "take 20"};
    std::sort(names.begin(), names.end(),
              [](const QString& a, const QString& b) { return StringCompare::localizedStandardCompare(a, b) < 0; });
    EXPECT_EQ(names, (QStringList{"Ambience", "Take 1", "take 2", "Take 10", "take 20", "Take 100"}));
}

TEST(NaturalCompare, OtherOrderings) {
    // Literal: by code unit, so capitals come first.
    EXPECT_LT(StringCompare::compare("B", "a"), 0);
    EXPECT_GT(StringCompare::compare("a", "A"), 0);
    EXPECT_LT(StringCompare::compare("file10", "file9"), 0);
    // Case folded, still literal otherwise.
    EXPECT_EQ(StringCompare::caseInsensitiveCompare("Take", "tAKE"), 0);
    EXPECT_LT(StringCompare::caseInsensitiveCompare("a", "B"), 0);
    EXPECT_LT(StringCompare::caseInsensitiveCompare("file10", "file9"), 0);
    // Collated without numbers.
    EXPECT_EQ(StringCompare::localizedCaseInsensitiveCompare("Mix", "mix"), 0);
    EXPECT_LT(StringCompare::localizedCaseInsensitiveCompare("a", "B"), 0);
    EXPECT_LT(StringCompare::localizedCaseInsensitiveCompare("file10", "file9"), 0);

    EXPECT_LT(StringCompare::compareWithSelector("localizedStandardCompare:", "x9", "X10"), 0);
    EXPECT_EQ(StringCompare::compareWithSelector("caseInsensitiveCompare:", "x", "X"), 0);
    EXPECT_EQ(StringCompare::compareWithSelector("localizedCaseInsensitiveCompare:", "x", "X"), 0);
    EXPECT_GT(StringCompare::compareWithSelector("compare:", "x", "X"), 0);
    EXPECT_GT(StringCompare::compareWithSelector("unknownSelector:", "x", "X"), 0);
}

TEST(NaturalCompare, SameResultsOnEveryThread) {
    QStringList names;
    for (int i = 0; i < 300; ++i)
        names << QString("%1 Take %2").arg(i % 2 ? "drum" : "Drum").arg((i * 37) % 101);
    auto sorted = [&names] {
        QStringList copy = names;
        std::stable_sort(copy.begin(), copy.end(), [](const QString& a, const QString& b) {
            return StringCompare::localizedStandardCompare(a, b) < 0;
        });
        return copy;
    };
    const QStringList expected = sorted();
    for (qsizetype i = 1; i < expected.size(); ++i)
        EXPECT_LE(StringCompare::localizedStandardCompare(expected[i - 1], expected[i]), 0);
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round)
                if (sorted() != expected)
                    ++mismatches;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

} // namespace ondrel
