#pragma once

#include "render/engine/codecs/FFmpegHandles.h"
#include "render/engine/codecs/VMKAudioFileDecoder.h"

namespace ondrel {

// Decoding through FFmpeg: MPEG-4 audio files (AAC, ALAC) and the Core Audio
// files libsndfile doesn't read. The encoder's priming is removed and the
// frame count comes from the file's edit list, so the samples are those that
// were encoded. Seeks decode from a little before the target so that the
// first delivered sample is exact.
class VMKFFmpegDecoder : public VMKAudioFileDecoder {
public:
    ~VMKFFmpegDecoder() override;

    static std::unique_ptr<VMKAudioFileDecoder> decoderWithURL(const URL& url, const VMKAudioFileFormat& format,
                                                               VMKError* error);

    bool seek(qint64 frame, VMKError* error) override;
    // Not for AAC: its decoder fills noisy bands from a generator that a
    // seek doesn't rewind, so the samples after a seek depend on what was
    // decoded before.
    bool seeksToTheSameSamples() const override { return facts().encoding != VMKAudioEncoding::AAC; }
    qint64 read(float* const* channels, qint64 frames, VMKError* error) override;

private:
    VMKFFmpegDecoder() = default;
    // Decodes the next frame into m_frame; false at the end or on error.
    bool decodeNext(VMKError* error);
    bool restartAt(qint64 frame, qint64 preroll, VMKError* error);
    VMKError error(const QString& reason) const;

    URL m_url;
    FFmpegInput m_format;
    FFmpegCodec m_codec;
    FFmpegPacket m_packet;
    FFmpegFrame m_frame;
    int m_stream = -1;
    qint64 m_framePosition = 0;  // file frame of the first sample of m_frame
    qint64 m_frameOffset = 0;    // samples of m_frame already delivered
    qint64 m_frameSamples = 0;   // samples in m_frame (0: none)
    qint64 m_nextPosition = 0;   // where the next decoded frame starts when it has no time stamp
    bool m_endOfFile = false;
    qint64 m_skip = 0;  // priming frames the container states and FFmpeg delivers
};

} // namespace ondrel
