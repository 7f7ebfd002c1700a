#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Relabels the output with a sample rate without converting the samples, so
// that its playing time and pitch change.
class FixSampleRateAction : public Action {
    ONDREL_OBJECT(FixSampleRateAction, Action)
public:
    // Starts at 48000.0.
    FixSampleRateAction();

    // sampleRate.
    QStringList parameterKeys() const override;

    // The rate written into the output's header, in hertz.
    double sampleRate() const { return m_sampleRate; }
    void setSampleRate(double sampleRate);

    // Writes the sample rate, and resample false.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_sampleRate;
};

} // namespace ondrel
