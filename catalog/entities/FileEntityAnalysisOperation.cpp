#include "catalog/entities/FileEntity.h"

#include "core/dispatch/Operation.h"

namespace ondrel {

// This build has no analysis yet: no operation ever attaches to an entity.
// The analysis library replaces this file with the real hand-over.
std::shared_ptr<Operation> FileEntity::analysisOperation() const { return nullptr; }

} // namespace ondrel
