#include "process/instructions/AudioProcessCommandInstructions.h"

#include "process/instructions/RecordLists.h"
#include "process/instructions/ScriptArguments.h"
#include "process/instructions/ScriptText.h"

#include <QtCore/QStringList>

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

// MARK: - Script form

namespace {

template <class T>
void appendOptional(QStringList& items, const char* key, const std::optional<T>& value) {
    if (value)
        items.append(ScriptText::itemText(QLatin1String(key), QVariant::fromValue(*value)));
}

template <class T>
void appendList(QStringList& items, const char* key, const std::vector<std::shared_ptr<T>>& list) {
    if (list.empty())
        return;
    QStringList texts;
    for (const auto& record : list)
        texts.append(record->scriptDescription());
    items.append(QLatin1Char('|') + QLatin1String(key) + QStringLiteral("|:{") + texts.join(QLatin1Char(',')) +
                 QLatin1Char('}'));
}

} // namespace

QString AudioProcessCommandInstructions::scriptDescription() const {
    QStringList items;
    appendOptional(items, "format", m_format);
    appendOptional(items, "encoding", m_encoding);
    appendOptional(items, "channels", m_numberOfChannels);
    appendOptional(items, "bit depth", m_bitDepth);
    appendOptional(items, "floating point", m_floatingPoint);
    appendOptional(items, "sample rate", m_sampleRate);
    appendOptional(items, "resample", m_resample);
    appendOptional(items, "sample rate converter", m_converterName);
    appendOptional(items, "sample rate converter quality", m_converterQuality);
    appendOptional(items, "length", m_length);
    appendOptional(items, "retain tail", m_retainTail);
    appendOptional(items, "maximum tail length", m_maximumTailLength);
    appendOptional(items, "gain", m_gain);
    appendOptional(items, "fade in length", m_fadeInLength);
    appendOptional(items, "fade in curve", m_fadeInCurve);
    appendOptional(items, "fade out length", m_fadeOutLength);
    appendOptional(items, "fade out curve", m_fadeOutCurve);
    appendList(items, "effects", m_effectInstructions);
    appendList(items, "labels", m_labelInstructions);
    // The property items are record items, so their braces make one record.
    appendList(items, "properties", m_propertyInstructions);
    // QVariantMap keeps its keys sorted: that is the dictionary's order here.
    for (auto it = m_additionalArguments.cbegin(); it != m_additionalArguments.cend(); ++it)
        items.append(ScriptText::itemText(it.key(), it.value()));
    return QLatin1Char('{') + items.join(QLatin1Char(',')) + QLatin1Char('}');
}

std::shared_ptr<AudioProcessCommandInstructions> AudioProcessCommandInstructions::initWithScriptArguments(
    const QVariant& arguments, VMKError* error) {
    const QString name = QStringLiteral("the instructions");
    QVariantMap record;
    if (!ScriptArguments::record(arguments, name, record, error))
        return nullptr;
    auto instructions = std::make_shared<AudioProcessCommandInstructions>();
    auto& r = *instructions;
    for (auto it = record.cbegin(); it != record.cend(); ++it) {
        const QString& key = it.key();
        const QVariant& value = it.value();
        bool ok = true;
        if (key == QLatin1String("format"))
            ok = ScriptArguments::string(value, name, key, r.m_format, error);
        else if (key == QLatin1String("encoding"))
            ok = ScriptArguments::string(value, name, key, r.m_encoding, error);
        else if (key == QLatin1String("channels"))
            ok = ScriptArguments::integer(value, name, key, r.m_numberOfChannels, error);
        else if (key == QLatin1String("bit depth"))
            ok = ScriptArguments::integer(value, name, key, r.m_bitDepth, error);
        else if (key == QLatin1String("floating point"))
            ok = ScriptArguments::boolean(value, name, key, r.m_floatingPoint, error);
        else if (key == QLatin1String("sample rate"))
            ok = ScriptArguments::number(value, name, key, r.m_sampleRate, error);
        else if (key == QLatin1String("resample"))
            ok = ScriptArguments::boolean(value, name, key, r.m_resample, error);
        else if (key == QLatin1String("sample rate converter"))
            ok = ScriptArguments::string(value, name, key, r.m_converterName, error);
        else if (key == QLatin1String("sample rate converter quality"))
            ok = ScriptArguments::number(value, name, key, r.m_converterQuality, error);
        else if (key == QLatin1String("length"))
            ok = ScriptArguments::number(value, name, key, r.m_length, error);
        else if (key == QLatin1String("retain tail"))
            ok = ScriptArguments::boolean(value, name, key, r.m_retainTail, error);
        else if (key == QLatin1String("maximum tail length"))
            ok = ScriptArguments::number(value, name, key, r.m_maximumTailLength, error);
        else if (key == QLatin1String("gain"))
            ok = ScriptArguments::number(value, name, key, r.m_gain, error);
        else if (key == QLatin1String("fade in length"))
            ok = ScriptArguments::number(value, name, key, r.m_fadeInLength, error);
        else if (key == QLatin1String("fade in curve"))
            ok = ScriptArguments::string(value, name, key, r.m_fadeInCurve, error);
        else if (key == QLatin1String("fade out length"))
            ok = ScriptArguments::number(value, name, key, r.m_fadeOutLength, error);
        else if (key == QLatin1String("fade out curve"))
            ok = ScriptArguments::string(value, name, key, r.m_fadeOutCurve, error);
        else if (key == QLatin1String("effects") || key == QLatin1String("labels")) {
            // These two keys hand each key of the whole record, a string, to
            // the effect or label reader, in place of the elements of their
            // value. A string is no record, so a run with output effects or
            // output labels doesn't come through the script form, although the
            // writer produces both keys. That is how this reader is meant to
            // behave; the source record's "effects" and "ties" read normally.
            for (auto k = record.cbegin(); ok && k != record.cend(); ++k) {
                VMKError cause;
                if (key == QLatin1String("effects")) {
                    auto effect = AudioProcessCommandEffectInstructions::initWithScriptArguments(k.key(), &cause);
                    ok = effect != nullptr;
                    if (ok)
                        r.m_effectInstructions.push_back(std::move(effect));
                } else {
                    auto label = AudioProcessCommandLabelInstructions::initWithScriptArguments(k.key(), &cause);
                    ok = label != nullptr;
                    if (ok)
                        r.m_labelInstructions.push_back(std::move(label));
                }
                if (!ok)
                    VMKError::set(error, VMKError::errorWithUnderlying(
                                             cause, QStringLiteral("Reading the \"%1\" of the instructions").arg(key)));
            }
        } else if (key == QLatin1String("properties")) {
            QVariantMap properties;
            ok = ScriptArguments::record(value, QStringLiteral("the properties"), properties, error);
            for (auto p = properties.cbegin(); ok && p != properties.cend(); ++p) {
                auto property = std::make_shared<AudioProcessCommandPropertyInstructions>();
                property->setKey(p.key());
                property->setValue(p.value());
                r.m_propertyInstructions.push_back(std::move(property));
            }
        } else {
            r.m_additionalArguments.insert(key, value);
        }
        if (!ok)
            return nullptr;
    }
    return instructions;
}

} // namespace ondrel
