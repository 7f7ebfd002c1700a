#include "core/predicates/CompoundPredicate.h"

#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"

#include <QtCore/QStringList>

namespace ondrel {

namespace {

// A subpredicate's text, in parentheses when it is itself a compound of
// several parts (its own operator would otherwise bind differently).
QString operandFormat(const Predicate& predicate) {
    const auto* compound = dynamic_cast<const CompoundPredicate*>(&predicate);
    if (compound && compound->compoundPredicateType() != CompoundPredicate::CompoundPredicateType::Not &&
        compound->subpredicates().size() > 1)
        return QLatin1Char('(') + predicate.predicateFormat() + QLatin1Char(')');
    return predicate.predicateFormat();
}

} // namespace

const ClassInfo& CompoundPredicate::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<CompoundPredicate, Predicate>(QStringLiteral("CompoundPredicate"))
            .addProperty(QStringLiteral("compoundPredicateType"),
                         [](const Object* o) {
                             return QVariant(int(static_cast<const CompoundPredicate*>(o)->compoundPredicateType()));
                         })
            .property(QStringLiteral("subpredicates"), &CompoundPredicate::subpredicates);
    return info;
}

CompoundPredicate::CompoundPredicate(CompoundPredicateType type, std::vector<std::shared_ptr<Predicate>> subpredicates)
    : m_type(type), m_subpredicates(std::move(subpredicates)) {
    std::erase(m_subpredicates, nullptr);
}

bool CompoundPredicate::evaluate(const QVariant& object) const {
    switch (m_type) {
    case CompoundPredicateType::Not:
        return m_subpredicates.empty() || !m_subpredicates.front()->evaluateWithObject(object);
    case CompoundPredicateType::And:
        for (const auto& p : m_subpredicates)
            if (!p->evaluateWithObject(object))
                return false;
        return true;
    case CompoundPredicateType::Or:
        for (const auto& p : m_subpredicates)
            if (p->evaluateWithObject(object))
                return true;
        return false;
    }
    return false;
}

QString CompoundPredicate::predicateFormat() const {
    if (m_type == CompoundPredicateType::Not) {
        if (m_subpredicates.empty())
            return QStringLiteral("TRUEPREDICATE");
        const Predicate& operand = *m_subpredicates.front();
        if (dynamic_cast<const CompoundPredicate*>(&operand))
            return QStringLiteral("NOT (") + operand.predicateFormat() + QLatin1Char(')');
        return QStringLiteral("NOT ") + operand.predicateFormat();
    }
    if (m_subpredicates.empty())
        return m_type == CompoundPredicateType::And ? QStringLiteral("TRUEPREDICATE")
                                                    : QStringLiteral("FALSEPREDICATE");
    if (m_subpredicates.size() == 1)
        return m_subpredicates.front()->predicateFormat();
    QStringList parts;
    for (const auto& p : m_subpredicates)
        parts << operandFormat(*p);
    return parts.join(m_type == CompoundPredicateType::And ? QLatin1String(" AND ") : QLatin1String(" OR "));
}

bool CompoundPredicate::isEqual(const Object& other) const {
    const auto* p = dynamic_cast<const CompoundPredicate*>(&other);
    if (!p || p->m_type != m_type || p->m_subpredicates.size() != m_subpredicates.size())
        return false;
    for (size_t i = 0; i < m_subpredicates.size(); ++i)
        if (!m_subpredicates[i]->isEqual(*p->m_subpredicates[i]))
            return false;
    return true;
}

void CompoundPredicate::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeInt64(qint64(m_type), QStringLiteral("compoundPredicateType"));
    coder.encodeObject(toVariant(m_subpredicates), QStringLiteral("subpredicates"));
}

void CompoundPredicate::initWithCoder(const KeyedUnarchiver& coder) {
    const qint64 type = coder.decodeInt64ForKey(QStringLiteral("compoundPredicateType"));
    m_type = type == 0 ? CompoundPredicateType::Not : type == 2 ? CompoundPredicateType::Or : CompoundPredicateType::And;
    m_subpredicates.clear();
    for (const QVariant& element : coder.decodeObjectForKey(QStringLiteral("subpredicates")).toList())
        if (auto predicate = Variant::object<Predicate>(element))
            m_subpredicates.push_back(predicate);
}

ObjectPtr CompoundPredicate::awakeAfterUsingCoder() { return shared_from_this(); }

} // namespace ondrel
