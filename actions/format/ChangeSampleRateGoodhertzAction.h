#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Converts the output to a sample rate with one of the high quality
// converters.
class ChangeSampleRateGoodhertzAction : public Action {
    ONDREL_OBJECT(ChangeSampleRateGoodhertzAction, Action)
public:
    // Starts at 44100.0, "Goodhertz Linear Phase", "highest".
    ChangeSampleRateGoodhertzAction();

    // sampleRate, type, quality.
    QStringList parameterKeys() const override;

    // Output sample rate in hertz.
    double sampleRate() const { return m_sampleRate; }
    void setSampleRate(double sampleRate);
    // Converter name, as "Goodhertz Linear Phase".
    QString type() const { return m_type; }
    void setType(const QString& type);
    // "low", "medium", "high" or "highest"; any other text means "highest".
    QString quality() const { return m_quality; }
    void setQuality(const QString& quality);

    // Writes the sample rate, the converter name and the converter quality:
    // 0.25, 0.5, 0.75 or 1 for the four quality names.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_sampleRate;
    QString m_type;
    QString m_quality;
};

} // namespace ondrel
