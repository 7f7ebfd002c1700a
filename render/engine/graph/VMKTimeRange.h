
namespace ondrel {

#pragma once

// A stretch of time in seconds: where it starts and how long it is.
struct VMKTimeRange {
    double location = 0.0;
    double length = 0.0;
    double end() const { return location + length; }
    bool operator==(const VMKTimeRange&) const = default;
};

} // namespace ondrel
