#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output an Ogg Vorbis file with managed bit rates.
// Unlike ChangeToVorbisAction, it leaves the compiler its channel extraction,
// so a split source comes out split again.
class ChangeToVorbisAdvancedAction : public Action {
    ONDREL_OBJECT(ChangeToVorbisAdvancedAction, Action)
public:
    // Starts at "variable", 320, 192, 320, 2000.0, 0.0.
    ChangeToVorbisAdvancedAction();

    // bit, target, minimum, maximum, lowpassFrequency, impulseBias.
    QStringList parameterKeys() const override;

    // Bit rate method, as "variable".
    QString bit() const { return m_bit; }
    void setBit(const QString& bit);
    // Target bit rate, in kilobits per second as the popup lists it.
    quint64 target() const { return m_target; }
    void setTarget(quint64 target);
    // Lowest bit rate, in kilobits per second as the popup lists it.
    quint64 minimum() const { return m_minimum; }
    void setMinimum(quint64 minimum);
    // Highest bit rate, in kilobits per second as the popup lists it.
    quint64 maximum() const { return m_maximum; }
    void setMaximum(quint64 maximum);
    // Low-pass filter frequency, in hertz.
    double lowpassFrequency() const { return m_lowpassFrequency; }
    void setLowpassFrequency(double lowpassFrequency);
    // Impulse block bias, from -15 to 0.
    double impulseBias() const { return m_impulseBias; }
    void setImpulseBias(double impulseBias);

    // Writes the format "Ogg Vorbis Audio File" and the arguments "bit rate
    // method", "target bit rate", "minimum bit rate", "maximum bit rate",
    // "lowpass filter" and "impulse bias".
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    QString m_bit;
    quint64 m_target;
    quint64 m_minimum;
    quint64 m_maximum;
    double m_lowpassFrequency;
    double m_impulseBias;
};

} // namespace ondrel
