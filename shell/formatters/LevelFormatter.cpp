#include "shell/formatters/LevelFormatter.h"

#include "core/dispatch/NotificationCenter.h"
#include "core/objects/Variant.h"
#include "core/storage/UserDefaults.h"

#include <QtCore/QLocale>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ondrel {

namespace {

const QString kLevelFormatKey = QStringLiteral("levelFormat");

QString levelFormatDefault() {
    const QVariant value = UserDefaults::standardUserDefaults()->objectForKey(kLevelFormatKey);
    return value.isValid() ? value.toString() : QStringLiteral("decibel");
}

// roundf of a product as a 64-bit integer, clamped instead of overflowing.
qint64 roundedInteger(float value) {
    const float rounded = std::round(value);
    if (std::isnan(rounded))
        return 0;
    if (rounded >= 9.2e18f)
        return std::numeric_limits<qint64>::max();
    if (rounded <= -9.2e18f)
        return std::numeric_limits<qint64>::min();
    return qint64(rounded);
}

QString hexDigits(qint64 value, int bits) {
    const quint64 mask = (quint64(1) << bits) - 1;
    return QStringLiteral("%1").arg(quint64(value) & mask, bits / 4, 16, QLatin1Char('0')).toUpper();
}

} // namespace

LevelFormatter::LevelFormatter() {
    m_observation = UserDefaults::standardUserDefaults()->observe(
        kLevelFormatKey, 0, [this](const KeyValueChangeInfo&) { defaultDidChange(); });
    const QString format = levelFormatDefault();
    std::lock_guard lock(m_mutex);
    m_format = format;
}

LevelFormatter::~LevelFormatter() = default;

void LevelFormatter::defaultDidChange() {
    const QString format = levelFormatDefault();
    {
        std::lock_guard lock(m_mutex);
        if (m_format == format)
            return;
        m_format = format;
    }
    NotificationCenter::defaultCenter().postNotification(LevelFormatterDidChangeNotification, this);
}

QString LevelFormatter::format() const {
    std::lock_guard lock(m_mutex);
    return m_format;
}

QString LevelFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isNumber(value))
        return {};
    return stringForLevel(value.toDouble(), format());
}

QString LevelFormatter::stringForLevel(double level, const QString& format) {
    if (format == QLatin1String("decibel")) {
        if (!std::isfinite(level))
            return QStringLiteral("-∞ dB");
        return fixedText(level, 2) + QStringLiteral(" dB");
    }
    const float a = std::isnan(level) ? 0.0f : std::pow(10.0f, float(level) / 20.0f);
    if (format == QLatin1String("percent")) {
        const float percent = std::round(std::abs(a) * 100.0f);
        return std::isfinite(percent) ? QString::asprintf("%.0f %%", double(percent)) : QStringLiteral("∞ %");
    }
    if (format == QLatin1String("normalized"))
        return std::isfinite(a) ? fixedText(std::abs(a), 2) : QStringLiteral("∞");
    if (format == QLatin1String("8bit")) {
        const qint64 value = roundedInteger(a * 127.0f);
        return QString::number(std::clamp<qint64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    }
    if (format == QLatin1String("16bit"))
        return hexDigits(roundedInteger(a * 32767.0f), 16);
    if (format == QLatin1String("24bit"))
        return hexDigits(roundedInteger(a * 8388607.0f), 24);
    return {};
}

bool LevelFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    const QString current = format();
    QString text = string.trimmed();
    double level = 0.0;
    bool ok = false;
    const auto amplitudeToLevel = [](double amplitude) { return 20.0 * std::log10(amplitude); };
    if (current == QLatin1String("decibel")) {
        if (text.endsWith(QLatin1String("dB")))
            text = text.chopped(2).trimmed();
        if (text == QStringLiteral("-∞")) {
            level = -qInf();
            ok = true;
        } else {
            level = QLocale::c().toDouble(text, &ok);
        }
    } else if (current == QLatin1String("percent") || current == QLatin1String("normalized") ||
               current == QLatin1String("8bit")) {
        if (current == QLatin1String("percent") && text.endsWith(QLatin1Char('%')))
            text = text.chopped(1).trimmed();
        const double divisor = current == QLatin1String("percent") ? 100.0
                               : current == QLatin1String("8bit")  ? 127.0
                                                                   : 1.0;
        const double amplitude = QLocale::c().toDouble(text, &ok);
        ok = ok && amplitude >= 0.0;
        level = amplitudeToLevel(amplitude / divisor);
    } else if (current == QLatin1String("16bit") || current == QLatin1String("24bit")) {
        const bool sixteen = current == QLatin1String("16bit");
        const qlonglong value = text.toLongLong(&ok, 16);
        ok = ok && value >= 0 && value < (sixteen ? 0x10000 : 0x1000000);
        level = amplitudeToLevel(double(value) / (sixteen ? 32767.0 : 8388607.0));
    }
    if (!ok)
        return failToRead(string, errorDescription);
    if (out)
        *out = level;
    return true;
}

std::shared_ptr<Formatter> LevelFormatter::copy() const { return std::make_shared<LevelFormatter>(); }

} // namespace ondrel
