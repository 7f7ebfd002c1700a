#include "core/predicates/Expression.h"

#include "core/values/Date.h"
#include "core/predicates/PredicateParser.h"

#include <cmath>

namespace ondrel {

namespace {

QVariant valueForKeyStep(const QVariant& target, const QString& key) {
    if (key == QLatin1String("class")) {
        if (const ObjectPtr object = Variant::object(target))
            return object->className();
        if (Variant::isDictionary(target))
            return target.toMap().value(key);
        if (Variant::isList(target)) {
            QVariantList values;
            for (const QVariant& element : target.toList()) {
                const QVariant v = valueForKeyStep(element, key);
                values << (v.isValid() ? v : Variant::null());
            }
            return values;
        }
        return QVariant();
    }
    return Object::valueForKey(target, key);
}

QString quoted(const QString& text) {
    QString out;
    out.reserve(text.size() + 2);
    out += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"': out += QLatin1String("\\\""); break;
        case '\\': out += QLatin1String("\\\\"); break;
        case '\n': out += QLatin1String("\\n"); break;
        case '\r': out += QLatin1String("\\r"); break;
        case '\t': out += QLatin1String("\\t"); break;
        case '%': out += QLatin1String("%%"); break;
        default: out += c;
        }
    }
    out += QLatin1Char('"');
    return out;
}

QString formatNumber(const QVariant& value) {
    if (Variant::isBool(value))
        return value.toBool() ? QStringLiteral("YES") : QStringLiteral("NO");
    if (value.typeId() == QMetaType::ULongLong || value.typeId() == QMetaType::ULong)
        return QString::number(value.toULongLong());
    if (Variant::isInteger(value))
        return QString::number(value.toLongLong());
    const double d = value.toDouble();
    QString text = QString::number(d, 'g', 17);
    // Keep the text a floating-point literal, so that it reads back as one.
    if (std::isfinite(d) && !text.contains(QLatin1Char('.')) && !text.contains(QLatin1Char('e')))
        text += QLatin1String(".0");
    return text;
}

} // namespace

const ClassInfo& Expression::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<Expression, Object>(QStringLiteral("Expression"))
            .addProperty(
                QStringLiteral("expressionType"),
                [](const Object* o) { return QVariant(int(static_cast<const Expression*>(o)->expressionType())); })
            .addProperty(QStringLiteral("constantValue"),
                         [](const Object* o) { return static_cast<const Expression*>(o)->constantValue(); })
            .addProperty(QStringLiteral("keyPath"),
                         [](const Object* o) { return QVariant(static_cast<const Expression*>(o)->keyPath()); })
            .property(QStringLiteral("collection"), &Expression::collection);
    return info;
}

Expression::Expression() = default;

std::shared_ptr<Expression> Expression::expressionForConstantValue(const QVariant& value) {
    auto e = std::make_shared<Expression>();
    e->m_type = ExpressionType::ConstantValue;
    e->m_constantValue = value;
    return e;
}

std::shared_ptr<Expression> Expression::expressionForEvaluatedObject() {
    auto e = std::make_shared<Expression>();
    e->m_type = ExpressionType::EvaluatedObject;
    return e;
}

std::shared_ptr<Expression> Expression::expressionForKeyPath(const QString& keyPath) {
    auto e = std::make_shared<Expression>();
    e->m_type = ExpressionType::KeyPath;
    e->m_keyPath = keyPath;
    qsizetype start = 0;
    for (;;) {
        if (start < keyPath.size() && keyPath.at(start) == QLatin1Char('@')) {
            e->m_keys << keyPath.mid(start);  // an aggregate takes the rest of the path
            break;
        }
        const qsizetype dot = keyPath.indexOf(QLatin1Char('.'), start);
        if (dot < 0) {
            e->m_keys << keyPath.mid(start);
            break;
        }
        e->m_keys << keyPath.mid(start, dot - start);
        start = dot + 1;
    }
    return e;
}

std::shared_ptr<Expression> Expression::expressionForAggregate(std::vector<std::shared_ptr<Expression>> collection) {
    auto e = std::make_shared<Expression>();
    e->m_type = ExpressionType::Aggregate;
    e->m_collection = std::move(collection);
    return e;
}

QVariant Expression::expressionValueWithObject(const QVariant& object) const {
    switch (m_type) {
    case ExpressionType::ConstantValue: return m_constantValue;
    case ExpressionType::EvaluatedObject: return object;
    case ExpressionType::KeyPath: {
        QVariant current = object;
        for (const QString& key : m_keys) {
            if (Variant::isNullOrAbsent(current))
                return QVariant();
            if (key.startsWith(QLatin1Char('@')))
                return Object::valueForKeyPath(current, key);
            current = valueForKeyStep(current, key);
        }
        return current;
    }
    case ExpressionType::Aggregate: {
        QVariantList values;
        values.reserve(qsizetype(m_collection.size()));
        for (const auto& e : m_collection)
            values << (e ? e->expressionValueWithObject(object) : QVariant());
        return values;
    }
    }
    return QVariant();
}

bool Expression::isConstant() const {
    if (m_type == ExpressionType::ConstantValue)
        return true;
    if (m_type != ExpressionType::Aggregate)
        return false;
    for (const auto& e : m_collection)
        if (e && !e->isConstant())
            return false;
    return true;
}

QString Expression::formatConstant(const QVariant& value) {
    if (Variant::isNullOrAbsent(value))
        return QStringLiteral("nil");
    if (Variant::isNumber(value))
        return formatNumber(value);
    if (Variant::isString(value))
        return quoted(value.toString());
    if (Variant::isDate(value))
        return QStringLiteral("CAST(%1, \"Date\")")
            .arg(formatNumber(Date::timeIntervalSinceReferenceDate(value.toDateTime())));
    if (Variant::isList(value)) {
        QStringList parts;
        for (const QVariant& v : value.toList())
            parts << formatConstant(v);
        return QLatin1Char('{') + parts.join(QLatin1String(", ")) + QLatin1Char('}');
    }
    return Variant::describe(value);
}

QString Expression::description() const {
    switch (m_type) {
    case ExpressionType::ConstantValue: return formatConstant(m_constantValue);
    case ExpressionType::EvaluatedObject: return QStringLiteral("SELF");
    case ExpressionType::KeyPath: {
        QStringList parts;
        for (const QString& key : m_keys)
            parts << (PredicateParser::isReservedWord(key) ? QLatin1Char('#') + key : key);
        return parts.join(QLatin1Char('.'));
    }
    case ExpressionType::Aggregate: {
        QStringList parts;
        for (const auto& e : m_collection)
            parts << (e ? e->description() : QStringLiteral("nil"));
        return QLatin1Char('{') + parts.join(QLatin1String(", ")) + QLatin1Char('}');
    }
    }
    return QString();
}

bool Expression::isEqual(const Object& other) const {
    const auto* e = dynamic_cast<const Expression*>(&other);
    if (!e)
        return false;
    if (e->m_type != m_type) {
        // A constant list and a list of constants are the same value.
        if (!isConstant() || !e->isConstant())
            return false;
        return Variant::equal(expressionValueWithObject(QVariant()), e->expressionValueWithObject(QVariant()));
    }
    switch (m_type) {
    case ExpressionType::ConstantValue:
        if (Variant::isNullOrAbsent(m_constantValue) || Variant::isNullOrAbsent(e->m_constantValue))
            return Variant::isNullOrAbsent(m_constantValue) && Variant::isNullOrAbsent(e->m_constantValue);
        return Variant::equal(m_constantValue, e->m_constantValue);
    case ExpressionType::EvaluatedObject: return true;
    case ExpressionType::KeyPath: return m_keyPath == e->m_keyPath;
    case ExpressionType::Aggregate:
        if (m_collection.size() != e->m_collection.size())
            return false;
        for (size_t i = 0; i < m_collection.size(); ++i) {
            const auto& a = m_collection[i];
            const auto& b = e->m_collection[i];
            if (a != b && (!a || !b || !a->isEqual(*b)))
                return false;
        }
        return true;
    }
    return false;
}

} // namespace ondrel
