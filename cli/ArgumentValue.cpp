#include "cli/ArgumentValue.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>

namespace ondrel {

namespace {

std::optional<bool> readBool(const QString& text) {
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("true") || t == QLatin1String("on") || t == QLatin1String("yes"))
        return true;
    if (t == QLatin1String("false") || t == QLatin1String("off") || t == QLatin1String("no"))
        return false;
    return std::nullopt;
}

QVariant readJson(const QString& text, QString* error) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &parseError);
    if (document.isNull()) {
        if (error)
            *error = QStringLiteral("not valid JSON: %1 at offset %2").arg(parseError.errorString()).arg(parseError.offset);
        return QVariant();
    }
    return document.toVariant();
}

} // namespace

QVariant ArgumentValue::parse(const QString& text, QString* error) {
    if (auto b = readBool(text))
        return *b;
    static const QRegularExpression integer(QStringLiteral("^[+-]?\\d+$"));
    if (integer.match(text).hasMatch()) {
        bool ok = false;
        const qint64 v = text.toLongLong(&ok);
        if (ok)
            return v;
    }
    static const QRegularExpression decimal(QStringLiteral("^[+-]?(\\d+\\.?\\d*|\\.\\d+)([eE][+-]?\\d+)?$"));
    if (decimal.match(text).hasMatch())
        return text.toDouble();
    const QString trimmed = text.trimmed();
    if (trimmed.startsWith(QLatin1Char('[')) || trimmed.startsWith(QLatin1Char('{')))
        return readJson(trimmed, error);
    return text;
}

QVariant ArgumentValue::parseAs(const QString& type, const QString& text, QString* error) {
    auto fail = [&](const QString& what) {
        if (error)
            *error = QStringLiteral("'%1' is not %2").arg(text, what);
        return QVariant();
    };
    if (type == QLatin1String("string"))
        return text;
    if (type == QLatin1String("bool")) {
        if (auto b = readBool(text))
            return *b;
        if (text == QLatin1String("1") || text == QLatin1String("0"))
            return text == QLatin1String("1");
        return fail(QStringLiteral("a boolean"));
    }
    if (type == QLatin1String("int")) {
        bool ok = false;
        const qint64 v = text.toLongLong(&ok);
        return ok ? QVariant(v) : fail(QStringLiteral("an integer"));
    }
    if (type == QLatin1String("float")) {
        bool ok = false;
        const double v = text.toDouble(&ok);
        return ok ? QVariant(v) : fail(QStringLiteral("a number"));
    }
    if (type == QLatin1String("json"))
        return readJson(text, error);
    if (error)
        *error = QStringLiteral("unknown value type '%1' (string, int, float, bool, json)").arg(type);
    return QVariant();
}

} // namespace ondrel
