#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// A fade at the tail of the output that begins where the audio last reaches
// a level.
class FadeOutBelowAction : public Action {
    ONDREL_OBJECT(FadeOutBelowAction, Action)
public:
    // Starts at -96.0 dB, 0.0 s, "linear".
    FadeOutBelowAction();

    // level, offset, curve.
    QStringList parameterKeys() const override;

    // The level that begins the fade, in dB relative to full scale.
    float level() const { return m_level; }
    void setLevel(float level);
    // Seconds added to the crossing found, positive towards the end.
    double offset() const { return m_offset; }
    void setOffset(double offset);
    // The fade's curve, copied into the instructions as it stands.
    QString curve() const { return m_curve; }
    void setCurve(const QString& curve);

    // With e the end of the sources on the output's timeline (the end of the
    // group's range), searches the main file backwards from e, a timeline
    // location used as a file location, for the last sample at the level; the
    // fade lasts from that crossing plus the offset (limited to 0 ... e) to e.
    // Sets fadeOutLength and fadeOutCurve, replacing an earlier fade-out. No
    // main source: nothing.
    void compileInstructions(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                             const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                             qsizetype process) override;

private:
    float m_level;
    double m_offset;
    QString m_curve;
};

} // namespace ondrel
