#include "core/text/VMKTimeFormatter.h"

#include "core/objects/Variant.h"
#include "core/text/VMKLocalizedString.h"

#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>

#include <cmath>

namespace ondrel {

namespace {

// How a code shows a time.
enum class Kind {
    Count,      // a whole number of units
    Decimal,    // seconds with a fixed number of decimals
    Clock,      // [h:]mm:ss[.fraction]
    Minutes,    // m:ss[.fraction], minutes unbounded
    Frames,     // [h:]mm:ss:ff
    CDFrames,   // m:ss:ff, minutes unbounded
    DropFrame,  // [h:]mm:ss;ff at 29.97
    Labelled,   // 1h 2m 3.456s
    Bars,       // bar.beat.ticks
};

struct Form {
    Kind kind;
    qint64 units;  // units a second (decimals: 10^digits; frames: frames a second; bars: ticks a beat)
    int digits;    // decimals of the seconds, or digits of the ticks
    const char* pattern;
};

// Counts of samples have their units from the sample rate (0) or a
// 28th of it (18).
const Form kForms[VMKTimeFormatter::NumberOfFormats] = {
    {Kind::Count, 0, 0, "samples"},
    {Kind::Decimal, 1000, 3, "s.mmm"},
    {Kind::Decimal, 100, 2, "s.hh"},
    {Kind::Minutes, 100, 2, "m:ss.hh"},
    {Kind::Frames, 30, 0, "h:mm:ss:ff"},
    {Kind::DropFrame, 30, 0, "h:mm:ss;ff"},
    {Kind::Frames, 25, 0, "h:mm:ss:ff"},
    {Kind::Frames, 24, 0, "h:mm:ss:ff"},
    {Kind::Clock, 100, 2, "h:mm:ss.hh"},
    {Kind::Bars, 100, 2, "bar.beat.hh"},
    {Kind::Minutes, 1000, 3, "m:ss.mmm"},
    {Kind::Count, 1000, 0, "milliseconds"},
    {Kind::Decimal, 1, 0, "s"},
    {Kind::Clock, 1000, 3, "h:mm:ss.mmm"},
    {Kind::Clock, 1, 0, "h:mm:ss"},
    {Kind::Labelled, 1000, 3, "1h 2m 3.456s"},
    {Kind::Bars, 480, 3, "bar.beat.ticks"},
    {Kind::CDFrames, 75, 0, "m:ss:ff"},
    {Kind::Count, 0, 0, "units of 28 samples"},
    {Kind::Count, 75, 0, "CD frames"},
    {Kind::Decimal, 10, 1, "s.t"},
    {Kind::Clock, 10, 1, "h:mm:ss.t"},
};

constexpr double kLargestSeconds = 1e12;
constexpr double kLargestUnits = 9e18;  // below the largest qint64
constexpr double kDropFrameRate = 29.97;
const QString kInfinity = QStringLiteral("∞");

bool isUsable(double value) { return std::isfinite(value) && value > 0.0; }

// Frame number at 29.97 to drop-frame timecode fields: frames 0 and 1 are
// skipped at each minute but every tenth.
void dropFrameFields(qint64 frame, qint64& hours, qint64& minutes, qint64& seconds, qint64& frames) {
    const qint64 tens = frame / 17982;
    const qint64 rest = frame % 17982;
    qint64 label = frame + 18 * tens;
    if (rest >= 2)
        label += 2 * ((rest - 2) / 1798);
    frames = label % 30;
    seconds = (label / 30) % 60;
    minutes = (label / 1800) % 60;
    hours = label / 108000;
}

qint64 dropFrameNumber(qint64 hours, qint64 minutes, qint64 seconds, qint64 frames) {
    const qint64 totalMinutes = 60 * hours + minutes;
    return 108000 * hours + 1800 * minutes + 30 * seconds + frames - 2 * (totalMinutes - totalMinutes / 10);
}

QString padded(qint64 value, int width) { return QStringLiteral("%1").arg(value, width, 10, QLatin1Char('0')); }

// [h:]mm:ss, hours when asked or not zero.
QString clockText(qint64 totalSeconds, bool showHours) {
    const qint64 hours = totalSeconds / 3600;
    const qint64 minutes = totalSeconds / 60 % 60;
    const qint64 seconds = totalSeconds % 60;
    if (showHours || hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(padded(minutes, 2), padded(seconds, 2));
    return QStringLiteral("%1:%2").arg(minutes).arg(padded(seconds, 2));
}

QString fraction(qint64 value, int digits) {
    return digits > 0 ? QLatin1Char('.') + padded(value, digits) : QString();
}

bool parseNumber(const QString& text, double& value) {
    bool ok = false;
    value = QLocale::c().toDouble(text, &ok);
    return ok && std::isfinite(value) && value >= 0.0 && !text.startsWith(QLatin1Char('+')) &&
           !text.startsWith(QLatin1Char('-'));
}

bool parseInteger(const QString& text, qint64& value) {
    static const QRegularExpression digits(QStringLiteral("^\\d{1,15}$"));
    if (!digits.match(text).hasMatch())
        return false;
    value = text.toLongLong();
    return true;
}

} // namespace

QString VMKTimeFormatter::patternForFormat(int format) {
    if (format < 0 || format >= NumberOfFormats)
        format = DefaultFormat;
    return QString::fromUtf8(kForms[format].pattern);
}

int VMKTimeFormatter::effectiveFormat() const {
    if (m_format < 0 || m_format >= NumberOfFormats)
        return DefaultFormat;
    if ((m_format == 0 || m_format == 18) && !isUsable(m_sampleRate))
        return DefaultFormat;
    if ((m_format == 9 || m_format == 16) && (!isUsable(m_tempo) || m_meterNumerator <= 0))
        return DefaultFormat;
    return m_format;
}

QString VMKTimeFormatter::stringForObjectValue(const QVariant& seconds) const {
    if (!Variant::isNumber(seconds))
        return {};
    return stringForSeconds(seconds.toDouble());
}

QString VMKTimeFormatter::stringForSeconds(double seconds) const {
    if (std::isnan(seconds))
        return {};
    const QString sign = seconds < 0.0 ? QStringLiteral("-") : QString();
    const double magnitude = std::abs(seconds);
    if (magnitude > kLargestSeconds)
        return sign + kInfinity;

    const int code = effectiveFormat();
    const Form& form = kForms[code];
    double unitsPerSecond = double(form.units);
    if (code == 0)
        unitsPerSecond = m_sampleRate;
    else if (code == 18)
        unitsPerSecond = m_sampleRate / 28.0;
    else if (form.kind == Kind::DropFrame)
        unitsPerSecond = kDropFrameRate;
    else if (form.kind == Kind::Bars)
        unitsPerSecond = m_tempo / 60.0 * double(form.units);
    const double rounded = std::round(magnitude * unitsPerSecond);
    if (!(rounded < kLargestUnits))
        return sign + kInfinity;
    const qint64 units = qint64(rounded);
    // A negative time that rounds to zero shows as zero (a bar position as
    // that of zero); negative bar positions count from 0, since no bar lies
    // before the first.
    const bool negative = seconds < 0.0 && units > 0;
    const bool position = m_isPosition && !(negative && form.kind == Kind::Bars);
    const QString text = [&]() -> QString {
        switch (form.kind) {
        case Kind::Count:
            return QString::number(units);
        case Kind::Decimal:
            return QString::number(units / form.units) + fraction(units % form.units, form.digits);
        case Kind::Clock:
            return clockText(units / form.units, position) + fraction(units % form.units, form.digits);
        case Kind::Minutes: {
            const qint64 total = units / form.units;
            return QStringLiteral("%1:%2").arg(total / 60).arg(padded(total % 60, 2)) +
                   fraction(units % form.units, form.digits);
        }
        case Kind::Frames:
            return clockText(units / form.units, position) + QLatin1Char(':') + padded(units % form.units, 2);
        case Kind::CDFrames: {
            const qint64 total = units / form.units;
            return QStringLiteral("%1:%2:%3")
                .arg(total / 60)
                .arg(padded(total % 60, 2), padded(units % form.units, 2));
        }
        case Kind::DropFrame: {
            qint64 hours, minutes, secs, frames;
            dropFrameFields(units, hours, minutes, secs, frames);
            const QString clock = clockText(hours * 3600 + minutes * 60 + secs, position);
            return clock + QLatin1Char(';') + padded(frames, 2);
        }
        case Kind::Labelled: {
            const qint64 total = units / form.units;
            const QString secs = QString::number(total % 60) + fraction(units % form.units, form.digits) +
                                 QLatin1Char('s');
            if (position || total >= 3600)
                return QStringLiteral("%1h %2m %3").arg(total / 3600).arg(total / 60 % 60).arg(secs);
            if (total >= 60)
                return QStringLiteral("%1m %2").arg(total / 60).arg(secs);
            return secs;
        }
        case Kind::Bars: {
            const qint64 beats = units / form.units;
            const qint64 origin = position ? 1 : 0;
            return QStringLiteral("%1.%2.%3")
                .arg(beats / m_meterNumerator + origin)
                .arg(beats % m_meterNumerator + origin)
                .arg(padded(units % form.units, form.digits));
        }
        }
        return {};
    }();
    return negative ? QLatin1Char('-') + text : text;
}

bool VMKTimeFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    const int code = effectiveFormat();
    const Form& form = kForms[code];
    const auto fail = [&]() {
        if (errorDescription)
            *errorDescription = VMKLocalizedString(QStringLiteral("VMKTimeFormatter_error_invalidTime"))
                                    .arg(string, patternForFormat(code));
        return false;
    };
    QString text = string.trimmed();
    const bool negative = text.startsWith(QLatin1Char('-'));
    if (negative)
        text = text.mid(1).trimmed();
    if (text.isEmpty())
        return fail();
    double seconds = 0.0;
    if (text == kInfinity || text == QLatin1String("inf")) {
        seconds = qInf();
    } else {
        const QStringList fields = text.split(QRegularExpression(QStringLiteral("[:;]")));
        // Every field but the last is a whole number.
        std::vector<qint64> whole;
        for (qsizetype i = 0; i + 1 < fields.size(); ++i) {
            qint64 value = 0;
            if (!parseInteger(fields[i], value))
                return fail();
            whole.push_back(value);
        }
        const QString& last = fields.last();
        const auto sumOfWhole = [&]() {  // [h:]m as seconds, the last field excluded
            double sum = 0.0;
            for (qint64 value : whole)
                sum = (sum + double(value)) * 60.0;
            return sum;
        };
        switch (form.kind) {
        case Kind::Count: {
            double count = 0.0;
            if (fields.size() != 1 || !parseNumber(last, count))
                return fail();
            const double unitsPerSecond = code == 0    ? m_sampleRate
                                          : code == 18 ? m_sampleRate / 28.0
                                                       : double(form.units);
            seconds = count / unitsPerSecond;
            break;
        }
        case Kind::Decimal:
        case Kind::Clock:
        case Kind::Minutes: {
            const qsizetype most = form.kind == Kind::Clock ? 3 : form.kind == Kind::Minutes ? 2 : 1;
            double secs = 0.0;
            if (fields.size() > most || !parseNumber(last, secs) || text.contains(QLatin1Char(';')))
                return fail();
            seconds = sumOfWhole() + secs;
            break;
        }
        case Kind::Frames:
        case Kind::CDFrames:
        case Kind::DropFrame: {
            const qsizetype most = form.kind == Kind::CDFrames ? 3 : 4;
            qint64 frames = 0;
            if (fields.size() < 2 || fields.size() > most || !parseInteger(last, frames) || frames >= form.units)
                return fail();
            if (form.kind == Kind::DropFrame) {
                whole.insert(whole.begin(), 4 - qsizetype(fields.size()), 0);  // h, m, s
                seconds = double(dropFrameNumber(whole[0], whole[1], whole[2], frames)) / kDropFrameRate;
                if (seconds < 0.0)
                    return fail();
            } else {
                // The seconds are the field before the frames.
                const qint64 secs = whole.back();
                whole.pop_back();
                seconds = sumOfWhole() + double(secs) + double(frames) / double(form.units);
            }
            break;
        }
        case Kind::Labelled: {
            static const QRegularExpression labelled(
                QStringLiteral("^(?:(\\d{1,12})h)?\\s*(?:(\\d{1,12})m)?\\s*(?:(\\d+(?:\\.\\d*)?)s?)?$"));
            const QRegularExpressionMatch match = labelled.match(text);
            if (!match.hasMatch())
                return fail();
            seconds = match.captured(1).toDouble() * 3600.0 + match.captured(2).toDouble() * 60.0 +
                      QLocale::c().toDouble(match.captured(3).isEmpty() ? QStringLiteral("0") : match.captured(3));
            break;
        }
        case Kind::Bars: {
            const QStringList parts = text.split(QLatin1Char('.'));
            std::vector<qint64> values;
            for (const QString& part : parts) {
                qint64 value = 0;
                if (!parseInteger(part, value))
                    return fail();
                values.push_back(value);
            }
            if (values.size() > 3)
                return fail();
            values.resize(3, 0);
            const bool position = m_isPosition && !negative;
            if (position) {
                if (values[0] < 1 || (parts.size() > 1 && values[1] < 1))
                    return fail();
                values[0] -= 1;
                values[1] = parts.size() > 1 ? values[1] - 1 : 0;
            }
            if (values[1] >= m_meterNumerator || values[2] >= form.units)
                return fail();
            const double beats = double(values[0]) * m_meterNumerator + double(values[1]) +
                                 double(values[2]) / double(form.units);
            seconds = beats * 60.0 / m_tempo;
            break;
        }
        }
    }
    if (out)
        *out = negative ? -seconds : seconds;
    return true;
}

} // namespace ondrel
