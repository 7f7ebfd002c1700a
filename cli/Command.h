#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

namespace ondrel {

// One `ondrel` command as the command line's table lists it.
struct Command {
    // What a command may write. The current workflow is written (once, at
    // the end) only by commands that change it.
    enum class Access {
        ReadOnly,         // writes no user file
        WritesOwnFiles,   // writes what it is about (defaults, outputs), not the workflow
        ChangesWorkflow,  // changes the current workflow
    };

    // The words that name it, such as "workflow show".
    QString name;
    // What follows the name on its help line ("[KEY]"), may be empty.
    QString arguments;
    // Its help lines; none keeps it out of the list of commands.
    QStringList help;
    // Runs it with the arguments after its name; answers the exit status.
    std::function<int(const QStringList&)> run;
    Access access = Access::ReadOnly;
    // True for a command that reads or changes the catalog: the catalog and
    // the file processes are opened for it (and only for it) before it runs,
    // and the quit waits for the file processes it started.
    bool opensCatalog = false;
    // When set, runs before any controller comes up, with the arguments
    // after the name, which it may change; answers -1 to go on, else the
    // exit status.
    std::function<int(QStringList&)> prepare;
};

} // namespace ondrel
