#pragma once

#include "render/engine/codecs/FFmpegHandles.h"
#include "render/engine/codecs/VMKAudioFileEncoder.h"

#include <QtCore/QFile>

struct AVStream;

namespace ondrel {

// MPEG-4 audio files (.m4a) with AAC or Apple Lossless, and Core Audio files
// with Apple Lossless or AAC, through FFmpeg. FFmpeg can't put AAC into Core
// Audio files: those are written here, with the packet table stating the
// encoder's priming and the frames written. The
// movie's time scale is the sample rate, so the edit list states the length
// to the frame and the encoder's priming is marked for removal. For AAC the
// bit rate comes from the settings (256 kbit/s when none); the file content
// property "useVariableBitrate" asks for a variable bit rate of about the same
// quality.
class VMKFFmpegEncoder : public VMKAudioFileEncoder {
public:
    ~VMKFFmpegEncoder() override;
    bool write(const float* const* channels, qint64 frames, VMKError* error) override;
    bool finish(VMKError* error) override;

protected:
    bool open(VMKError* error) override;

private:
    bool sendFrame(bool flush, VMKError* error);
    bool drainPackets(VMKError* error);
    bool fail(VMKError* error, int code, const QString& reason);
    bool openCAF(VMKError* error);
    bool writeCAFPacket(VMKError* error);
    bool finishCAF(VMKError* error);

    FFmpegOutput m_format;
    FFmpegCodec m_codec;
    AVStream* m_stream = nullptr;  // owned by m_format
    FFmpegFrame m_frame;
    FFmpegPacket m_packet;
    int m_frameSize = 0;
    int m_filled = 0;  // samples waiting in m_frame
    qint64 m_nextPTS = 0;
    bool m_headerWritten = false;
    bool m_finished = false;
    // Core Audio files with AAC are put together here.
    bool m_ownCAF = false;
    QFile m_file;
    qint64 m_dataSizeOffset = 0;
    qint64 m_dataBytes = 0;
    std::vector<quint32> m_packetSizes;
};

} // namespace ondrel
