#include "process/instructions/AudioProcessCommandInstructions.h"

#include "process/instructions/RecordLists.h"

namespace ondrel {

const ClassInfo& AudioProcessCommandInstructions::staticClassInfo() {
    using C = AudioProcessCommandInstructions;
    static const ClassInfo& info =
        ClassInfo::define<C, Object>(QStringLiteral("AudioProcessCommandInstructions"))
            .property(QStringLiteral("format"), &C::format, &C::setFormat)
            .property(QStringLiteral("encoding"), &C::encoding, &C::setEncoding)
            .property(QStringLiteral("numberOfChannels"), &C::numberOfChannels, &C::setNumberOfChannels)
            .property(QStringLiteral("bitDepth"), &C::bitDepth, &C::setBitDepth)
            .property(QStringLiteral("floatingPoint"), &C::floatingPoint, &C::setFloatingPoint)
            .property(QStringLiteral("bitrate"), &C::bitrate, &C::setBitrate)
            .property(QStringLiteral("resample"), &C::resample, &C::setResample)
            .property(QStringLiteral("sampleRate"), &C::sampleRate, &C::setSampleRate)
            .property(QStringLiteral("converterName"), &C::converterName, &C::setConverterName)
            .property(QStringLiteral("converterQuality"), &C::converterQuality, &C::setConverterQuality)
            .property(QStringLiteral("length"), &C::length, &C::setLength)
            .property(QStringLiteral("retainTail"), &C::retainTail, &C::setRetainTail)
            .property(QStringLiteral("maximumTailLength"), &C::maximumTailLength, &C::setMaximumTailLength)
            .property(QStringLiteral("gain"), &C::gain, &C::setGain)
            .property(QStringLiteral("fadeInLength"), &C::fadeInLength, &C::setFadeInLength)
            .property(QStringLiteral("fadeOutLength"), &C::fadeOutLength, &C::setFadeOutLength)
            .property(QStringLiteral("fadeInCurve"), &C::fadeInCurve, &C::setFadeInCurve)
            .property(QStringLiteral("fadeOutCurve"), &C::fadeOutCurve, &C::setFadeOutCurve)
            .property(QStringLiteral("effectInstructions"), &C::effectInstructions, &C::setEffectInstructions)
            .property(QStringLiteral("labelInstructions"), &C::labelInstructions, &C::setLabelInstructions)
            .property(QStringLiteral("propertyInstructions"), &C::propertyInstructions, &C::setPropertyInstructions)
            .property(QStringLiteral("additionalArguments"), &C::additionalArguments, &C::setAdditionalArguments);
    return info;
}

void AudioProcessCommandInstructions::setFormat(const std::optional<QString>& format) {
    setAndNotify(QStringLiteral("format"), m_format, format);
}

void AudioProcessCommandInstructions::setEncoding(const std::optional<QString>& encoding) {
    setAndNotify(QStringLiteral("encoding"), m_encoding, encoding);
}

void AudioProcessCommandInstructions::setNumberOfChannels(std::optional<qint64> numberOfChannels) {
    setAndNotify(QStringLiteral("numberOfChannels"), m_numberOfChannels, numberOfChannels);
}

void AudioProcessCommandInstructions::setBitDepth(std::optional<qint64> bitDepth) {
    setAndNotify(QStringLiteral("bitDepth"), m_bitDepth, bitDepth);
}

void AudioProcessCommandInstructions::setFloatingPoint(std::optional<bool> floatingPoint) {
    setAndNotify(QStringLiteral("floatingPoint"), m_floatingPoint, floatingPoint);
}

void AudioProcessCommandInstructions::setBitrate(std::optional<qint64> bitrate) {
    setAndNotify(QStringLiteral("bitrate"), m_bitrate, bitrate);
}

void AudioProcessCommandInstructions::setResample(std::optional<bool> resample) {
    setAndNotify(QStringLiteral("resample"), m_resample, resample);
}

void AudioProcessCommandInstructions::setSampleRate(std::optional<double> sampleRate) {
    setAndNotify(QStringLiteral("sampleRate"), m_sampleRate, sampleRate);
}

void AudioProcessCommandInstructions::setConverterName(const std::optional<QString>& converterName) {
    setAndNotify(QStringLiteral("converterName"), m_converterName, converterName);
}

void AudioProcessCommandInstructions::setConverterQuality(std::optional<double> converterQuality) {
    setAndNotify(QStringLiteral("converterQuality"), m_converterQuality, converterQuality);
}

void AudioProcessCommandInstructions::setLength(std::optional<double> length) {
    setAndNotify(QStringLiteral("length"), m_length, length);
}

void AudioProcessCommandInstructions::setRetainTail(std::optional<bool> retainTail) {
    setAndNotify(QStringLiteral("retainTail"), m_retainTail, retainTail);
}

void AudioProcessCommandInstructions::setMaximumTailLength(std::optional<double> maximumTailLength) {
    setAndNotify(QStringLiteral("maximumTailLength"), m_maximumTailLength, maximumTailLength);
}

void AudioProcessCommandInstructions::setGain(std::optional<double> gain) {
    setAndNotify(QStringLiteral("gain"), m_gain, gain);
}

void AudioProcessCommandInstructions::setFadeInLength(std::optional<double> fadeInLength) {
    setAndNotify(QStringLiteral("fadeInLength"), m_fadeInLength, fadeInLength);
}

void AudioProcessCommandInstructions::setFadeOutLength(std::optional<double> fadeOutLength) {
    setAndNotify(QStringLiteral("fadeOutLength"), m_fadeOutLength, fadeOutLength);
}

void AudioProcessCommandInstructions::setFadeInCurve(const std::optional<QString>& fadeInCurve) {
    setAndNotify(QStringLiteral("fadeInCurve"), m_fadeInCurve, fadeInCurve);
}

void AudioProcessCommandInstructions::setFadeOutCurve(const std::optional<QString>& fadeOutCurve) {
    setAndNotify(QStringLiteral("fadeOutCurve"), m_fadeOutCurve, fadeOutCurve);
}

// MARK: - Lists

void AudioProcessCommandInstructions::setEffectInstructions(
    const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& list) {
    setAndNotify(QStringLiteral("effectInstructions"), m_effectInstructions, RecordLists::withoutNulls(list));
}

std::shared_ptr<AudioProcessCommandEffectInstructions>
AudioProcessCommandInstructions::objectInEffectInstructionsAtIndex(qsizetype index) const {
    return RecordLists::objectAtIndex(m_effectInstructions, index);
}

void AudioProcessCommandInstructions::insertObjectInEffectInstructionsAtIndex(
    std::shared_ptr<AudioProcessCommandEffectInstructions> object, qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("effectInstructions"), m_effectInstructions, std::move(object),
                        RecordLists::insertionIndex(m_effectInstructions, index));
}

void AudioProcessCommandInstructions::removeObjectFromEffectInstructionsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_effectInstructions, index))
        removeAndNotify(QStringLiteral("effectInstructions"), m_effectInstructions, index);
}

void AudioProcessCommandInstructions::setLabelInstructions(
    const std::vector<std::shared_ptr<AudioProcessCommandLabelInstructions>>& list) {
    setAndNotify(QStringLiteral("labelInstructions"), m_labelInstructions, RecordLists::withoutNulls(list));
}

std::shared_ptr<AudioProcessCommandLabelInstructions> AudioProcessCommandInstructions::objectInLabelInstructionsAtIndex(
    qsizetype index) const {
    return RecordLists::objectAtIndex(m_labelInstructions, index);
}

void AudioProcessCommandInstructions::insertObjectInLabelInstructionsAtIndex(
    std::shared_ptr<AudioProcessCommandLabelInstructions> object, qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("labelInstructions"), m_labelInstructions, std::move(object),
                        RecordLists::insertionIndex(m_labelInstructions, index));
}

void AudioProcessCommandInstructions::removeObjectFromLabelInstructionsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_labelInstructions, index))
        removeAndNotify(QStringLiteral("labelInstructions"), m_labelInstructions, index);
}

void AudioProcessCommandInstructions::setPropertyInstructions(
    const std::vector<std::shared_ptr<AudioProcessCommandPropertyInstructions>>& list) {
    setAndNotify(QStringLiteral("propertyInstructions"), m_propertyInstructions, RecordLists::withoutNulls(list));
}

std::shared_ptr<AudioProcessCommandPropertyInstructions>
AudioProcessCommandInstructions::objectInPropertyInstructionsAtIndex(qsizetype index) const {
    return RecordLists::objectAtIndex(m_propertyInstructions, index);
}

void AudioProcessCommandInstructions::insertObjectInPropertyInstructionsAtIndex(
    std::shared_ptr<AudioProcessCommandPropertyInstructions> object, qsizetype index) {
    if (object)
        insertAndNotify(QStringLiteral("propertyInstructions"), m_propertyInstructions, std::move(object),
                        RecordLists::insertionIndex(m_propertyInstructions, index));
}

void AudioProcessCommandInstructions::removeObjectFromPropertyInstructionsAtIndex(qsizetype index) {
    if (RecordLists::isValidIndex(m_propertyInstructions, index))
        removeAndNotify(QStringLiteral("propertyInstructions"), m_propertyInstructions, index);
}

// MARK: - Additional arguments

void AudioProcessCommandInstructions::setAdditionalArguments(const QVariantMap& arguments) {
    setAndNotify(QStringLiteral("additionalArguments"), m_additionalArguments, arguments);
}

void AudioProcessCommandInstructions::addArgumentValue(const QVariant& value, const QString& key) {
    const QString mapKey = QStringLiteral("additionalArguments");
    willChangeValueForKey(mapKey);
    willChangeValueForKey(key);
    if (Variant::isAbsent(value))
        m_additionalArguments.remove(key);
    else
        m_additionalArguments.insert(key, value);
    didChangeValueForKey(key);
    didChangeValueForKey(mapKey);
}

QVariant AudioProcessCommandInstructions::valueForUndefinedKey(const QString& key) const {
    return m_additionalArguments.value(key);
}

} // namespace ondrel
