#include "shell/formatters/FormatterController.h"
#include "shell/formatters/LevelFormatter.h"
#include "shell/formatters/TimeFormatter.h"

#include "core/dispatch/NotificationCenter.h"
#include "core/storage/UserDefaults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ondrel {

// The level keys share one formatter: a change of "levelFormat" changes all
// their texts and is announced once, and storing the same value again is no
// change at all.
TEST(FormatterPreferences, ChangingTheLevelFormatChangesEveryLevelTextAndPostsOnce) {
    const auto controller = FormatterController::sharedInstance();
    const auto levelFormatter = controller->formatterForKey(QStringLiteral("peak"));
    ASSERT_EQ(levelFormatter, controller->formatterForKey(QStringLiteral("RMS")));
    int posted = 0;
    const auto token = NotificationCenter::defaultCenter().addObserver(
        LevelFormatterDidChangeNotification, levelFormatter.get(), [&](const Notification&) { ++posted; });
    const auto defaults = UserDefaults::standardUserDefaults();
    ASSERT_EQ(controller->stringForObjectValue(0.0, QStringLiteral("peak")), QStringLiteral("0.00 dB"));

    defaults->setObjectForKey(QStringLiteral("percent"), QStringLiteral("levelFormat"));
    defaults->setObjectForKey(QStringLiteral("percent"), QStringLiteral("levelFormat"));
    EXPECT_EQ(posted, 1);
    EXPECT_EQ(controller->stringForObjectValue(0.0, QStringLiteral("peak")), QStringLiteral("100 %"));
    EXPECT_EQ(controller->stringForObjectValue(0.0, QStringLiteral("sidePeak")), QStringLiteral("100 %"));

    NotificationCenter::defaultCenter().removeObserver(token);
    defaults->removeObjectForKey(QStringLiteral("levelFormat"));
    EXPECT_EQ(controller->stringForObjectValue(0.0, QStringLiteral("peak")), QStringLiteral("0.00 dB"));
}

// A run's compile thread formats filename tokens just after the user picked
// another format on the main thread. The thread is released by a relaxed
// flag, which orders nothing, so ThreadSanitizer sees the time format code
// read without the formatter's guard. (A text format field it can't see:
// the atomic counts of shared text data order the accesses for it.)
TEST(FormatterPreferences, AFormatChangeWhileAnotherThreadFormatsDoesNotRace) {
    const auto controller = FormatterController::sharedInstance();
    const auto defaults = UserDefaults::standardUserDefaults();
    std::atomic<bool> changed{false};
    QString level, length;
    std::thread compile([&] {
        while (!changed.load(std::memory_order_relaxed))
            std::this_thread::yield();
        level = controller->stringForObjectValue(0.0, QStringLiteral("peak"));
        length = controller->stringForObjectValue(1.0, QStringLiteral("length"));
    });
    defaults->setObjectForKey(QStringLiteral("normalized"), QStringLiteral("levelFormat"));
    defaults->setIntegerForKey(12, QStringLiteral("timeFormat"));
    changed.store(true, std::memory_order_relaxed);
    compile.join();
    EXPECT_EQ(level, QStringLiteral("1.00"));
    EXPECT_EQ(length, QStringLiteral("1"));
    defaults->removeObjectForKey(QStringLiteral("levelFormat"));
    defaults->removeObjectForKey(QStringLiteral("timeFormat"));
}

} // namespace ondrel
