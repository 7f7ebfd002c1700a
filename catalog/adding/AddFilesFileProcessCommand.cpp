#include "catalog/adding/AddFilesFileProcessCommand.h"

#include "catalog/entities/GroupEntity.h"

namespace ondrel {

const ClassInfo& AddFilesFileProcessCommand::staticClassInfo() {
    using C = AddFilesFileProcessCommand;
    static const ClassInfo& info = ClassInfo::define<C, FileProcessCommand>(QStringLiteral("AddFilesFileProcessCommand"))
                                       .property(QStringLiteral("group"), &C::group, &C::setGroup);
    return info;
}

AddFilesFileProcessCommand::AddFilesFileProcessCommand() = default;
AddFilesFileProcessCommand::~AddFilesFileProcessCommand() = default;

void AddFilesFileProcessCommand::setGroup(const std::shared_ptr<GroupEntity>& group) {
    setAndNotify(QStringLiteral("group"), m_group, group);
}

} // namespace ondrel
