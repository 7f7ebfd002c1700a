#include "render/engine/codecs/VMKFLACEncoder.h"

#include "render/engine/graph/CHandle.h"

#include <QtCore/QFile>

#include <FLAC/metadata.h>
#include <FLAC/stream_encoder.h>

#include <algorithm>
#include <cmath>

namespace ondrel {

struct VMKFLACEncoder::State {
    // The encoder refers to the seek table until it is finished: it goes first.
    CHandle<FLAC__StreamMetadata, FLAC__metadata_object_delete> seekTable;
    // Deleting an encoder finishes it.
    CHandle<FLAC__StreamEncoder, FLAC__stream_encoder_delete> encoder;
};

VMKFLACEncoder::VMKFLACEncoder() : m_state(std::make_unique<State>()) {}

VMKFLACEncoder::~VMKFLACEncoder() = default;

bool VMKFLACEncoder::open(VMKError* outError) {
    const QVariantMap& p = m_settings.properties;
    m_state->encoder.reset(FLAC__stream_encoder_new());
    FLAC__StreamEncoder* encoder = m_state->encoder.get();
    if (!encoder) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, QStringLiteral("out of memory")));
        return false;
    }
    FLAC__stream_encoder_set_channels(encoder, unsigned(m_settings.numberOfChannels));
    FLAC__stream_encoder_set_bits_per_sample(encoder, unsigned(m_settings.bitDepth));
    FLAC__stream_encoder_set_sample_rate(encoder, unsigned(m_settings.sampleRate));

    unsigned level = 5;
    if (p.contains(QStringLiteral("compression"))) {
        const double value = p.value(QStringLiteral("compression")).toDouble();
        level = unsigned(std::clamp(value <= 1.0 ? std::lround(value * 8.0) : std::lround(value), 0L, 8L));
    }
    FLAC__stream_encoder_set_compression_level(encoder, level);

    if (m_settings.numberOfChannels == 2 && p.contains(QStringLiteral("midSideEncoding"))) {
        const QVariant value = p.value(QStringLiteral("midSideEncoding"));
        const QString text = value.toString().toLower();
        const bool disabled = text == QLatin1String("disabled") || text == QLatin1String("false") ||
                              text == QLatin1String("0") || text == QLatin1String("off");
        FLAC__stream_encoder_set_do_mid_side_stereo(encoder, !disabled);
        FLAC__stream_encoder_set_loose_mid_side_stereo(encoder, text == QLatin1String("adaptive"));
    }
    if (p.contains(QStringLiteral("qlpPrecision"))) {
        bool isNumber = false;
        const int bits = p.value(QStringLiteral("qlpPrecision")).toString().toInt(&isNumber);
        FLAC__stream_encoder_set_qlp_coeff_precision(encoder, isNumber ? unsigned(std::clamp(bits, 5, 15)) : 0);
    }
    if (p.contains(QStringLiteral("orderModels")))
        FLAC__stream_encoder_set_do_exhaustive_model_search(
            encoder, p.value(QStringLiteral("orderModels")).toString().toLower() == QLatin1String("exhaustive"));
    if (p.contains(QStringLiteral("maxOrder"))) {
        const unsigned order = unsigned(std::clamp(p.value(QStringLiteral("maxOrder")).toInt(), 0, 32));
        FLAC__stream_encoder_set_max_lpc_order(encoder, order);
        // Orders above 12 at up to 48 kHz leave the streamable subset.
        if (order > 12 && m_settings.sampleRate <= 48000)
            FLAC__stream_encoder_set_streamable_subset(encoder, false);
    }
    if (m_settings.expectedFrames > 0) {
        FLAC__stream_encoder_set_total_samples_estimate(encoder, FLAC__uint64(m_settings.expectedFrames));
        m_state->seekTable.reset(FLAC__metadata_object_new(FLAC__METADATA_TYPE_SEEKTABLE));
        FLAC__StreamMetadata* seekTable = m_state->seekTable.get();
        if (seekTable &&
            FLAC__metadata_object_seektable_template_append_spaced_points_by_samples(
                seekTable, unsigned(m_settings.sampleRate) * 10, FLAC__uint64(m_settings.expectedFrames)) &&
            FLAC__metadata_object_seektable_template_sort(seekTable, true))
            FLAC__stream_encoder_set_metadata(encoder, &seekTable, 1);
    }
    const FLAC__StreamEncoderInitStatus status =
        FLAC__stream_encoder_init_file(encoder, QFile::encodeName(m_path).constData(), nullptr, nullptr);
    if (status != FLAC__STREAM_ENCODER_INIT_STATUS_OK) {
        VMKError::set(outError, error(status == FLAC__STREAM_ENCODER_INIT_STATUS_ENCODER_ERROR
                                          ? VMKAudioFileErrorWrite
                                          : VMKAudioFileErrorUnsupported,
                                      QString::fromUtf8(FLAC__StreamEncoderInitStatusString[status])));
        return false;
    }
    return true;
}

bool VMKFLACEncoder::write(const float* const* channels, qint64 frames, VMKError* outError) {
    const int count = m_settings.numberOfChannels;
    const size_t needed = size_t(frames) * size_t(count);
    if (m_samples.size() < needed)
        m_samples.resize(needed);
    interleaveIntegers(channels, count, frames, m_settings.bitDepth, m_samples.data());
    // libFLAC wants right-aligned samples.
    const int shift = 32 - m_settings.bitDepth;
    for (size_t i = 0; i < needed; ++i)
        m_samples[i] >>= shift;
    if (!FLAC__stream_encoder_process_interleaved(m_state->encoder.get(), m_samples.data(), unsigned(frames))) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite,
                                      QString::fromUtf8(FLAC__stream_encoder_get_resolved_state_string(m_state->encoder.get()))));
        return false;
    }
    return true;
}

bool VMKFLACEncoder::finish(VMKError* outError) {
    if (!m_state->encoder)
        return true;
    const bool ok = FLAC__stream_encoder_finish(m_state->encoder.get());
    const QString state = QString::fromUtf8(FLAC__stream_encoder_get_resolved_state_string(m_state->encoder.get()));
    m_state->encoder.reset();
    if (!ok) {
        VMKError::set(outError, error(VMKAudioFileErrorWrite, state));
        return false;
    }
    return true;
}

} // namespace ondrel
