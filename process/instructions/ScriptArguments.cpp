#include "process/instructions/ScriptArguments.h"

#include "core/objects/Variant.h"

#include <cmath>

namespace ondrel {

namespace {

bool fail(VMKError* error, const QString& record, const QString& key, const QString& wanted, const QVariant& value) {
    VMKError::set(error, ScriptArguments::error(record, QStringLiteral("the value of \"%1\" is %2, not %3")
                                                            .arg(key, Variant::describe(value), wanted)));
    return false;
}

} // namespace

VMKError ScriptArguments::error(const QString& record, const QString& reason) {
    return VMKError::errorWithCode(WrongArgumentsCode, QStringLiteral("Reading the script arguments of %1").arg(record),
                                   reason);
}

bool ScriptArguments::record(const QVariant& value, const QString& record, QVariantMap& out, VMKError* error) {
    if (Variant::isDictionary(value)) {
        out = value.toMap();
        return true;
    }
    if (Variant::isList(value) && value.toList().isEmpty()) {
        out.clear();
        return true;
    }
    VMKError::set(error, ScriptArguments::error(
                             record, QStringLiteral("%1 is no record").arg(Variant::describe(value))));
    return false;
}

bool ScriptArguments::list(const QVariant& value, const QString& record, const QString& key, QVariantList& out,
                           VMKError* error) {
    if (!Variant::isList(value))
        return fail(error, record, key, QStringLiteral("a list"), value);
    out = value.toList();
    return true;
}

bool ScriptArguments::number(const QVariant& value, const QString& record, const QString& key, double& out,
                             VMKError* error) {
    if (!Variant::isNumber(value) || Variant::isBool(value))
        return fail(error, record, key, QStringLiteral("a number"), value);
    out = value.toDouble();
    return true;
}

bool ScriptArguments::integer(const QVariant& value, const QString& record, const QString& key, qint64& out,
                              VMKError* error) {
    if (Variant::isBool(value) || !Variant::isNumber(value))
        return fail(error, record, key, QStringLiteral("a whole number"), value);
    if (Variant::isInteger(value)) {
        out = value.toLongLong();
        return true;
    }
    const double number = value.toDouble();
    // A whole number that the text gave as a floating one ("2.0" of another writer).
    if (!std::isfinite(number) || number != std::trunc(number) || std::fabs(number) > 9.0e18)
        return fail(error, record, key, QStringLiteral("a whole number"), value);
    out = qint64(number);
    return true;
}

bool ScriptArguments::index(const QVariant& value, const QString& record, const QString& key, quint64& out,
                            VMKError* error) {
    if (value.typeId() == QMetaType::ULongLong || value.typeId() == QMetaType::UInt) {
        out = value.toULongLong();
        return true;
    }
    qint64 number = 0;
    if (!integer(value, record, key, number, error))
        return false;
    if (number < 0)
        return fail(error, record, key, QStringLiteral("a channel index"), value);
    out = quint64(number);
    return true;
}

bool ScriptArguments::boolean(const QVariant& value, const QString& record, const QString& key, bool& out,
                              VMKError* error) {
    if (!Variant::isBool(value) && !Variant::isInteger(value))
        return fail(error, record, key, QStringLiteral("true or false"), value);
    out = value.toBool();
    return true;
}

bool ScriptArguments::string(const QVariant& value, const QString& record, const QString& key, QString& out,
                             VMKError* error) {
    if (!Variant::isString(value))
        return fail(error, record, key, QStringLiteral("a string"), value);
    out = value.toString();
    return true;
}

bool ScriptArguments::number(const QVariant& value, const QString& record, const QString& key,
                             std::optional<double>& out, VMKError* error) {
    double number = 0;
    if (!ScriptArguments::number(value, record, key, number, error))
        return false;
    out = number;
    return true;
}

bool ScriptArguments::integer(const QVariant& value, const QString& record, const QString& key,
                              std::optional<qint64>& out, VMKError* error) {
    qint64 number = 0;
    if (!ScriptArguments::integer(value, record, key, number, error))
        return false;
    out = number;
    return true;
}

bool ScriptArguments::boolean(const QVariant& value, const QString& record, const QString& key,
                              std::optional<bool>& out, VMKError* error) {
    bool flag = false;
    if (!ScriptArguments::boolean(value, record, key, flag, error))
        return false;
    out = flag;
    return true;
}

bool ScriptArguments::string(const QVariant& value, const QString& record, const QString& key,
                             std::optional<QString>& out, VMKError* error) {
    QString text;
    if (!ScriptArguments::string(value, record, key, text, error))
        return false;
    out = text;
    return true;
}

} // namespace ondrel
