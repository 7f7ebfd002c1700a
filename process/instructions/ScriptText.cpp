#include "process/instructions/ScriptText.h"

#include "core/objects/Object.h"
#include "core/objects/Variant.h"

#include <QtCore/QLocale>
#include <QtCore/QStringList>

#include <charconv>

namespace ondrel {

// "a" of the original pattern is Qt's "AP" (AM or PM).
const QString ScriptText::DateFormat = QStringLiteral("MM/dd/yyyy hh:mm:ss AP");

namespace {

template <class F>
QString shortestText(F value) {
    // std::to_chars without a format gives the shortest form that reads back
    // exactly; QString::number(…, 'g', 17) would print 0.1 as 0.10000000000000001.
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return QString::fromLatin1(buffer, qsizetype(result.ptr - buffer));
}

} // namespace

QString ScriptText::booleanText(bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); }

QString ScriptText::doubleText(double value) { return shortestText(value); }

QString ScriptText::floatText(float value) { return shortestText(value); }

QString ScriptText::dateText(const QDateTime& date) { return QLocale::c().toString(date.toUTC(), DateFormat); }

QString ScriptText::quoted(const QString& text) { return QLatin1Char('"') + text + QLatin1Char('"'); }

QString ScriptText::valueText(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return booleanText(value.toBool());
    case QMetaType::Int:
    case QMetaType::LongLong:
        return QString::number(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return QString::number(value.toULongLong());
    case QMetaType::Float:
        return floatText(value.toFloat());
    case QMetaType::Double:
        return doubleText(value.toDouble());
    case QMetaType::QString:
        return value.toString();
    case QMetaType::QDateTime:
        return QStringLiteral("date ") + quoted(dateText(value.toDateTime()));
    default:
        break;
    }
    if (Variant::isList(value)) {
        QStringList items;
        for (const QVariant& item : value.toList())
            items.append(Variant::isString(item) ? quoted(item.toString()) : valueText(item));
        return QLatin1Char('{') + items.join(QLatin1Char(',')) + QLatin1Char('}');
    }
    if (Variant::isDictionary(value)) {
        const QVariantMap map = value.toMap();
        QStringList items;
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            items.append(itemText(it.key(), it.value()));
        return QLatin1Char('{') + items.join(QLatin1Char(',')) + QLatin1Char('}');
    }
    if (Variant::isObject(value)) {
        const ObjectPtr object = Variant::object(value);
        return object ? object->scriptDescription() : QString();
    }
    return Variant::describe(value);
}

QString ScriptText::itemText(const QString& key, const QVariant& value) {
    const QString head = QLatin1Char('|') + key + QStringLiteral("|:");
    return head + (Variant::isString(value) ? quoted(value.toString()) : valueText(value));
}

} // namespace ondrel
