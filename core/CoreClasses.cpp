#include "core/CoreClasses.h"

#include "core/BooleanPredicate.h"
#include "core/Color.h"
#include "core/ComparisonPredicate.h"
#include "core/CompoundPredicate.h"
#include "core/Expression.h"
#include "core/SortDescriptor.h"

#include <mutex>

void registerCoreClasses() {
    static std::once_flag once;
    std::call_once(once, [] {
        Predicate::staticClassInfo();
        BooleanPredicate::staticClassInfo();
        Color::staticClassInfo();
        ComparisonPredicate::staticClassInfo();
        CompoundPredicate::staticClassInfo();
        Expression::staticClassInfo();
        SortDescriptor::staticClassInfo();
    });
}
