#include "render/engine/channels/VMKAudioChannelManager.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {
QStringList split(const char* text) { return QString::fromLatin1(text).split(QLatin1Char(' ')); }
} // namespace

TEST(VMKAudioChannelManager, OrdersAbbreviationsByLayoutKeepingTheirCase) {
    auto& manager = VMKAudioChannelManager::manager();
    auto stereo = manager.setForChannelAbbreviations(split("r L"));
    ASSERT_TRUE(stereo);
    EXPECT_EQ(stereo->abbreviations(), split("L r"));
    EXPECT_EQ(stereo->objectInDescriptionsAtIndex(1).name(), QStringLiteral("Right"));

    auto surround = manager.setForChannelAbbreviations(split("Rs LS Lfe c R l"));
    ASSERT_TRUE(surround);
    EXPECT_EQ(surround->name(), QStringLiteral("5.1"));
    EXPECT_EQ(surround->abbreviations(), split("l R c Lfe LS Rs"));

    // The short spelling of the LFE channel counts as the long one.
    auto withLf = manager.setForChannelAbbreviations(split("L R C Lf"));
    ASSERT_TRUE(withLf);
    EXPECT_EQ(withLf->abbreviations(), split("L R C Lf"));

    // Reversed input comes back in layout order.
    QStringList reversed = split("L R C LFE Ls Rs Lsb Rsb");
    std::reverse(reversed.begin(), reversed.end());
    EXPECT_EQ(manager.setForChannelAbbreviations(reversed)->abbreviations(), split("L R C LFE Ls Rs Lsb Rsb"));
}

TEST(VMKAudioChannelManager, AnswersNothingForSetsThatMakeNoLayout) {
    auto& manager = VMKAudioChannelManager::manager();
    for (const char* abbreviations : {"l lfe", "L", "L L", "l R r", "Ls Rs", "L R X", "L R C LFE Lf", "lsb rsb"})
        EXPECT_FALSE(manager.setForChannelAbbreviations(split(abbreviations))) << abbreviations;
    EXPECT_FALSE(manager.setForChannelAbbreviations({}));
    EXPECT_FALSE(manager.setForNumberOfChannels(0));
    EXPECT_FALSE(manager.setForNumberOfChannels(9));
}

} // namespace ondrel
