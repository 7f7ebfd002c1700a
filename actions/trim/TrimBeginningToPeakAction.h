#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Removes everything before the loudest sample of a file, as its analysis
// measured it.
class TrimBeginningToPeakAction : public Action {
    ONDREL_OBJECT(TrimBeginningToPeakAction, Action)
public:
    // Starts at 0.0, off.
    TrimBeginningToPeakAction();

    // offset, zeroCross.
    QStringList parameterKeys() const override;

    // Moves the found location, in seconds; positive towards the end of the file.
    double offset() const { return m_offset; }
    void setOffset(double offset);
    // Moves the cut to the nearest zero crossing of the file.
    bool zeroCross() const { return m_zeroCross; }
    void setZeroCross(bool zeroCross);

    // As TrimBeginningBelowAction, with the file's analysed peak as the level:
    // widened to 64 bits and lowered by 0.00001 dB, so that the peak itself
    // reaches it, then narrowed back to 32 bits. An unanalysed file has a peak
    // of 0 dB.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    double m_offset;
    bool m_zeroCross;
};

} // namespace ondrel
