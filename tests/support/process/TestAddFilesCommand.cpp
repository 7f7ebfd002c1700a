#include "tests/support/process/TestAddFilesCommand.h"

namespace ondrel {

const ClassInfo& AddFilesFileProcessCommand::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<AddFilesFileProcessCommand, Object>(QStringLiteral("AddFilesFileProcessCommand"))
            .property(QStringLiteral("items"), &AddFilesFileProcessCommand::items,
                      &AddFilesFileProcessCommand::setItems);
    return info;
}

} // namespace ondrel
