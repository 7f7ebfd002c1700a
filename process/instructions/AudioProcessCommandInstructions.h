#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"
#include "process/instructions/AudioProcessCommandEffectInstructions.h"
#include "process/instructions/AudioProcessCommandLabelInstructions.h"
#include "process/instructions/AudioProcessCommandPropertyInstructions.h"

#include <QtCore/QVariantMap>

#include <memory>
#include <optional>
#include <vector>

namespace ondrel {

// The output side of one command: its format and the processing of the whole
// mix. Every optional field starts absent, which keeps what the first source
// has (or the stated default); absent is not the same as 0.
//
// Format-specific settings live in additionalArguments; valueForKey with a key
// that is no field answers from there ("QLP precision", "target bit rate" ...).
// List accessors forgive bad indexes as the source records' do.
class AudioProcessCommandInstructions : public Object {
    ONDREL_OBJECT(AudioProcessCommandInstructions, Object)
public:
    AudioProcessCommandInstructions() = default;

    // Output file format name ("FLAC Audio File", "CAF File" ...). Absent: the first source's.
    std::optional<QString> format() const { return m_format; }
    void setFormat(const std::optional<QString>& format);
    // Encoding name ("PCM", "ALAC" ...). Absent: the first source's.
    std::optional<QString> encoding() const { return m_encoding; }
    void setEncoding(const std::optional<QString>& encoding);
    // Output channels. Absent: the first source's.
    std::optional<qint64> numberOfChannels() const { return m_numberOfChannels; }
    void setNumberOfChannels(std::optional<qint64> numberOfChannels);
    // Bits per sample. Absent: the first source's.
    std::optional<qint64> bitDepth() const { return m_bitDepth; }
    void setBitDepth(std::optional<qint64> bitDepth);
    // Floating point samples. Absent: the first source's.
    std::optional<bool> floatingPoint() const { return m_floatingPoint; }
    void setFloatingPoint(std::optional<bool> floatingPoint);
    // Bit rate of compressed output, bits per second. Absent: the first source's.
    std::optional<qint64> bitrate() const { return m_bitrate; }
    void setBitrate(std::optional<qint64> bitrate);
    // With a differing sample rate: true converts, false only relabels. Absent: true.
    std::optional<bool> resample() const { return m_resample; }
    void setResample(std::optional<bool> resample);
    // Output sample rate in hertz. Absent: the first source's.
    std::optional<double> sampleRate() const { return m_sampleRate; }
    void setSampleRate(std::optional<double> sampleRate);
    // Sample rate converter to use. Absent: the default converter.
    std::optional<QString> converterName() const { return m_converterName; }
    void setConverterName(const std::optional<QString>& converterName);
    // Quality setting of the converter: a fraction as the format actions store
    // it (0.2519…, 0.5039…). Absent: the converter's own default.
    std::optional<double> converterQuality() const { return m_converterQuality; }
    void setConverterQuality(std::optional<double> converterQuality);
    // Total output length in seconds. Absent: the range of the source group.
    std::optional<double> length() const { return m_length; }
    void setLength(std::optional<double> length);
    // Keep rendering past the end while effects ring out. Absent: false.
    std::optional<bool> retainTail() const { return m_retainTail; }
    void setRetainTail(std::optional<bool> retainTail);
    // Limit of the retained tail in seconds. Absent: 10.
    std::optional<double> maximumTailLength() const { return m_maximumTailLength; }
    void setMaximumTailLength(std::optional<double> maximumTailLength);
    // Gain of the whole output in decibels. Absent: 0.
    std::optional<double> gain() const { return m_gain; }
    void setGain(std::optional<double> gain);
    // Fades of the whole output in seconds.
    std::optional<double> fadeInLength() const { return m_fadeInLength; }
    void setFadeInLength(std::optional<double> fadeInLength);
    std::optional<double> fadeOutLength() const { return m_fadeOutLength; }
    void setFadeOutLength(std::optional<double> fadeOutLength);
    // Fade curves: "power", "ease in", "ease out", "ease in and out" or their
    // four-letter forms; anything else, or absent, is linear.
    std::optional<QString> fadeInCurve() const { return m_fadeInCurve; }
    void setFadeInCurve(const std::optional<QString>& fadeInCurve);
    std::optional<QString> fadeOutCurve() const { return m_fadeOutCurve; }
    void setFadeOutCurve(const std::optional<QString>& fadeOutCurve);

    // The chain on the mix, in order.
    const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& effectInstructions() const {
        return m_effectInstructions;
    }
    void setEffectInstructions(const std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>>& list);
    qsizetype countOfEffectInstructions() const { return qsizetype(m_effectInstructions.size()); }
    std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>> enumeratorOfEffectInstructions() const {
        return m_effectInstructions;
    }
    std::shared_ptr<AudioProcessCommandEffectInstructions> objectInEffectInstructionsAtIndex(qsizetype index) const;
    void insertObjectInEffectInstructionsAtIndex(std::shared_ptr<AudioProcessCommandEffectInstructions> object,
                                                 qsizetype index);
    void removeObjectFromEffectInstructionsAtIndex(qsizetype index);

    // Labels to write into the output.
    const std::vector<std::shared_ptr<AudioProcessCommandLabelInstructions>>& labelInstructions() const {
        return m_labelInstructions;
    }
    void setLabelInstructions(const std::vector<std::shared_ptr<AudioProcessCommandLabelInstructions>>& list);
    qsizetype countOfLabelInstructions() const { return qsizetype(m_labelInstructions.size()); }
    std::vector<std::shared_ptr<AudioProcessCommandLabelInstructions>> enumeratorOfLabelInstructions() const {
        return m_labelInstructions;
    }
    std::shared_ptr<AudioProcessCommandLabelInstructions> objectInLabelInstructionsAtIndex(qsizetype index) const;
    void insertObjectInLabelInstructionsAtIndex(std::shared_ptr<AudioProcessCommandLabelInstructions> object,
                                                qsizetype index);
    void removeObjectFromLabelInstructionsAtIndex(qsizetype index);

    // Metadata to write into the output.
    const std::vector<std::shared_ptr<AudioProcessCommandPropertyInstructions>>& propertyInstructions() const {
        return m_propertyInstructions;
    }
    void setPropertyInstructions(const std::vector<std::shared_ptr<AudioProcessCommandPropertyInstructions>>& list);
    qsizetype countOfPropertyInstructions() const { return qsizetype(m_propertyInstructions.size()); }
    std::vector<std::shared_ptr<AudioProcessCommandPropertyInstructions>> enumeratorOfPropertyInstructions() const {
        return m_propertyInstructions;
    }
    std::shared_ptr<AudioProcessCommandPropertyInstructions> objectInPropertyInstructionsAtIndex(qsizetype index) const;
    void insertObjectInPropertyInstructionsAtIndex(std::shared_ptr<AudioProcessCommandPropertyInstructions> object,
                                                   qsizetype index);
    void removeObjectFromPropertyInstructionsAtIndex(qsizetype index);

    QVariantMap additionalArguments() const { return m_additionalArguments; }
    void setAdditionalArguments(const QVariantMap& arguments);
    // Stores one setting; an absent value removes it. Observers of
    // "additionalArguments" and of the argument's own key are told.
    void addArgumentValue(const QVariant& value, const QString& key);

    // Answers from additionalArguments; absent when it isn't there either.
    QVariant valueForUndefinedKey(const QString& key) const override;

    // The instructions record: "format", "encoding", "channels", "bit depth",
    // "floating point", "sample rate", "resample", "sample rate converter",
    // "sample rate converter quality", "length", "retain tail", "maximum tail
    // length", "gain", "fade in length", "fade in curve", "fade out length",
    // "fade out curve", each only when present; "effects", "labels" and
    // "properties" when not empty; then each additional argument, in key
    // order. The bit rate has no key here and doesn't survive the text.
    QString scriptDescription() const override;
    // Reads an instructions record: the keys above to their fields,
    // "properties" to property records in the record's (key) order, and any
    // other key to the additional arguments. A record with "effects" or
    // "labels" doesn't read (see the source file). Null, with the error, for
    // such a record, a value that isn't a record, or a bad value.
    static std::shared_ptr<AudioProcessCommandInstructions> initWithScriptArguments(const QVariant& arguments,
                                                                                    VMKError* error = nullptr);

private:
    std::optional<QString> m_format;
    std::optional<QString> m_encoding;
    std::optional<qint64> m_numberOfChannels;
    std::optional<qint64> m_bitDepth;
    std::optional<bool> m_floatingPoint;
    std::optional<qint64> m_bitrate;
    std::optional<bool> m_resample;
    std::optional<double> m_sampleRate;
    std::optional<QString> m_converterName;
    std::optional<double> m_converterQuality;
    std::optional<double> m_length;
    std::optional<bool> m_retainTail;
    std::optional<double> m_maximumTailLength;
    std::optional<double> m_gain;
    std::optional<double> m_fadeInLength;
    std::optional<double> m_fadeOutLength;
    std::optional<QString> m_fadeInCurve;
    std::optional<QString> m_fadeOutCurve;
    std::vector<std::shared_ptr<AudioProcessCommandEffectInstructions>> m_effectInstructions;
    std::vector<std::shared_ptr<AudioProcessCommandLabelInstructions>> m_labelInstructions;
    std::vector<std::shared_ptr<AudioProcessCommandPropertyInstructions>> m_propertyInstructions;
    QVariantMap m_additionalArguments;
};

} // namespace ondrel
