#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// A fade at the head of the output that lasts until the kept audio first
// reaches a level.
class FadeInBelowAction : public Action {
    ONDREL_OBJECT(FadeInBelowAction, Action)
public:
    // Starts at -96.0 dB, 0.0 s, "linear".
    FadeInBelowAction();

    // level, offset, curve.
    QStringList parameterKeys() const override;

    // The level that ends the fade, in dB relative to full scale.
    float level() const { return m_level; }
    void setLevel(float level);
    // Seconds added to the crossing found, positive towards the end.
    double offset() const { return m_offset; }
    void setOffset(double offset);
    // The fade's curve, copied into the instructions as it stands.
    QString curve() const { return m_curve; }
    void setCurve(const QString& curve);

    // From the main source's start s (absent: 0), searches the file for the
    // first sample at the level; the fade lasts from s to that crossing plus
    // the offset, limited to 0 ... the file's length less s. Sets fadeInLength
    // and fadeInCurve, replacing an earlier fade-in. No main source: nothing.
    void compileInstructions(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                             const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                             qsizetype process) override;

private:
    float m_level;
    double m_offset;
    QString m_curve;
};

} // namespace ondrel
