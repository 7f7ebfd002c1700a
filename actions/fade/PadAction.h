#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Adds silence before and after the audio.
class PadAction : public Action {
    ONDREL_OBJECT(PadAction, Action)
public:
    // Starts at "milliseconds", 10.0, 10.0.
    PadAction();

    // units, startValue, endValue.
    QStringList parameterKeys() const override;

    // "milliseconds", "seconds" or "frames"; any other text pads nothing.
    QString units() const { return m_units; }
    void setUnits(const QString& units);
    // Silence before the audio, in `units`.
    double startValue() const { return m_startValue; }
    void setStartValue(double startValue);
    // Silence after the audio, in `units`.
    double endValue() const { return m_endValue; }
    void setEndValue(double endValue);

    // `value` in seconds by the three units of padding: "milliseconds" / 1000,
    // "seconds", "frames" / the file's sample rate; any other text (percent
    // too) gives 0.
    static double lengthForValue(double value, const QString& units, const FileEntity& fileEntity);

    // Moves the main source later by the start padding (adding to its
    // location, absent: 0). No main source: nothing.
    void compileSourceInstructions(
        const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
        qsizetype process) override;
    // An absent output length becomes the end of the sources (their range,
    // which holds the start padding by now); then the end padding is added.
    // No main source: nothing.
    void compileInstructions(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                             const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                             qsizetype process) override;

private:
    QString m_units;
    double m_startValue;
    double m_endValue;
};

} // namespace ondrel
