#include "shell/formatters/TimeFormatter.h"

#include "core/dispatch/NotificationCenter.h"
#include "core/storage/UserDefaults.h"

namespace ondrel {

namespace {

const QString kTimeFormatKey = QStringLiteral("timeFormat");

int timeFormatDefault() {
    const auto defaults = UserDefaults::standardUserDefaults();
    if (!defaults->objectForKey(kTimeFormatKey).isValid())
        return VMKTimeFormatter::DefaultFormat;
    const qint64 code = defaults->integerForKey(kTimeFormatKey);
    return code >= 0 && code < VMKTimeFormatter::NumberOfFormats ? int(code) : VMKTimeFormatter::DefaultFormat;
}

} // namespace

TimeFormatter::TimeFormatter() {
    // Observing first, so that no change falls between the reading and the observing.
    m_observation = UserDefaults::standardUserDefaults()->observe(
        kTimeFormatKey, 0, [this](const KeyValueChangeInfo&) { defaultDidChange(); });
    const int format = timeFormatDefault();
    std::lock_guard lock(m_mutex);
    m_formatter.setFormat(format);
}

TimeFormatter::~TimeFormatter() = default;

void TimeFormatter::defaultDidChange() {
    const int format = timeFormatDefault();
    {
        std::lock_guard lock(m_mutex);
        if (m_formatter.format() == format)
            return;
        m_formatter.setFormat(format);
    }
    NotificationCenter::defaultCenter().postNotification(TimeFormatterDidChangeNotification, this);
}

bool TimeFormatter::isPosition() const {
    std::lock_guard lock(m_mutex);
    return m_formatter.isPosition();
}

void TimeFormatter::setIsPosition(bool isPosition) {
    std::lock_guard lock(m_mutex);
    m_formatter.setIsPosition(isPosition);
}

void TimeFormatter::setSampleRate(double sampleRate) {
    std::lock_guard lock(m_mutex);
    m_formatter.setSampleRate(sampleRate);
}

void TimeFormatter::setTempo(double tempo) {
    std::lock_guard lock(m_mutex);
    m_formatter.setTempo(tempo);
}

void TimeFormatter::setMeterNumerator(int meterNumerator) {
    std::lock_guard lock(m_mutex);
    m_formatter.setMeterNumerator(meterNumerator);
}

VMKTimeFormatter TimeFormatter::timeFormatter() const {
    std::lock_guard lock(m_mutex);
    return m_formatter;
}

QString TimeFormatter::stringForObjectValue(const QVariant& value) const {
    return timeFormatter().stringForObjectValue(value);
}

bool TimeFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    return timeFormatter().getObjectValue(out, string, errorDescription);
}

std::shared_ptr<Formatter> TimeFormatter::copy() const {
    const VMKTimeFormatter settings = timeFormatter();
    auto formatter = std::make_shared<TimeFormatter>();
    formatter->setIsPosition(settings.isPosition());
    formatter->setSampleRate(settings.sampleRate());
    formatter->setTempo(settings.tempo());
    formatter->setMeterNumerator(settings.meterNumerator());
    return formatter;
}

} // namespace ondrel
