#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel add PATH... [--group ID]`: adds files and folders to the catalog
// through the file process controller, as the desktop program does, waits
// for the adding to end, and prints what was added, skipped and refused.
//
// While it waits it shows progress on standard error: a bar on a terminal,
// one line per finished item otherwise, nothing with --quiet. Ctrl-C stops
// the adding: nothing is inserted, and a second Ctrl-C ends the program at
// once.
class AddCommand {
public:
    // Exit status 0 when every item was added or skipped, 1 when one was
    // refused, 2 for wrong usage, 130 when stopped by Ctrl-C (or SIGTERM)
    // before anything was inserted.
    static int run(const QStringList& arguments);

    // The exit status of an add that Ctrl-C stopped.
    static constexpr int Stopped = 130;
};

} // namespace ondrel
