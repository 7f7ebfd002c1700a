#include "process/TestFileEntity.h"

const ClassInfo& FileEntity::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<FileEntity, Object>(QStringLiteral("FileEntity"))
                                       .property(QStringLiteral("length"), &FileEntity::length, &FileEntity::setLength);
    return info;
}
