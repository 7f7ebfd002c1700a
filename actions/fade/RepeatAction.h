#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Plays the file several times in a row.
class RepeatAction : public Action {
    ONDREL_OBJECT(RepeatAction, Action)
public:
    // Starts at 2.
    RepeatAction();

    // count.
    QStringList parameterKeys() const override;

    // How often the file plays; below 2 it plays once.
    quint64 count() const { return m_count; }
    void setCount(quint64 count);

    // Appends count - 1 sources of the whole main file, at its length, twice
    // its length and so on, whatever earlier actions did to the main source:
    // a trim before leaves a gap after the first play, and actions after reach
    // only the main source. No main source: nothing.
    void compileSourceInstructions(
        const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
        qsizetype process) override;

private:
    quint64 m_count;
};

} // namespace ondrel
