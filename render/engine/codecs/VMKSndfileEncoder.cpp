#include "render/engine/codecs/VMKSndfileEncoder.h"

#include "render/engine/files/VMKAudioChunkFile.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

#include <sndfile.h>

#include <algorithm>

namespace ondrel {

namespace {

using Kind = VMKAudioFileFormat::Kind;

int majorFormat(Kind kind) {
    switch (kind) {
    case Kind::WAVE: return SF_FORMAT_RF64;  // written as plain WAVE unless it grows past 4 GB
    case Kind::AIFF: return SF_FORMAT_AIFF;
    case Kind::AU: return SF_FORMAT_AU;
    case Kind::Wave64: return SF_FORMAT_W64;
    case Kind::CAF: return SF_FORMAT_CAF;
    case Kind::VOX: return SF_FORMAT_RAW;
    default: return 0;
    }
}

int subtypeFormat(const VMKAudioFileEncoderSettings& s) {
    using namespace VMKAudioEncoding;
    switch (s.encoding) {
    case uLaw: return SF_FORMAT_ULAW;
    case aLaw: return SF_FORMAT_ALAW;
    case IMA4: return SF_FORMAT_IMA_ADPCM;
    case ALAC:
        return s.bitDepth == 16 ? SF_FORMAT_ALAC_16 : s.bitDepth == 20 ? SF_FORMAT_ALAC_20
                                                  : s.bitDepth == 24 ? SF_FORMAT_ALAC_24
                                                                     : SF_FORMAT_ALAC_32;
    default:
        break;
    }
    if (s.isFloatingPoint)
        return s.bitDepth == 64 ? SF_FORMAT_DOUBLE : SF_FORMAT_FLOAT;
    switch (s.bitDepth) {
    case 8: return (s.format->kind == Kind::WAVE || s.format->kind == Kind::Wave64) ? SF_FORMAT_PCM_U8 : SF_FORMAT_PCM_S8;
    case 16: return SF_FORMAT_PCM_16;
    case 24: return SF_FORMAT_PCM_24;
    default: return SF_FORMAT_PCM_32;
    }
}

const int* waveChannelMap(int channels) {
    enum {
        L = SF_CHANNEL_MAP_LEFT,
        R = SF_CHANNEL_MAP_RIGHT,
        C = SF_CHANNEL_MAP_CENTER,
        LFE = SF_CHANNEL_MAP_LFE,
        BL = SF_CHANNEL_MAP_REAR_LEFT,
        BR = SF_CHANNEL_MAP_REAR_RIGHT,
        BC = SF_CHANNEL_MAP_REAR_CENTER,
        SL = SF_CHANNEL_MAP_SIDE_LEFT,
        SR = SF_CHANNEL_MAP_SIDE_RIGHT
    };
    static const int three[] = {L, R, C};
    static const int four[] = {L, R, BL, BR};
    static const int five[] = {L, R, C, BL, BR};
    static const int six[] = {L, R, C, LFE, BL, BR};
    static const int seven[] = {L, R, C, LFE, BC, SL, SR};
    static const int eight[] = {L, R, C, LFE, BL, BR, SL, SR};
    switch (channels) {
    case 3: return three;
    case 4: return four;
    case 5: return five;
    case 6: return six;
    case 7: return seven;
    case 8: return eight;
    default: return nullptr;
    }
}

} // namespace

VMKSndfileEncoder::~VMKSndfileEncoder() = default;

void VMKSndfileEncoder::closeFile(SNDFILE* file) { sf_close(file); }

bool VMKSndfileEncoder::open(VMKError* outError) {
    SF_INFO info{};
    info.samplerate = int(m_settings.sampleRate);
    info.channels = m_settings.numberOfChannels;
    info.format = majorFormat(m_settings.format->kind) | subtypeFormat(m_settings);
    // ADPCM blocks have no place in RF64: such files stay plain WAVE.
    const bool large = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RF64;
    if (large && m_settings.encoding == VMKAudioEncoding::IMA4)
        info.format = SF_FORMAT_WAV | subtypeFormat(m_settings);
    if (!sf_format_check(&info)) {
        VMKError::set(outError, error(VMKAudioFileErrorUnsupported,
                                      QStringLiteral("a %1 can't hold %2 channels of this encoding at %3 bits")
                                          .arg(m_settings.format->name)
                                          .arg(m_settings.numberOfChannels)
                                          .arg(m_settings.bitDepth)));
        return false;
    }
    m_file.reset(sf_open(QFile::encodeName(m_path).constData(), SFM_WRITE, &info));
    if (!m_file) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromUtf8(sf_strerror(nullptr))));
        return false;
    }
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RF64)
        sf_command(m_file.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    // The speakers of WAVE order, as the other formats written here have
    // them (left without a map, libsndfile calls eight channels the old
    // "wide" 7.1 and leaves three, five and seven unknown).
    if (const int* map = waveChannelMap(m_settings.numberOfChannels);
        map && (m_settings.format->kind == Kind::WAVE || m_settings.format->kind == Kind::Wave64))
        sf_command(m_file.get(), SFC_SET_CHANNEL_MAP_INFO, const_cast<int*>(map),
                   int(sizeof(int)) * m_settings.numberOfChannels);
    using namespace VMKAudioEncoding;
    m_writesIntegers = (m_settings.encoding == PCM && !m_settings.isFloatingPoint) || m_settings.encoding == ALAC;
    // libsndfile neither clips nor bounds floats beyond full scale (or NaNs)
    // on their way into µLaw, ALaw or ADPCM: they wrap or index past its tables.
    m_clipsFloats = m_settings.encoding != PCM;
    return true;
}

bool VMKSndfileEncoder::write(const float* const* channels, qint64 frames, VMKError* outError) {
    const int count = m_settings.numberOfChannels;
    const size_t needed = size_t(frames) * size_t(count);
    sf_count_t written;
    if (m_writesIntegers) {
        if (m_integers.size() < needed)
            m_integers.resize(needed);
        interleaveIntegers(channels, count, frames, m_settings.bitDepth, m_integers.data());
        written = sf_writef_int(m_file.get(), m_integers.data(), frames);
    } else {
        if (m_floats.size() < needed)
            m_floats.resize(needed);
        interleaveFloats(channels, count, frames, m_floats.data());
        if (m_clipsFloats)
            for (size_t i = 0; i < needed; ++i) {
                const float x = m_floats[i];  // a NaN would index its tables anywhere: silence
                m_floats[i] = x == x ? std::clamp(x, -1.0f, 1.0f) : 0.0f;
            }
        written = sf_writef_float(m_file.get(), m_floats.data(), frames);
    }
    m_frames += written;
    if (written != frames) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromUtf8(sf_strerror(m_file.get()))));
        return false;
    }
    return true;
}

bool VMKSndfileEncoder::finish(VMKError* outError) {
    if (!m_file)
        return true;
    // Closed here rather than by the handle: the outcome of the last writes
    // is known only from the close.
    const int result = sf_close(m_file.release());
    if (result != 0) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromUtf8(sf_error_number(result))));
        return false;
    }
    correctLength();
    return true;
}

void VMKSndfileEncoder::correctLength() const {
    // libsndfile counts the pad byte of an odd-sized AIFF sound chunk as a
    // frame, and states the frames of ADPCM WAVE and Wave64 files wrongly
    // (whole blocks, or half of them for two channels): state the frames
    // written.
    const auto kind = m_settings.format->kind;
    if (kind == Kind::AIFF) {
        const int bytesPerFrame = m_settings.numberOfChannels * (m_settings.bitDepth / 8);
        const qint64 bytes = m_frames * bytesPerFrame;
        // One byte a sample (8-bit PCM, µLaw, ALaw) is the only way to an odd size.
        if (!(bytes & 1))
            return;
        QByteArray frames(4, '\0');
        qToBigEndian<quint32>(quint32(m_frames), frames.data());
        VMKAudioChunkFile::patchChunk(m_path, "COMM", 2, frames);
        VMKAudioChunkFile::patchChunkSize(m_path, "SSND", quint32(8 + bytes));
    } else if (kind == Kind::WAVE && m_settings.encoding == VMKAudioEncoding::IMA4) {
        QByteArray frames(4, '\0');
        qToLittleEndian<quint32>(quint32(m_frames), frames.data());
        VMKAudioChunkFile::patchChunk(m_path, "fact", 0, frames);
    } else if (kind == Kind::Wave64 && m_settings.encoding == VMKAudioEncoding::IMA4) {
        // Wave64 counts in 64 bits, and libsndfile states whole blocks there.
        QByteArray frames(8, '\0');
        qToLittleEndian<quint64>(quint64(m_frames), frames.data());
        VMKAudioChunkFile::patchChunk(m_path, "fact", 0, frames);
    }
}

} // namespace ondrel
