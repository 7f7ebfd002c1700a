#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Dithers to a depth without setting the output's depth: that stays whatever
// the rest of the workflow says. The effect joins the end of the output's
// chain.
class GoodhertzDitherAction : public Action {
    ONDREL_OBJECT(GoodhertzDitherAction, Action)
public:
    // Starts at 16, "optimal", "optimal", true.
    GoodhertzDitherAction();

    // bitDepth, shape, amount, autoBlanking.
    QStringList parameterKeys() const override;

    // The depth the dither aims at.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);
    // Noise shaping of the dither, as "optimal".
    QString shape() const { return m_shape; }
    void setShape(const QString& shape);
    // Amount of dither, as "optimal".
    QString amount() const { return m_amount; }
    void setAmount(const QString& amount);
    // Lets the dither fall silent while the signal is digital silence.
    bool isAutoBlanking() const { return m_autoBlanking; }
    void setAutoBlanking(bool autoBlanking);

    // Appends the dither effect, and writes nothing else.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitDepth;
    QString m_shape;
    QString m_amount;
    bool m_autoBlanking;
};

} // namespace ondrel
