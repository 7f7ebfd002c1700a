#pragma once

#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace ondrel {

class FileEntity;

// `ondrel run [--selected] [--rehearse]`: runs the current workflow over the
// catalog (or the selection) through the audio process controller, as the
// desktop program's run does, with a progress bar on a terminal. It waits
// for the renders and the file processes after them (adding the results),
// then prints each result (path, format, length) or error. Exit 1 when an
// item failed or the run was stopped. Ctrl-C stops the run: renders under
// way are cancelled and remove their files; the sources are untouched.
class RunCommand {
public:
    static int run(const QStringList& arguments);
    // The work of `run` over `entities`; also the end of `ondrel process`.
    static int runWorkflow(const std::vector<std::shared_ptr<FileEntity>>& entities, bool rehearse);
};

} // namespace ondrel
