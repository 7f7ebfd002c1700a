#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes a file no longer than a set length, taking the excess from its
// beginning, its end, or both; a shorter file is left alone.
class ShortenAction : public Action {
    ONDREL_OBJECT(ShortenAction, Action)
public:
    // Starts at 2.0, 0.5, off.
    ShortenAction();

    // resultLength, balance, zeroCross.
    QStringList parameterKeys() const override;

    // The longest result, in seconds.
    double resultLength() const { return m_resultLength; }
    void setResultLength(double resultLength);
    // Where the excess comes from: 0 all from the beginning, 1 all from the end.
    float balance() const { return m_balance; }
    void setBalance(float balance);
    // Moves the cut to the nearest zero crossing of the file.
    bool zeroCross() const { return m_zeroCross; }
    void setZeroCross(bool zeroCross);

    // For a file longer than resultLength: with n the length so far (the
    // file's when absent or 0), moves sourceStart on by (1 - balance) times
    // the excess n - resultLength (nearest zero crossing with zeroCross). The
    // source's length is not changed: the output's length ends the result.
    // Both hooks compare with the file's length, not with what earlier
    // actions left.
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>& sourceInstructions,
                                   qsizetype process) override;

    // Sets the output's length to resultLength when that is less than the
    // file's length.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_resultLength;
    float m_balance;
    bool m_zeroCross;
};

} // namespace ondrel
