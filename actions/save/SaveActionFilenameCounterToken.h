#pragma once

#include "actions/save/SaveActionFilenameToken.h"

namespace ondrel {

// "[C]start:step[:digits]": a number that runs on over the outputs of a run.
// The step is stored as a magnitude and a direction; the width is computed
// from the number of files unless digits are given.
class SaveActionFilenameCounterToken : public SaveActionFilenameToken {
    ONDREL_OBJECT(SaveActionFilenameCounterToken, SaveActionFilenameToken)
public:
    SaveActionFilenameCounterToken() = default;

    // Splits what follows the tag at ":": the first field sets start, the
    // second the step's magnitude and whether it ascends (a value of at least
    // 1; so 0 is descending with magnitude 0), a third turns the implicit
    // width off and sets digits. Fields read as integers (junk reads 0).
    void initWithComponent(const QString& component) override;

    quint64 start() const { return m_start; }
    void setStart(quint64 start);
    quint64 step() const { return m_step; }
    void setStep(quint64 step);
    bool isAscending() const { return m_ascending; }
    void setAscending(bool ascending);
    bool useImplicitDigits() const { return m_useImplicitDigits; }
    void setUseImplicitDigits(bool useImplicitDigits);
    quint64 digits() const { return m_digits; }
    void setDigits(quint64 digits);

    // "[C]start:signedStep", plus ":digits" when the width is explicit.
    QString component() const override;
    // "1", or 1 padded to digits.
    QString displayString() const override;
    bool hasPopover() const override { return true; }

private:
    quint64 m_start = 1;
    quint64 m_step = 1;
    bool m_ascending = true;
    bool m_useImplicitDigits = true;
    quint64 m_digits = 3;
};

} // namespace ondrel
