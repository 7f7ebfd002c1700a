#pragma once

#include "render/engine/codecs/VMKAudioFileDecoder.h"
#include "render/engine/graph/CHandle.h"

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
    // Clears an opened file and frees it.
    static void closeFile(OggVorbis_File* file);

    CHandle<OggVorbis_File, closeFile> m_file;
    URL m_url;
};

} // namespace ondrel
