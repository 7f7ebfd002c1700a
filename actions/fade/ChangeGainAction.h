#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Raises or lowers the level of the whole output by a number of decibels.
class ChangeGainAction : public Action {
    ONDREL_OBJECT(ChangeGainAction, Action)
public:
    // Starts at 0.0 dB.
    ChangeGainAction();

    // gain.
    QStringList parameterKeys() const override;

    // Decibels added to the output's gain.
    float gain() const { return m_gain; }
    void setGain(float gain);

    // Sets the output's gain to what it was (absent: 0) plus gain, in 32-bit
    // float: several gain actions add up, and a gain of 0 still writes one.
    // No file: nothing.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    float m_gain;
};

} // namespace ondrel
