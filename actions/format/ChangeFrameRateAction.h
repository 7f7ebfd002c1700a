#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Retimes film audio from one frame rate to another with the time and pitch
// effect, keeping the pitch or letting it follow the speed.
class ChangeFrameRateAction : public Action {
    ONDREL_OBJECT(ChangeFrameRateAction, Action)
public:
    // Starts at 24.0, 30.0, true.
    ChangeFrameRateAction();

    // sourceFrameRate, resultFrameRate, retainPitch.
    QStringList parameterKeys() const override;

    // Frames per second of the picture the audio was made for.
    float sourceFrameRate() const { return m_sourceFrameRate; }
    void setSourceFrameRate(float sourceFrameRate);
    // Frames per second of the picture the audio is made for.
    float resultFrameRate() const { return m_resultFrameRate; }
    void setResultFrameRate(float resultFrameRate);
    // Keeps the pitch; off, the pitch follows the change of speed.
    bool retainPitch() const { return m_retainPitch; }
    void setRetainPitch(bool retainPitch);

    // With r = sourceFrameRate / resultFrameRate and p the pitch in cents (0
    // with retainPitch, else the cents of r), both in 32-bit float: writes the
    // length r / the file's length, in that order (a file of no length gets
    // none), and appends the effect "APLTimePitchAudioProcessor" with "Rate" r
    // and "Pitch" p. Frame rates that make no positive, finite r write nothing.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    float m_sourceFrameRate;
    float m_resultFrameRate;
    bool m_retainPitch;
};

} // namespace ondrel
