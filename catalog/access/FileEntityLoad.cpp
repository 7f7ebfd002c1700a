#include "catalog/access/FileEntityLoad.h"

#include "catalog/entities/FileEntity.h"

namespace ondrel {

FileEntityLoad::FileEntityLoad(FileEntity& fileEntity) : m_fileEntity(fileEntity) { m_fileEntity.load(); }

FileEntityLoad::~FileEntityLoad() { m_fileEntity.unload(); }

} // namespace ondrel
