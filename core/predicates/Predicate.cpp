#include "core/predicates/Predicate.h"

#include "core/predicates/BooleanPredicate.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/predicates/PredicateParser.h"

namespace ondrel {

const ClassInfo& Predicate::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Predicate, Object>(QStringLiteral("Predicate"))
                                       .property(QStringLiteral("predicateFormat"), &Predicate::predicateFormat);
    return info;
}

std::shared_ptr<Predicate> Predicate::predicateWithFormat(const QString& format, const QVariantList& arguments,
                                                          VMKError* error) {
    return PredicateParser(format, arguments).parse(error);
}

std::shared_ptr<Predicate> Predicate::truePredicate() {
    static const std::shared_ptr<Predicate> predicate = std::make_shared<BooleanPredicate>(true);
    return predicate;
}

std::shared_ptr<Predicate> Predicate::falsePredicate() {
    static const std::shared_ptr<Predicate> predicate = std::make_shared<BooleanPredicate>(false);
    return predicate;
}

std::shared_ptr<CompoundPredicate>
Predicate::andPredicateWithSubpredicates(std::vector<std::shared_ptr<Predicate>> subpredicates) {
    return std::make_shared<CompoundPredicate>(CompoundPredicate::CompoundPredicateType::And, std::move(subpredicates));
}

std::shared_ptr<CompoundPredicate>
Predicate::orPredicateWithSubpredicates(std::vector<std::shared_ptr<Predicate>> subpredicates) {
    return std::make_shared<CompoundPredicate>(CompoundPredicate::CompoundPredicateType::Or, std::move(subpredicates));
}

std::shared_ptr<CompoundPredicate> Predicate::notPredicateWithSubpredicate(std::shared_ptr<Predicate> subpredicate) {
    std::vector<std::shared_ptr<Predicate>> subpredicates;
    subpredicates.push_back(std::move(subpredicate));
    return std::make_shared<CompoundPredicate>(CompoundPredicate::CompoundPredicateType::Not, std::move(subpredicates));
}

QVariantList Predicate::filteredArray(const QVariantList& array, const Predicate& predicate) {
    QVariantList out;
    for (const QVariant& element : array)
        if (predicate.evaluate(element))
            out << element;
    return out;
}

void Predicate::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeString(predicateFormat(), QStringLiteral("predicateFormat"));
}

void Predicate::initWithCoder(const KeyedUnarchiver& coder) {
    m_archivedFormat = coder.decodeStringForKey(QStringLiteral("predicateFormat"));
}

ObjectPtr Predicate::awakeAfterUsingCoder() {
    return predicateWithFormat(m_archivedFormat);
}

} // namespace ondrel
