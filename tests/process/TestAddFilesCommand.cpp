#include "process/TestAddFilesCommand.h"

const ClassInfo& AddFilesFileProcessCommand::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<AddFilesFileProcessCommand, Object>(QStringLiteral("AddFilesFileProcessCommand"))
            .property(QStringLiteral("items"), &AddFilesFileProcessCommand::items,
                      &AddFilesFileProcessCommand::setItems);
    return info;
}
