#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output an AAC file in an M4A container.
class ChangeToAACAction : public Action {
    ONDREL_OBJECT(ChangeToAACAction, Action)
public:
    // Starts at 320000, false.
    ChangeToAACAction();

    // bitrate, useVariableBitrate.
    QStringList parameterKeys() const override;
    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Bits per second.
    quint64 bitrate() const { return m_bitrate; }
    void setBitrate(quint64 bitrate);
    // Lets the encoder vary the bit rate around the target.
    bool useVariableBitrate() const { return m_useVariableBitrate; }
    void setUseVariableBitrate(bool useVariableBitrate);

    // Writes the format "M4A Audio File", the encoding "AAC", the bit rate,
    // and the argument "use vbr".
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitrate;
    bool m_useVariableBitrate;
};

} // namespace ondrel
