#include "render/engine/automation/VMKValueMap.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

namespace {
const QString kSegmented = QStringLiteral("segmented");
const QString kCubic = QStringLiteral("cubic");

double bezier(double p0, double p1, double p2, double p3, double t) {
    const double u = 1.0 - t;
    return u * u * u * p0 + 3.0 * u * u * t * p1 + 3.0 * u * t * t * p2 + t * t * t * p3;
}

double bezierSlope(double p0, double p1, double p2, double p3, double t) {
    const double u = 1.0 - t;
    return 3.0 * u * u * (p1 - p0) + 6.0 * u * t * (p2 - p1) + 3.0 * t * t * (p3 - p2);
}
} // namespace

const ClassInfo& VMKValueMap::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<VMKValueMap, Object>(QStringLiteral("VMKValueMap"))
                                       .property(QStringLiteral("type"), &VMKValueMap::type, &VMKValueMap::setType);
    return info;
}

VMKValueMap::VMKValueMap(const QString& type) {
    const Kind kind = type == kCubic ? Kind::Cubic : Kind::Segmented;
    m_kind.store(kind);
    resetPoints(kind);
}

VMKValueMap::~VMKValueMap() = default;

std::shared_ptr<VMKValueMap> VMKValueMap::mapWithType(const QString& type) { return std::make_shared<VMKValueMap>(type); }

QString VMKValueMap::type() const { return m_kind.load() == Kind::Cubic ? kCubic : kSegmented; }

void VMKValueMap::setType(const QString& type) {
    if (type != kSegmented && type != kCubic)
        return;
    const Kind kind = type == kCubic ? Kind::Cubic : Kind::Segmented;
    if (kind == m_kind.load())
        return;
    willChangeValueForKey(QStringLiteral("type"));
    resetPoints(kind);
    m_kind.store(kind);
    didChangeValueForKey(QStringLiteral("type"));
}

void VMKValueMap::resetPoints(Kind kind) {
    if (kind == Kind::Segmented) {
        m_points[0].setPoint(0.0, 0.0);
        m_points[1].setPoint(1.0, 1.0);
        m_points[2].setPoint(1.0, 1.0);
        m_points[3].setPoint(1.0, 1.0);
    } else {
        m_points[0].setPoint(0.0, 0.0);
        m_points[1].setPoint(1.0 / 3.0, 1.0 / 3.0);
        m_points[2].setPoint(2.0 / 3.0, 2.0 / 3.0);
        m_points[3].setPoint(1.0, 1.0);
    }
}

size_t VMKValueMap::countOfControlPoints() const { return m_kind.load() == Kind::Cubic ? 4 : 2; }

VMKValueMapControlPoint* VMKValueMap::objectInControlPointsAtIndex(size_t index) {
    return index < countOfControlPoints() ? &m_points[index] : nullptr;
}

const VMKValueMapControlPoint* VMKValueMap::objectInControlPointsAtIndex(size_t index) const {
    return index < countOfControlPoints() ? &m_points[index] : nullptr;
}

float VMKValueMap::outputValueForInputValue(float input) const {
    return float(outputValueForInputValue(double(input)));
}

double VMKValueMap::outputValueForInputValue(double x) const {
    if (m_kind.load(std::memory_order_relaxed) == Kind::Segmented) {
        double x0 = m_points[0].x(), y0 = m_points[0].y();
        double x1 = m_points[1].x(), y1 = m_points[1].y();
        if (x1 < x0) {
            std::swap(x0, x1);
            std::swap(y0, y1);
        }
        if (x <= x0)
            return y0;
        if (x >= x1)
            return y1;
        return y0 + (y1 - y0) * (x - x0) / (x1 - x0);
    }
    const double x0 = m_points[0].x(), x1 = m_points[1].x(), x2 = m_points[2].x(), x3 = m_points[3].x();
    const double y0 = m_points[0].y(), y1 = m_points[1].y(), y2 = m_points[2].y(), y3 = m_points[3].y();
    const bool rising = x3 >= x0;
    if (rising ? x <= x0 : x >= x0)
        return y0;
    if (rising ? x >= x3 : x <= x3)
        return y3;
    // Solve x(t) = x: Newton from the straight-line guess, then bisection if
    // Newton strays (flat or non-monotonic stretches).
    double t = (x - x0) / (x3 - x0);
    for (int i = 0; i < 8; ++i) {
        const double error = bezier(x0, x1, x2, x3, t) - x;
        if (std::fabs(error) < 1e-12)
            return bezier(y0, y1, y2, y3, t);
        const double slope = bezierSlope(x0, x1, x2, x3, t);
        if (std::fabs(slope) < 1e-9)
            break;
        t -= error / slope;
        if (t < 0.0 || t > 1.0)
            break;
    }
    if (t >= 0.0 && t <= 1.0 && std::fabs(bezier(x0, x1, x2, x3, t) - x) < 1e-10)
        return bezier(y0, y1, y2, y3, t);
    double low = 0.0, high = 1.0;
    for (int i = 0; i < 60; ++i) {
        t = 0.5 * (low + high);
        const double value = bezier(x0, x1, x2, x3, t);
        if ((value < x) == rising)
            low = t;
        else
            high = t;
    }
    return bezier(y0, y1, y2, y3, 0.5 * (low + high));
}

} // namespace ondrel
