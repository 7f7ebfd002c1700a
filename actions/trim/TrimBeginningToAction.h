#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Removes a set amount from the beginning of a file.
class TrimBeginningToAction : public Action {
    ONDREL_OBJECT(TrimBeginningToAction, Action)
public:
    // Starts at 10.0, "milliseconds", off.
    TrimBeginningToAction();

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

    // Takes value in seconds for the file (nearest zero crossing with
    // zeroCross), adds it to sourceStart (absent reads 0), so that repeated
    // trims accumulate, and reduces the length by it. Nothing clamps: an
    // amount beyond the file leaves a negative length.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    double m_value;
    QString m_units;
    bool m_zeroCross;
};

} // namespace ondrel
