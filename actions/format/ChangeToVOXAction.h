#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output a VOX file: 8-bit µ-law, one channel, 8000 Hz. The only
// format action that sets a channel count or a sample rate; how channels are
// folded into one is the render's concern.
class ChangeToVOXAction : public Action {
    ONDREL_OBJECT(ChangeToVOXAction, Action)
public:
    ChangeToVOXAction() = default;

    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Writes the format "VOX Audio File", the encoding "µLaw", 8 bits, one
    // channel and 8000 Hz.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;
};

} // namespace ondrel
