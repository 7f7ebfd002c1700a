#pragma once

#include "core/predicates/Predicate.h"

namespace ondrel {

// AND, OR or NOT of subpredicates. An "and" of none holds, an "or" of none
// does not; a "not" negates its first subpredicate.
class CompoundPredicate : public Predicate {
    ONDREL_OBJECT(CompoundPredicate, Predicate)
public:
    enum class CompoundPredicateType { Not = 0, And = 1, Or = 2 };

    CompoundPredicate() = default;  // an "and" of nothing
    CompoundPredicate(CompoundPredicateType type, std::vector<std::shared_ptr<Predicate>> subpredicates);

    CompoundPredicateType compoundPredicateType() const { return m_type; }
    const std::vector<std::shared_ptr<Predicate>>& subpredicates() const { return m_subpredicates; }

    QString predicateFormat() const override;
    bool isEqual(const Object& other) const override;

    // Archived as its type and subpredicates, so that a compound of one
    // keeps its shape (its format text alone reads back as the one inside).
    void encodeWithCoder(KeyedArchiver& coder) const override;
    void initWithCoder(const KeyedUnarchiver& coder) override;
    ObjectPtr awakeAfterUsingCoder() override;

protected:
    bool evaluate(const QVariant& object) const override;

private:
    CompoundPredicateType m_type = CompoundPredicateType::And;
    std::vector<std::shared_ptr<Predicate>> m_subpredicates;
};

} // namespace ondrel
