#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Removes the quiet beginning of a file: the source starts where the sound
// first reaches a level.
class TrimBeginningBelowAction : public Action {
    ONDREL_OBJECT(TrimBeginningBelowAction, Action)
public:
    // Starts at -96.0, 0.0, off.
    TrimBeginningBelowAction();

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

    // Searches the whole file from 0 for the first sample at the amplitude of
    // level, adds offset and keeps the result s within the file (nearest zero
    // crossing with zeroCross). sourceStart becomes s, replacing any earlier
    // start, and the length is reduced by s.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    float m_level;
    double m_offset;
    bool m_zeroCross;
};

} // namespace ondrel
