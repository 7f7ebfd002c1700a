#pragma once

#include <QtCore/QtGlobal>

#include <memory>

namespace ondrel {

class Action;

// The current workflow as the pasteboard form of an action sees it: a place
// in a list. Installed by the workflow controller; may be asked on any thread.
class CurrentWorkflow {
public:
    virtual ~CurrentWorkflow() = default;
    // The action's index in the workflow; -1 when it isn't there.
    virtual qsizetype indexOfObjectInActions(const Action* action) = 0;
    // The action at the index; null out of range.
    virtual std::shared_ptr<Action> objectInActionsAtIndex(qsizetype index) = 0;
};

} // namespace ondrel
