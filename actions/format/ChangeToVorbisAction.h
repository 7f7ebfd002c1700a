#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output an Ogg Vorbis file of a set quality.
class ChangeToVorbisAction : public Action {
    ONDREL_OBJECT(ChangeToVorbisAction, Action)
public:
    // Starts at 0.4.
    ChangeToVorbisAction();

    // quality.
    QStringList parameterKeys() const override;
    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Encoder quality, from -0.1 to 1.
    double quality() const { return m_quality; }
    void setQuality(double quality);

    // Writes the format "Ogg Vorbis Audio File" and the argument "quality".
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_quality;
};

} // namespace ondrel
