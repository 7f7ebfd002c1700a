#include "core/text/VMKError.h"

#include "core/text/VMKLocalizedString.h"

#include <cstring>

namespace ondrel {

VMKError VMKError::errorWithCode(qint64 code, const QString& action, const QString& reason) {
    return VMKError(QStringLiteral("VMKError"), code, action, reason);
}

VMKError VMKError::errorWithUnderlying(const VMKError& underlying, const QString& action) {
    VMKError error(underlying.domain().isEmpty() ? QStringLiteral("VMKError") : underlying.domain(),
                   underlying.code(), action, underlying.localizedDescription());
    error.m_underlying = std::make_shared<const VMKError>(underlying);
    return error;
}

VMKError VMKError::errorWithErrno(int errnoValue, const QString& action, const QString& path) {
    QString reason = QString::fromLocal8Bit(std::strerror(errnoValue));
    if (!path.isEmpty())
        reason = path + QStringLiteral(": ") + reason;
    VMKError error(QStringLiteral("POSIX"), errnoValue, action, reason);
    return error;
}

QString VMKError::localizedDescription() const {
    if (!isError())
        return QString();
    QString text = VMKLocalizedString(m_action);
    if (text.isEmpty())
        text = QStringLiteral("The operation");
    text += QStringLiteral(" failed");
    if (!m_reason.isEmpty())
        text += QStringLiteral(": ") + m_reason;
    text += QStringLiteral(" (%1 %2).").arg(m_domain).arg(m_code);
    return text;
}

} // namespace ondrel
