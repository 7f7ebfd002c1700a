#pragma once

#include "process/interfaces/FileEntitySource.h"

namespace ondrel {

// The catalog's lists of file entities as a run reads them, from the shared
// EntityController: "allFileEntities" (every file of the tree, depth first)
// and "selectedFileEntities" (the flattened selection, read on the main
// queue, where the selection lives).
class CatalogFileEntitySource : public FileEntitySource {
public:
    // The list named `key`; empty for any other key. Any thread; from a
    // background queue "selectedFileEntities" waits for the main queue.
    std::vector<std::shared_ptr<FileEntity>> fileEntitiesForKey(const QString& key) override;
};

} // namespace ondrel
