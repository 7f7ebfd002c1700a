#include "render/engine/waveforms/VMKMinMaxWaveform.h"

#include <QtCore/QtEndian>

#include <cmath>

namespace ondrel {

const ClassInfo& VMKMinMaxWaveform::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<VMKMinMaxWaveform, VMKWaveform>(QStringLiteral("VMKMinMaxWaveform"))
            .addProperty(
                QStringLiteral("table"),
                [](const Object* o) { return QVariant(static_cast<const VMKMinMaxWaveform*>(o)->table()); },
                [](Object* o, const QVariant& v) { static_cast<VMKMinMaxWaveform*>(o)->setData(v.toByteArray()); });
    return info;
}

std::shared_ptr<VMKMinMaxWaveform> VMKMinMaxWaveform::waveform() { return std::make_shared<VMKMinMaxWaveform>(); }

int64_t VMKMinMaxWaveform::tableLengthForFrames(int64_t frames) {
    return frames < 0 ? 4 : 4 * (frames / kFramesPerValue + 1);
}

int16_t VMKMinMaxWaveform::tableValueForSample(float sample) {
    const float scaled = sample * 32767.0f;
    if (!(scaled > -32768.0f))  // also NaN
        return std::isnan(scaled) ? 0 : -32768;
    if (scaled >= 32767.0f)
        return 32767;
    return int16_t(scaled);  // cut towards zero
}

void VMKMinMaxWaveform::setValuesAtIndex(int64_t index, float largest, float smallest) {
    if (index < 0)
        return;
    const qsizetype needed = qsizetype(4 * (index + 1));
    if (m_table.size() < needed)
        m_table.append(needed - m_table.size(), '\0');
    auto* entry = reinterpret_cast<uchar*>(m_table.data()) + 4 * index;
    qToLittleEndian<qint16>(tableValueForSample(largest), entry);
    qToLittleEndian<qint16>(tableValueForSample(smallest), entry + 2);
}

void VMKMinMaxWaveform::getValues(float* values, int64_t index, int64_t length, int offset) const {
    const int64_t entries = count();
    const auto* bytes = reinterpret_cast<const uchar*>(m_table.constData());
    for (int64_t i = 0; i < length; ++i) {
        const int64_t entry = index + i;
        values[i] = entry >= 0 && entry < entries
                        ? float(qFromLittleEndian<qint16>(bytes + 4 * entry + offset)) / 32767.0f
                        : 0.0f;
    }
}

void VMKMinMaxWaveform::getPositiveValues(float* values, int64_t index, int64_t length) const {
    getValues(values, index, length, 0);
}

void VMKMinMaxWaveform::getNegativeValues(float* values, int64_t index, int64_t length) const {
    getValues(values, index, length, 2);
}

} // namespace ondrel
