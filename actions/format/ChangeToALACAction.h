#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output an Apple Lossless file in an M4A container. The depth
// applies only to a source without one of its own.
class ChangeToALACAction : public Action {
    ONDREL_OBJECT(ChangeToALACAction, Action)
public:
    // Starts at 16.
    ChangeToALACAction();

    // bitDepth.
    QStringList parameterKeys() const override;
    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Bits per sample, for a source without a depth of its own.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);

    // Writes the format "M4A Audio File", the encoding "ALAC", and the depth
    // when the source has none of its own (never a floating point flag).
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitDepth;
};

} // namespace ondrel
