#pragma once

#include "render/engine/effects/VMKConverterAudioProcessor.h"

#include <QtCore/QString>

namespace ondrel {

// The mastering sample-rate converter: very long, very precise filters, with
// a linear phase (a symmetric response: pre- and post-ringing alike) or a
// minimum phase (no pre-ringing, all the ringing after the transient). Quality
// (0 ... 1, by default 1) sets precision from 20 to 30 bits and the passband
// from 88% to 96% of Nyquist. Latency compensation is off until switched on:
// then the output lines up with the input.
class GHZConverterAudioProcessor : public VMKConverterAudioProcessor {
    ONDREL_OBJECT(GHZConverterAudioProcessor, VMKConverterAudioProcessor)

public:
    GHZConverterAudioProcessor();
    ~GHZConverterAudioProcessor() override;

    const QString& filterType() const { return m_filterType; }
    // "linearPhase" or "minimumPhase"; anything else leaves the type as it is.
    void setFilterType(const QString& filterType);

protected:
    FilterSettings filterSettings() const override;

private:
    QString m_filterType = QStringLiteral("linearPhase");
};

} // namespace ondrel
