#pragma once

#include "core/objects/Object.h"

#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace ondrel {

// One side of a comparison: a constant, the evaluated object itself (SELF), a
// key path on it, or a list of expressions ({1, 2}). Immutable once made.
class Expression : public Object {
    ONDREL_OBJECT(Expression, Object)
public:
    enum class ExpressionType {
        ConstantValue = 0,
        EvaluatedObject = 1,
        KeyPath = 3,
        Aggregate = 14,
    };

    Expression();  // the constant absent value

    static std::shared_ptr<Expression> expressionForConstantValue(const QVariant& value);
    static std::shared_ptr<Expression> expressionForEvaluatedObject();
    static std::shared_ptr<Expression> expressionForKeyPath(const QString& keyPath);
    static std::shared_ptr<Expression> expressionForAggregate(std::vector<std::shared_ptr<Expression>> collection);

    ExpressionType expressionType() const { return m_type; }
    const QVariant& constantValue() const { return m_constantValue; }
    const QString& keyPath() const { return m_keyPath; }
    const std::vector<std::shared_ptr<Expression>>& collection() const { return m_collection; }

    // The value of the expression for `object` (an object, a dictionary, a
    // list or any value). The key "class" answers an object's class name.
    QVariant expressionValueWithObject(const QVariant& object) const;

    // True for a constant, or a list of constants: the value does not depend
    // on the evaluated object.
    bool isConstant() const;

    // The expression as predicate text; constants of kinds that have no text
    // (objects, data) are shown by their description.
    QString description() const override;
    bool isEqual(const Object& other) const override;

    // The text of a constant value in a predicate.
    static QString formatConstant(const QVariant& value);

private:
    ExpressionType m_type = ExpressionType::ConstantValue;
    QVariant m_constantValue;
    QString m_keyPath;
    QStringList m_keys;  // the key path split at its dots; an aggregate ("@max.x") stays one step
    std::vector<std::shared_ptr<Expression>> m_collection;
};

} // namespace ondrel
