#include "core/text/StringCompare.h"

#include <QtCore/QCollator>
#include <QtCore/QLocale>

namespace ondrel {

namespace {

int sign(int value) { return (value > 0) - (value < 0); }

// A collator of the current locale, made once per thread (QCollator must not
// be shared between threads). Remade when the default locale changes.
QCollator& collator(bool numeric) {
    struct Entry {
        QCollator collator;
        QLocale locale;
        bool ready = false;
    };
    thread_local Entry entries[2];
    Entry& entry = entries[numeric ? 1 : 0];
    const QLocale locale;
    if (!entry.ready || entry.locale != locale) {
        // The C locale's collator compares code units and ignores the numeric
        // mode; English uses the root collation order.
        entry.collator =
            QCollator(locale.language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedStates) : locale);
        entry.collator.setCaseSensitivity(Qt::CaseInsensitive);
        entry.collator.setNumericMode(numeric);
        entry.locale = locale;
        entry.ready = true;
    }
    return entry.collator;
}

} // namespace

int StringCompare::compare(const QString& a, const QString& b) {
    return sign(QString::compare(a, b, Qt::CaseSensitive));
}

int StringCompare::caseInsensitiveCompare(const QString& a, const QString& b) {
    return sign(QString::compare(a, b, Qt::CaseInsensitive));
}

int StringCompare::localizedCaseInsensitiveCompare(const QString& a, const QString& b) {
    return sign(collator(false).compare(a, b));
}

int StringCompare::localizedStandardCompare(const QString& a, const QString& b) {
    return sign(collator(true).compare(a, b));
}

int StringCompare::compareWithSelector(const QString& selector, const QString& a, const QString& b) {
    if (selector == QLatin1String("localizedStandardCompare:"))
        return localizedStandardCompare(a, b);
    if (selector == QLatin1String("caseInsensitiveCompare:"))
        return caseInsensitiveCompare(a, b);
    if (selector == QLatin1String("localizedCaseInsensitiveCompare:"))
        return localizedCaseInsensitiveCompare(a, b);
    return compare(a, b);
}

const QCollator* StringCompare::collatorForSelector(const QString& selector) {
    if (selector == QLatin1String("localizedStandardCompare:"))
        return &collator(true);
    if (selector == QLatin1String("localizedCaseInsensitiveCompare:"))
        return &collator(false);
    return nullptr;
}

} // namespace ondrel
