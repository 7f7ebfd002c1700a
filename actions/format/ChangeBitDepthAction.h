#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Forces the output's depth, whatever the source's, and dithers to it when
// asked. The dither effect joins the end of the output's chain, so the order
// of actions is the order of the chain.
class ChangeBitDepthAction : public Action {
    ONDREL_OBJECT(ChangeBitDepthAction, Action)
public:
    // Starts at 16, false, true, "optimal", "optimal", true.
    ChangeBitDepthAction();

    // bitDepth, floatingPoint, applyDither, shape, amount, autoBlanking.
    QStringList parameterKeys() const override;

    // Bits per sample of the output, and the depth the dither aims at.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);
    // Floating point samples.
    bool isFloatingPoint() const { return m_floatingPoint; }
    void setFloatingPoint(bool floatingPoint);
    // Appends the dither effect.
    bool applyDither() const { return m_applyDither; }
    void setApplyDither(bool applyDither);
    // Noise shaping of the dither, as "optimal".
    QString shape() const { return m_shape; }
    void setShape(const QString& shape);
    // Amount of dither, as "optimal".
    QString amount() const { return m_amount; }
    void setAmount(const QString& amount);
    // Lets the dither fall silent while the signal is digital silence.
    bool isAutoBlanking() const { return m_autoBlanking; }
    void setAutoBlanking(bool autoBlanking);

    // Writes the depth and the floating point flag; with applyDither, appends
    // the dither effect.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitDepth;
    bool m_floatingPoint;
    bool m_applyDither;
    QString m_shape;
    QString m_amount;
    bool m_autoBlanking;
};

} // namespace ondrel
