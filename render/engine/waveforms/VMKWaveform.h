#pragma once

#include "core/objects/Object.h"

#include <cstdint>

namespace ondrel {

// An overview of a channel's audio: a run of values, each standing for 256
// frames, with an upper (positive) and a lower (negative) value per entry.
// The class decides how a run of samples or of overview values is reduced to
// one value.
class VMKWaveform : public Object {
    ONDREL_OBJECT(VMKWaveform, Object)

public:
    static constexpr int64_t kFramesPerValue = 256;

    // Entries in the overview.
    virtual int64_t count() const { return 0; }
    // Copy `length` values from entry `index` on; entries outside the overview read as 0.0.
    virtual void getPositiveValues(float* values, int64_t index, int64_t length) const;
    virtual void getNegativeValues(float* values, int64_t index, int64_t length) const;
    // Reduce a run of values to one (0.0 for an empty run).
    virtual float positiveValueForBuffer(const float* values, int64_t count) const;
    virtual float negativeValueForBuffer(const float* values, int64_t count) const;
};

} // namespace ondrel
