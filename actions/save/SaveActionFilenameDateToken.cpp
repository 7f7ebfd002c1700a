#include "actions/save/SaveActionFilenameDateToken.h"

#include "core/text/TextValues.h"

#include <QtCore/QLocale>

namespace ondrel {

const ClassInfo& SaveActionFilenameDateToken::staticClassInfo() {
    using C = SaveActionFilenameDateToken;
    static const ClassInfo& info =
        ClassInfo::define<C, SaveActionFilenameToken>(QStringLiteral("SaveActionFilenameDateToken"))
            .property(QStringLiteral("style"), &C::style, &C::setStyle);
    return info;
}

void SaveActionFilenameDateToken::initWithComponent(const QString& component) {
    m_style = TextValues::integerValue(QStringView(component).mid(3));
}

void SaveActionFilenameDateToken::setStyle(qint64 style) {
    setAndPost(QStringLiteral("style"), m_style, style);
}

QString SaveActionFilenameDateToken::displayString() const {
    return stringFromDate(QDateTime::currentDateTime(), m_style);
}

QString SaveActionFilenameDateToken::stringFromDate(const QDateTime& date, qint64 style) {
    static const QLocale english(QLocale::English, QLocale::UnitedStates);
    const QDate day = date.toLocalTime().date();
    switch (style) {
    case 1: return english.toString(day, QStringLiteral("M/d/yy"));
    case 2: return english.toString(day, QStringLiteral("MMM d, yyyy"));
    case 3: return english.toString(day, QStringLiteral("MMMM d, yyyy"));
    case 4: return english.toString(day, QStringLiteral("dddd, MMMM d, yyyy"));
    default: return QString();
    }
}

} // namespace ondrel
