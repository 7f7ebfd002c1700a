#pragma once

#include "render/engine/codecs/VMKAudioFileDecoder.h"

#include <memory>

struct OggVorbis_File;

namespace ondrel {

// Decoding of Ogg Vorbis through libvorbisfile, whose seeking is exact to the
// sample.
class VMKVorbisDecoder : public VMKAudioFileDecoder {
public:
    ~VMKVorbisDecoder() override;

    static std::unique_ptr<VMKAudioFileDecoder> decoderWithURL(const URL& url, const VMKAudioFileFormat& format,
                                                               const QByteArray& head, VMKError* error);

    bool seek(qint64 frame, VMKError* error) override;
    qint64 read(float* const* channels, qint64 frames, VMKError* error) override;

private:
    VMKVorbisDecoder() = default;
    std::unique_ptr<OggVorbis_File> m_file;
    bool m_isOpen = false;
    URL m_url;
};

} // namespace ondrel
