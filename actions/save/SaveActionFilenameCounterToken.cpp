#include "actions/save/SaveActionFilenameCounterToken.h"

#include "core/text/TextValues.h"

namespace ondrel {

const ClassInfo& SaveActionFilenameCounterToken::staticClassInfo() {
    using C = SaveActionFilenameCounterToken;
    static const ClassInfo& info =
        ClassInfo::define<C, SaveActionFilenameToken>(QStringLiteral("SaveActionFilenameCounterToken"))
            .property(QStringLiteral("start"), &C::start, &C::setStart)
            .property(QStringLiteral("step"), &C::step, &C::setStep)
            .property(QStringLiteral("ascending"), &C::isAscending, &C::setAscending)
            .property(QStringLiteral("useImplicitDigits"), &C::useImplicitDigits, &C::setUseImplicitDigits)
            .property(QStringLiteral("digits"), &C::digits, &C::setDigits);
    return info;
}

void SaveActionFilenameCounterToken::initWithComponent(const QString& component) {
    const QStringList fields = component.mid(3).split(QLatin1Char(':'));
    if (!fields.isEmpty())
        m_start = quint64(TextValues::integerValue(fields[0]));
    if (fields.size() > 1) {
        const qint64 step = TextValues::integerValue(fields[1]);
        m_step = step < 0 ? quint64(0) - quint64(step) : quint64(step);
        m_ascending = step >= 1;
    }
    if (fields.size() > 2) {
        m_useImplicitDigits = false;
        m_digits = quint64(TextValues::integerValue(fields[2]));
    }
}

void SaveActionFilenameCounterToken::setStart(quint64 start) { setAndPost(QStringLiteral("start"), m_start, start); }
void SaveActionFilenameCounterToken::setStep(quint64 step) { setAndPost(QStringLiteral("step"), m_step, step); }
void SaveActionFilenameCounterToken::setAscending(bool ascending) {
    setAndPost(QStringLiteral("ascending"), m_ascending, ascending);
}
void SaveActionFilenameCounterToken::setUseImplicitDigits(bool useImplicitDigits) {
    setAndPost(QStringLiteral("useImplicitDigits"), m_useImplicitDigits, useImplicitDigits);
}
void SaveActionFilenameCounterToken::setDigits(quint64 digits) { setAndPost(QStringLiteral("digits"), m_digits, digits); }

QString SaveActionFilenameCounterToken::component() const {
    const qint64 signedStep = m_ascending ? qint64(m_step) : -qint64(m_step);
    QString text = QStringLiteral("[C]%1:%2").arg(qint64(m_start)).arg(signedStep);
    if (!m_useImplicitDigits)
        text += QStringLiteral(":%1").arg(m_digits);
    return text;
}

QString SaveActionFilenameCounterToken::displayString() const {
    if (m_useImplicitDigits)
        return QStringLiteral("1");
    return QStringLiteral("%1").arg(1, int(qMin<quint64>(m_digits, 255)), 10, QLatin1Char('0'));
}

} // namespace ondrel
