#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Removes a set amount from the end of a file.
class TrimEndForAction : public Action {
    ONDREL_OBJECT(TrimEndForAction, Action)
public:
    // Starts at 10.0, "milliseconds", off.
    TrimEndForAction();

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

    // Takes value in seconds for the file and reduces the length by it. With
    // zeroCross the amount is given to the zero-crossing search as though it
    // were a location, as TrimEndBelowAction does.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

private:
    double m_value;
    QString m_units;
    bool m_zeroCross;
};

} // namespace ondrel
