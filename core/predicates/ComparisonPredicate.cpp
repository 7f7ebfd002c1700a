#include "core/predicates/ComparisonPredicate.h"

namespace ondrel {

namespace {

using Type = ComparisonPredicate::PredicateOperatorType;

QString withoutDiacritics(const QString& text) {
    QString decomposed = text.normalized(QString::NormalizationForm_D);
    decomposed.removeIf([](QChar c) {
        const QChar::Category category = c.category();
        return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining ||
               category == QChar::Mark_Enclosing;
    });
    return decomposed;
}

// Whole-text match of a LIKE pattern: * is any run, ? any one character, a
// backslash takes the next character literally.
bool likeMatch(QStringView text, QStringView pattern) {
    qsizetype t = 0, p = 0, starP = -1, starT = 0;
    while (t < text.size()) {
        if (p < pattern.size()) {
            QChar pc = pattern[p];
            if (pc == QLatin1Char('*')) {
                starP = p++;
                starT = t;
                continue;
            }
            const bool escaped = pc == QLatin1Char('\\') && p + 1 < pattern.size();
            if (escaped)
                pc = pattern[p + 1];
            if ((!escaped && pc == QLatin1Char('?')) || pc == text[t]) {
                ++t;
                p += escaped ? 2 : 1;
                continue;
            }
        }
        if (starP < 0)
            return false;
        p = starP + 1;
        t = ++starT;
    }
    while (p < pattern.size() && pattern[p] == QLatin1Char('*'))
        ++p;
    return p == pattern.size();
}

bool isOrdering(Type type) {
    return type == Type::LessThan || type == Type::LessThanOrEqualTo || type == Type::GreaterThan ||
           type == Type::GreaterThanOrEqualTo;
}

} // namespace

const ClassInfo& ComparisonPredicate::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<ComparisonPredicate, Predicate>(QStringLiteral("ComparisonPredicate"))
            .property(QStringLiteral("leftExpression"), &ComparisonPredicate::leftExpression)
            .property(QStringLiteral("rightExpression"), &ComparisonPredicate::rightExpression)
            .addProperty(QStringLiteral("predicateOperatorType"),
                         [](const Object* o) {
                             return QVariant(int(static_cast<const ComparisonPredicate*>(o)->predicateOperatorType()));
                         })
            .addProperty(QStringLiteral("comparisonPredicateModifier"),
                         [](const Object* o) {
                             return QVariant(
                                 int(static_cast<const ComparisonPredicate*>(o)->comparisonPredicateModifier()));
                         })
            .property(QStringLiteral("options"), &ComparisonPredicate::options);
    return info;
}

ComparisonPredicate::ComparisonPredicate()
    : m_left(Expression::expressionForConstantValue(QVariant())),
      m_right(Expression::expressionForConstantValue(QVariant())) {}

ComparisonPredicate::ComparisonPredicate(std::shared_ptr<Expression> leftExpression,
                                         std::shared_ptr<Expression> rightExpression,
                                         ComparisonPredicateModifier modifier, PredicateOperatorType type, int options)
    : m_left(std::move(leftExpression)), m_right(std::move(rightExpression)), m_modifier(modifier), m_type(type),
      m_options(options & (CaseInsensitivePredicateOption | DiacriticInsensitivePredicateOption)) {
    if (!m_left)
        m_left = Expression::expressionForConstantValue(QVariant());
    if (!m_right)
        m_right = Expression::expressionForConstantValue(QVariant());
}

QString ComparisonPredicate::fold(const QString& text) const {
    if (!m_options)
        return text;
    QString out = (m_options & DiacriticInsensitivePredicateOption) ? withoutDiacritics(text) : text;
    if (m_options & CaseInsensitivePredicateOption)
        out = out.toCaseFolded();
    return out;
}

QRegularExpression ComparisonPredicate::makeRegex(const QString& pattern) const {
    QRegularExpression::PatternOptions options = QRegularExpression::UseUnicodePropertiesOption;
    if (m_options & CaseInsensitivePredicateOption)
        options |= QRegularExpression::CaseInsensitiveOption;
    const QString text = (m_options & DiacriticInsensitivePredicateOption) ? withoutDiacritics(pattern) : pattern;
    return QRegularExpression(QRegularExpression::anchoredPattern(text), options);
}

const ComparisonPredicate::Prepared& ComparisonPredicate::prepared() const {
    std::call_once(m_preparedOnce, [this] {
        if (!m_right->isConstant())
            return;
        m_prepared.constant = true;
        m_prepared.value = m_right->expressionValueWithObject(QVariant());
        if (Variant::isString(m_prepared.value)) {
            const QString text = m_prepared.value.toString();
            m_prepared.text = fold(text);
            if (m_type == Type::Matches) {
                m_prepared.regex = makeRegex(text);
                m_prepared.regex.optimize();  // compiled now, so that threads only read it
            }
        }
    });
    return m_prepared;
}

bool ComparisonPredicate::evaluate(const QVariant& object) const {
    const Prepared& p = prepared();
    const Prepared* constant = p.constant ? &p : nullptr;
    const QVariant right = constant ? p.value : m_right->expressionValueWithObject(object);
    const QVariant left = m_left->expressionValueWithObject(object);
    switch (m_modifier) {
    case ComparisonPredicateModifier::Direct: return compareValues(left, right, constant);
    case ComparisonPredicateModifier::Any:
        if (!Variant::isList(left))
            return false;
        for (const QVariant& element : left.toList())
            if (compareValues(element, right, constant))
                return true;
        return false;
    case ComparisonPredicateModifier::All:
        if (!Variant::isList(left))
            return false;
        for (const QVariant& element : left.toList())
            if (!compareValues(element, right, constant))
                return false;
        return true;
    }
    return false;
}

bool ComparisonPredicate::equalValues(const QVariant& left, const QVariant& right, const QString* foldedRight) const {
    const bool leftNull = Variant::isNullOrAbsent(left), rightNull = Variant::isNullOrAbsent(right);
    if (leftNull || rightNull)
        return leftNull && rightNull;
    if (Variant::isString(left) && Variant::isString(right)) {
        if (!m_options)
            return left.toString() == right.toString();
        return fold(left.toString()) == (foldedRight ? *foldedRight : fold(right.toString()));
    }
    return Variant::equal(left, right);
}

std::partial_ordering ComparisonPredicate::orderValues(const QVariant& left, const QVariant& right) const {
    if (Variant::isNullOrAbsent(left) || Variant::isNullOrAbsent(right))
        return std::partial_ordering::unordered;
    if (m_options && Variant::isString(left) && Variant::isString(right))
        return QString::compare(fold(left.toString()), fold(right.toString()), Qt::CaseSensitive) <=> 0;
    return Variant::compare(left, right);
}

bool ComparisonPredicate::matchText(const QString& left, const QVariant& right, const Prepared* constant) const {
    if (!Variant::isString(right))
        return false;
    if (m_type == Type::Matches) {
        const QRegularExpression regex = constant ? constant->regex : makeRegex(right.toString());
        if (!regex.isValid())
            return false;
        const QString subject = (m_options & DiacriticInsensitivePredicateOption) ? withoutDiacritics(left) : left;
        return regex.match(subject).hasMatch();
    }
    const QString text = fold(left);
    const QString pattern = constant ? constant->text : fold(right.toString());
    switch (m_type) {
    case Type::BeginsWith: return !pattern.isEmpty() && text.startsWith(pattern);
    case Type::EndsWith: return !pattern.isEmpty() && text.endsWith(pattern);
    case Type::Contains: return !pattern.isEmpty() && text.contains(pattern);
    case Type::Like: return likeMatch(text, pattern);
    default: return false;
    }
}

bool ComparisonPredicate::compareValues(const QVariant& left, const QVariant& right, const Prepared* constant) const {
    const QString* foldedRight = constant && Variant::isString(constant->value) ? &constant->text : nullptr;
    if (isOrdering(m_type)) {
        const std::partial_ordering order = orderValues(left, right);
        switch (m_type) {
        case Type::LessThan: return order < 0;
        case Type::LessThanOrEqualTo: return order <= 0;
        case Type::GreaterThan: return order > 0;
        default: return order >= 0;
        }
    }
    switch (m_type) {
    case Type::EqualTo: return equalValues(left, right, foldedRight);
    case Type::NotEqualTo: return !equalValues(left, right, foldedRight);
    case Type::Matches:
    case Type::Like:
    case Type::BeginsWith:
    case Type::EndsWith: return Variant::isString(left) && matchText(left.toString(), right, constant);
    case Type::Contains:
        if (Variant::isString(left))
            return matchText(left.toString(), right, constant);
        if (Variant::isList(left)) {
            for (const QVariant& element : left.toList())
                if (equalValues(element, right, foldedRight))
                    return true;
        }
        return false;
    case Type::In:
        if (Variant::isList(right) || Variant::isDictionary(right)) {
            const QVariantList elements = Variant::isList(right) ? right.toList() : right.toMap().values();
            for (const QVariant& element : elements)
                if (equalValues(left, element, nullptr))
                    return true;
            return false;
        }
        if (Variant::isString(left) && Variant::isString(right)) {
            const QString needle = fold(left.toString());
            return !needle.isEmpty() && (foldedRight ? *foldedRight : fold(right.toString())).contains(needle);
        }
        return false;
    case Type::Between: {
        if (!Variant::isList(right))
            return false;
        const QVariantList bounds = right.toList();
        return bounds.size() == 2 && orderValues(left, bounds[0]) >= 0 && orderValues(left, bounds[1]) <= 0;
    }
    default: return false;
    }
}

QString ComparisonPredicate::operatorText(PredicateOperatorType type) {
    switch (type) {
    case Type::LessThan: return QStringLiteral("<");
    case Type::LessThanOrEqualTo: return QStringLiteral("<=");
    case Type::GreaterThan: return QStringLiteral(">");
    case Type::GreaterThanOrEqualTo: return QStringLiteral(">=");
    case Type::EqualTo: return QStringLiteral("==");
    case Type::NotEqualTo: return QStringLiteral("!=");
    case Type::Matches: return QStringLiteral("MATCHES");
    case Type::Like: return QStringLiteral("LIKE");
    case Type::BeginsWith: return QStringLiteral("BEGINSWITH");
    case Type::EndsWith: return QStringLiteral("ENDSWITH");
    case Type::In: return QStringLiteral("IN");
    case Type::Contains: return QStringLiteral("CONTAINS");
    case Type::Between: return QStringLiteral("BETWEEN");
    }
    return QString();
}

QString ComparisonPredicate::predicateFormat() const {
    QString text;
    if (m_modifier == ComparisonPredicateModifier::Any)
        text = QStringLiteral("ANY ");
    else if (m_modifier == ComparisonPredicateModifier::All)
        text = QStringLiteral("ALL ");
    text += m_left->description() + QLatin1Char(' ') + operatorText(m_type);
    if (m_options) {
        text += QLatin1Char('[');
        if (m_options & CaseInsensitivePredicateOption)
            text += QLatin1Char('c');
        if (m_options & DiacriticInsensitivePredicateOption)
            text += QLatin1Char('d');
        text += QLatin1Char(']');
    }
    return text + QLatin1Char(' ') + m_right->description();
}

bool ComparisonPredicate::isEqual(const Object& other) const {
    const auto* p = dynamic_cast<const ComparisonPredicate*>(&other);
    return p && p->m_type == m_type && p->m_modifier == m_modifier && p->m_options == m_options &&
           p->m_left->isEqual(*m_left) && p->m_right->isEqual(*m_right);
}

} // namespace ondrel
