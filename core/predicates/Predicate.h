#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"

#include <QtCore/QVariantList>

#include <memory>
#include <vector>

namespace ondrel {

class CompoundPredicate;

// A condition on an object, a dictionary or any value, as used to filter
// lists: made from predicate text or by the builders below, immutable once
// made, and safe to evaluate from several threads.
//
// Predicate text:
//   comparisons     ==  =  !=  <>  <  <=  =<  >  >=  =>
//                   CONTAINS  BEGINSWITH  ENDSWITH  LIKE (* and ?)  MATCHES (regex)
//                   IN (list or text)  BETWEEN {low, high}
//                   each may take [c] (ignore case), [d] (ignore diacritics) or [cd]
//   compounds       AND &&  OR ||  NOT !  ( )   TRUEPREDICATE  FALSEPREDICATE
//   collections     ANY / SOME, ALL, NONE before the left side
//   values          key paths (a.b.c, SELF, @count, @max.key ...), numbers,
//                   "text" or 'text' with backslash escapes, YES NO TRUE FALSE,
//                   NULL NIL, lists {1, 2}, CAST(seconds since 2001, "Date")
//   substitutions   %@ (a value), %K (a key path), %d %i %u %ld %lld %lu %f ...
//                   (numbers); inside quoted text %% is a percent sign and other
//                   % sequences stay as written
// Keywords ignore case; a key path that collides with one is written #key.
//
// Evaluation: numbers compare by value across integers, reals and booleans,
// texts with the options, dates chronologically. An absent or null value is
// equal only to NULL (or another absent value); it makes every ordering and
// text comparison false.
class Predicate : public Object {
    ONDREL_OBJECT(Predicate, Object)
public:
    // Parses predicate text; answers null, with an error saying where and what
    // was expected, for text that is not a predicate or lacks arguments.
    static std::shared_ptr<Predicate> predicateWithFormat(const QString& format, const QVariantList& arguments = {},
                                                          VMKError* error = nullptr);
    static std::shared_ptr<Predicate> truePredicate();
    static std::shared_ptr<Predicate> falsePredicate();

    // Compounds. An "and" of nothing holds, an "or" of nothing does not.
    static std::shared_ptr<CompoundPredicate>
    andPredicateWithSubpredicates(std::vector<std::shared_ptr<Predicate>> subpredicates);
    static std::shared_ptr<CompoundPredicate>
    orPredicateWithSubpredicates(std::vector<std::shared_ptr<Predicate>> subpredicates);
    static std::shared_ptr<CompoundPredicate> notPredicateWithSubpredicate(std::shared_ptr<Predicate> subpredicate);

    bool evaluateWithObject(const QVariant& object) const { return evaluate(object); }
    bool evaluateWithObject(const ObjectPtr& object) const { return evaluate(Variant::fromObject(object)); }

    // The predicate as text that parses back to an equal predicate (given no
    // constant objects or data, which have no text form).
    virtual QString predicateFormat() const = 0;

    // Archived as its format text, read back by parsing it.
    bool isArchivable() const override { return true; }
    void encodeWithCoder(KeyedArchiver& coder) const override;
    void initWithCoder(const KeyedUnarchiver& coder) override;
    ObjectPtr awakeAfterUsingCoder() override;
    QString description() const override { return predicateFormat(); }

    // The elements of `array` for which `predicate` holds, in order.
    static QVariantList filteredArray(const QVariantList& array, const Predicate& predicate);
    template <class T>
    static std::vector<std::shared_ptr<T>> filteredArray(const std::vector<std::shared_ptr<T>>& array,
                                                         const Predicate& predicate) {
        std::vector<std::shared_ptr<T>> out;
        for (const auto& element : array)
            if (predicate.evaluate(Variant::fromObject(std::static_pointer_cast<Object>(element))))
                out.push_back(element);
        return out;
    }

protected:
    Predicate() = default;
    virtual bool evaluate(const QVariant& object) const = 0;

private:
    QString m_archivedFormat;
};

} // namespace ondrel
