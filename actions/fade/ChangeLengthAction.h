#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Stretches or squeezes the audio in time with the time and pitch effect,
// keeping the pitch or letting it follow the speed.
class ChangeLengthAction : public Action {
    ONDREL_OBJECT(ChangeLengthAction, Action)
public:
    // Starts at 0.0 s, on.
    ChangeLengthAction();

    // length, retainPitch.
    QStringList parameterKeys() const override;

    // Seconds; see compileInstructionsForFileEntity for how it is used.
    double length() const { return m_length; }
    void setLength(double length);
    // Keeps the pitch; off, the pitch follows the change of speed.
    bool retainPitch() const { return m_retainPitch; }
    void setRetainPitch(bool retainPitch);

    // r = length / the file's length, in 32-bit float; the pitch p = 0 with
    // retainPitch, else the cents of r, in 32-bit float. Sets the output
    // length to the file's length / r and appends the effect
    // "APLTimePitchAudioProcessor" with "Rate" r and "Pitch" p, also at a rate
    // of 1. The ratio runs this way round on purpose: 5 s on a 10 s file is a
    // rate of 0.5 and an output of 20 s. A length of 0 gives a rate of 0 and an
    // infinite output length, which the render refuses. No file: nothing.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_length;
    bool m_retainPitch;
};

} // namespace ondrel
