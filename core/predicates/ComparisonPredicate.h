#pragma once

#include "core/predicates/Expression.h"
#include "core/predicates/Predicate.h"

#include <QtCore/QRegularExpression>

#include <mutex>

namespace ondrel {

// A comparison of two expressions: "name CONTAINS[cd] %@", "ANY labels.type == 'loop'".
class ComparisonPredicate : public Predicate {
    ONDREL_OBJECT(ComparisonPredicate, Predicate)
public:
    enum class PredicateOperatorType {
        LessThan = 0,
        LessThanOrEqualTo = 1,
        GreaterThan = 2,
        GreaterThanOrEqualTo = 3,
        EqualTo = 4,
        NotEqualTo = 5,
        Matches = 6,
        Like = 7,
        BeginsWith = 8,
        EndsWith = 9,
        In = 10,
        Contains = 99,
        Between = 100,
    };
    // How the left side is taken: as one value, or element by element of a
    // collection (all must hold, or any).
    enum class ComparisonPredicateModifier { Direct = 0, All = 1, Any = 2 };
    enum ComparisonPredicateOption : int {
        CaseInsensitivePredicateOption = 0x01,
        DiacriticInsensitivePredicateOption = 0x02,
    };

    ComparisonPredicate();  // absent == absent
    ComparisonPredicate(std::shared_ptr<Expression> leftExpression, std::shared_ptr<Expression> rightExpression,
                        ComparisonPredicateModifier modifier, PredicateOperatorType type, int options = 0);

    const std::shared_ptr<Expression>& leftExpression() const { return m_left; }
    const std::shared_ptr<Expression>& rightExpression() const { return m_right; }
    ComparisonPredicateModifier comparisonPredicateModifier() const { return m_modifier; }
    PredicateOperatorType predicateOperatorType() const { return m_type; }
    int options() const { return m_options; }

    QString predicateFormat() const override;
    bool isEqual(const Object& other) const override;

    // The operator as predicate text ("==", "CONTAINS").
    static QString operatorText(PredicateOperatorType type);

protected:
    bool evaluate(const QVariant& object) const override;

private:
    // What a constant right side is worth, worked out once on first use.
    struct Prepared {
        bool constant = false;
        QVariant value;
        QString text;  // a text value, folded as the options ask
        QRegularExpression regex;
    };
    const Prepared& prepared() const;
    bool compareValues(const QVariant& left, const QVariant& right, const Prepared* constant) const;
    bool equalValues(const QVariant& left, const QVariant& right, const QString* foldedRight) const;
    std::partial_ordering orderValues(const QVariant& left, const QVariant& right) const;
    bool matchText(const QString& left, const QVariant& right, const Prepared* constant) const;
    QString fold(const QString& text) const;
    QRegularExpression makeRegex(const QString& pattern) const;

    std::shared_ptr<Expression> m_left;
    std::shared_ptr<Expression> m_right;
    ComparisonPredicateModifier m_modifier = ComparisonPredicateModifier::Direct;
    PredicateOperatorType m_type = PredicateOperatorType::EqualTo;
    int m_options = 0;

    mutable std::once_flag m_preparedOnce;
    mutable Prepared m_prepared;
};

} // namespace ondrel
