#pragma once

#include "core/objects/Object.h"
#include "render/engine/automation/VMKValueMapControlPoint.h"

#include <array>
#include <atomic>
#include <memory>

namespace ondrel {

// A curve from 0..1 to 0..1, as automations use it.
//  "segmented": two control points; straight between them, flat outside.
//  "cubic":     four control points of a cubic Bezier curve; the output for
//               an input x is the curve's y where its x equals the input.
// Changing the type puts the new type's straight line (0,0)-(1,1) in place,
// since the two types have different point counts. The points may be changed
// while audio reads the map.
class VMKValueMap : public Object {
    ONDREL_OBJECT(VMKValueMap, Object)

public:
    explicit VMKValueMap(const QString& type = QStringLiteral("segmented"));
    ~VMKValueMap() override;

    static std::shared_ptr<VMKValueMap> mapWithType(const QString& type);

    QString type() const;
    void setType(const QString& type);  // "segmented" or "cubic"; other names are ignored

    size_t countOfControlPoints() const;
    VMKValueMapControlPoint* objectInControlPointsAtIndex(size_t index);
    const VMKValueMapControlPoint* objectInControlPointsAtIndex(size_t index) const;

    float outputValueForInputValue(float input) const;
    double outputValueForInputValue(double input) const;

private:
    enum class Kind { Segmented, Cubic };
    void resetPoints(Kind kind);

    std::atomic<Kind> m_kind{Kind::Segmented};
    std::array<VMKValueMapControlPoint, 4> m_points;
};

} // namespace ondrel
