#pragma once

#include "fileprocesses/FileProcessCommand.h"

#include <memory>

namespace ondrel {

class GroupEntity;

// Adds files and folders to the catalog: "items" are URLs, `group` the group
// that takes them (null: the top level).
class AddFilesFileProcessCommand : public FileProcessCommand {
    ONDREL_OBJECT(AddFilesFileProcessCommand, FileProcessCommand)

public:
    AddFilesFileProcessCommand();
    ~AddFilesFileProcessCommand() override;

    std::shared_ptr<GroupEntity> group() const { return m_group; }
    void setGroup(const std::shared_ptr<GroupEntity>& group);

private:
    std::shared_ptr<GroupEntity> m_group;
};

} // namespace ondrel
