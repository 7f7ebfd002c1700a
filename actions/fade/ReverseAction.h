#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Plays the main source backwards.
class ReverseAction : public Action {
    ONDREL_OBJECT(ReverseAction, Action)
public:
    ReverseAction() = default;

    // Sets the main source's reverse. No main source: nothing.
    void compileSourceInstructions(
        const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
        qsizetype process) override;
};

} // namespace ondrel
