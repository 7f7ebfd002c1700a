#include "shell/formatters/FormatterController.h"
#include "shell/formatters/LevelFormatter.h"
#include "shell/formatters/TimeFormatter.h"

#include "core/dispatch/NotificationCenter.h"
#include "core/storage/UserDefaults.h"

#include <gtest/gtest.h>

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

// A run's compile thread formats filename tokens while the user picks another
// format on the main thread. Nothing orders the two, so ThreadSanitizer sees
// any unguarded format field; each text is one of the two forms.
TEST(FormatterPreferences, AFormatChangeWhileAnotherThreadFormatsDoesNotRace) {
    const auto controller = FormatterController::sharedInstance();
    const auto defaults = UserDefaults::standardUserDefaults();
    QString level, length;
    std::thread compile([&] {
        level = controller->stringForObjectValue(0.0, QStringLiteral("peak"));
        length = controller->stringForObjectValue(1.0, QStringLiteral("length"));
    });
    defaults->setObjectForKey(QStringLiteral("normalized"), QStringLiteral("levelFormat"));
    defaults->setIntegerForKey(12, QStringLiteral("timeFormat"));
    compile.join();
    EXPECT_TRUE(level == QStringLiteral("0.00 dB") || level == QStringLiteral("1.00")) << level.toStdString();
    EXPECT_TRUE(length == QStringLiteral("0:01.000") || length == QStringLiteral("1")) << length.toStdString();
    EXPECT_EQ(controller->stringForObjectValue(1.0, QStringLiteral("length")), QStringLiteral("1"));
    defaults->removeObjectForKey(QStringLiteral("levelFormat"));
    defaults->removeObjectForKey(QStringLiteral("timeFormat"));
}

} // namespace ondrel
