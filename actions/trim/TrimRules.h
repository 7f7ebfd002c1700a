#pragma once

#include "catalog/entities/FileEntity.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"

#include <QtCore/QString>

#include <cmath>
#include <memory>

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

// The group's main source when it has a file: what every trim changes. Null
// for a group without a main source or a main source without a file, which
// a trim leaves alone.
inline std::shared_ptr<AudioProcessCommandSourceInstructions> mainSourceWithFile(
    const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& group) {
    auto source = group ? group->mainSourceInstructions() : nullptr;
    return source && source->fileEntity() ? source : nullptr;
}

// Where the sound of the file begins at `amplitude`, moved by `offset` and
// kept within the file. The search covers the whole file, whatever earlier
// actions cut; a file that never reaches the amplitude answers its length.
inline double startAtAmplitude(FileEntity& file, float amplitude, double offset) {
    const double crossing = file.locationOfThresholdCrossingAfter(0.0, amplitude);
    return clampToFile(crossing + offset, file.length());
}

// How much of the file lies after its sound ends at `amplitude`, the end
// being moved by `offset` and kept within the file. A file that never reaches
// the amplitude answers its whole length.
inline double tailAtAmplitude(FileEntity& file, float amplitude, double offset) {
    const double fileLength = file.length();
    const double crossing = file.locationOfThresholdCrossingBefore(fileLength, amplitude);
    return fileLength - clampToFile(crossing + offset, fileLength);
}

} // namespace ondrel
