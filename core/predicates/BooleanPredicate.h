#pragma once

#include "core/predicates/Predicate.h"

namespace ondrel {

// TRUEPREDICATE or FALSEPREDICATE: holds for every object, or for none.
class BooleanPredicate : public Predicate {
    ONDREL_OBJECT(BooleanPredicate, Predicate)
public:
    explicit BooleanPredicate(bool value = true) : m_value(value) {}

    bool value() const { return m_value; }

    QString predicateFormat() const override;
    bool isEqual(const Object& other) const override;

protected:
    bool evaluate(const QVariant&) const override { return m_value; }

private:
    bool m_value;
};

} // namespace ondrel
