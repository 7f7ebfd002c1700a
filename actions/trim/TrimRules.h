#pragma once

#include "catalog/entities/FileEntity.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"

#include <QtCore/QString>

#include <cmath>

namespace ondrel {

// Rules shared by the actions that cut a source by time or by level: the trim
// and detach actions, and the fade actions that take an amount in the same units.

// The time a value stands for in the given file, in seconds. "milliseconds",
// "seconds", "frames" (by the file's sample rate) and "percent" (of the file's
// length); any other units give 0. The value itself stays in its unit, so a
// frame count or a percentage means a different time in each file.
inline double secondsForValue(double value, const QString& units, const FileEntity& file) {
    if (units == QLatin1String("milliseconds"))
        return value / 1000.0;
    if (units == QLatin1String("seconds"))
        return value;
    if (units == QLatin1String("frames"))
        return value / file.sampleRate();
    if (units == QLatin1String("percent"))
        return (value / 100.0) * file.length();
    return 0.0;
}

// The linear amplitude of a level in decibels relative to full scale,
// 10^(level/20), computed in 32-bit float so that thresholds match exactly.
inline float amplitudeForLevel(float level) {
    return std::pow(10.0f, level / 20.0f);
}

// Keeps a location within 0 .. fileLength. The lower limit is applied first,
// so a file of negative length (none should have one) yields its length.
inline double clampToFile(double location, double fileLength) {
    if (location < 0.0)
        location = 0.0;
    if (location > fileLength)
        location = fileLength;
    return location;
}

// Takes an amount off the source's length. An absent length first becomes
// the file's whole length; a length set by an earlier action is reduced
// further, so that trims accumulate. Nothing keeps the result from going
// below 0: the range of the source group deals with that.
inline void reduceSourceLength(AudioProcessCommandSourceInstructions& source, double amount, double fileLength) {
    source.setLength(source.length().value_or(fileLength) - amount);
}

} // namespace ondrel
