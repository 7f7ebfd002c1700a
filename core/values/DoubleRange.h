#pragma once

#include <QtCore/QMetaType>

namespace ondrel {

// A span of time: a location and a length, both in seconds.
struct DoubleRange {
    double location = 0.0;
    double length = 0.0;

    double end() const { return location + length; }
    bool operator==(const DoubleRange& other) const = default;
};

} // namespace ondrel

Q_DECLARE_METATYPE(ondrel::DoubleRange)
