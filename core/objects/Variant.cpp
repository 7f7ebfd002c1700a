#include "core/objects/Variant.h"

#include "core/objects/Object.h"

#include <QtCore/QStringList>

#include <cmath>

namespace ondrel {

namespace Variant {

QVariant null() { return QVariant::fromValue(Null{}); }

bool isNull(const QVariant& value) { return value.metaType() == QMetaType::fromType<Null>(); }
bool isAbsent(const QVariant& value) { return !value.isValid(); }
bool isNullOrAbsent(const QVariant& value) { return !value.isValid() || isNull(value); }

bool isNumber(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return true;
    default:
        return false;
    }
}

bool isBool(const QVariant& value) { return value.typeId() == QMetaType::Bool; }

bool isInteger(const QVariant& value) {
    return isNumber(value) && value.typeId() != QMetaType::Double && value.typeId() != QMetaType::Float;
}

bool isString(const QVariant& value) { return value.typeId() == QMetaType::QString; }
bool isData(const QVariant& value) { return value.typeId() == QMetaType::QByteArray; }
bool isDate(const QVariant& value) { return value.typeId() == QMetaType::QDateTime; }
bool isList(const QVariant& value) {
    return value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
}
bool isDictionary(const QVariant& value) {
    return value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantHash;
}
bool isObject(const QVariant& value) { return value.metaType() == QMetaType::fromType<ObjectPtr>(); }

QVariant fromObject(const ObjectPtr& object) {
    if (!object)
        return QVariant();
    return QVariant::fromValue(object);
}

ObjectPtr object(const QVariant& value) {
    if (!isObject(value))
        return nullptr;
    return value.value<ObjectPtr>();
}

bool equal(const QVariant& a, const QVariant& b) {
    if (isAbsent(a) || isAbsent(b))
        return isAbsent(a) && isAbsent(b);
    if (isNull(a) || isNull(b))
        return isNull(a) && isNull(b);
    if (isNumber(a) && isNumber(b)) {
        if (isInteger(a) && isInteger(b) && a.typeId() != QMetaType::ULongLong && b.typeId() != QMetaType::ULongLong)
            return a.toLongLong() == b.toLongLong();
        return a.toDouble() == b.toDouble();
    }
    if (isObject(a) || isObject(b)) {
        if (!(isObject(a) && isObject(b)))
            return false;
        const ObjectPtr oa = object(a), ob = object(b);
        return oa == ob || (oa && ob && oa->isEqual(*ob));
    }
    if (isList(a) && isList(b)) {
        const QVariantList la = a.toList(), lb = b.toList();
        if (la.size() != lb.size())
            return false;
        for (qsizetype i = 0; i < la.size(); ++i)
            if (!equal(la[i], lb[i]))
                return false;
        return true;
    }
    if (isDictionary(a) && isDictionary(b)) {
        const QVariantMap ma = a.toMap(), mb = b.toMap();
        if (ma.size() != mb.size())
            return false;
        for (auto it = ma.cbegin(); it != ma.cend(); ++it) {
            auto other = mb.constFind(it.key());
            if (other == mb.cend() || !equal(it.value(), other.value()))
                return false;
        }
        return true;
    }
    if (isString(a) && isString(b))
        return a.toString() == b.toString();
    if (isData(a) && isData(b))
        return a.toByteArray() == b.toByteArray();
    if (isDate(a) && isDate(b))
        return a.toDateTime() == b.toDateTime();
    if (a.metaType() != b.metaType())
        return false;
    return a == b;
}

std::partial_ordering compare(const QVariant& a, const QVariant& b) {
    if (isNumber(a) && isNumber(b)) {
        if (isInteger(a) && isInteger(b) && a.typeId() != QMetaType::ULongLong && b.typeId() != QMetaType::ULongLong)
            return a.toLongLong() <=> b.toLongLong();
        return a.toDouble() <=> b.toDouble();
    }
    if (isString(a) && isString(b)) {
        const int c = QString::compare(a.toString(), b.toString(), Qt::CaseSensitive);
        return c <=> 0;
    }
    if (isDate(a) && isDate(b))
        return a.toDateTime().toMSecsSinceEpoch() <=> b.toDateTime().toMSecsSinceEpoch();
    if (isData(a) && isData(b)) {
        const int c = a.toByteArray().compare(b.toByteArray());
        return c <=> 0;
    }
    return std::partial_ordering::unordered;
}

QString describe(const QVariant& value) {
    if (isAbsent(value))
        return QStringLiteral("(absent)");
    if (isNull(value))
        return QStringLiteral("(null)");
    if (isBool(value))
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (isNumber(value)) {
        if (isInteger(value))
            return QString::number(value.toLongLong());
        return QString::number(value.toDouble(), 'g', 17);
    }
    if (isString(value))
        return value.toString();
    if (isData(value))
        return QStringLiteral("<%1>").arg(QString::fromLatin1(value.toByteArray().toHex()));
    if (isDate(value))
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    if (isList(value)) {
        QStringList parts;
        for (const auto& v : value.toList())
            parts << describe(v);
        return QStringLiteral("(") + parts.join(QStringLiteral(", ")) + QStringLiteral(")");
    }
    if (isDictionary(value)) {
        QStringList parts;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            parts << it.key() + QStringLiteral(" = ") + describe(it.value());
        return QStringLiteral("{") + parts.join(QStringLiteral("; ")) + QStringLiteral("}");
    }
    if (isObject(value)) {
        const ObjectPtr o = object(value);
        return o ? o->description() : QStringLiteral("(absent)");
    }
    return value.toString();
}

} // namespace Variant

} // namespace ondrel
