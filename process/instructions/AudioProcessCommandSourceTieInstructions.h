#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"

namespace ondrel {

// One route of a source channel to an output channel. Every field starts at zero.
class AudioProcessCommandSourceTieInstructions : public Object {
    ONDREL_OBJECT(AudioProcessCommandSourceTieInstructions, Object)
public:
    bool invert() const { return m_invert; }  // invert polarity on this route
    void setInvert(bool invert);
    float gain() const { return m_gain; }  // decibels, 0 being unity
    void setGain(float gain);
    quint64 inputChannelIndex() const { return m_inputChannelIndex; }  // from 0
    void setInputChannelIndex(quint64 index);
    quint64 outputChannelIndex() const { return m_outputChannelIndex; }  // from 0
    void setOutputChannelIndex(quint64 index);

    // "{|input channel|:0,|output channel|:1}", with ",|gain|:…" before the
    // brace when the gain isn't 0 and ",|invert|:true" when invert is set.
    QString scriptDescription() const override;
    // Reads a tie record: "input channel" and "output channel" as whole
    // numbers, "gain" as a float, "invert" as a boolean; other keys are
    // ignored. Null, with the error, for a value that isn't such a record.
    static std::shared_ptr<AudioProcessCommandSourceTieInstructions> initWithScriptArguments(
        const QVariant& arguments, VMKError* error = nullptr);

private:
    bool m_invert = false;
    float m_gain = 0.0f;
    quint64 m_inputChannelIndex = 0;
    quint64 m_outputChannelIndex = 0;
};

} // namespace ondrel
