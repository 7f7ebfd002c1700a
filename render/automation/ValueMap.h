#pragma once

#include "render/engine/automation/VMKValueMap.h"

#include <QtCore/QString>

#include <mutex>

namespace ondrel {

// A value map with a named fade shape. setShape() stores the name and, for
// the ten shapes "inLinear", "inPower", "inEaseIn", "inEaseOut",
// "inEaseInOut" and their "out…" mirrors, sets the type and control points
// of that curve; any other name is stored and changes nothing else.
class ValueMap : public VMKValueMap {
    ONDREL_OBJECT(ValueMap, VMKValueMap)

public:
    explicit ValueMap(const QString& type = QStringLiteral("segmented"));
    ~ValueMap() override;

    QString shape() const;
    void setShape(const QString& shape);

private:
    mutable std::mutex m_mutex;
    QString m_shape;
};

} // namespace ondrel
