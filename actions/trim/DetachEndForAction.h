#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Keeps only a set amount from the end of a file.
class DetachEndForAction : public Action {
    ONDREL_OBJECT(DetachEndForAction, Action)
public:
    // Starts at 10.0, "milliseconds", off.
    DetachEndForAction();

    // value, units, zeroCross.
    QStringList parameterKeys() const override;

    // The amount, in the unit named by units; it stays in that unit when stored.
    double value() const { return m_value; }
    void setValue(double value);
    // "milliseconds", "seconds", "frames" or "percent"; any other text makes
    // the amount 0.
    QString units() const { return m_units; }
    void setUnits(const QString& units);
    // Moves the cut to the nearest zero crossing of the file.
    bool zeroCross() const { return m_zeroCross; }
    void setZeroCross(bool zeroCross);

    // With k value in seconds for the file (nearest zero crossing with
    // zeroCross): sourceStart becomes the file's length minus k, replacing any
    // earlier start, and the length k. Nothing clamps: k beyond the file gives
    // a negative sourceStart.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    double m_value;
    QString m_units;
    bool m_zeroCross;
};

} // namespace ondrel
