#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output an AIFF file. A source with a depth of its own keeps it:
// the depth here applies only to a source without one, such as an MP3 file.
class ChangeToAIFFAction : public Action {
    ONDREL_OBJECT(ChangeToAIFFAction, Action)
public:
    // Starts at 16, false.
    ChangeToAIFFAction();

    // bitDepth, floatingPoint.
    QStringList parameterKeys() const override;

    // Bits per sample, for a source without a depth of its own.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);
    // Floating point samples, written together with the depth.
    bool isFloatingPoint() const { return m_floatingPoint; }
    void setFloatingPoint(bool floatingPoint);

    // Writes the format "AIFF File",
    // and the depth when the source has none of its own.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitDepth;
    bool m_floatingPoint;
};

} // namespace ondrel
