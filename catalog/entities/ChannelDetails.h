#pragma once

#include "core/objects/Object.h"

#include <memory>

namespace ondrel {

class FileEntity;
class VMKWaveform;

// The analysis of one channel of a file entity. Its waveform overview is
// held only while the file is loaded.
class ChannelDetails : public Object {
    ONDREL_OBJECT(ChannelDetails, Object)

public:
    ChannelDetails();
    ~ChannelDetails() override;

    float peak() const { return m_peak; }
    void setPeak(float value) { setAndNotify(QStringLiteral("peak"), m_peak, value); }
    float positiveMaximum() const { return m_positiveMaximum; }
    void setPositiveMaximum(float value) { setAndNotify(QStringLiteral("positiveMaximum"), m_positiveMaximum, value); }
    float negativeMaximum() const { return m_negativeMaximum; }
    void setNegativeMaximum(float value) { setAndNotify(QStringLiteral("negativeMaximum"), m_negativeMaximum, value); }
    float peakToPeak() const { return m_peakToPeak; }
    void setPeakToPeak(float value) { setAndNotify(QStringLiteral("peakToPeak"), m_peakToPeak, value); }
    float RMS() const { return m_RMS; }
    void setRMS(float value) { setAndNotify(QStringLiteral("RMS"), m_RMS, value); }
    float average() const { return m_average; }
    void setAverage(float value) { setAndNotify(QStringLiteral("average"), m_average, value); }
    float DCOffset() const { return m_DCOffset; }
    void setDCOffset(float value) { setAndNotify(QStringLiteral("DCOffset"), m_DCOffset, value); }
    float formFactor() const { return m_formFactor; }
    void setFormFactor(float value) { setAndNotify(QStringLiteral("formFactor"), m_formFactor, value); }
    float crestFactor() const { return m_crestFactor; }
    void setCrestFactor(float value) { setAndNotify(QStringLiteral("crestFactor"), m_crestFactor, value); }
    quint64 countOfClipEvents() const { return m_countOfClipEvents; }
    void setCountOfClipEvents(quint64 value) { setAndNotify(QStringLiteral("countOfClipEvents"), m_countOfClipEvents, value); }

    // Null unless the file is loaded.
    std::shared_ptr<VMKWaveform> waveform() const { return m_waveform; }
    void setWaveform(const std::shared_ptr<VMKWaveform>& waveform);

    std::shared_ptr<FileEntity> fileEntity() const { return m_fileEntity.lock(); }
    void setFileEntity(const std::shared_ptr<FileEntity>& fileEntity) { m_fileEntity = fileEntity; }

private:
    float m_peak = 0.0f;
    float m_positiveMaximum = 0.0f;
    float m_negativeMaximum = 0.0f;
    float m_peakToPeak = 0.0f;
    float m_RMS = 0.0f;
    float m_average = 0.0f;
    float m_DCOffset = 0.0f;
    float m_formFactor = 0.0f;
    float m_crestFactor = 0.0f;
    quint64 m_countOfClipEvents = 0;
    std::shared_ptr<VMKWaveform> m_waveform;
    std::weak_ptr<FileEntity> m_fileEntity;
};

} // namespace ondrel
