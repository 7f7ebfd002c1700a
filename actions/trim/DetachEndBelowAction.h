#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Keeps only the quiet end of a file: the source starts where the sound last
// reaches a level.
class DetachEndBelowAction : public Action {
    ONDREL_OBJECT(DetachEndBelowAction, Action)
public:
    // Starts at -96.0, 0.0, off.
    DetachEndBelowAction();

    // level, offset, zeroCross.
    QStringList parameterKeys() const override;

    // The level the sound must reach, in decibels relative to full scale.
    float level() const { return m_level; }
    void setLevel(float level);
    // Moves the found location, in seconds; positive towards the end of the file.
    double offset() const { return m_offset; }
    void setOffset(double offset);
    // Moves the cut to the nearest zero crossing of the file.
    bool zeroCross() const { return m_zeroCross; }
    void setZeroCross(bool zeroCross);

    // Finds the part after the sound as TrimEndBelowAction does (with
    // zeroCross, that length again stands as a location for the search), and
    // sets sourceStart to the file's length minus it, replacing any earlier
    // start, and the length to it.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    float m_level;
    double m_offset;
    bool m_zeroCross;
};

} // namespace ondrel
