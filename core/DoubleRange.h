#pragma once

#include <QtCore/QMetaType>

// A span of time: a location and a length, both in seconds.
struct DoubleRange {
    double location = 0.0;
    double length = 0.0;

    double end() const { return location + length; }
    bool operator==(const DoubleRange& other) const = default;
};

Q_DECLARE_METATYPE(DoubleRange)
