#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Removes the quiet end of a file: the source ends where the sound last
// reaches a level.
class TrimEndBelowAction : public Action {
    ONDREL_OBJECT(TrimEndBelowAction, Action)
public:
    // Starts at -96.0, 0.0, off.
    TrimEndBelowAction();

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

    // Searches the whole file back from its end for the last sample at the
    // amplitude of level, adds offset and keeps the end within the file; the
    // length is reduced by the part after it. With zeroCross that amount is
    // itself given to the zero-crossing search as a location, so the search
    // runs near the start of the file rather than near the cut.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    float m_level;
    double m_offset;
    bool m_zeroCross;
};

} // namespace ondrel
