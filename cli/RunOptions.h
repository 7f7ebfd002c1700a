#pragma once

#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace ondrel {

class FileEntity;

// The options of the commands that compile a run of the workflow (`compile`,
// `run`): --selected and --rehearse, and the file entities they name.
struct RunOptions {
    bool selected = false;
    bool rehearse = false;

    // Reads the arguments of `command`; false, after printing its usage, for
    // anything else.
    static bool read(const QString& command, const QStringList& arguments, RunOptions* options);
    // The catalog's files, or its selection; none without a catalog.
    std::vector<std::shared_ptr<FileEntity>> entities() const;
};

} // namespace ondrel
