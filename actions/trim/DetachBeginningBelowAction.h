#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Keeps only the quiet beginning of a file: the source ends where the sound
// first reaches a level.
class DetachBeginningBelowAction : public Action {
    ONDREL_OBJECT(DetachBeginningBelowAction, Action)
public:
    // Starts at -96.0, 0.0, off.
    DetachBeginningBelowAction();

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

    // Finds the start of the sound as TrimBeginningBelowAction does and sets
    // the length to it (nearest zero crossing with zeroCross); sourceStart is
    // left alone.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    float m_level;
    double m_offset;
    bool m_zeroCross;
};

} // namespace ondrel
