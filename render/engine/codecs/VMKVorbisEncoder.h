#pragma once

#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/graph/CHandle.h"

#include <cstdio>
#include <memory>

namespace ondrel {

// Ogg Vorbis files through libvorbisenc. File content properties:
//   "method"          "variable" (quality, the default), "average" (target
//                     bit rate), "constrained" (target within minimum and
//                     maximum) or "constant" (the target only)
//   "quality"         -0.1 ... 1.0, default 0.4, for "variable"
//   "targetBitRate", "minimumBitRate", "maximumBitRate"
//                     in kbit/s (values above 1000 count as bit/s)
//   "lowpassFilter"   the low-pass corner, in Hz (2000 ... 99000) or kHz (2 ... 99)
//   "impulseBias"     -15.0 ... 0.0
class VMKVorbisEncoder : public VMKAudioFileEncoder {
public:
    VMKVorbisEncoder();
    ~VMKVorbisEncoder() override;
    bool write(const float* const* channels, qint64 frames, VMKError* error) override;
    bool finish(VMKError* error) override;

    // Vorbis orders 3 to 8 channels otherwise than WAVE files do (front
    // centre second, LFE last): Vorbis channel i is our channel order[i].
    // nullptr where both orders agree.
    static const int* vorbisChannelOrder(int channels);

protected:
    bool open(VMKError* error) override;

private:
    struct State;
    bool flushPages(bool force, VMKError* error);
    bool drain(VMKError* error);

    std::unique_ptr<State> m_state;
    CHandle<FILE, std::fclose> m_file;
};

} // namespace ondrel
