#pragma once

#include "core/files/URL.h"
#include "core/text/VMKError.h"
#include "render/engine/files/VMKAudioFileFormat.h"

#include <QtCore/QByteArray>

#include <memory>
#include <vector>

namespace ondrel {

// The facts of an audio file as its decoder finds them.
struct VMKAudioFileFacts {
    const VMKAudioFileFormat* format = nullptr;
    qint64 frames = 0;
    int numberOfChannels = 0;
    double sampleRate = 0.0;
    int bitDepth = 0;  // 0 for lossy encodings
    bool isFloatingPoint = false;
    quint32 bitrate = 0;   // bits per second of the encoded stream; 0 for plain PCM
    quint32 encoding = 0;  // four-character code, 0 when unknown
    quint64 fileSize = 0;
};

// Sequential decoding of one file into float channels, with seeking to the
// exact frame (see seeksToTheSameSamples for what follows a seek). The library behind it is chosen by the file's content, never by its
// extension alone (only headerless VOX is known by its extension). Not thread
// safe.
class VMKAudioFileDecoder {
public:
    virtual ~VMKAudioFileDecoder() = default;

    // Opens the file at `url` with the decoder its content asks for; empty on
    // failure with the reason in `error`.
    static std::unique_ptr<VMKAudioFileDecoder> decoderWithURL(const URL& url, VMKError* error = nullptr);

    // The format a file's first bytes announce; nullptr when they announce
    // none of ours. `extension` only decides for headerless VOX.
    static const VMKAudioFileFormat* formatOfContent(const QByteArray& head, const QString& extension);

    const VMKAudioFileFacts& facts() const { return m_facts; }
    qint64 position() const { return m_position; }

    // Moves to `frame` (0 ... frames).
    virtual bool seek(qint64 frame, VMKError* error) = 0;
    // Whether the frames read after a seek are those a read from the start
    // gives there. False where decoder state carries across a seek: then one
    // decoder mustn't serve readers that jump back and forth in the file.
    virtual bool seeksToTheSameSamples() const { return true; }
    // Decodes up to `frames` frames from the position into `channels`
    // (facts().numberOfChannels pointers); answers the frames decoded, fewer
    // only at the end of the file, or -1 with `error` set.
    virtual qint64 read(float* const* channels, qint64 frames, VMKError* error) = 0;

    // The action text of errors about the file at `url`.
    static QString readingAction(const URL& url);

    // An MPEG audio layer III frame header.
    struct MPEGFrameHeader {
        int version = 0;  // 3: MPEG 1, 2: MPEG 2, 0: MPEG 2.5
        int bitrate = 0;
        int sampleRate = 0;
        int samplesPerFrame = 0;
        int length = 0;  // bytes
        bool isMono = false;
        static bool parse(const QByteArray& data, qsizetype offset, MPEGFrameHeader* header);
    };
    static bool isMPEGAudioStart(const QByteArray& head);
    // The average bit rate of MPEG audio from its first frame (Xing header or frame bit rate).
    static quint32 mpegAverageBitrate(const QByteArray& head);
    // The nominal bit rate of an Ogg Vorbis stream from its identification header.
    static quint32 vorbisNominalBitrate(const QByteArray& head);

protected:
    VMKAudioFileFacts m_facts;
    // -1 after a failed seek or read: the library's position is unknown
    // then, and the next seek must really move.
    qint64 m_position = 0;
    // Interleaved scratch space, grown once to the largest block asked for.
    std::vector<float> m_interleaved;

    void deinterleave(const float* source, float* const* channels, qint64 frames, qint64 offset) const;
};

} // namespace ondrel
