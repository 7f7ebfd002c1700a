#include "catalog/access/SilentBlocks.h"

#include <QtCore/QtGlobal>

#include <algorithm>
#include <cmath>

namespace ondrel {

double SilentBlocks::skipBeforeStart(double location, double step) {
    Q_ASSERT(step > 0.0);
    if (!(location < -2.0 * step))
        return location;
    const double skipped = std::floor(-location / step) - 1.0;
    // Where the location is too large to hold a block's alignment, the clamp
    // keeps the result in the last silent block all the same.
    return std::clamp(location + skipped * step, -2.0 * step, -step);
}

double SilentBlocks::skipPastEnd(double location, double step, double length) {
    Q_ASSERT(step > 0.0);
    if (!(location > length + 2.0 * step))
        return location;
    const double skipped = std::floor((location - length) / step) - 1.0;
    return std::clamp(location - skipped * step, length + step, length + 2.0 * step);
}

} // namespace ondrel
