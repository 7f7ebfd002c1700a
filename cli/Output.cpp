#include "cli/Output.h"

#include "core/objects/Variant.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <charconv>
#include <cstdio>

namespace ondrel {

namespace {

// The shortest text that reads back as the same number: a 32-bit parameter
// of 0.8 prints as 0.8, not as the digits of its widened or rounded double.
QString shortestText(const QVariant& value) {
    char text[64];
    const auto end = value.metaType().id() == QMetaType::Float
                         ? std::to_chars(text, text + sizeof text, value.toFloat()).ptr
                         : std::to_chars(text, text + sizeof text, value.toDouble()).ptr;
    return QString::fromLatin1(text, end - text);
}

bool isFraction(const QVariant& value) {
    const int type = value.metaType().id();
    return type == QMetaType::Float || type == QMetaType::Double;
}

} // namespace

void Output::line(const QString& text) {
    // One write per line, so that lines of several threads never mix.
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

void Output::error(const QString& text) {
    const QByteArray bytes = (QStringLiteral("ondrel: ") + text).toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

void Output::status(const QString& text) {
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

int Output::usage(const QString& text) {
    error(text);
    error(QStringLiteral("see 'ondrel --help'"));
    return WrongUsage;
}

QJsonValue Output::toJson(const QVariant& value) {
    if (Variant::isNullOrAbsent(value))
        return QJsonValue(QJsonValue::Null);
    if (Variant::isBool(value))
        return value.toBool();
    if (Variant::isInteger(value))
        return value.toLongLong();
    if (isFraction(value))
        return shortestText(value).toDouble();
    if (Variant::isNumber(value))
        return value.toDouble();
    if (Variant::isString(value))
        return value.toString();
    if (Variant::isData(value))
        return QString::fromLatin1(value.toByteArray().toBase64());
    if (Variant::isDate(value))
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    if (Variant::isList(value)) {
        QJsonArray array;
        for (const QVariant& v : value.toList())
            array.append(toJson(v));
        return array;
    }
    if (Variant::isDictionary(value)) {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), toJson(it.value()));
        return object;
    }
    return Variant::describe(value);
}

void Output::printJson(const QVariant& value) {
    const QJsonValue json = toJson(value);
    QJsonDocument document;
    if (json.isArray())
        document = QJsonDocument(json.toArray());
    else if (json.isObject())
        document = QJsonDocument(json.toObject());
    else
        document = QJsonDocument(QJsonArray{json});
    QByteArray text = document.toJson(QJsonDocument::Indented);
    if (!json.isArray() && !json.isObject()) {
        // A lone scalar: print it bare.
        text = QJsonDocument(QJsonArray{json}).toJson(QJsonDocument::Compact);
        text = text.mid(1, text.size() - 2) + '\n';
    }
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
}

QString Output::oneLine(const QString& text) {
    QString result;
    result.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char('\n'))
            result += QLatin1String("\\n");
        else if (c == QLatin1Char('\r'))
            result += QLatin1String("\\r");
        else if (c == QLatin1Char('\t'))
            result += QLatin1String("\\t");
        else if (c.unicode() < 0x20 || c.unicode() == 0x7f || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
            result += QStringLiteral("\\u%1").arg(uint(c.unicode()), 4, 16, QLatin1Char('0'));
        else
            result += c;
    }
    return result;
}

QString Output::toText(const QVariant& value) {
    if (Variant::isList(value) || Variant::isDictionary(value)) {
        const QJsonValue json = toJson(value);
        return QString::fromUtf8(json.isArray() ? QJsonDocument(json.toArray()).toJson(QJsonDocument::Compact)
                                                : QJsonDocument(json.toObject()).toJson(QJsonDocument::Compact));
    }
    if (Variant::isData(value))
        return QStringLiteral("<") + QString::fromLatin1(value.toByteArray().toBase64()) + QStringLiteral(">");
    if (isFraction(value))
        return shortestText(value);
    return oneLine(Variant::describe(value));
}

} // namespace ondrel
