#include "render/engine/automation/VMKAudioAutomation.h"
#include "render/engine/automation/VMKValueMap.h"

#include <gtest/gtest.h>

#include <cmath>

namespace ondrel {

namespace {
struct Shape {
    const char* name;
    const char* type;
    std::vector<QPointF> points;
};

// The fade shapes of the workflow previews.
const std::vector<Shape> kShapes = {
    {"inLinear", "segmented", {{0, 0}, {1, 1}}},
    {"inPower", "cubic", {{0, 0}, {0, 0.5}, {1, 1}, {1, 1}}},
    {"inEaseIn", "cubic", {{0, 0}, {0, 0}, {0.58, 1}, {1, 1}}},
    {"inEaseOut", "cubic", {{0, 0}, {0.42, 0}, {1, 1}, {1, 1}}},
    {"inEaseInOut", "cubic", {{0, 0}, {0.42, 0}, {0.58, 1}, {1, 1}}},
    {"outLinear", "segmented", {{0, 1}, {1, 0}}},
    {"outPower", "cubic", {{0, 1}, {0, 1}, {1, 0.5}, {1, 0}}},
    {"outEaseIn", "cubic", {{0, 1}, {0, 1}, {0.58, 0}, {1, 0}}},
    {"outEaseOut", "cubic", {{0, 1}, {0.42, 1}, {1, 0}, {1, 0}}},
    {"outEaseInOut", "cubic", {{0, 1}, {0.42, 1}, {0.58, 0}, {1, 0}}},
};

std::shared_ptr<VMKValueMap> make(const Shape& shape) {
    auto map = VMKValueMap::mapWithType(QString::fromLatin1(shape.type));
    for (size_t i = 0; i < shape.points.size(); ++i)
        map->objectInControlPointsAtIndex(i)->setPoint(shape.points[i]);
    return map;
}

const Shape& shape(const char* name) {
    for (const Shape& s : kShapes)
        if (qstrcmp(s.name, name) == 0)
            return s;
    throw std::logic_error(name);
}

// The curve's y where its x is nearest `x`, by a dense walk along t: an
// answer found without solving anything.
double scanned(const Shape& s, double x) {
    if (s.points.size() == 2) {
        const double x0 = s.points[0].x(), y0 = s.points[0].y(), x1 = s.points[1].x(), y1 = s.points[1].y();
        return y0 + (y1 - y0) * (x - x0) / (x1 - x0);
    }
    double best = 0.0, bestDistance = 2.0;
    for (int i = 0; i <= 200000; ++i) {
        const double t = i / 200000.0, u = 1 - t;
        auto at = [&](double p0, double p1, double p2, double p3) {
            return u * u * u * p0 + 3 * u * u * t * p1 + 3 * u * t * t * p2 + t * t * t * p3;
        };
        const double cx = at(s.points[0].x(), s.points[1].x(), s.points[2].x(), s.points[3].x());
        if (std::fabs(cx - x) < bestDistance) {
            bestDistance = std::fabs(cx - x);
            best = at(s.points[0].y(), s.points[1].y(), s.points[2].y(), s.points[3].y());
        }
    }
    return best;
}
} // namespace

TEST(VMKValueMap, EveryFadeShapeMeetsItsEndsAndFollowsItsCurve) {
    for (const Shape& s : kShapes) {
        SCOPED_TRACE(s.name);
        auto map = make(s);
        const double start = s.points.front().y(), end = s.points.back().y();
        EXPECT_EQ(map->outputValueForInputValue(0.0f), float(start));
        EXPECT_EQ(map->outputValueForInputValue(1.0f), float(end));
        EXPECT_EQ(map->outputValueForInputValue(-0.5f), float(start));  // flat outside 0..1
        EXPECT_EQ(map->outputValueForInputValue(1.5f), float(end));
        float previous = map->outputValueForInputValue(0.0f);
        for (int i = 1; i <= 40; ++i) {
            const double x = i / 40.0;
            const float y = map->outputValueForInputValue(float(x));
            EXPECT_NEAR(y, scanned(s, x), 2e-4) << "x " << x;
            if (end > start)
                EXPECT_GE(y, previous) << "x " << x;
            else
                EXPECT_LE(y, previous) << "x " << x;
            previous = y;
        }
    }
}

// Values worked out by hand, beside the scan above.
TEST(VMKValueMap, MidpointsOfThePowerShapes) {
    // x(t) = 3t^2 - 2t^3 gives t = 1/2 at x = 1/2, where y = 3/16 + 3/8 + 1/8.
    EXPECT_NEAR(make(shape("inPower"))->outputValueForInputValue(0.5f), 0.6875f, 1e-6);
    EXPECT_NEAR(make(shape("outPower"))->outputValueForInputValue(0.5f), 0.6875f, 1e-6);
}

TEST(VMKValueMap, TypesAndControlPoints) {
    VMKValueMap map;
    EXPECT_FALSE(map.objectInControlPointsAtIndex(2));
    map.objectInControlPointsAtIndex(0)->setPoint(0.0, 1.0);
    map.objectInControlPointsAtIndex(1)->setPoint(1.0, 1.0);
    EXPECT_EQ(map.outputValueForInputValue(0.3f), 1.0f);  // a constant, as a gain change uses
    map.setType(QStringLiteral("cubic"));
    EXPECT_EQ(map.countOfControlPoints(), 4u);
    ASSERT_TRUE(map.objectInControlPointsAtIndex(3));
    EXPECT_EQ(map.objectInControlPointsAtIndex(3)->point(), QPointF(1.0, 1.0));
    EXPECT_NEAR(map.outputValueForInputValue(0.3f), 0.3f, 1e-6);  // a new type starts straight
    map.setType(QStringLiteral("spline"));
    EXPECT_EQ(map.type(), QStringLiteral("cubic"));
    map.setType(QStringLiteral("segmented"));
    // Points given right to left still describe the same line.
    map.objectInControlPointsAtIndex(0)->setPoint(1.0, 0.0);
    map.objectInControlPointsAtIndex(1)->setPoint(0.0, 1.0);
    EXPECT_EQ(map.outputValueForInputValue(0.25f), 0.75f);
}

namespace {
class TestMap : public VMKValueMap {
    ONDREL_OBJECT(TestMap, VMKValueMap)
};
const ClassInfo& TestMap::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<TestMap, VMKValueMap>(QStringLiteral("TestMap"));
    return info;
}
class TestAutomation : public VMKAudioAutomation {
public:
    const ClassInfo& valueMapClass() const override { return TestMap::staticClassInfo(); }
};
} // namespace

TEST(VMKAudioAutomation, MakesItsMapOfTheClassItNamesAndScalesIt) {
    VMKAudioAutomation plain;
    EXPECT_EQ(plain.valueMap(), plain.valueMap());
    TestAutomation automation;
    EXPECT_EQ(automation.valueMap()->className(), QStringLiteral("TestMap"));
    automation.setLocation(2.0);
    automation.setLength(4.0);
    automation.setMinimum(0.5f);
    automation.setMaximum(1.5f);
    EXPECT_FALSE(automation.coversTime(1.999));
    EXPECT_TRUE(automation.coversTime(2.0));
    EXPECT_FALSE(automation.coversTime(6.0));
    EXPECT_EQ(automation.valueAtTime(2.0), 0.5f);
    EXPECT_EQ(automation.valueAtTime(3.0), 0.75f);
    EXPECT_EQ(automation.valueAtTime(6.0), 1.5f);
}

} // namespace ondrel
