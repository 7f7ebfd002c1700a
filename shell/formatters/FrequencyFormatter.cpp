#include "shell/formatters/FrequencyFormatter.h"

#include "core/dispatch/NotificationCenter.h"
#include "core/storage/UserDefaults.h"

namespace ondrel {

namespace {

const QString kFrequencyFormatKey = QStringLiteral("frequencyFormat");

QString frequencyFormatDefault() {
    const QVariant value = UserDefaults::standardUserDefaults()->objectForKey(kFrequencyFormatKey);
    return value.isValid() ? value.toString() : QStringLiteral("hz");
}

} // namespace

FrequencyFormatter::FrequencyFormatter() {
    m_observation = UserDefaults::standardUserDefaults()->observe(
        kFrequencyFormatKey, 0, [this](const KeyValueChangeInfo&) { defaultDidChange(); });
    setFormat(frequencyFormatDefault());
}

FrequencyFormatter::~FrequencyFormatter() = default;

void FrequencyFormatter::defaultDidChange() {
    if (applyFormat(frequencyFormatDefault()))
        NotificationCenter::defaultCenter().postNotification(FrequencyFormatterDidChangeNotification, this);
}

QString FrequencyFormatter::format() const {
    std::lock_guard lock(m_formatMutex);
    return m_format;
}

void FrequencyFormatter::setFormat(const QString& format) { applyFormat(format); }

bool FrequencyFormatter::applyFormat(const QString& format) {
    Settings settings;
    if (format == QLatin1String("hz")) {
        settings.usesGroupingSeparator = true;
        settings.positiveSuffix = settings.negativeSuffix = QStringLiteral(" Hz");
    } else {
        settings.positiveSuffix = settings.negativeSuffix = QStringLiteral(" kHz");
        settings.maximumFractionDigits = 1;
        settings.multiplier = 0.001;
    }
    std::lock_guard lock(m_formatMutex);
    if (m_format == format && !m_format.isNull())
        return false;
    m_format = format;
    setSettings(settings);
    return true;
}

std::shared_ptr<Formatter> FrequencyFormatter::copy() const { return std::make_shared<FrequencyFormatter>(); }

} // namespace ondrel
