#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// A fade at the tail of the output, of a set time.
class FadeOutForAction : public Action {
    ONDREL_OBJECT(FadeOutForAction, Action)
public:
    // Starts at 10.0 "milliseconds", "linear".
    FadeOutForAction();

    // value, units, curve.
    QStringList parameterKeys() const override;

    // The fade's length, in `units`.
    double value() const { return m_value; }
    void setValue(double value);
    // "milliseconds", "seconds", "frames" or "percent" (of the file's length).
    QString units() const { return m_units; }
    void setUnits(const QString& units);
    // "linear", "power", "ease in", "ease out" or "ease in and out"; copied
    // into the instructions as it stands.
    QString curve() const { return m_curve; }
    void setCurve(const QString& curve);

    // Sets fadeOutLength to the value in seconds (0 for an unknown unit) and
    // fadeOutCurve to the curve, replacing an earlier fade-out. No file: nothing.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_value;
    QString m_units;
    QString m_curve;
};

} // namespace ondrel
