#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel workflow show` and the edits of the current workflow; N and M
// count actions from 1.
class WorkflowCommand {
public:
    // The actions in order with their parameters, and the save options.
    static int show(const QStringList& arguments);
    // `enable N`, `disable N`: the action's enabled flag.
    static int enable(const QStringList& arguments);
    static int disable(const QStringList& arguments);
    // `remove N`: takes the action out of the workflow.
    static int remove(const QStringList& arguments);
    // `move N M`: the action N ends up at place M.
    static int move(const QStringList& arguments);
    // `clear`: removes every action; the save options stay.
    static int clear(const QStringList& arguments);
    // `add CLASS|IDENTIFIER [KEY=VALUE...] [--at N] [--disabled] [--name TEXT]`:
    // a new action with typed parameters, at place N (default: the end).
    static int add(const QStringList& arguments);
    // `set N KEY=VALUE...`: parameters of action N.
    static int set(const QStringList& arguments);
    // `save-options KEY=VALUE...`: parameters of the workflow's save action.
    static int saveOptions(const QStringList& arguments);
};

} // namespace ondrel
