#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Converts the output to a sample rate with one of the standard converters.
class ChangeSampleRateAppleAction : public Action {
    ONDREL_OBJECT(ChangeSampleRateAppleAction, Action)
public:
    // Starts at 44100.0, "Apple Standard", "maximum".
    ChangeSampleRateAppleAction();

    // sampleRate, type, quality.
    QStringList parameterKeys() const override;

    // Output sample rate in hertz.
    double sampleRate() const { return m_sampleRate; }
    void setSampleRate(double sampleRate);
    // Converter name, as "Apple Standard".
    QString type() const { return m_type; }
    void setType(const QString& type);
    // "minimum", "low", "medium", "high" or "maximum"; any other text
    // means "maximum".
    QString quality() const { return m_quality; }
    void setQuality(const QString& quality);

    // Writes the sample rate, the converter name and the converter quality:
    // 0, 32/127, 64/127, 96/127 or 1 for the five quality names.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_sampleRate;
    QString m_type;
    QString m_quality;
};

} // namespace ondrel
