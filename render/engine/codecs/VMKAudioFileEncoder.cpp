#include "render/engine/codecs/VMKAudioFileEncoder.h"

#include "render/engine/codecs/VMKFFmpegEncoder.h"
#include "render/engine/codecs/VMKFLACEncoder.h"
#include "render/engine/codecs/VMKLAMEEncoder.h"
#include "render/engine/codecs/VMKSndfileEncoder.h"
#include "render/engine/codecs/VMKVorbisEncoder.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

using Kind = VMKAudioFileFormat::Kind;

QString VMKAudioFileEncoder::writingAction(const QString& path) {
    return QStringLiteral("Writing the audio file “%1”").arg(path.section(QLatin1Char('/'), -1));
}

VMKError VMKAudioFileEncoder::error(int code, const QString& reason) const {
    return VMKError::errorWithCode(code, writingAction(m_path), reason);
}

bool VMKAudioFileEncoder::resolveSettings(VMKAudioFileEncoderSettings& s, VMKError* error) {
    auto fail = [&](const QString& reason) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorUnsupported,
                                                     QStringLiteral("Choosing the output format"), reason));
        return false;
    };
    if (!s.format)
        return fail(QStringLiteral("no output format is set"));
    const VMKAudioFileFormat& format = *s.format;
    if (s.encoding == 0)
        s.encoding = format.encodings.front();
    if (!format.hasEncoding(s.encoding))
        return fail(QStringLiteral("a %1 can't hold the encoding “%2”")
                        .arg(format.name, VMKAudioFileFormat::stringWithFourCharCode(s.encoding)));
    if (s.numberOfChannels <= 0 || s.numberOfChannels > 64)
        return fail(QStringLiteral("%1 channels can't be written").arg(s.numberOfChannels));
    if (!(s.sampleRate >= 1.0 && s.sampleRate <= 1536000.0) || s.sampleRate != std::floor(s.sampleRate))
        return fail(QStringLiteral("the sample rate %1 Hz can't be written").arg(s.sampleRate));
    using namespace VMKAudioEncoding;
    switch (s.encoding) {
    case PCM:
        if (s.isFloatingPoint) {
            s.bitDepth = s.bitDepth > 32 ? 64 : 32;
        } else {
            if (s.bitDepth <= 0)
                s.bitDepth = 16;
            s.bitDepth = s.bitDepth <= 8 ? 8 : s.bitDepth <= 16 ? 16 : s.bitDepth <= 24 ? 24 : 32;
        }
        break;
    case uLaw:
    case aLaw:
        s.bitDepth = 8;
        s.isFloatingPoint = false;
        break;
    case IMA4:
        s.bitDepth = 4;
        s.isFloatingPoint = false;
        break;
    case FLAC:
        // Integer samples of 8 to 24 bits: a deeper or floating point source is written at 24.
        if (s.bitDepth <= 0)
            s.bitDepth = 16;
        s.bitDepth = std::clamp(s.isFloatingPoint ? 24 : s.bitDepth, 8, 24);
        s.isFloatingPoint = false;
        break;
    case ALAC:
        if (s.bitDepth <= 0)
            s.bitDepth = 16;
        // Our Apple Lossless encoder goes to 24 bits in either container.
        s.bitDepth = s.isFloatingPoint || s.bitDepth > 24       ? 24
                     : s.bitDepth <= 16                           ? 16
                     : s.bitDepth <= 20 && format.kind == Kind::CAF ? 20
                                                                    : 24;
        s.isFloatingPoint = false;
        break;
    default:  // lossy: no depth
        s.bitDepth = 0;
        s.isFloatingPoint = false;
        break;
    }
    if (format.kind == Kind::VOX && (s.sampleRate != 8000.0 || s.numberOfChannels != 1))
        return fail(QStringLiteral("a VOX Audio File holds one channel at 8000 Hz, not %1 at %2 Hz")
                        .arg(s.numberOfChannels)
                        .arg(s.sampleRate));
    if (format.kind == Kind::MP3) {
        static const double rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
        if (std::find(std::begin(rates), std::end(rates), s.sampleRate) == std::end(rates))
            return fail(QStringLiteral("an MP3 Audio File can't have the sample rate %1 Hz").arg(s.sampleRate));
        if (s.numberOfChannels > 2)
            return fail(QStringLiteral("an MP3 Audio File holds one or two channels, not %1").arg(s.numberOfChannels));
    }
    if (format.kind == Kind::OggVorbis && s.numberOfChannels > 8)
        return fail(QStringLiteral("an Ogg Vorbis Audio File holds at most 8 channels"));
    if (s.encoding == AAC && (s.numberOfChannels > 8 || s.sampleRate > 96000))
        return fail(QStringLiteral("AAC holds at most 8 channels at up to 96000 Hz"));
    if (format.kind == Kind::FLAC && (s.numberOfChannels > 8 || s.sampleRate > 655350))
        return fail(QStringLiteral("a FLAC Audio File holds at most 8 channels"));
    return true;
}

std::unique_ptr<VMKAudioFileEncoder> VMKAudioFileEncoder::encoderWithSettings(const VMKAudioFileEncoderSettings& settings,
                                                                              const QString& path, VMKError* error) {
    VMKAudioFileEncoderSettings resolved = settings;
    if (!resolveSettings(resolved, error))
        return nullptr;
    std::unique_ptr<VMKAudioFileEncoder> encoder;
    switch (resolved.format->writeLibraryForEncoding(resolved.encoding)) {
    case VMKAudioFileFormat::Library::Sndfile: encoder = std::make_unique<VMKSndfileEncoder>(); break;
    case VMKAudioFileFormat::Library::LibFLAC: encoder = std::make_unique<VMKFLACEncoder>(); break;
    case VMKAudioFileFormat::Library::LibVorbis: encoder = std::make_unique<VMKVorbisEncoder>(); break;
    case VMKAudioFileFormat::Library::LAME: encoder = std::make_unique<VMKLAMEEncoder>(); break;
    case VMKAudioFileFormat::Library::FFmpeg: encoder = std::make_unique<VMKFFmpegEncoder>(); break;
    }
    encoder->m_settings = resolved;
    encoder->m_path = path;
    if (!encoder->open(error))
        return nullptr;
    return encoder;
}

void VMKAudioFileEncoder::interleaveIntegers(const float* const* channels, int count, qint64 frames, int bits,
                                             int32_t* out) {
    // A NaN is no sample (it would convert to anything, in 32 bits to -1.0):
    // it becomes silence.
    if (bits == 32) {
        for (int c = 0; c < count; ++c)
            for (qint64 i = 0; i < frames; ++i) {
                const double x = double(channels[c][i]) * 2147483648.0;
                out[i * count + c] = int32_t(std::clamp(std::nearbyint(x == x ? x : 0.0), -2147483648.0, 2147483647.0));
            }
        return;
    }
    // Rounding to nearest (ties to even) by adding and taking away 1.5 * 2^52,
    // which the compiler vectorizes where nearbyint is a library call; the
    // values are first kept within the grid's reach, where it is exact. The
    // conversion runs over a stretch of one channel at a time, contiguous so
    // that it vectorizes, and the stretch is then spread into the frames.
    constexpr double kMagic = 6755399441055744.0;
    constexpr qint64 kStretch = 512;
    const double scale = double(1u << (bits - 1));
    const double top = scale - 1.0;
    const uint32_t step = uint32_t(1) << (32 - bits);
    alignas(64) int32_t converted[kStretch];
    for (qint64 start = 0; start < frames; start += kStretch) {
        const qint64 n = std::min(kStretch, frames - start);
        for (int c = 0; c < count; ++c) {
            const float* in = channels[c] + start;
            for (qint64 i = 0; i < n; ++i) {
                const double x = double(in[i]) * scale;
                const double kept = std::clamp(x == x ? x : 0.0, -scale - 1.0, scale);
                const double v = std::clamp((kept + kMagic) - kMagic, -scale, top);
                converted[i] = int32_t(uint32_t(int32_t(v)) * step);
            }
            int32_t* o = out + start * count + c;
            for (qint64 i = 0; i < n; ++i)
                o[i * count] = converted[i];
        }
    }
}

void VMKAudioFileEncoder::interleaveFloats(const float* const* channels, int count, qint64 frames, float* out) {
    for (int c = 0; c < count; ++c) {
        const float* in = channels[c];
        float* o = out + c;
        for (qint64 i = 0; i < frames; ++i)
            o[i * count] = in[i];
    }
}

void VMKAudioFileEncoder::copyFinite(const float* in, qint64 frames, float* out) {
    for (qint64 i = 0; i < frames; ++i) {
        const float x = in[i];
        out[i] = std::isinf(x) ? std::copysign(1.0f, x) : x == x ? x : 0.0f;
    }
}

} // namespace ondrel
