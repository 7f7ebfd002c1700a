#include "tests/support/process/TestFileEntities.h"

#include "catalog/entities/FileEntity.h"
#include "core/files/URL.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QTemporaryDir>

#include <cmath>

namespace ondrel {

std::shared_ptr<FileEntity> testFileEntity(double seconds) {
    static QTemporaryDir folder;
    constexpr int rate = 1000;
    const qint64 frames = std::llround(seconds * rate);
    const QString path = folder.filePath(QStringLiteral("%1.wav").arg(frames));
    if (!URL::fileURLWithPath(path).existsAsFile() && !writeTestWav(path, 1, frames, rate))
        return nullptr;
    return FileEntity::initWithURL(URL::fileURLWithPath(path));
}

} // namespace ondrel
