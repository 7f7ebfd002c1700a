#include "tests/support/process/TestFileEntity.h"

namespace ondrel {

const ClassInfo& FileEntity::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<FileEntity, Object>(QStringLiteral("FileEntity"))
                                       .property(QStringLiteral("length"), &FileEntity::length, &FileEntity::setLength);
    return info;
}

} // namespace ondrel
