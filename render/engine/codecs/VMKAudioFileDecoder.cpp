#include "render/engine/codecs/VMKAudioFileDecoder.h"

#include "render/engine/codecs/VMKFFmpegDecoder.h"
#include "render/engine/codecs/VMKSndfileDecoder.h"
#include "render/engine/codecs/VMKVorbisDecoder.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cstring>

namespace ondrel {

namespace {

bool startsWith(const QByteArray& data, qsizetype offset, const char* text) {
    const qsizetype n = qsizetype(qstrlen(text));
    return data.size() >= offset + n && std::memcmp(data.constData() + offset, text, size_t(n)) == 0;
}

// The size of an ID3v2 tag at the start of `head` (header and footer
// included), or 0 when there is none.
qint64 id3v2Size(const QByteArray& head) {
    if (!startsWith(head, 0, "ID3") || head.size() < 10)
        return 0;
    const auto* p = reinterpret_cast<const uchar*>(head.constData());
    if ((p[6] | p[7] | p[8] | p[9]) & 0x80)
        return 0;
    const qint64 size = (qint64(p[6]) << 21) | (qint64(p[7]) << 14) | (qint64(p[8]) << 7) | qint64(p[9]);
    return 10 + size + ((p[5] & 0x10) ? 10 : 0);
}

} // namespace

bool VMKAudioFileDecoder::isMPEGAudioStart(const QByteArray& head) {
    // Some files have a little junk before the first frame: look at the first
    // kilobytes. A second frame right behind the first tells real audio from
    // chance bytes.
    const qsizetype last = std::min<qsizetype>(head.size() - 4, 4096);
    for (qsizetype offset = 0; offset <= last; ++offset) {
        MPEGFrameHeader first;
        if (!MPEGFrameHeader::parse(head, offset, &first))
            continue;
        if (head.size() < offset + first.length + 4) {
            if (offset == 0 && head.size() < 4096)
                return true;  // a file too short to hold two frames
            continue;
        }
        MPEGFrameHeader second;
        if (MPEGFrameHeader::parse(head, offset + first.length, &second) && second.sampleRate == first.sampleRate &&
            second.version == first.version)
            return true;
    }
    return false;
}

bool VMKAudioFileDecoder::MPEGFrameHeader::parse(const QByteArray& data, qsizetype offset, MPEGFrameHeader* header) {
    if (offset < 0 || data.size() < offset + 4)
        return false;
    const auto* p = reinterpret_cast<const uchar*>(data.constData()) + offset;
    if (p[0] != 0xFF || (p[1] & 0xE0) != 0xE0)
        return false;
    const int version = (p[1] >> 3) & 3;  // 0: 2.5, 1: reserved, 2: 2, 3: 1
    const int layer = (p[1] >> 1) & 3;    // 1: III
    const int bitrateIndex = (p[2] >> 4) & 15;
    const int rateIndex = (p[2] >> 2) & 3;
    if (version == 1 || layer != 1 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3)
        return false;
    static const int bitratesV1[] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    static const int bitratesV2[] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    static const int rates[] = {44100, 48000, 32000};
    header->version = version;
    header->bitrate = (version == 3 ? bitratesV1 : bitratesV2)[bitrateIndex] * 1000;
    header->sampleRate = rates[rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    header->samplesPerFrame = version == 3 ? 1152 : 576;
    header->isMono = ((p[3] >> 6) & 3) == 3;
    const int padding = (p[2] >> 1) & 1;
    header->length = (version == 3 ? 144 : 72) * header->bitrate / header->sampleRate + padding;
    return header->length > 4;
}

quint32 VMKAudioFileDecoder::mpegAverageBitrate(const QByteArray& head) {
    MPEGFrameHeader header;
    if (!MPEGFrameHeader::parse(head, 0, &header))
        return 0;
    // A Xing header (VBR) in the first frame counts frames and bytes.
    const int sideInfo = header.version == 3 ? (header.isMono ? 17 : 32) : (header.isMono ? 9 : 17);
    const qsizetype x = 4 + sideInfo;
    if (startsWith(head, x, "Xing") && head.size() >= x + 16) {
        const auto* p = reinterpret_cast<const uchar*>(head.constData()) + x + 4;
        const quint32 flags = qFromBigEndian<quint32>(p);
        if ((flags & 3) == 3) {
            const quint32 frames = qFromBigEndian<quint32>(p + 4);
            const quint32 bytes = qFromBigEndian<quint32>(p + 8);
            if (frames > 0)
                return quint32(double(bytes) * 8.0 * header.sampleRate / (double(frames) * header.samplesPerFrame));
        }
    }
    return quint32(header.bitrate);
}

quint32 VMKAudioFileDecoder::vorbisNominalBitrate(const QByteArray& head) {
    const qsizetype at = head.indexOf(QByteArray("\x01vorbis", 7));
    if (at < 0 || head.size() < at + 7 + 4 + 1 + 4 + 12)
        return 0;
    const auto* p = reinterpret_cast<const uchar*>(head.constData()) + at + 7 + 4 + 1 + 4;
    const qint32 maximum = qFromLittleEndian<qint32>(p);
    const qint32 nominal = qFromLittleEndian<qint32>(p + 4);
    const qint32 minimum = qFromLittleEndian<qint32>(p + 8);
    if (nominal > 0)
        return quint32(nominal);
    if (maximum > 0 && minimum > 0)
        return quint32((qint64(maximum) + minimum) / 2);
    return 0;
}

const VMKAudioFileFormat* VMKAudioFileDecoder::formatOfContent(const QByteArray& head, const QString& extension) {
    using Kind = VMKAudioFileFormat::Kind;
    auto format = [](Kind kind) { return &VMKAudioFileFormat::formatOfKind(kind); };
    if ((startsWith(head, 0, "RIFF") || startsWith(head, 0, "RIFX") || startsWith(head, 0, "RF64")) &&
        startsWith(head, 8, "WAVE"))
        return format(Kind::WAVE);
    if (startsWith(head, 0, "FORM") && (startsWith(head, 8, "AIFF") || startsWith(head, 8, "AIFC")))
        return format(Kind::AIFF);
    if (startsWith(head, 0, ".snd") || startsWith(head, 0, "dns."))
        return format(Kind::AU);
    static const char wave64[16] = {'r', 'i', 'f', 'f', '\x2E', '\x91', '\xCF', '\x11',
                                    '\xA5', '\xD6', '\x28', '\xDB', '\x04', '\xC1', '\x00', '\x00'};
    if (head.size() >= 16 && std::memcmp(head.constData(), wave64, 16) == 0)
        return format(Kind::Wave64);
    if (startsWith(head, 0, "caff"))
        return format(Kind::CAF);
    if (startsWith(head, 0, "fLaC"))
        return format(Kind::FLAC);
    if (startsWith(head, 0, "OggS") && startsWith(head, 28, "\x01vorbis"))
        return format(Kind::OggVorbis);
    for (const char* atom : {"ftyp", "moov", "mdat", "wide", "free", "skip"})
        if (startsWith(head, 4, atom))
            return format(Kind::M4A);
    if (isMPEGAudioStart(head))
        return format(Kind::MP3);
    if (extension.compare(QLatin1String("vox"), Qt::CaseInsensitive) == 0)
        return format(Kind::VOX);
    return nullptr;
}

QString VMKAudioFileDecoder::readingAction(const URL& url) {
    return QStringLiteral("Reading the audio file “%1”").arg(url.lastPathComponent());
}

std::unique_ptr<VMKAudioFileDecoder> VMKAudioFileDecoder::decoderWithURL(const URL& url, VMKError* error) {
    const QString action = readingAction(url);
    const QFileInfo fileInfo(url.path());
    if (url.isEmpty() || !fileInfo.exists()) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorNotFound, action,
                                                     QStringLiteral("there is no file at %1").arg(url.path())));
        return nullptr;
    }
    if (fileInfo.isDir()) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorNotFound, action,
                                                     QStringLiteral("%1 is a folder, not a file").arg(url.path())));
        return nullptr;
    }
    QFile file(url.path());
    if (!file.open(QIODevice::ReadOnly)) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorNotFound, action,
                                                     QStringLiteral("the file can't be opened (%1)").arg(file.errorString())));
        return nullptr;
    }
    const qint64 fileSize = file.size();
    if (fileSize == 0) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorUnknownFormat, action,
                                                     QStringLiteral("the file is empty")));
        return nullptr;
    }
    constexpr qint64 headSize = 8192;
    QByteArray head = file.read(headSize);
    // Tags in front of FLAC or MPEG audio: look behind them.
    qint64 skipped = 0;
    for (int i = 0; i < 4; ++i) {
        const qint64 tag = id3v2Size(head);
        if (tag == 0)
            break;
        skipped += tag;
        if (skipped >= fileSize || !file.seek(skipped))
            break;
        head = file.read(headSize);
    }
    file.close();

    const VMKAudioFileFormat* format = formatOfContent(head, url.pathExtension());
    if (skipped > 0 && format && format->kind != VMKAudioFileFormat::Kind::FLAC &&
        format->kind != VMKAudioFileFormat::Kind::MP3)
        format = nullptr;
    if (!format) {
        VMKError::set(error, VMKError::errorWithCode(
                                 VMKAudioFileErrorUnknownFormat, action,
                                 QStringLiteral("its content is not in an audio format that can be read")));
        return nullptr;
    }

    std::unique_ptr<VMKAudioFileDecoder> decoder;
    VMKError openError;
    if (format->readLibrary == VMKAudioFileFormat::Library::FFmpeg)
        decoder = VMKFFmpegDecoder::decoderWithURL(url, *format, &openError);
    else if (format->readLibrary == VMKAudioFileFormat::Library::LibVorbis)
        decoder = VMKVorbisDecoder::decoderWithURL(url, *format, head, &openError);
    else
        decoder = VMKSndfileDecoder::decoderWithURL(url, *format, head, &openError);
    // Core Audio files with encodings libsndfile doesn't read (AAC ...).
    if (!decoder && format->kind == VMKAudioFileFormat::Kind::CAF) {
        VMKError ffmpegError;
        decoder = VMKFFmpegDecoder::decoderWithURL(url, *format, &ffmpegError);
    }
    if (!decoder) {
        VMKError::set(error, openError);
        return nullptr;
    }
    decoder->m_facts.fileSize = quint64(fileSize);
    if (decoder->m_facts.bitrate == 0 && decoder->m_facts.encoding != VMKAudioEncoding::PCM &&
        decoder->m_facts.encoding != VMKAudioEncoding::uLaw &&
        decoder->m_facts.encoding != VMKAudioEncoding::aLaw && decoder->m_facts.frames > 0 &&
        decoder->m_facts.sampleRate > 0)
        decoder->m_facts.bitrate =
            quint32(double(fileSize) * 8.0 * decoder->m_facts.sampleRate / double(decoder->m_facts.frames));
    return decoder;
}

void VMKAudioFileDecoder::deinterleave(const float* source, float* const* channels, qint64 frames,
                                       qint64 offset) const {
    const int count = m_facts.numberOfChannels;
    if (count == 1) {
        std::memcpy(channels[0] + offset, source, size_t(frames) * sizeof(float));
        return;
    }
    if (count == 2) {
        // Stereo, the common case, in one pass the compiler vectorizes.
        float* __restrict left = channels[0] + offset;
        float* __restrict right = channels[1] + offset;
        for (qint64 i = 0; i < frames; ++i) {
            left[i] = source[2 * i];
            right[i] = source[2 * i + 1];
        }
        return;
    }
    for (int c = 0; c < count; ++c) {
        float* out = channels[c] + offset;
        const float* in = source + c;
        for (qint64 i = 0; i < frames; ++i)
            out[i] = in[i * count];
    }
}

} // namespace ondrel
