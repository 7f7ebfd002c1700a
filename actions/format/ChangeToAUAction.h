#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output an AU file. A source with a depth of its own keeps it:
// the depth here applies only to a source without one, such as an MP3 file.
class ChangeToAUAction : public Action {
    ONDREL_OBJECT(ChangeToAUAction, Action)
public:
    // Starts at 16, false, "PCM".
    ChangeToAUAction();

    // bitDepth, floatingPoint, encoding.
    QStringList parameterKeys() const override;
    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Bits per sample, for a source without a depth of its own.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);
    // Floating point samples, written together with the depth.
    bool isFloatingPoint() const { return m_floatingPoint; }
    void setFloatingPoint(bool floatingPoint);
    // Encoding name, as "PCM", "µLaw" or "aLaw".
    QString encoding() const { return m_encoding; }
    void setEncoding(const QString& encoding);

    // Writes the format "AU File", the encoding,
    // and the depth when the source has none of its own.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitDepth;
    bool m_floatingPoint;
    QString m_encoding;
};

} // namespace ondrel
