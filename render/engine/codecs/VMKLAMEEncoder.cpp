#include "render/engine/codecs/VMKLAMEEncoder.h"

#include <QtCore/QFile>

#include <lame/lame.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace ondrel {

VMKLAMEEncoder::~VMKLAMEEncoder() = default;

void VMKLAMEEncoder::closeEncoder(lame_global_struct* lame) { lame_close(lame); }

bool VMKLAMEEncoder::open(VMKError* outError) {
    const QVariantMap& p = m_settings.properties;
    m_lame.reset(lame_init());
    lame_global_struct* lame = m_lame.get();
    if (!lame) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QStringLiteral("the MP3 encoder can't start")));
        return false;
    }
    const int channels = m_settings.numberOfChannels;
    const int rate = int(m_settings.sampleRate);
    lame_set_num_channels(lame, channels);
    lame_set_in_samplerate(lame, rate);
    lame_set_out_samplerate(lame, rate);
    const bool joint = p.value(QStringLiteral("useJointStereo")).toBool();
    lame_set_mode(lame, channels == 1 ? MONO : joint ? JOINT_STEREO : STEREO);
    const int kbps = m_settings.bitrate > 0 ? int(std::lround(m_settings.bitrate / 1000.0)) : 160;
    const double quality = std::clamp(p.value(QStringLiteral("quality"), 0.8).toDouble(), 0.0, 1.0);
    const QString method = p.value(QStringLiteral("method"), QStringLiteral("cbr")).toString().toLower();
    if (method == QLatin1String("vbr")) {
        lame_set_VBR(lame, vbr_default);
        lame_set_VBR_quality(lame, float((1.0 - quality) * 9.0));
    } else if (method == QLatin1String("abr")) {
        lame_set_VBR(lame, vbr_abr);
        lame_set_VBR_mean_bitrate_kbps(lame, std::clamp(kbps, 8, 320));
    } else {
        lame_set_VBR(lame, vbr_off);
        lame_set_brate(lame, std::clamp(kbps, 8, 320));
        lame_set_quality(lame, int(std::lround((1.0 - quality) * 9.0)));
    }
    lame_set_bWriteVbrTag(lame, 1);
    if (lame_init_params(lame) < 0) {
        VMKError::set(outError, error(VMKAudioFileErrorUnsupported,
                                      QStringLiteral("the MP3 encoder refuses %1 channels at %2 Hz and %3 kbit/s")
                                          .arg(channels)
                                          .arg(rate)
                                          .arg(kbps)));
        return false;
    }
    m_file.reset(std::fopen(QFile::encodeName(m_path).constData(), "wb+"));
    if (!m_file) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    return true;
}

bool VMKLAMEEncoder::put(const unsigned char* bytes, int count, VMKError* outError) {
    if (count < 0) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QStringLiteral("the MP3 encoder failed (%1)").arg(count)));
        return false;
    }
    if (count > 0 && std::fwrite(bytes, 1, size_t(count), m_file.get()) != size_t(count)) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    return true;
}

bool VMKLAMEEncoder::write(const float* const* channels, qint64 frames, VMKError* outError) {
    for (qint64 done = 0; done < frames;) {
        const int n = int(std::min<qint64>(frames - done, 8192));
        const size_t needed = size_t(n) * 5 / 4 + 7200;
        if (m_buffer.size() < needed)
            m_buffer.resize(needed);
        // LAME aborts on a NaN: it gets finite copies.
        if (m_finite.size() < size_t(2 * n))
            m_finite.resize(size_t(2 * n));
        float* left = m_finite.data();
        float* right = left + n;
        copyFinite(channels[0] + done, n, left);
        if (m_settings.numberOfChannels > 1)
            copyFinite(channels[1] + done, n, right);
        else
            right = left;
        const int bytes = lame_encode_buffer_ieee_float(m_lame.get(), left, right, n, m_buffer.data(), int(m_buffer.size()));
        if (!put(m_buffer.data(), bytes, outError))
            return false;
        done += n;
    }
    return true;
}

bool VMKLAMEEncoder::finish(VMKError* outError) {
    if (!m_file)
        return true;
    if (m_buffer.size() < 7200)
        m_buffer.resize(7200);
    bool ok = put(m_buffer.data(), lame_encode_flush(m_lame.get(), m_buffer.data(), int(m_buffer.size())), outError);
    if (ok) {
        // The LAME tag goes into the first frame, kept free for it.
        unsigned char tag[2880];
        const size_t size = lame_get_lametag_frame(m_lame.get(), tag, sizeof tag);
        if (size > 0 && size <= sizeof tag) {
            std::fseek(m_file.get(), 0, SEEK_SET);
            ok = put(tag, int(size), outError);
        }
    }
    // Closed here rather than by the handle: a failed close is a failed write.
    if (std::fclose(m_file.release()) != 0 && ok) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromLocal8Bit(std::strerror(errno))));
        ok = false;
    }
    return ok;
}

} // namespace ondrel
