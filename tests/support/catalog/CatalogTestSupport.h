#pragma once

#include "core/files/URL.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace ondrel {

class AddFilesFileProcess;
class FileEntity;
class GroupEntity;

// Writes a little-endian PCM WAVE file of a quiet ramp: `bits` 16 or 24.
// Answers false when the file can't be written.
bool writeTestWav(const QString& path, int channels = 1, qint64 frames = 4800, int sampleRate = 48000, int bits = 16);

// Writes `channels` (one run of samples each, all as long) at `sampleRate`
// as a 32-bit float WAVE file through the engine, so that every sample reads
// back exactly. Answers false when the file can't be written.
bool writeFloatWav(const QString& path, const std::vector<std::vector<float>>& channels, double sampleRate);
// A new catalog file entity of such a file (in no group); null when the
// file can't be written or read.
std::shared_ptr<FileEntity> fileEntityWithAudio(const QString& path, const std::vector<std::vector<float>>& channels,
                                                double sampleRate);

// Adds the paths to the catalog (to `group`, or the top level) the way a drop
// does, and waits until the entities hang in the tree.
std::shared_ptr<AddFilesFileProcess> addToCatalog(const QStringList& paths, const std::shared_ptr<GroupEntity>& group = nullptr);

// Quits and starts the catalog and the file process history again, as a new
// start of the program would (pending removals are written first).
void restartCatalog();

// The first column of the first row of a query on the catalog file, or an
// invalid value when there is none.
QVariant catalogValue(const QString& sql);

// A test with a fresh support folder: its own catalog, file process history,
// log and defaults, all started afresh and let go at the end.
class CatalogTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // A folder for the test's audio, outside the support folder.
    QString dataPath(const QString& name = QString()) const;

    TemporaryHome m_home;
};

} // namespace ondrel
