#include "shell/formatters/ActivityPaneLengthFormatter.h"

#include "core/objects/Variant.h"
#include "core/text/VMKLocalizedString.h"
#include "core/values/Date.h"

#include <cmath>

namespace ondrel {

namespace {

QString failedText() { return VMKLocalizedString(QStringLiteral("ActivityPaneLengthFormatter_failed")); }

} // namespace

QString ActivityPaneLengthFormatter::relativeStringForDate(const QDateTime& date, const QDateTime& now) {
    const QDateTime local = date.toLocalTime();
    const QDate today = now.toLocalTime().date();
    const QString time = local.toString(QStringLiteral("HH:mm"));
    if (local.date() == today)
        return VMKLocalizedString(QStringLiteral("ActivityPaneLengthFormatter_today")) + QLatin1Char(' ') + time;
    if (local.date() == today.addDays(-1))
        return VMKLocalizedString(QStringLiteral("ActivityPaneLengthFormatter_yesterday")) + QLatin1Char(' ') + time;
    return local.toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString ActivityPaneLengthFormatter::stringForStartDate(const QDateTime& startDate, const QDateTime& endDate) const {
    if (!startDate.isValid())
        return QStringLiteral("[%1]").arg(failedText());
    QString text = relativeStringForDate(startDate, Date::now());
    if (!endDate.isValid())
        return text;
    if (endDate == Date::referenceDate())
        return text + QStringLiteral(" [%1]").arg(failedText());
    const qint64 seconds = qint64(std::llround(double(startDate.msecsTo(endDate)) / 1000.0));
    if (seconds == 0)
        return text + QStringLiteral(" [<1s]");
    if (seconds >= 60)
        return text + QStringLiteral(" [%1m %2s]").arg(seconds / 60).arg(seconds % 60);
    return text + QStringLiteral(" [%1s]").arg(seconds);
}

QString ActivityPaneLengthFormatter::stringForObjectValue(const QVariant& value) const {
    if (!Variant::isDate(value) || !value.toDateTime().isValid())
        return {};
    return relativeStringForDate(value.toDateTime(), Date::now());
}

std::shared_ptr<Formatter> ActivityPaneLengthFormatter::copy() const {
    return std::make_shared<ActivityPaneLengthFormatter>();
}

} // namespace ondrel
