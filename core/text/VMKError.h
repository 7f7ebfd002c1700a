#pragma once

#include <QtCore/QString>
#include <QtCore/QVariantMap>

#include <memory>

namespace ondrel {

// An error: a code, the words of what was being done ("Resolving bookmark
// data"), the domain (the error's class name), an optional reason and user
// info, and optionally the error that caused it. A default-constructed error
// is "no error". Operations that can fail take a `VMKError*` slot that may be
// null; VMKError::set fills it only when it is there.
class VMKError {
public:
    VMKError() = default;

    static VMKError errorWithCode(qint64 code, const QString& action, const QString& reason = QString());
    // Wraps an error of a lower layer (a library, the system) under our action.
    static VMKError errorWithUnderlying(const VMKError& underlying, const QString& action);
    // An error of the operating system: `errnoValue` gives the reason text.
    static VMKError errorWithErrno(int errnoValue, const QString& action, const QString& path = QString());

    static void set(VMKError* slot, const VMKError& error) {
        if (slot)
            *slot = error;
    }

    bool isError() const { return !m_domain.isEmpty(); }
    explicit operator bool() const { return isError(); }

    qint64 code() const { return m_code; }
    const QString& action() const { return m_action; }
    const QString& domain() const { return m_domain; }
    const QString& reason() const { return m_reason; }
    const QVariantMap& userInfo() const { return m_userInfo; }
    void setUserInfo(const QVariantMap& userInfo) { m_userInfo = userInfo; }
    void setUserInfoValue(const QString& key, const QVariant& value) { m_userInfo.insert(key, value); }
    const VMKError* underlyingError() const { return m_underlying.get(); }

    // "Loading the split file failed: the files differ in frames (FileEntityError 4)."
    QString localizedDescription() const;

    bool isKindOf(const QString& domain) const { return m_domain == domain; }

protected:
    VMKError(const QString& domain, qint64 code, const QString& action, const QString& reason)
        : m_domain(domain), m_code(code), m_action(action), m_reason(reason) {}

private:
    QString m_domain;
    qint64 m_code = 0;
    QString m_action;
    QString m_reason;
    QVariantMap m_userInfo;
    std::shared_ptr<const VMKError> m_underlying;
};

#define ONDREL_ERROR_SUBCLASS(Name)                                                               \
    class Name : public VMKError {                                                                \
    public:                                                                                       \
        static Name errorWithCode(qint64 code, const QString& action, const QString& reason = {}) \
        {                                                                                         \
            return Name(code, action, reason);                                                    \
        }                                                                                         \
                                                                                                  \
    private:                                                                                      \
        Name(qint64 code, const QString& action, const QString& reason)                           \
            : VMKError(QStringLiteral(#Name), code, action, reason) {}                            \
    };

} // namespace ondrel
