#pragma once

// Temporary: the unit, level and clamp rules that the trim actions share with
// the fades. The trim folder's TrimRules.h holds the same three functions with
// the same signatures; when both are in one tree this header goes and its
// includes point there.

#include "catalog/entities/FileEntity.h"

#include <QtCore/QString>

#include <algorithm>
#include <cmath>

namespace ondrel {

// `value` in seconds, by its unit: "milliseconds" / 1000, "seconds" as it
// stands, "frames" / the file's sampleRate, "percent" of the file's length;
// any other text gives 0. The units are compared exactly, in that order.
inline double secondsForValue(double value, const QString& units, const FileEntity& file) {
    if (units == QLatin1String("milliseconds"))
        return value / 1000.0;
    if (units == QLatin1String("seconds"))
        return value;
    if (units == QLatin1String("frames"))
        return value / file.sampleRate();
    if (units == QLatin1String("percent"))
        return value / 100.0 * file.length();
    return 0.0;
}

// The linear amplitude of a level in decibels: 10 raised to level / 20, in
// 32-bit float.
inline float amplitudeForLevel(float level) { return std::pow(10.0f, level / 20.0f); }

// `location` limited to 0 ... `fileLength`: the lower limit first, then the
// upper (so a negative fileLength gives fileLength).
inline double clampToFile(double location, double fileLength) {
    return std::min(std::max(location, 0.0), fileLength);
}

} // namespace ondrel
