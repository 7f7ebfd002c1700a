#include "render/engine/codecs/VMKVorbisEncoder.h"

#include "render/engine/graph/CHandle.h"

#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>

#include <vorbis/vorbisenc.h>

#include <algorithm>
#include <cstring>

namespace ondrel {

namespace {

// libvorbis and libogg states live in memory of ours between their init and
// their clear call: held here, they are cleared and freed together.
template <typename T, auto Clear>
void clearAndDelete(T* state) {
    Clear(state);
    delete state;
}
template <typename T, auto Clear>
using ClearedState = CHandle<T, clearAndDelete<T, Clear>>;

long bitsPerSecond(const QVariant& value) {
    const double v = value.toDouble();
    if (v <= 0)
        return -1;
    return long(v > 1000 ? v : v * 1000.0);
}

} // namespace

const int* VMKVorbisEncoder::vorbisChannelOrder(int channels) {
    static const int three[] = {0, 2, 1};
    static const int five[] = {0, 2, 1, 3, 4};
    static const int six[] = {0, 2, 1, 4, 5, 3};
    static const int seven[] = {0, 2, 1, 5, 6, 4, 3};
    static const int eight[] = {0, 2, 1, 6, 7, 4, 5, 3};
    switch (channels) {
    case 3: return three;
    case 5: return five;
    case 6: return six;
    case 7: return seven;
    case 8: return eight;
    default: return nullptr;
    }
}

// Each part refers to those above it, and is cleared before them.
struct VMKVorbisEncoder::State {
    ClearedState<vorbis_info, vorbis_info_clear> info;
    ClearedState<vorbis_comment, vorbis_comment_clear> comment;
    ClearedState<vorbis_dsp_state, vorbis_dsp_clear> dsp;
    ClearedState<vorbis_block, vorbis_block_clear> block;
    ClearedState<ogg_stream_state, ogg_stream_clear> stream;
};

VMKVorbisEncoder::VMKVorbisEncoder() : m_state(std::make_unique<State>()) {}

VMKVorbisEncoder::~VMKVorbisEncoder() = default;

bool VMKVorbisEncoder::open(VMKError* outError) {
    State& s = *m_state;
    const QVariantMap& p = m_settings.properties;
    s.info.reset(new vorbis_info);
    vorbis_info_init(s.info.get());
    s.comment.reset(new vorbis_comment);
    vorbis_comment_init(s.comment.get());
    const long channels = m_settings.numberOfChannels;
    const long rate = long(m_settings.sampleRate);
    const QString method = p.value(QStringLiteral("method"), QStringLiteral("variable")).toString().toLower();
    const long target = bitsPerSecond(p.value(QStringLiteral("targetBitRate")));
    const long minimum = bitsPerSecond(p.value(QStringLiteral("minimumBitRate")));
    const long maximum = bitsPerSecond(p.value(QStringLiteral("maximumBitRate")));
    int result;
    if (method == QLatin1String("average") && target > 0) {
        result = vorbis_encode_setup_managed(s.info.get(), channels, rate, -1, target, -1);
        if (result == 0)
            result = vorbis_encode_ctl(s.info.get(), OV_ECTL_RATEMANAGE2_SET, nullptr);  // soft average
    } else if ((method == QLatin1String("constrained") || method == QLatin1String("managed")) &&
               (target > 0 || minimum > 0 || maximum > 0)) {
        result = vorbis_encode_setup_managed(s.info.get(), channels, rate, maximum, target, minimum);
    } else if ((method == QLatin1String("constant") || method == QLatin1String("cbr")) && target > 0) {
        result = vorbis_encode_setup_managed(s.info.get(), channels, rate, target, target, target);
    } else {
        const float quality = p.contains(QStringLiteral("quality"))
                                  ? float(std::clamp(p.value(QStringLiteral("quality")).toDouble(), -0.1, 1.0))
                                  : 0.4f;
        result = vorbis_encode_setup_vbr(s.info.get(), channels, rate, quality);
    }
    if (result == 0 && p.contains(QStringLiteral("lowpassFilter"))) {
        double kHz = p.value(QStringLiteral("lowpassFilter")).toDouble();
        if (kHz > 99.0)
            kHz /= 1000.0;
        kHz = std::clamp(kHz, 2.0, 99.0);
        result = vorbis_encode_ctl(s.info.get(), OV_ECTL_LOWPASS_SET, &kHz);
    }
    if (result == 0 && p.contains(QStringLiteral("impulseBias"))) {
        double bias = std::clamp(p.value(QStringLiteral("impulseBias")).toDouble(), -15.0, 0.0);
        result = vorbis_encode_ctl(s.info.get(), OV_ECTL_IBLOCK_SET, &bias);
    }
    if (result == 0)
        result = vorbis_encode_setup_init(s.info.get());
    if (result != 0) {
        VMKError::set(outError, error(VMKAudioFileErrorUnsupported,
                                      QStringLiteral("the Vorbis encoder refuses %1 channels at %2 Hz with these settings")
                                          .arg(channels)
                                          .arg(rate)));
        return false;
    }
    vorbis_comment_add_tag(s.comment.get(), "ENCODER", "Ondrel");
    s.dsp.reset(new vorbis_dsp_state);
    vorbis_analysis_init(s.dsp.get(), s.info.get());
    s.block.reset(new vorbis_block);
    vorbis_block_init(s.dsp.get(), s.block.get());
    s.stream.reset(new ogg_stream_state);
    ogg_stream_init(s.stream.get(), int(QRandomGenerator::global()->generate() & 0x7fffffff));

    m_file.reset(std::fopen(QFile::encodeName(m_path).constData(), "wb"));
    if (!m_file) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    ogg_packet header, comments, codebooks;
    vorbis_analysis_headerout(s.dsp.get(), s.comment.get(), &header, &comments, &codebooks);
    ogg_stream_packetin(s.stream.get(), &header);
    ogg_stream_packetin(s.stream.get(), &comments);
    ogg_stream_packetin(s.stream.get(), &codebooks);
    return flushPages(true, outError);
}

bool VMKVorbisEncoder::flushPages(bool force, VMKError* outError) {
    ogg_page page;
    while (force ? ogg_stream_flush(m_state->stream.get(), &page) : ogg_stream_pageout(m_state->stream.get(), &page)) {
        if (std::fwrite(page.header, 1, size_t(page.header_len), m_file.get()) != size_t(page.header_len) ||
            std::fwrite(page.body, 1, size_t(page.body_len), m_file.get()) != size_t(page.body_len)) {
            VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromLocal8Bit(std::strerror(errno))));
            return false;
        }
    }
    return true;
}

bool VMKVorbisEncoder::drain(VMKError* outError) {
    State& s = *m_state;
    ogg_packet packet;
    while (vorbis_analysis_blockout(s.dsp.get(), s.block.get()) == 1) {
        vorbis_analysis(s.block.get(), nullptr);
        vorbis_bitrate_addblock(s.block.get());
        while (vorbis_bitrate_flushpacket(s.dsp.get(), &packet)) {
            ogg_stream_packetin(s.stream.get(), &packet);
            if (!flushPages(false, outError))
                return false;
        }
    }
    return true;
}

bool VMKVorbisEncoder::write(const float* const* channels, qint64 frames, VMKError* outError) {
    State& s = *m_state;
    for (qint64 done = 0; done < frames;) {
        const int n = int(std::min<qint64>(frames - done, 4096));
        float** buffer = vorbis_analysis_buffer(s.dsp.get(), n);
        const int* order = vorbisChannelOrder(m_settings.numberOfChannels);
        for (int c = 0; c < m_settings.numberOfChannels; ++c)
            copyFinite(channels[order ? order[c] : c] + done, n, buffer[c]);
        vorbis_analysis_wrote(s.dsp.get(), n);
        if (!drain(outError))
            return false;
        done += n;
    }
    return true;
}

bool VMKVorbisEncoder::finish(VMKError* outError) {
    if (!m_file)
        return true;
    vorbis_analysis_wrote(m_state->dsp.get(), 0);
    bool ok = drain(outError) && flushPages(true, outError);
    // Closed here rather than by the handle: a failed close is a failed write.
    if (std::fclose(m_file.release()) != 0 && ok) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QString::fromLocal8Bit(std::strerror(errno))));
        ok = false;
    }
    return ok;
}

} // namespace ondrel
