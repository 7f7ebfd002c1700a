#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel history`: first the runs the audio process controller keeps,
// oldest first: name, renders, start, end, state, with the renders that
// failed (known only in the program that ran them) and those that never
// recorded their end (the program was killed while they ran), which leave
// the run unfinished; then the file processes the file process controller
// keeps (adding files, analysis, sends), oldest first: class, items, start,
// end and state. A file process that never recorded its end shows as
// failed. With --json one document with the lists "audioProcessGroups" and
// "fileProcesses". It writes no history: without a run history file there
// are no runs to show, and none is made.
class HistoryCommand {
public:
    static int run(const QStringList& arguments);
};

} // namespace ondrel
