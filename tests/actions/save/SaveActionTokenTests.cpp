#include "actions/save/SaveActionFilenameCounterToken.h"
#include "actions/save/SaveActionFilenameTextFileToken.h"
#include "actions/save/SaveActionFilenameToken.h"
#include "core/dispatch/NotificationCenter.h"

#include <gtest/gtest.h>

using namespace ondrel;

namespace {

// Each component makes the token of its tag, which writes the component back
// (plain text gains the text tag; a counter's step is stored as magnitude and
// direction and written signed again).
TEST(SaveActionTokenTest, ComponentsRoundTripThroughTheirTokens) {
    struct Row {
        QString component;
        QString className;
        QString written;
        QString display;
    };
    const Row rows[] = {
        {"[F]", "SaveActionFilenameFilenameToken", "[F]", "Filename"},
        {"[T]a/b", "SaveActionFilenameTextToken", "[T]a/b", "a/b"},
        {"[T][F]", "SaveActionFilenameTextToken", "[T][F]", "[F]"},
        {"take ", "SaveActionFilenameTextToken", "[T]take ", "take "},
        {"[C]5:-1:3", "SaveActionFilenameCounterToken", "[C]5:-1:3", "001"},
        {"[C]1:0", "SaveActionFilenameCounterToken", "[C]1:0", "1"},  // 0 reads as descending
        {"[C]", "SaveActionFilenameCounterToken", "[C]0:1", "1"},
        {"[C]7:x", "SaveActionFilenameCounterToken", "[C]7:0", "1"},
        {"[D]2", "SaveActionFilenameDateToken", "[D]2", {}},
        {"[P]Artist", "SaveActionFilenamePropertyToken", "[P]Artist", "Artist"},
        {"[A]peak", "SaveActionFilenameAnalysisToken", "[A]peak", "Peak"},
        {"[N]not base64!", "SaveActionFilenameTextFileToken", "[N]not base64!", "not base64!"},
    };
    for (const Row& row : rows) {
        const auto token = SaveActionFilenameToken::tokenWithComponent(row.component);
        ASSERT_TRUE(token) << qPrintable(row.component);
        EXPECT_EQ(token->className(), row.className) << qPrintable(row.component);
        EXPECT_EQ(token->component(), row.written) << qPrintable(row.component);
        EXPECT_EQ(token->tokenStyle(), row.className.endsWith("TextToken") ? 1 : 0) << qPrintable(row.component);
        if (!row.display.isNull()) {
            EXPECT_EQ(token->displayString(), row.display) << qPrintable(row.component);
        }
        const auto again = SaveActionFilenameToken::initWithPasteboardPropertyList(
            token->pasteboardPropertyListForType(SaveActionFilenameToken::PasteboardType), SaveActionFilenameToken::PasteboardType);
        ASSERT_TRUE(again) << qPrintable(row.component);
        EXPECT_EQ(again->component(), row.written) << qPrintable(row.component);
    }
    EXPECT_FALSE(SaveActionFilenameToken::initWithPasteboardPropertyList("junk", SaveActionFilenameToken::PasteboardType));
}

// An edit in the counter's popover posts one change, so the field redraws;
// setting the same value posts nothing.
TEST(SaveActionTokenTest, ChangesPostOneNotificationEach) {
    const auto token = std::static_pointer_cast<SaveActionFilenameCounterToken>(
        SaveActionFilenameToken::tokenWithComponent(QStringLiteral("[C]1:1")));
    int posts = 0;
    auto& center = NotificationCenter::defaultCenter();
    const auto observer = center.addObserver(SaveActionFilenameToken::DidChangeNotification, token.get(),
                                             [&](const Notification&) { ++posts; });
    token->setAscending(false);
    token->setAscending(false);
    token->setUseImplicitDigits(false);
    center.removeObserver(observer);
    EXPECT_EQ(posts, 2);
    EXPECT_EQ(token->component(), QStringLiteral("[C]1:-1:3"));
}

} // namespace
