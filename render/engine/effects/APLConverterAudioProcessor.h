#pragma once

#include "render/engine/effects/VMKConverterAudioProcessor.h"

#include <QtCore/QString>

#include <cstdint>

namespace ondrel {

// The standard family of sample-rate converters. Its complexity picks the
// filter family, its quality (0 ... 1, by default 96/127) places the filter
// within it, trading the width of the passband and the precision for speed:
//   'line'  low quality: short filters with a gentle roll-off, 12 to 16 bits
//   'norm'  standard (the default): 16 to 22 bits
//   'bats'  high quality: 24 to 30 bits, a passband up to 96% of Nyquist
// Its output is aligned with its input (latency compensation on).
class APLConverterAudioProcessor : public VMKConverterAudioProcessor {
    ONDREL_OBJECT(APLConverterAudioProcessor, VMKConverterAudioProcessor)

public:
    static constexpr uint32_t fourCharCode(const char (&code)[5]) {
        return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 |
               uint32_t(uint8_t(code[2])) << 8 | uint32_t(uint8_t(code[3]));
    }
    static constexpr uint32_t kComplexityLinear = 0x6C696E65;     // 'line'
    static constexpr uint32_t kComplexityNormal = 0x6E6F726D;     // 'norm'
    static constexpr uint32_t kComplexityMastering = 0x62617473;  // 'bats'
    static constexpr float kDefaultQuality = 96.0f / 127.0f;

    APLConverterAudioProcessor();
    ~APLConverterAudioProcessor() override;

    uint32_t complexity() const { return m_complexity; }
    // One of the three codes above; any other code leaves the complexity as it is.
    void setComplexity(uint32_t complexity);

    // Also takes "complexity" as its four characters ("bats").
    void setValueForParameterKey(const QVariant& value, const QString& key) override;

protected:
    FilterSettings filterSettings() const override;

private:
    uint32_t m_complexity = kComplexityNormal;
};

static_assert(APLConverterAudioProcessor::kComplexityLinear == APLConverterAudioProcessor::fourCharCode("line"));
static_assert(APLConverterAudioProcessor::kComplexityNormal == APLConverterAudioProcessor::fourCharCode("norm"));
static_assert(APLConverterAudioProcessor::kComplexityMastering == APLConverterAudioProcessor::fourCharCode("bats"));

} // namespace ondrel
