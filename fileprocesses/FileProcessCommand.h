#pragma once

#include "core/objects/Object.h"

#include <QtCore/QVariantList>

#include <mutex>

namespace ondrel {

// What a file process is to do: the base of every command. A command class
// is named after its process plus "Command" ("AddFilesFileProcessCommand"
// runs "AddFilesFileProcess"); subclasses add the fields their process
// copies. Commands are made on one thread and run on another, so the items
// are guarded.
class FileProcessCommand : public Object {
    ONDREL_OBJECT(FileProcessCommand, Object)
public:
    // A command without items.
    FileProcessCommand();
    ~FileProcessCommand() override;

    // The items to work on (URLs, file entities ... as the kind of job
    // needs). Key "items"; announced when set.
    QVariantList items() const;
    void setItems(const QVariantList& items);

private:
    mutable std::mutex m_mutex;
    QVariantList m_items;
};

} // namespace ondrel
