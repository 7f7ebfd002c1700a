#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes a file at least a given length, with silence before, after or both.
class ExtendAction : public Action {
    ONDREL_OBJECT(ExtendAction, Action)
public:
    // Starts at 2.0 s, 0.5.
    ExtendAction();

    // resultLength, balance.
    QStringList parameterKeys() const override;

    // The shortest output, in seconds.
    double resultLength() const { return m_resultLength; }
    void setResultLength(double resultLength);
    // Where the added silence goes: 0 all before the audio, 1 all after.
    float balance() const { return m_balance; }
    void setBalance(float balance);

    // With n the main source's length (absent: the file's): when n is below
    // resultLength, places the main source at (resultLength - n) x (1 -
    // balance), replacing its location. No main source: nothing.
    void compileSourceInstructions(
        const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
        qsizetype process) override;
    // When n is below resultLength, sets the output length to resultLength.
    // No main source: nothing.
    void compileInstructions(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                             const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                             qsizetype process) override;

private:
    double m_resultLength;
    float m_balance;
};

} // namespace ondrel
