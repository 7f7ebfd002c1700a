#include "render/engine/codecs/VMKVorbisDecoder.h"

#include "render/engine/codecs/VMKVorbisEncoder.h"

#include <QtCore/QFile>

#include <vorbis/vorbisfile.h>

#include <cstring>

namespace ondrel {

VMKVorbisDecoder::~VMKVorbisDecoder() = default;

void VMKVorbisDecoder::closeFile(OggVorbis_File* file) {
    ov_clear(file);
    delete file;
}

std::unique_ptr<VMKAudioFileDecoder> VMKVorbisDecoder::decoderWithURL(const URL& url, const VMKAudioFileFormat& format,
                                                                      const QByteArray& head, VMKError* error) {
    std::unique_ptr<VMKVorbisDecoder> decoder(new VMKVorbisDecoder);
    decoder->m_url = url;
    auto fail = [&](const QString& reason) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorDamaged, readingAction(url),
                                                     QStringLiteral("the %1 can't be decoded (%2)").arg(format.name, reason)));
        return nullptr;
    };
    // A file that fails to open is cleared by vorbisfile itself.
    auto file = std::make_unique<OggVorbis_File>();
    const int result = ov_fopen(QFile::encodeName(url.path()).constData(), file.get());
    if (result != 0)
        return fail(result == OV_ENOTVORBIS ? QStringLiteral("no Vorbis stream") : QStringLiteral("damaged headers"));
    decoder->m_file.reset(file.release());
    const vorbis_info* info = ov_info(decoder->m_file.get(), 0);  // the first link
    const ogg_int64_t total = ov_pcm_total(decoder->m_file.get(), -1);
    if (!info || info->channels <= 0 || info->rate <= 0 || total < 0 || !ov_seekable(decoder->m_file.get()))
        return fail(QStringLiteral("no length or no channels"));
    // Opening a chained stream leaves vorbisfile in its last link: start at
    // the first.
    if (ov_pcm_seek(decoder->m_file.get(), 0) != 0)
        return fail(QStringLiteral("its start can't be reached"));
    VMKAudioFileFacts& facts = decoder->m_facts;
    facts.format = &format;
    facts.frames = total;
    facts.numberOfChannels = info->channels;
    facts.sampleRate = double(info->rate);
    facts.encoding = VMKAudioEncoding::Vorbis;
    facts.bitrate = vorbisNominalBitrate(head);
    if (facts.bitrate == 0) {
        const long average = ov_bitrate(decoder->m_file.get(), -1);
        facts.bitrate = average > 0 ? quint32(average) : 0;
    }
    return decoder;
}

bool VMKVorbisDecoder::seek(qint64 frame, VMKError* error) {
    if (frame == m_position)
        return true;
    if (ov_pcm_seek(m_file.get(), frame) != 0) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorRead, readingAction(m_url),
                                                     QStringLiteral("frame %1 can't be reached").arg(frame)));
        m_position = -1;
        return false;
    }
    m_position = frame;
    return true;
}

qint64 VMKVorbisDecoder::read(float* const* channels, qint64 frames, VMKError* error) {
    qint64 done = 0;
    int section = 0;
    while (done < frames) {
        float** pcm = nullptr;
        const long got = ov_read_float(m_file.get(), &pcm, int(std::min<qint64>(frames - done, 4096)), &section);
        if (got == OV_HOLE)
            continue;  // a gap in the stream: go on with what follows
        if (got < 0) {
            VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorRead, readingAction(m_url),
                                                         QStringLiteral("the Vorbis stream is damaged")));
            m_position = -1;
            return -1;
        }
        if (got == 0)
            break;
        // A chained stream may change its channels from one link to the
        // next: a link delivers only the channels it has, the others are
        // silence.
        const vorbis_info* link = ov_info(m_file.get(), section);
        const int linkChannels = link ? link->channels : 0;
        if (linkChannels == m_facts.numberOfChannels) {
            const int* order = VMKVorbisEncoder::vorbisChannelOrder(m_facts.numberOfChannels);
            for (int c = 0; c < m_facts.numberOfChannels; ++c)
                std::memcpy(channels[order ? order[c] : c] + done, pcm[c], size_t(got) * sizeof(float));
        } else {
            for (int c = 0; c < m_facts.numberOfChannels; ++c) {
                if (c < linkChannels)
                    std::memcpy(channels[c] + done, pcm[c], size_t(got) * sizeof(float));
                else
                    std::memset(channels[c] + done, 0, size_t(got) * sizeof(float));
            }
        }
        done += got;
        m_position += got;
    }
    return done;
}

} // namespace ondrel
