#pragma once

#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/graph/CHandle.h"

struct sf_private_tag;

namespace ondrel {

// WAVE, AIFF, AU, Wave64, Core Audio and headerless VOX files through
// libsndfile. Integer samples are rounded here, so that what is written reads
// back as the same floats.
class VMKSndfileEncoder : public VMKAudioFileEncoder {
public:
    ~VMKSndfileEncoder() override;
    bool write(const float* const* channels, qint64 frames, VMKError* error) override;
    bool finish(VMKError* error) override;

protected:
    bool open(VMKError* error) override;

private:
    void correctLength() const;

    static void closeFile(sf_private_tag* file);

    CHandle<sf_private_tag, closeFile> m_file;
    bool m_writesIntegers = false;
    bool m_clipsFloats = false;
    qint64 m_frames = 0;
    std::vector<int32_t> m_integers;
    std::vector<float> m_floats;
};

} // namespace ondrel
