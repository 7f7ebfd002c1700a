#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace ondrel {

// Turns a time in seconds into text, in one of 22 forms chosen by an integer
// code, and reads such text back. The codes and their texts:
//
//   0  samples (count at sampleRate)      11  milliseconds (count)
//   1  s.mmm                              12  s
//   2  s.hh                               13  h:mm:ss.mmm (the default)
//   3  m:ss.hh                            14  h:mm:ss
//   4  h:mm:ss:ff at 30 frames            15  1h 2m 3.456s
//   5  h:mm:ss;ff at 29.97, drop frame    16  bar.beat.ticks, 480 ticks a beat
//   6  h:mm:ss:ff at 25 frames            17  m:ss:ff at 75 frames (CD)
//   7  h:mm:ss:ff at 24 frames            18  units of 28 samples (count)
//   8  h:mm:ss.hh                         19  CD frames of 1/75 s (count)
//   9  bar.beat.hh, hundredths of a beat  20  s.t
//   10 m:ss.mmm                           21  h:mm:ss.t
//
// A position always shows hours ("0:01:05.000") and counts bars and beats
// from 1; a duration leaves out zero hours ("1:05.000") and counts from 0.
// Negative times show a leading "-" before the text of their magnitude (bars
// then count from 0). Infinities show as "∞" and "-∞", magnitudes beyond
// 10^12 seconds as infinities; not-a-number and non-numbers give "". An
// unknown code, and a sample, bar or beat code without the sample rate,
// tempo or meter it needs, use code 13.
//
// A value class: copies are independent; one instance is not for concurrent
// use while it is changed.
class VMKTimeFormatter {
public:
    static constexpr int DefaultFormat = 13;
    static constexpr int NumberOfFormats = 22;

    // The pattern a code shows, as above ("h:mm:ss.mmm"); for an unknown code
    // that of the default.
    static QString patternForFormat(int format);

    int format() const { return m_format; }
    void setFormat(int format) { m_format = format; }
    bool isPosition() const { return m_isPosition; }
    void setIsPosition(bool isPosition) { m_isPosition = isPosition; }
    double sampleRate() const { return m_sampleRate; }
    void setSampleRate(double sampleRate) { m_sampleRate = sampleRate; }
    double tempo() const { return m_tempo; }  // beats a minute
    void setTempo(double tempo) { m_tempo = tempo; }
    int meterNumerator() const { return m_meterNumerator; }  // beats a bar
    void setMeterNumerator(int meterNumerator) { m_meterNumerator = meterNumerator; }

    // The text of a number of seconds; "" for a value that isn't a number.
    QString stringForObjectValue(const QVariant& seconds) const;
    QString stringForSeconds(double seconds) const;

    // Reads text of the current form back into seconds (a double in `out`).
    // Answers false, with a description when asked, for text of another form.
    // Counts may carry a fraction; fields other than the first may exceed
    // their usual range ("1:75" is 135 seconds), except frames and ticks.
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const;

private:
    int effectiveFormat() const;

    int m_format = DefaultFormat;
    bool m_isPosition = false;
    double m_sampleRate = 0.0;
    double m_tempo = 120.0;
    int m_meterNumerator = 4;
};

} // namespace ondrel
