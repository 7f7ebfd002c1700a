#include "render/engine/codecs/VMKFFmpegEncoder.h"
#include "render/engine/codecs/VMKFFmpegError.h"

#include "render/engine/files/VMKAudioChunkFile.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ondrel {

namespace {

void putBig32(QByteArray& out, quint32 v) {
    char b[4];
    qToBigEndian(v, b);
    out.append(b, 4);
}
void putBig64(QByteArray& out, quint64 v) {
    char b[8];
    qToBigEndian(v, b);
    out.append(b, 8);
}
// An MPEG-4 descriptor: tag, length (one byte: ours are short), body.
QByteArray descriptor(quint8 tag, const QByteArray& body) {
    QByteArray out(1, char(tag));
    out.append(char(0x80)).append(char(0x80)).append(char(0x80)).append(char(body.size() & 0x7f));
    return out + body;
}
QByteArray cafChunk(const char* id, const QByteArray& body) {
    QByteArray out(id, 4);
    putBig64(out, quint64(body.size()));
    return out + body;
}

} // namespace

bool VMKFFmpegEncoder::openCAF(VMKError* outError) {
    m_file.setFileName(m_path);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return fail(outError, VMKAudioFileErrorWrite, m_file.errorString());
    QByteArray header("caff\x00\x01\x00\x00", 8);
    // The stream description: AAC LC, 1024 frames a packet.
    QByteArray desc;
    quint64 rateBits;
    const double rate = m_settings.sampleRate;
    std::memcpy(&rateBits, &rate, 8);
    putBig64(desc, rateBits);
    desc.append("aac ", 4);
    putBig32(desc, 2);  // MPEG-4 object type: AAC LC
    putBig32(desc, 0);
    putBig32(desc, quint32(m_frameSize));
    putBig32(desc, quint32(m_settings.numberOfChannels));
    putBig32(desc, 0);
    // The magic cookie: an elementary stream descriptor holding the decoder's config.
    const QByteArray config(reinterpret_cast<const char*>(m_codec->extradata), m_codec->extradata_size);
    QByteArray decoderConfig;
    decoderConfig.append(char(0x40)).append(char(0x15)).append(3, '\0');
    putBig32(decoderConfig, quint32(m_codec->bit_rate));
    putBig32(decoderConfig, quint32(m_codec->bit_rate));
    decoderConfig += descriptor(0x05, config);
    QByteArray es("\x00\x00\x00", 3);
    es += descriptor(0x04, decoderConfig) + descriptor(0x06, QByteArray("\x02", 1));
    const QByteArray cookie = QByteArray(4, '\0') + descriptor(0x03, es);
    // Audio data of a length stated at the end; the packet table follows it.
    QByteArray data("data", 4);
    putBig64(data, ~quint64(0));
    putBig32(data, 0);  // edit count
    const QByteArray start = header + cafChunk("desc", desc) + cafChunk("kuki", cookie) + data;
    m_dataSizeOffset = start.size() - 12;
    m_dataBytes = 4;
    if (m_file.write(start) != start.size())
        return fail(outError, VMKAudioFileErrorWrite, m_file.errorString());
    m_headerWritten = true;
    return true;
}

bool VMKFFmpegEncoder::writeCAFPacket(VMKError* outError) {
    if (m_file.write(reinterpret_cast<const char*>(m_packet->data), m_packet->size) != m_packet->size)
        return fail(outError, VMKAudioFileErrorWrite, m_file.errorString());
    m_packetSizes.push_back(quint32(m_packet->size));
    m_dataBytes += m_packet->size;
    return true;
}

bool VMKFFmpegEncoder::finishCAF(VMKError* outError) {
    // The packet table: counts, priming and remainder, then each packet's
    // size as a variable-length number.
    const qint64 packets = qint64(m_packetSizes.size());
    const qint64 priming = m_codec->initial_padding;
    QByteArray pakt;
    putBig64(pakt, quint64(packets));
    putBig64(pakt, quint64(m_nextPTS));
    putBig32(pakt, quint32(priming));
    putBig32(pakt, quint32(std::max<qint64>(0, packets * m_frameSize - priming - m_nextPTS)));
    for (quint32 size : m_packetSizes) {
        char bytes[5];
        int n = 0;
        do {
            bytes[n++] = char(size & 0x7f);
            size >>= 7;
        } while (size);
        for (int i = n - 1; i >= 0; --i)
            pakt.append(char(bytes[i] | (i > 0 ? 0x80 : 0)));
    }
    QByteArray size;
    putBig64(size, quint64(m_dataBytes));
    const QByteArray tail = cafChunk("pakt", pakt);
    const bool ok = m_file.write(tail) == tail.size() && m_file.seek(m_dataSizeOffset) && m_file.write(size) == 8;
    m_file.close();
    if (!ok)
        return fail(outError, VMKAudioFileErrorWrite, m_file.errorString());
    return true;
}

VMKFFmpegEncoder::~VMKFFmpegEncoder() = default;

bool VMKFFmpegEncoder::fail(VMKError* outError, int code, const QString& reason) {
    VMKError::set(outError, error(code, reason));
    return false;
}

bool VMKFFmpegEncoder::open(VMKError* outError) {
    av_log_set_level(AV_LOG_QUIET);
    const bool alac = m_settings.encoding == VMKAudioEncoding::ALAC;
    const QByteArray path = QFile::encodeName(m_path);
    const bool caf = m_settings.format->kind == VMKAudioFileFormat::Kind::CAF;
    // FFmpeg muxes no AAC into Core Audio files: those packets go into our own.
    m_ownCAF = caf && !alac;
    int result = 0;
    if (!m_ownCAF) {
        AVFormatContext* format = nullptr;
        result = avformat_alloc_output_context2(&format, nullptr, caf ? "caf" : "ipod", path.constData());
        m_format.reset(format);
        if (result < 0 || !m_format)
            return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));
    }
    const AVCodec* codec = avcodec_find_encoder(alac ? AV_CODEC_ID_ALAC : AV_CODEC_ID_AAC);
    if (!codec)
        return fail(outError, VMKAudioFileErrorUnsupported, QStringLiteral("no encoder for this encoding"));
    m_codec.reset(avcodec_alloc_context3(codec));
    const int rate = int(m_settings.sampleRate);
    m_codec->sample_rate = rate;
    // Channels come in WAVE order. FFmpeg's default for three is 2.1, whose
    // third channel is a low frequency one: three are left, right, centre.
    // Four are a quad, as WAVE files say, where AAC can tell it (Apple
    // Lossless knows only 4.0).
    if (m_settings.numberOfChannels == 3)
        m_codec->ch_layout = AV_CHANNEL_LAYOUT_SURROUND;
    else if (m_settings.numberOfChannels == 4 && !alac)
        m_codec->ch_layout = AV_CHANNEL_LAYOUT_QUAD;
    else
        av_channel_layout_default(&m_codec->ch_layout, m_settings.numberOfChannels);
    m_codec->time_base = AVRational{1, rate};
    if (alac) {
        m_codec->sample_fmt = m_settings.bitDepth > 16 ? AV_SAMPLE_FMT_S32P : AV_SAMPLE_FMT_S16P;
        m_codec->bits_per_raw_sample = m_settings.bitDepth;
    } else {
        m_codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
        const qint64 bitrate = m_settings.bitrate > 0 ? m_settings.bitrate : 256000;
        m_codec->bit_rate = bitrate;
        if (m_settings.properties.value(QStringLiteral("useVariableBitrate")).toBool()) {
            // About 64 kbit/s a channel at quality 1.0.
            const double perChannel = double(bitrate) / m_settings.numberOfChannels / 64000.0;
            m_codec->flags |= AV_CODEC_FLAG_QSCALE;
            m_codec->global_quality = int(std::lround(FF_QP2LAMBDA * std::clamp(perChannel, 0.1, 2.0)));
        }
    }
    if (m_ownCAF || (m_format->oformat->flags & AVFMT_GLOBALHEADER))
        m_codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if ((result = avcodec_open2(m_codec.get(), codec, nullptr)) < 0)
        return fail(outError, VMKAudioFileErrorUnsupported,
                    QStringLiteral("the encoder refuses %1 channels at %2 Hz (%3)")
                        .arg(m_settings.numberOfChannels)
                        .arg(rate)
                        .arg(ffmpegError(result)));
    if (!m_ownCAF) {
        m_stream = avformat_new_stream(m_format.get(), nullptr);
        if (!m_stream)
            return fail(outError, VMKAudioFileErrorWrite, QStringLiteral("out of memory"));
        m_stream->time_base = AVRational{1, rate};
        avcodec_parameters_from_context(m_stream->codecpar, m_codec.get());
    }

    m_frameSize = m_codec->frame_size > 0 ? m_codec->frame_size : 4096;
    m_frame.reset(av_frame_alloc());
    m_packet.reset(av_packet_alloc());
    m_frame->format = m_codec->sample_fmt;
    m_frame->nb_samples = m_frameSize;
    m_frame->sample_rate = rate;
    av_channel_layout_copy(&m_frame->ch_layout, &m_codec->ch_layout);
    if ((result = av_frame_get_buffer(m_frame.get(), 0)) < 0)
        return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));

    if (m_ownCAF)
        return openCAF(outError);
    if ((result = avio_open(&m_format->pb, path.constData(), AVIO_FLAG_WRITE)) < 0)
        return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));
    AVDictionary* options = nullptr;
    if (!caf)
        av_dict_set_int(&options, "movie_timescale", rate, 0);
    result = avformat_write_header(m_format.get(), &options);
    av_dict_free(&options);
    if (result < 0)
        return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));
    m_headerWritten = true;
    return true;
}

bool VMKFFmpegEncoder::write(const float* const* channels, qint64 frames, VMKError* outError) {
    const int count = m_settings.numberOfChannels;
    const auto format = AVSampleFormat(m_frame->format);
    for (qint64 done = 0; done < frames;) {
        if (m_filled == 0 && av_frame_make_writable(m_frame.get()) < 0)
            return fail(outError, VMKAudioFileErrorWrite, QStringLiteral("out of memory"));
        const int n = int(std::min<qint64>(frames - done, m_frameSize - m_filled));
        for (int c = 0; c < count; ++c) {
            const float* in = channels[c] + done;
            if (format == AV_SAMPLE_FMT_FLTP) {
                copyFinite(in, n, reinterpret_cast<float*>(m_frame->extended_data[c]) + m_filled);
            } else if (format == AV_SAMPLE_FMT_S16P) {
                int16_t* out = reinterpret_cast<int16_t*>(m_frame->extended_data[c]) + m_filled;
                for (int i = 0; i < n; ++i) {
                    const float x = in[i] * 32768.0f;  // a NaN becomes silence
                    out[i] = int16_t(std::clamp(std::nearbyint(x == x ? x : 0.0f), -32768.0f, 32767.0f));
                }
            } else {
                // Left-aligned, as FFmpeg keeps deeper samples in 32 bits.
                int32_t* out = reinterpret_cast<int32_t*>(m_frame->extended_data[c]) + m_filled;
                const float scale = float(1 << (m_settings.bitDepth - 1));
                const int shift = 32 - m_settings.bitDepth;
                for (int i = 0; i < n; ++i) {
                    const float x = in[i] * scale;  // a NaN becomes silence
                    out[i] = int32_t(std::clamp(std::nearbyint(x == x ? x : 0.0f), -scale, scale - 1.0f)) * (1 << shift);
                }
            }
        }
        m_filled += n;
        done += n;
        if (m_filled == m_frameSize && !sendFrame(false, outError))
            return false;
    }
    return true;
}

bool VMKFFmpegEncoder::sendFrame(bool flush, VMKError* outError) {
    int result;
    if (flush) {
        result = avcodec_send_frame(m_codec.get(), nullptr);
    } else {
        m_frame->nb_samples = m_filled;
        m_frame->pts = m_nextPTS;
        m_nextPTS += m_filled;
        result = avcodec_send_frame(m_codec.get(), m_frame.get());
        m_filled = 0;
    }
    if (result < 0)
        return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));
    return drainPackets(outError);
}

bool VMKFFmpegEncoder::drainPackets(VMKError* outError) {
    while (true) {
        const int result = avcodec_receive_packet(m_codec.get(), m_packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
            return true;
        if (result < 0)
            return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));
        if (m_ownCAF) {
            const bool ok = writeCAFPacket(outError);
            av_packet_unref(m_packet.get());
            if (!ok)
                return false;
            continue;
        }
        av_packet_rescale_ts(m_packet.get(), m_codec->time_base, m_stream->time_base);
        m_packet->stream_index = m_stream->index;
        const int written = av_interleaved_write_frame(m_format.get(), m_packet.get());
        if (written < 0)
            return fail(outError, VMKAudioFileErrorWrite, ffmpegError(written));
    }
}

bool VMKFFmpegEncoder::finish(VMKError* outError) {
    if (m_finished || !m_headerWritten)
        return true;
    m_finished = true;
    if (m_filled > 0 && !sendFrame(false, outError))
        return false;
    if (!sendFrame(true, outError))
        return false;
    if (m_ownCAF)
        return finishCAF(outError);
    int result = av_write_trailer(m_format.get());
    if (result < 0)
        return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));
    if ((result = avio_closep(&m_format->pb)) < 0)
        return fail(outError, VMKAudioFileErrorWrite, ffmpegError(result));
    if (m_settings.format->kind == VMKAudioFileFormat::Kind::CAF) {
        // The packet table counts whole packets: state the frames written and
        // what the last packet holds beyond them.
        const VMKAudioChunkFile chunks = VMKAudioChunkFile::chunkFileWithPath(m_path);
        if (const auto* pakt = chunks.chunk("pakt"); pakt && pakt->size >= 24) {
            const QByteArray head = chunks.readChunk(*pakt, 24);
            const qint64 stated = qFromBigEndian<qint64>(head.constData() + 8);
            QByteArray fields(16, '\0');
            qToBigEndian<qint64>(m_nextPTS, fields.data());
            qToBigEndian<qint32>(0, fields.data() + 8);
            qToBigEndian<qint32>(qint32(std::max<qint64>(0, stated - m_nextPTS)), fields.data() + 12);
            VMKAudioChunkFile::patchChunk(m_path, "pakt", 8, fields);
        }
    }
    return true;
}

} // namespace ondrel
