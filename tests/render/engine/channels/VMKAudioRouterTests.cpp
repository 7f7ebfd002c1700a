#include "render/engine/channels/VMKAudioRouter.h"
#include "render/engine/graph/VMKEngineError.h"

#include <gtest/gtest.h>

namespace ondrel {

// router() made a new router at each call, so ties made at start were lost
// to whoever asked next.
TEST(VMKAudioRouter, RouterIsTheOneSharedRouter) {
    const auto shared = VMKAudioRouter::router();
    ASSERT_TRUE(shared);
    EXPECT_EQ(shared, VMKAudioRouter::router());
    EXPECT_NE(VMKAudioRouter::routerWithProperties({}), shared);
}

TEST(VMKAudioRouter, TiesAndUnties) {
    auto router = std::make_shared<VMKAudioRouter>();
    router->tieInputChannel(1, 3);
    router->tieInputChannel(0, 0);
    router->tieInputChannel(1, 0);
    router->tieInputChannel(1, 3);  // again: still one tie
    EXPECT_EQ(router->countOfTies(), 3u);
    EXPECT_TRUE(router->isInputChannel(1, 3));
    EXPECT_FALSE(router->isInputChannel(3, 1));
    EXPECT_EQ(router->outputChannelsTiedToInputChannel(1), IndexSet({0, 3}));
    EXPECT_TRUE(router->outputChannelsTiedToInputChannel(2).isEmpty());
    auto tie = router->tieForInputChannel(1, 0);
    ASSERT_TRUE(tie);
    EXPECT_EQ(tie->inputChannel(), 1u);
    EXPECT_EQ(tie->outputChannel(), 0u);
    EXPECT_FALSE(router->tieForInputChannel(0, 1));
    router->untieInputChannel(1, 3);
    router->untieInputChannel(5, 5);  // not tied: nothing happens
    EXPECT_EQ(router->outputChannelsTiedToInputChannel(1), IndexSet({0}));
    EXPECT_EQ(router->countOfTies(), 2u);
    EXPECT_EQ(router->ties().front(), VMKAudioRouterTie(0, 0));
}

TEST(VMKAudioRouter, PropertyListRoundTrip) {
    auto router = std::make_shared<VMKAudioRouter>();
    router->tieInputChannel(0, 2);
    router->tieInputChannel(0, 3);
    router->tieInputChannel(1, 1);
    const QVariantMap properties = router->properties();
    ASSERT_EQ(properties.value(QStringLiteral("ties")).toList().size(), 3);
    const QVariantMap first = properties.value(QStringLiteral("ties")).toList().first().toMap();
    EXPECT_EQ(first.value(QStringLiteral("inputChannel")).toInt(), 0);
    EXPECT_EQ(first.value(QStringLiteral("outputChannel")).toInt(), 2);
    auto copy = VMKAudioRouter::routerWithProperties(properties);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->ties(), router->ties());
    EXPECT_EQ(copy->properties(), properties);

    auto empty = VMKAudioRouter::routerWithProperties({});
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->countOfTies(), 0u);

    VMKError error;
    EXPECT_FALSE(VMKAudioRouter::routerWithProperties({{QStringLiteral("ties"), QStringLiteral("all")}}, &error));
    EXPECT_EQ(error.code(), VMKEngineErrorInvalidArgument);
    error = VMKError();
    const QVariantList badTie{QVariantMap{{QStringLiteral("inputChannel"), -1}, {QStringLiteral("outputChannel"), 0}}};
    EXPECT_FALSE(VMKAudioRouter::routerWithProperties({{QStringLiteral("ties"), badTie}}, &error));
    EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("tie 0")));
    const QVariantList missing{QVariantMap{{QStringLiteral("inputChannel"), 1}}};
    EXPECT_FALSE(VMKAudioRouter::routerWithProperties({{QStringLiteral("ties"), missing}}));
}

} // namespace ondrel
