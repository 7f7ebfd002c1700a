#pragma once

#include <QtCore/QString>

#include <memory>
#include <vector>

namespace ondrel {

class FileEntity;

// The catalog's lists of file entities as a run reads them: by the name of a
// list ("allFileEntities", "selectedFileEntities"). Called on a background
// queue.
class FileEntitySource {
public:
    virtual ~FileEntitySource() = default;
    virtual std::vector<std::shared_ptr<FileEntity>> fileEntitiesForKey(const QString& key) = 0;
};

} // namespace ondrel
