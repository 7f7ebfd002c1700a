#pragma once

#include <QtCore/QPointF>

#include <atomic>

namespace ondrel {

// A control point of a value map: x (input) and y (output), each 0.0 to 1.0.
// Its coordinates may change while audio reads them.
class VMKValueMapControlPoint {
public:
    VMKValueMapControlPoint() = default;
    VMKValueMapControlPoint(double x, double y) : m_x(x), m_y(y) {}

    QPointF point() const { return QPointF(x(), y()); }
    void setPoint(const QPointF& point) { setPoint(point.x(), point.y()); }
    void setPoint(double x, double y) {
        m_x.store(x, std::memory_order_relaxed);
        m_y.store(y, std::memory_order_relaxed);
    }
    double x() const { return m_x.load(std::memory_order_relaxed); }
    double y() const { return m_y.load(std::memory_order_relaxed); }

private:
    std::atomic<double> m_x{0.0};
    std::atomic<double> m_y{0.0};
};

} // namespace ondrel
