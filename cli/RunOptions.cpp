#include "cli/RunOptions.h"

#include "cli/Output.h"
#include "process/interfaces/FileEntitySource.h"
#include "process/interfaces/ProcessInterfaces.h"

namespace ondrel {

bool RunOptions::read(const QString& command, const QStringList& arguments, RunOptions* options) {
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--selected")) {
            options->selected = true;
        } else if (argument == QLatin1String("--rehearse")) {
            options->rehearse = true;
        } else {
            Output::usage(QStringLiteral("usage: ondrel %1 [--selected] [--rehearse]; '%2' is neither").arg(command, argument));
            return false;
        }
    }
    return true;
}

std::vector<std::shared_ptr<FileEntity>> RunOptions::entities() const {
    const auto source = ProcessInterfaces::fileEntitySource();
    if (!source)
        return {};
    return source->fileEntitiesForKey(selected ? QStringLiteral("selectedFileEntities")
                                               : QStringLiteral("allFileEntities"));
}

} // namespace ondrel
