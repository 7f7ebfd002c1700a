#include "shell/formatters/LoudnessFormatter.h"

#include "core/dispatch/NotificationCenter.h"
#include "core/objects/Variant.h"
#include "core/storage/UserDefaults.h"

#include <QtCore/QLocale>

#include <cmath>

namespace ondrel {

namespace {

const QString kLoudnessFormatKey = QStringLiteral("loudnessFormat");
constexpr double kReferenceLoudness = 23.0;

QString loudnessFormatDefault() {
    const QVariant value = UserDefaults::standardUserDefaults()->objectForKey(kLoudnessFormatKey);
    return value.isValid() ? value.toString() : QStringLiteral("LUFS");
}

} // namespace

LoudnessFormatter::LoudnessFormatter() {
    m_observation = UserDefaults::standardUserDefaults()->observe(
        kLoudnessFormatKey, 0, [this](const KeyValueChangeInfo&) { defaultDidChange(); });
    const QString format = loudnessFormatDefault();
    std::lock_guard lock(m_mutex);
    m_format = format;
}

LoudnessFormatter::~LoudnessFormatter() = default;

void LoudnessFormatter::defaultDidChange() {
    const QString format = loudnessFormatDefault();
    {
        std::lock_guard lock(m_mutex);
        if (m_format == format)
            return;
        m_format = format;
    }
    NotificationCenter::defaultCenter().postNotification(LoudnessFormatterDidChangeNotification, this);
}

QString LoudnessFormatter::format() const {
    std::lock_guard lock(m_mutex);
    return m_format;
}

QString LoudnessFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isNumber(value))
        return {};
    return stringForLoudness(value.toDouble(), format());
}

QString LoudnessFormatter::stringForLoudness(double loudness, const QString& format) {
    const QString unit = format == QLatin1String("LUFS") ? QStringLiteral("LUFS") : QStringLiteral("LU");
    if (std::isnan(loudness))
        return {};
    if (std::isinf(loudness))  // silence measures as minus infinity
        return (loudness < 0.0 ? QStringLiteral("-∞ ") : QStringLiteral("∞ ")) + unit;
    // Adding 0.0 turns a negative zero into zero, so "-0.0" never shows.
    const double x = std::round(loudness * 10.0) / 10.0;
    if (format == QLatin1String("LUFS"))
        return QString::asprintf("%.1f LUFS", x - kReferenceLoudness + 0.0);
    return QString::asprintf("%.1f LU", x + 0.0);
}

bool LoudnessFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    QString text = string.trimmed();
    const bool absolute = format() == QLatin1String("LUFS");
    const QString unit = absolute ? QStringLiteral("LUFS") : QStringLiteral("LU");
    if (text.endsWith(unit))
        text = text.chopped(unit.size()).trimmed();
    // Silence shows as minus infinity in either unit.
    bool ok = text == QStringLiteral("-∞") || text == QStringLiteral("∞");
    const double loudness = ok ? (text.startsWith(QLatin1Char('-')) ? -qInf() : qInf()) : QLocale::c().toDouble(text, &ok);
    if (!ok)
        return failToRead(string, errorDescription);
    if (out)
        *out = absolute ? loudness + kReferenceLoudness : loudness;
    return true;
}

std::shared_ptr<Formatter> LoudnessFormatter::copy() const { return std::make_shared<LoudnessFormatter>(); }

} // namespace ondrel
