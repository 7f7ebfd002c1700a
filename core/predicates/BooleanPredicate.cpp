#include "core/predicates/BooleanPredicate.h"

namespace ondrel {

const ClassInfo& BooleanPredicate::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<BooleanPredicate, Predicate>(QStringLiteral("BooleanPredicate"))
                                       .property(QStringLiteral("value"), &BooleanPredicate::value);
    return info;
}

QString BooleanPredicate::predicateFormat() const {
    return m_value ? QStringLiteral("TRUEPREDICATE") : QStringLiteral("FALSEPREDICATE");
}

bool BooleanPredicate::isEqual(const Object& other) const {
    const auto* p = dynamic_cast<const BooleanPredicate*>(&other);
    return p && p->m_value == m_value;
}

} // namespace ondrel
