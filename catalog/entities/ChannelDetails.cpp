#include "catalog/entities/ChannelDetails.h"

#include "catalog/entities/FileEntity.h"
#include "render/engine/waveforms/VMKWaveform.h"

namespace ondrel {

const ClassInfo& ChannelDetails::staticClassInfo() {
    using C = ChannelDetails;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("ChannelDetails"))
                                       .property(QStringLiteral("peak"), &C::peak, &C::setPeak)
                                       .property(QStringLiteral("positiveMaximum"), &C::positiveMaximum, &C::setPositiveMaximum)
                                       .property(QStringLiteral("negativeMaximum"), &C::negativeMaximum, &C::setNegativeMaximum)
                                       .property(QStringLiteral("peakToPeak"), &C::peakToPeak, &C::setPeakToPeak)
                                       .property(QStringLiteral("RMS"), &C::RMS, &C::setRMS)
                                       .property(QStringLiteral("average"), &C::average, &C::setAverage)
                                       .property(QStringLiteral("DCOffset"), &C::DCOffset, &C::setDCOffset)
                                       .property(QStringLiteral("formFactor"), &C::formFactor, &C::setFormFactor)
                                       .property(QStringLiteral("crestFactor"), &C::crestFactor, &C::setCrestFactor)
                                       .property(QStringLiteral("countOfClipEvents"), &C::countOfClipEvents, &C::setCountOfClipEvents)
                                       .property(QStringLiteral("waveform"), &C::waveform, &C::setWaveform)
                                       .property(QStringLiteral("fileEntity"), &C::fileEntity);
    return info;
}

ChannelDetails::ChannelDetails() = default;
ChannelDetails::~ChannelDetails() = default;

void ChannelDetails::setWaveform(const std::shared_ptr<VMKWaveform>& waveform) {
    setAndNotify(QStringLiteral("waveform"), m_waveform, waveform);
}

} // namespace ondrel
