#pragma once

#include "render/engine/codecs/VMKAudioFileDecoder.h"
#include "render/engine/graph/CHandle.h"

struct sf_private_tag;

namespace ondrel {

// Decoding through libsndfile: WAVE, AIFF, AU, Wave64, CAF, FLAC, Ogg Vorbis,
// MPEG audio (with mpg123, encoder delay and padding removed) and headerless
// VOX (8 kHz mono µLaw).
class VMKSndfileDecoder : public VMKAudioFileDecoder {
public:
    ~VMKSndfileDecoder() override;

    // `head` is the first bytes of the file's audio (behind any ID3 tag).
    static std::unique_ptr<VMKAudioFileDecoder> decoderWithURL(const URL& url, const VMKAudioFileFormat& format,
                                                               const QByteArray& head, VMKError* error);

    bool seek(qint64 frame, VMKError* error) override;
    qint64 read(float* const* channels, qint64 frames, VMKError* error) override;

private:
    VMKSndfileDecoder() = default;
    // Opens the file afresh after a failure: libsndfile's FLAC reader, once
    // a seek has failed, fails every later one.
    void reopen();

    static void closeFile(sf_private_tag* file);

    CHandle<sf_private_tag, closeFile> m_file;
    URL m_url;
    bool m_isHeaderless = false;
};

} // namespace ondrel
