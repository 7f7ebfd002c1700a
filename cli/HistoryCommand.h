#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel history`: the file processes the file process controller keeps
// (adding files, analysis, sends), oldest first: class, items, start, end
// and state. A process that never recorded its end (the program was killed
// while it ran) shows as failed.
class HistoryCommand {
public:
    static int run(const QStringList& arguments);
};

} // namespace ondrel
