#include "render/engine/codecs/VMKFFmpegDecoder.h"
#include "render/engine/codecs/VMKFFmpegError.h"

#include "render/engine/files/VMKAudioChunkFile.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
}

#include <algorithm>
#include <cstring>

namespace ondrel {

namespace {


// Copies `count` samples of channel `channel` of a decoded frame, starting at
// sample `from`, as floats.
void copySamples(const AVFrame* frame, int channel, int channels, qint64 from, qint64 count, float* out) {
    const auto format = AVSampleFormat(frame->format);
    const bool planar = av_sample_fmt_is_planar(format);
    const int stride = planar ? 1 : channels;
    const uint8_t* base = planar ? frame->extended_data[channel] : frame->extended_data[0];
    const qint64 first = planar ? from : from * channels + channel;
    switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_FLT: {
        const float* in = reinterpret_cast<const float*>(base) + first;
        for (qint64 i = 0; i < count; ++i)
            out[i] = in[i * stride];
        break;
    }
    case AV_SAMPLE_FMT_DBL: {
        const double* in = reinterpret_cast<const double*>(base) + first;
        for (qint64 i = 0; i < count; ++i)
            out[i] = float(in[i * stride]);
        break;
    }
    case AV_SAMPLE_FMT_S16: {
        const int16_t* in = reinterpret_cast<const int16_t*>(base) + first;
        for (qint64 i = 0; i < count; ++i)
            out[i] = float(in[i * stride]) * (1.0f / 32768.0f);
        break;
    }
    case AV_SAMPLE_FMT_S32: {
        const int32_t* in = reinterpret_cast<const int32_t*>(base) + first;
        for (qint64 i = 0; i < count; ++i)
            out[i] = float(double(in[i * stride]) * (1.0 / 2147483648.0));
        break;
    }
    case AV_SAMPLE_FMT_U8: {
        const uint8_t* in = base + first;
        for (qint64 i = 0; i < count; ++i)
            out[i] = float(int(in[i * stride]) - 128) * (1.0f / 128.0f);
        break;
    }
    default: std::fill(out, out + count, 0.0f); break;
    }
}

} // namespace

VMKFFmpegDecoder::~VMKFFmpegDecoder() = default;

VMKError VMKFFmpegDecoder::error(const QString& reason) const {
    return VMKError::errorWithCode(VMKAudioFileErrorRead, readingAction(m_url), reason);
}

std::unique_ptr<VMKAudioFileDecoder> VMKFFmpegDecoder::decoderWithURL(const URL& url, const VMKAudioFileFormat& format,
                                                                      VMKError* error) {
    av_log_set_level(AV_LOG_QUIET);
    const QString action = readingAction(url);
    auto fail = [&](const QString& reason) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorDamaged, action,
                                                     QStringLiteral("the %1 can't be decoded (%2)").arg(format.name, reason)));
        return nullptr;
    };
    std::unique_ptr<VMKFFmpegDecoder> decoder(new VMKFFmpegDecoder);
    decoder->m_url = url;
    // A context that fails to open is freed by FFmpeg.
    AVFormatContext* opened = nullptr;
    int result = avformat_open_input(&opened, QFile::encodeName(url.path()).constData(), nullptr, nullptr);
    decoder->m_format.reset(opened);
    if (result < 0)
        return fail(ffmpegError(result));
    const QByteArray demuxer(decoder->m_format->iformat->name);
    const bool expected = format.kind == VMKAudioFileFormat::Kind::CAF ? demuxer == "caf" : demuxer.contains("mp4");
    if (!expected)
        return fail(QStringLiteral("the content is %1").arg(QString::fromUtf8(decoder->m_format->iformat->long_name)));
    if ((result = avformat_find_stream_info(decoder->m_format.get(), nullptr)) < 0)
        return fail(ffmpegError(result));
    const AVCodec* codec = nullptr;
    decoder->m_stream = av_find_best_stream(decoder->m_format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (decoder->m_stream < 0 || !codec)
        return fail(QStringLiteral("it holds no audio that can be decoded"));
    AVStream* stream = decoder->m_format->streams[decoder->m_stream];
    for (unsigned i = 0; i < decoder->m_format->nb_streams; ++i)
        if (int(i) != decoder->m_stream)
            decoder->m_format->streams[i]->discard = AVDISCARD_ALL;
    decoder->m_codec.reset(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(decoder->m_codec.get(), stream->codecpar);
    decoder->m_codec->pkt_timebase = stream->time_base;
    if ((result = avcodec_open2(decoder->m_codec.get(), codec, nullptr)) < 0)
        return fail(ffmpegError(result));
    decoder->m_packet.reset(av_packet_alloc());
    decoder->m_frame.reset(av_frame_alloc());

    const AVCodecParameters* parameters = stream->codecpar;
    VMKAudioFileFacts& facts = decoder->m_facts;
    facts.format = &format;
    facts.numberOfChannels = parameters->ch_layout.nb_channels;
    facts.sampleRate = parameters->sample_rate;
    if (facts.numberOfChannels <= 0 || facts.sampleRate <= 0)
        return fail(QStringLiteral("no channels or no sample rate"));
    const AVRational perSample{1, parameters->sample_rate};
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0)
        facts.frames = av_rescale_q(stream->duration, stream->time_base, perSample);
    else if (decoder->m_format->duration != AV_NOPTS_VALUE && decoder->m_format->duration > 0)
        facts.frames = av_rescale_q(decoder->m_format->duration, AV_TIME_BASE_Q, perSample);
    facts.bitrate = quint32(std::max<int64_t>(parameters->bit_rate, 0));
    switch (parameters->codec_id) {
    case AV_CODEC_ID_AAC:
        facts.encoding = VMKAudioEncoding::AAC;
        facts.bitDepth = 0;
        break;
    case AV_CODEC_ID_ALAC:
        facts.encoding = VMKAudioEncoding::ALAC;
        facts.bitDepth = parameters->bits_per_raw_sample > 0 ? parameters->bits_per_raw_sample
                                                             : parameters->bits_per_coded_sample;
        break;
    case AV_CODEC_ID_MP3:
        facts.encoding = VMKAudioEncoding::MPEG3;
        break;
    default:
        facts.encoding = 0;
        break;
    }
    // A Core Audio packet table states the encoder's priming and the frames
    // that count; FFmpeg delivers them all, so the priming is skipped here.
    bool hasStatedLength = false;
    if (format.kind == VMKAudioFileFormat::Kind::CAF) {
        const VMKAudioChunkFile chunks = VMKAudioChunkFile::chunkFileWithPath(url.path());
        if (const auto* pakt = chunks.chunk("pakt"); pakt && pakt->size >= 24) {
            const QByteArray table = chunks.readChunk(*pakt, 24);
            const qint64 valid = qFromBigEndian<qint64>(table.constData() + 8);
            const qint32 priming = qFromBigEndian<qint32>(table.constData() + 16);
            if (priming >= 0 && priming < (1 << 20) && valid > 0 && (facts.frames == 0 || valid + priming <= facts.frames)) {
                decoder->m_skip = priming;
                facts.frames = valid;
                hasStatedLength = priming > 0;
            }
        }
    }
    // Lossless packets tell their own length, and the container's count may
    // be that of whole packets: decode the last ones to learn the real end.
    if (!hasStatedLength &&
        (parameters->codec_id == AV_CODEC_ID_ALAC || format.kind == VMKAudioFileFormat::Kind::CAF)) {
        VMKError endError;
        if (decoder->restartAt(std::max<qint64>(0, facts.frames - 65536), 0, &endError)) {
            qint64 end = -1;
            while (decoder->decodeNext(&endError))
                end = decoder->m_framePosition + decoder->m_frameSamples;
            if (end > 0 && !endError && (end < facts.frames || facts.frames == 0))
                facts.frames = end;
        }
        if (!decoder->restartAt(0, 0, &endError))
            return fail(endError.reason());
    }
    return decoder;
}

bool VMKFFmpegDecoder::decodeNext(VMKError* outError) {
    m_frameSamples = 0;
    m_frameOffset = 0;
    while (true) {
        int result = avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (result == 0) {
            const qint64 samples = m_frame->nb_samples;
            qint64 position = m_nextPosition;
            if (m_frame->pts != AV_NOPTS_VALUE) {
                const AVStream* stream = m_format->streams[m_stream];
                position = av_rescale_q(m_frame->pts, stream->time_base, AVRational{1, int(m_facts.sampleRate)}) - m_skip;
            }
            m_framePosition = position;
            m_frameSamples = samples;
            m_nextPosition = position + samples;
            if (samples == 0)
                continue;
            return true;
        }
        if (result == AVERROR_EOF) {
            m_endOfFile = true;
            return false;
        }
        if (result != AVERROR(EAGAIN)) {
            VMKError::set(outError, error(ffmpegError(result)));
            return false;
        }
        // The decoder wants more: feed it the next packet of our stream.
        while (true) {
            result = av_read_frame(m_format.get(), m_packet.get());
            if (result < 0) {
                avcodec_send_packet(m_codec.get(), nullptr);  // drain
                break;
            }
            if (m_packet->stream_index != m_stream) {
                av_packet_unref(m_packet.get());
                continue;
            }
            result = avcodec_send_packet(m_codec.get(), m_packet.get());
            av_packet_unref(m_packet.get());
            if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_INVALIDDATA) {
                VMKError::set(outError, error(ffmpegError(result)));
                return false;
            }
            break;
        }
    }
}

bool VMKFFmpegDecoder::restartAt(qint64 frame, qint64 preroll, VMKError* outError) {
    const AVStream* stream = m_format->streams[m_stream];
    const qint64 target = std::max<qint64>(0, frame + m_skip - preroll);  // in the stream's frames
    const int64_t timestamp = av_rescale_q(target, AVRational{1, int(m_facts.sampleRate)}, stream->time_base);
    int result = av_seek_frame(m_format.get(), m_stream, target == 0 ? INT64_MIN : timestamp, AVSEEK_FLAG_BACKWARD);
    if (result < 0 && target == 0)
        result = avformat_seek_file(m_format.get(), m_stream, INT64_MIN, 0, 0, AVSEEK_FLAG_BACKWARD);
    if (result < 0) {
        VMKError::set(outError, error(QStringLiteral("frame %1 can't be reached (%2)").arg(frame).arg(ffmpegError(result))));
        return false;
    }
    avcodec_flush_buffers(m_codec.get());
    m_endOfFile = false;
    m_frameSamples = 0;
    m_frameOffset = 0;
    m_nextPosition = target - m_skip;
    return true;
}

bool VMKFFmpegDecoder::seek(qint64 frame, VMKError* outError) {
    if (frame == m_position)
        return true;
    // Within or just ahead of the decoded frame: decode forward.
    const bool ahead = m_frameSamples > 0 && frame >= m_framePosition && frame < m_framePosition + 8 * 4096;
    if (!ahead) {
        // Seek points are packets; the decoder needs a few packets of run-in.
        if (!restartAt(frame, 8192, outError)) {
            m_position = -1;
            m_frameSamples = 0;
            return false;
        }
    }
    m_position = frame;
    return true;
}

qint64 VMKFFmpegDecoder::read(float* const* channels, qint64 frames, VMKError* outError) {
    frames = std::min(frames, std::max<qint64>(0, m_facts.frames - m_position));
    qint64 done = 0;
    bool restartedFromStart = false;
    auto failed = [this] {
        m_position = -1;
        m_frameSamples = 0;
        return qint64(-1);
    };
    while (done < frames) {
        // What the decoded frame holds counts, not how much of it was
        // delivered: a seek may go back into a frame already used up.
        if (m_frameSamples == 0 || m_framePosition + m_frameSamples <= m_position) {
            if (m_endOfFile)
                break;
            VMKError decodeError;
            if (!decodeNext(&decodeError)) {
                if (decodeError) {
                    VMKError::set(outError, decodeError);
                    return failed();
                }
                break;
            }
            if (m_framePosition > m_position) {
                // The seek landed behind the target: decode from the start instead.
                if (restartedFromStart) {
                    VMKError::set(outError, error(QStringLiteral("frame %1 can't be reached").arg(m_position)));
                    return failed();
                }
                restartedFromStart = true;
                if (!restartAt(0, 0, outError))
                    return failed();
            }
            continue;
        }
        m_frameOffset = m_position - m_framePosition;
        const qint64 count = std::min(frames - done, m_frameSamples - m_frameOffset);
        // A damaged stream may decode to fewer channels than it announced:
        // those it lacks are silence.
        const int frameChannels = m_frame->ch_layout.nb_channels;
        for (int c = 0; c < m_facts.numberOfChannels; ++c) {
            if (c < frameChannels)
                copySamples(m_frame.get(), c, frameChannels, m_frameOffset, count, channels[c] + done);
            else
                std::fill(channels[c] + done, channels[c] + done + count, 0.0f);
        }
        m_frameOffset += count;
        m_position += count;
        done += count;
    }
    return done;
}

} // namespace ondrel
