#pragma once

#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/graph/CHandle.h"

#include <cstdio>

struct lame_global_struct;

namespace ondrel {

// MP3 files through LAME, with a LAME tag so that readers can remove the
// encoder's delay and padding. The bit rate comes from the settings (160
// kbit/s when none); file content properties:
//   "method"          "cbr" (default), "abr" or "vbr"
//   "quality"         0.0 ... 1.0, default 0.8: the algorithm's effort for
//                     "cbr", the quality of a variable bit rate for "vbr"
//   "useJointStereo"  true for joint stereo, else plain stereo
class VMKLAMEEncoder : public VMKAudioFileEncoder {
public:
    ~VMKLAMEEncoder() override;
    bool write(const float* const* channels, qint64 frames, VMKError* error) override;
    bool finish(VMKError* error) override;

protected:
    bool open(VMKError* error) override;

private:
    bool put(const unsigned char* bytes, int count, VMKError* error);

    static void closeEncoder(lame_global_struct* lame);

    CHandle<lame_global_struct, closeEncoder> m_lame;
    CHandle<FILE, std::fclose> m_file;
    std::vector<unsigned char> m_buffer;
    std::vector<float> m_finite;  // the samples of a block, left then right
};

} // namespace ondrel
