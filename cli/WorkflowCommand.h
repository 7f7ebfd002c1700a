#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel workflow show`: the current workflow's actions in order with their
// parameters, and the save options.
class WorkflowCommand {
public:
    static int run(const QStringList& arguments);
    static QString help();
};

} // namespace ondrel
