#pragma once

#include "render/engine/codecs/VMKAudioFileEncoder.h"

#include <memory>

namespace ondrel {

// FLAC files through libFLAC. File content properties:
//   "compression"      0.0 ... 1.0 (or a level 0 ... 8); default level 5
//   "midSideEncoding"  "enabled" (default), "adaptive" or "disabled", or a boolean
//   "qlpPrecision"     "default" or 5 ... 15 bits of the predictor coefficients
//   "orderModels"      "estimate" (default) or "exhaustive"
//   "maxOrder"         0 ... 32, the highest order of the linear predictor
// A seek table is written when the expected length is known.
class VMKFLACEncoder : public VMKAudioFileEncoder {
public:
    VMKFLACEncoder();
    ~VMKFLACEncoder() override;
    bool write(const float* const* channels, qint64 frames, VMKError* error) override;
    bool finish(VMKError* error) override;

protected:
    bool open(VMKError* error) override;

private:
    struct State;
    std::unique_ptr<State> m_state;
    std::vector<int32_t> m_samples;
};

} // namespace ondrel
