#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel compile [--selected] [--rehearse]`: the script text a run of the
// current workflow would be recorded as, over every file of the catalog or
// the selected ones; the main group first, then one group for each save
// action in the workflow. Nothing is rendered or written.
class CompileCommand {
public:
    static int run(const QStringList& arguments);
};

} // namespace ondrel
