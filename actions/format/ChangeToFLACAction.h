#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output a FLAC file. The depth applies only to a source without
// one of its own.
class ChangeToFLACAction : public Action {
    ONDREL_OBJECT(ChangeToFLACAction, Action)
public:
    // Starts at 1.0, 16.
    ChangeToFLACAction();

    // compression, bitDepth.
    QStringList parameterKeys() const override;
    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Compression effort, from 0 (fastest) to 1 (smallest).
    double compression() const { return m_compression; }
    void setCompression(double compression);
    // Bits per sample, for a source without a depth of its own.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);

    // Writes the format "FLAC Audio File", the depth when the source has none
    // of its own, and the argument "compression".
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_compression;
    quint64 m_bitDepth;
};

} // namespace ondrel
