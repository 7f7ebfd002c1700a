#include "core/objects/CoreClasses.h"

#include "core/dispatch/BlockOperation.h"
#include "core/dispatch/Operation.h"
#include "core/dispatch/OperationQueue.h"
#include "core/predicates/BooleanPredicate.h"
#include "core/values/Color.h"
#include "core/predicates/ComparisonPredicate.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/predicates/Expression.h"
#include "core/predicates/SortDescriptor.h"
#include "core/storage/UserDefaults.h"
#include "core/tree/TreeController.h"
#include "core/tree/TreeNode.h"

#include <mutex>

namespace ondrel {

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
        Operation::staticClassInfo();
        BlockOperation::staticClassInfo();
        OperationQueue::staticClassInfo();
        UserDefaults::staticClassInfo();
        TreeNode::staticClassInfo();
        TreeController::staticClassInfo();
    });
}

} // namespace ondrel
