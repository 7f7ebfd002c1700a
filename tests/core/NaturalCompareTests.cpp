#include "core/StringCompare.h"

#include <gtest/gtest.h>

#include <QtCore/QStringList>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

TEST(NaturalCompare, StandardCompareReadsDigitsAsNumbersAndIgnoresCase) {
    EXPECT_LT(StringCompare::localizedStandardCompare(QStringLiteral("Take 2"), QStringLiteral("take 10")), 0);
    EXPECT_GT(StringCompare::localizedStandardCompare(QStringLiteral("take 10"), QStringLiteral("Take 2")), 0);
    EXPECT_EQ(StringCompare::localizedStandardCompare(QStringLiteral("a"), QStringLiteral("A")), 0);
    EXPECT_EQ(StringCompare::localizedStandardCompare(QStringLiteral("Take 7"), QStringLiteral("TAKE 7")), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare(QStringLiteral("file9.wav"), QStringLiteral("file10.wav")), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare(QStringLiteral("abc"), QStringLiteral("abd")), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare(QStringLiteral("a"), QStringLiteral("B")), 0);
    EXPECT_LT(StringCompare::localizedStandardCompare(QStringLiteral(""), QStringLiteral("a")), 0);
    EXPECT_EQ(StringCompare::localizedStandardCompare(QStringLiteral(""), QStringLiteral("")), 0);

    QStringList names{"Take 10", "take 2", "Take 1", "Take 100", "Ambience", "take 20"};
    std::sort(names.begin(), names.end(),
              [](const QString& a, const QString& b) { return StringCompare::localizedStandardCompare(a, b) < 0; });
    EXPECT_EQ(names, (QStringList{"Ambience", "Take 1", "take 2", "Take 10", "take 20", "Take 100"}));
}

TEST(NaturalCompare, OtherOrderings) {
    // Literal: by code unit, so capitals come first.
    EXPECT_LT(StringCompare::compare(QStringLiteral("B"), QStringLiteral("a")), 0);
    EXPECT_GT(StringCompare::compare(QStringLiteral("a"), QStringLiteral("A")), 0);
    EXPECT_LT(StringCompare::compare(QStringLiteral("file10"), QStringLiteral("file9")), 0);
    // Case folded, still literal otherwise.
    EXPECT_EQ(StringCompare::caseInsensitiveCompare(QStringLiteral("Take"), QStringLiteral("tAKE")), 0);
    EXPECT_LT(StringCompare::caseInsensitiveCompare(QStringLiteral("a"), QStringLiteral("B")), 0);
    EXPECT_LT(StringCompare::caseInsensitiveCompare(QStringLiteral("file10"), QStringLiteral("file9")), 0);
    // Collated without numbers.
    EXPECT_EQ(StringCompare::localizedCaseInsensitiveCompare(QStringLiteral("Mix"), QStringLiteral("mix")), 0);
    EXPECT_LT(StringCompare::localizedCaseInsensitiveCompare(QStringLiteral("a"), QStringLiteral("B")), 0);
    EXPECT_LT(StringCompare::localizedCaseInsensitiveCompare(QStringLiteral("file10"), QStringLiteral("file9")), 0);

    EXPECT_LT(StringCompare::compareWithSelector(QStringLiteral("localizedStandardCompare:"), "x9", "X10"), 0);
    EXPECT_EQ(StringCompare::compareWithSelector(QStringLiteral("caseInsensitiveCompare:"), "x", "X"), 0);
    EXPECT_EQ(StringCompare::compareWithSelector(QStringLiteral("localizedCaseInsensitiveCompare:"), "x", "X"), 0);
    EXPECT_GT(StringCompare::compareWithSelector(QStringLiteral("compare:"), "x", "X"), 0);
    EXPECT_GT(StringCompare::compareWithSelector(QStringLiteral("unknownSelector:"), "x", "X"), 0);
}

TEST(NaturalCompare, SameResultsOnEveryThread) {
    QStringList names;
    for (int i = 0; i < 300; ++i)
        names << QStringLiteral("%1 Take %2").arg(i % 2 ? "drum" : "Drum").arg((i * 37) % 101);
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
