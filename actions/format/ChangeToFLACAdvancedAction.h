#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output a FLAC file with the encoder's own settings. The depth
// applies only to a source without one of its own.
// Unlike ChangeToFLACAction, it leaves the compiler its channel extraction,
// so a split source comes out split again.
class ChangeToFLACAdvancedAction : public Action {
    ONDREL_OBJECT(ChangeToFLACAdvancedAction, Action)
public:
    // Starts at 16, "enabled", "default", "estimate", 5.
    ChangeToFLACAdvancedAction();

    // bitDepth, encoding, QLP, orderModels, maxOrder.
    QStringList parameterKeys() const override;

    // Bits per sample, for a source without a depth of its own.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);
    // Mid-side stereo coding: "enabled", or another choice of the popup.
    QString encoding() const { return m_encoding; }
    void setEncoding(const QString& encoding);
    // Precision of the quantized linear prediction coefficients; "default"
    // leaves it to the encoder.
    QString QLP() const { return m_QLP; }
    void setQLP(const QString& QLP);
    // How the prediction order is searched, as "estimate".
    QString orderModels() const { return m_orderModels; }
    void setOrderModels(const QString& orderModels);
    // Largest prediction order.
    quint64 maxOrder() const { return m_maxOrder; }
    void setMaxOrder(quint64 maxOrder);

    // Writes the format "FLAC Audio File", the depth when the source has none
    // of its own, and the arguments "mid side encoding", "QLP precision",
    // "order models" and "max order".
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitDepth;
    QString m_encoding;
    QString m_QLP;
    QString m_orderModels;
    quint64 m_maxOrder;
};

} // namespace ondrel
