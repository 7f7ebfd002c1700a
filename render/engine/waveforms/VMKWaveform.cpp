#include "render/engine/waveforms/VMKWaveform.h"

#include "render/engine/dsp/VectorOps.h"

namespace ondrel {

const ClassInfo& VMKWaveform::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<VMKWaveform, Object>(QStringLiteral("VMKWaveform"));
    return info;
}

void VMKWaveform::getPositiveValues(float* values, int64_t, int64_t length) const { dsp::clear(values, length); }

void VMKWaveform::getNegativeValues(float* values, int64_t, int64_t length) const { dsp::clear(values, length); }

float VMKWaveform::positiveValueForBuffer(const float* values, int64_t count) const {
    return dsp::maximum(values, count);
}

float VMKWaveform::negativeValueForBuffer(const float* values, int64_t count) const {
    return dsp::minimum(values, count);
}

} // namespace ondrel
