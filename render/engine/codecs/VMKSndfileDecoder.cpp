#include "render/engine/codecs/VMKSndfileDecoder.h"

#include "render/engine/files/VMKAudioChunkFile.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

#include <sndfile.h>

namespace ondrel {

namespace {

using Kind = VMKAudioFileFormat::Kind;

bool majorMatches(Kind kind, int major, int subtype) {
    switch (kind) {
    case Kind::WAVE: return major == SF_FORMAT_WAV || major == SF_FORMAT_WAVEX || major == SF_FORMAT_RF64;
    case Kind::AIFF: return major == SF_FORMAT_AIFF;
    case Kind::AU: return major == SF_FORMAT_AU;
    case Kind::Wave64: return major == SF_FORMAT_W64;
    case Kind::CAF: return major == SF_FORMAT_CAF;
    case Kind::FLAC: return major == SF_FORMAT_FLAC;
    case Kind::OggVorbis: return major == SF_FORMAT_OGG && subtype == SF_FORMAT_VORBIS;
    case Kind::MP3: return major == SF_FORMAT_MPEG;
    case Kind::VOX: return major == SF_FORMAT_RAW;
    case Kind::M4A: return false;
    }
    return false;
}

// Bit depth, floating point and encoding of a libsndfile subtype.
void describeSubtype(int subtype, int major, VMKAudioFileFacts* facts) {
    using namespace VMKAudioEncoding;
    facts->encoding = PCM;
    switch (subtype) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8: facts->bitDepth = 8; break;
    case SF_FORMAT_PCM_16: facts->bitDepth = 16; break;
    case SF_FORMAT_PCM_24: facts->bitDepth = 24; break;
    case SF_FORMAT_PCM_32: facts->bitDepth = 32; break;
    case SF_FORMAT_FLOAT:
        facts->bitDepth = 32;
        facts->isFloatingPoint = true;
        break;
    case SF_FORMAT_DOUBLE:
        facts->bitDepth = 64;
        facts->isFloatingPoint = true;
        break;
    case SF_FORMAT_ULAW:
        facts->bitDepth = 8;
        facts->encoding = uLaw;
        break;
    case SF_FORMAT_ALAW:
        facts->bitDepth = 8;
        facts->encoding = aLaw;
        break;
    case SF_FORMAT_IMA_ADPCM:
        facts->bitDepth = 4;
        facts->encoding = IMA4;
        break;
    case SF_FORMAT_ALAC_16: facts->bitDepth = 16; facts->encoding = ALAC; break;
    case SF_FORMAT_ALAC_20: facts->bitDepth = 20; facts->encoding = ALAC; break;
    case SF_FORMAT_ALAC_24: facts->bitDepth = 24; facts->encoding = ALAC; break;
    case SF_FORMAT_ALAC_32: facts->bitDepth = 32; facts->encoding = ALAC; break;
    case SF_FORMAT_VORBIS: facts->bitDepth = 0; facts->encoding = Vorbis; break;
    case SF_FORMAT_MPEG_LAYER_III: facts->bitDepth = 0; facts->encoding = MPEG3; break;
    default:
        facts->bitDepth = 0;
        facts->encoding = 0;
        break;
    }
    if (major == SF_FORMAT_FLAC)
        facts->encoding = VMKAudioEncoding::FLAC;
}

// The exact frame count that a file of a block-based encoding states beside
// its blocks: the `fact` chunk of WAVE and Wave64, the packet table of Core
// Audio files.
// -1 when it has none.
qint64 statedFrames(const QString& path, Kind kind) {
    const VMKAudioChunkFile chunks = VMKAudioChunkFile::chunkFileWithPath(path);
    if (kind == Kind::WAVE) {
        if (const auto* fact = chunks.chunk("fact"); fact && fact->size >= 4) {
            const QByteArray bytes = chunks.readChunk(*fact, 4);
            return chunks.isBigEndian() ? qFromBigEndian<quint32>(bytes.constData())
                                        : qFromLittleEndian<quint32>(bytes.constData());
        }
    } else if (kind == Kind::Wave64) {
        if (const auto* fact = chunks.chunk("fact"); fact && fact->size >= 8) {
            const QByteArray bytes = chunks.readChunk(*fact, 8);
            return qint64(std::min<quint64>(qFromLittleEndian<quint64>(bytes.constData()), quint64(INT64_MAX)));
        }
    } else if (kind == Kind::CAF) {
        if (const auto* pakt = chunks.chunk("pakt"); pakt && pakt->size >= 24) {
            const QByteArray bytes = chunks.readChunk(*pakt, 24);
            return qFromBigEndian<qint64>(bytes.constData() + 8);  // mNumberValidFrames
        }
    }
    return -1;
}

} // namespace

VMKSndfileDecoder::~VMKSndfileDecoder() = default;

void VMKSndfileDecoder::closeFile(SNDFILE* file) { sf_close(file); }

namespace {

SF_INFO openingInfo(bool isHeaderless) {
    SF_INFO info{};
    if (isHeaderless) {
        info.samplerate = 8000;
        info.channels = 1;
        info.format = SF_FORMAT_RAW | SF_FORMAT_ULAW;
    }
    return info;
}

} // namespace

void VMKSndfileDecoder::reopen() {
    m_file.reset();
    SF_INFO info = openingInfo(m_isHeaderless);
    m_file.reset(sf_open(QFile::encodeName(m_url.path()).constData(), SFM_READ, &info));
    m_position = m_file ? 0 : -1;
}

std::unique_ptr<VMKAudioFileDecoder> VMKSndfileDecoder::decoderWithURL(const URL& url, const VMKAudioFileFormat& format,
                                                                       const QByteArray& head, VMKError* error) {
    const QString action = readingAction(url);
    SF_INFO info = openingInfo(format.kind == Kind::VOX);
    CHandle<SNDFILE, closeFile> file(sf_open(QFile::encodeName(url.path()).constData(), SFM_READ, &info));
    if (!file) {
        VMKError::set(error, VMKError::errorWithCode(
                                 VMKAudioFileErrorDamaged, action,
                                 QStringLiteral("the %1 can't be decoded (%2)").arg(format.name, QString::fromUtf8(sf_strerror(nullptr)))));
        return nullptr;
    }
    const int major = info.format & SF_FORMAT_TYPEMASK;
    const int subtype = info.format & SF_FORMAT_SUBMASK;
    if (!majorMatches(format.kind, major, subtype) || info.channels <= 0 || info.samplerate <= 0 || info.frames < 0) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorDamaged, action,
                                                     QStringLiteral("the %1 is damaged or of a kind that can't be read").arg(format.name)));
        return nullptr;
    }
    std::unique_ptr<VMKSndfileDecoder> decoder(new VMKSndfileDecoder);
    decoder->m_file = std::move(file);
    decoder->m_url = url;
    decoder->m_isHeaderless = format.kind == Kind::VOX;
    VMKAudioFileFacts& facts = decoder->m_facts;
    facts.format = &format;
    facts.frames = info.frames;
    facts.numberOfChannels = info.channels;
    facts.sampleRate = info.samplerate;
    describeSubtype(subtype, major, &facts);
    if (facts.encoding == VMKAudioEncoding::IMA4 || facts.encoding == VMKAudioEncoding::ALAC) {
        // Only a count within the last block is believed (some writers state
        // other things there).
        const qint64 exact = statedFrames(url.path(), format.kind);
        if (exact >= 0 && exact < facts.frames && exact > facts.frames - 8192)
            facts.frames = exact;
    }
    if (format.kind == Kind::MP3)
        facts.bitrate = mpegAverageBitrate(head);
    else if (format.kind == Kind::OggVorbis)
        facts.bitrate = vorbisNominalBitrate(head);
    else if (facts.encoding == VMKAudioEncoding::IMA4)
        facts.bitrate = quint32(info.samplerate * info.channels * 4);
    return decoder;
}

bool VMKSndfileDecoder::seek(qint64 frame, VMKError* error) {
    if (frame == m_position)
        return true;
    if (!m_file || sf_seek(m_file.get(), frame, SEEK_SET) < 0) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorRead, readingAction(m_url),
                                                     QStringLiteral("frame %1 can't be reached (%2)")
                                                         .arg(frame)
                                                         .arg(QString::fromUtf8(sf_strerror(m_file.get())))));
        reopen();
        return false;
    }
    m_position = frame;
    return true;
}

qint64 VMKSndfileDecoder::read(float* const* channels, qint64 frames, VMKError* error) {
    const int count = m_facts.numberOfChannels;
    constexpr qint64 block = 4096;
    if (m_interleaved.size() < size_t(block * count))
        m_interleaved.resize(size_t(block * count));
    qint64 done = 0;
    while (done < frames) {
        const qint64 want = std::min(block, frames - done);
        const sf_count_t got = sf_readf_float(m_file.get(), m_interleaved.data(), want);
        if (got < 0 || (got == 0 && sf_error(m_file.get()) != SF_ERR_NO_ERROR)) {
            VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorRead, readingAction(m_url),
                                                         QString::fromUtf8(sf_strerror(m_file.get()))));
            reopen();
            return -1;
        }
        deinterleave(m_interleaved.data(), channels, got, done);
        done += got;
        m_position += got;
        if (got < want)
            break;
    }
    return done;
}

} // namespace ondrel
