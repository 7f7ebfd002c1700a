#include "render/automation/ValueMap.h"

#include <QtCore/QPointF>

#include <array>

namespace ondrel {

namespace {

struct Shape {
    const char* name;
    bool cubic;
    std::array<QPointF, 4> points;
};

const std::array<Shape, 10> kShapes = {{
    {"inLinear", false, {QPointF(0, 0), QPointF(1, 1)}},
    {"inPower", true, {QPointF(0, 0), QPointF(0, 0.5), QPointF(1, 1), QPointF(1, 1)}},
    {"inEaseIn", true, {QPointF(0, 0), QPointF(0, 0), QPointF(0.58, 1), QPointF(1, 1)}},
    {"inEaseOut", true, {QPointF(0, 0), QPointF(0.42, 0), QPointF(1, 1), QPointF(1, 1)}},
    {"inEaseInOut", true, {QPointF(0, 0), QPointF(0.42, 0), QPointF(0.58, 1), QPointF(1, 1)}},
    {"outLinear", false, {QPointF(0, 1), QPointF(1, 0)}},
    {"outPower", true, {QPointF(0, 1), QPointF(0, 1), QPointF(1, 0.5), QPointF(1, 0)}},
    {"outEaseIn", true, {QPointF(0, 1), QPointF(0, 1), QPointF(0.58, 0), QPointF(1, 0)}},
    {"outEaseOut", true, {QPointF(0, 1), QPointF(0.42, 1), QPointF(1, 0), QPointF(1, 0)}},
    {"outEaseInOut", true, {QPointF(0, 1), QPointF(0.42, 1), QPointF(0.58, 0), QPointF(1, 0)}},
}};

} // namespace

const ClassInfo& ValueMap::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<ValueMap, VMKValueMap>(QStringLiteral("ValueMap"))
                                       .property(QStringLiteral("shape"), &ValueMap::shape, &ValueMap::setShape);
    return info;
}

ValueMap::ValueMap(const QString& type) : VMKValueMap(type) {}

ValueMap::~ValueMap() = default;

QString ValueMap::shape() const {
    std::lock_guard lock(m_mutex);
    return m_shape;
}

void ValueMap::setShape(const QString& shape) {
    willChangeValueForKey(QStringLiteral("shape"));
    {
        std::lock_guard lock(m_mutex);
        m_shape = shape;
    }
    for (const Shape& known : kShapes) {
        if (shape != QLatin1String(known.name))
            continue;
        setType(known.cubic ? QStringLiteral("cubic") : QStringLiteral("segmented"));
        for (size_t i = 0; i < countOfControlPoints(); ++i)
            objectInControlPointsAtIndex(i)->setPoint(known.points[i]);
        break;
    }
    didChangeValueForKey(QStringLiteral("shape"));
}

} // namespace ondrel
