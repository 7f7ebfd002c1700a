#include "core/Object.h"

#include <gtest/gtest.h>

TEST(ObjectSmoke, Builds) { EXPECT_EQ(Object::staticClassInfo().name(), QStringLiteral("Object")); }
