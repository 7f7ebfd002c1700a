#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel process [--workflow FILE] [--to DIR] PATH...`: a one-shot run over
// a catalog of its own. The files are added to a temporary catalog (the
// user's catalog is not touched), the workflow of FILE (in the form of
// "Workflow.plist") or the current one runs over them with the results
// placed in DIR when given, and the temporary catalog goes at the end. The
// log and the history of runs are the user's, as for any run. With DIR the
// results never replace the sources, whatever the workflow says.
class ProcessCommand {
public:
    // Before the controllers come up: takes --workflow and --to out of
    // `arguments`, checks them and points the catalog at a temporary file.
    // Answers -1 to go on, else the exit status.
    static int prepare(QStringList& arguments);
    static int run(const QStringList& arguments);
};

} // namespace ondrel
