#include "tests/support/catalog/CatalogTestSupport.h"

#include "catalog/adding/AddFilesFileProcess.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "fileprocesses/FileProcessController.h"
#include "logging/LogController.h"
#include "render/engine/codecs/VMKAudioFileEncoder.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "tests/support/TestSupport.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QtEndian>

namespace ondrel {

bool writeTestWav(const QString& path, int channels, qint64 frames, int sampleRate, int bits) {
    const int bytes = bits / 8;
    const quint32 dataSize = quint32(frames * channels * bytes);
    QByteArray out;
    auto u32 = [&](quint32 v) { out.append(reinterpret_cast<const char*>(&(v = qToLittleEndian(v))), 4); };
    auto u16 = [&](quint16 v) { out.append(reinterpret_cast<const char*>(&(v = qToLittleEndian(v))), 2); };
    out.append("RIFF");
    u32(36 + dataSize);
    out.append("WAVEfmt ");
    u32(16);
    u16(1);
    u16(quint16(channels));
    u32(quint32(sampleRate));
    u32(quint32(sampleRate * channels * bytes));
    u16(quint16(channels * bytes));
    u16(quint16(bits));
    out.append("data");
    u32(dataSize);
    for (qint64 frame = 0; frame < frames; ++frame)
        for (int channel = 0; channel < channels; ++channel) {
            const qint32 value = qint32((frame % 100) * 16);
            for (int b = 0; b < bytes; ++b)
                out.append(char((value >> (8 * b)) & 0xFF));
        }
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(out) == out.size();
}

bool writeFloatWav(const QString& path, const std::vector<std::vector<float>>& channels, double sampleRate) {
    if (channels.empty())
        return false;
    VMKAudioFileEncoderSettings settings;
    settings.format = VMKAudioFileFormat::formatNamed(QStringLiteral("WAVE File"));
    settings.sampleRate = sampleRate;
    settings.numberOfChannels = int(channels.size());
    settings.bitDepth = 32;
    settings.isFloatingPoint = true;
    auto encoder = VMKAudioFileEncoder::encoderWithSettings(settings, path);
    if (!encoder)
        return false;
    std::vector<const float*> pointers;
    for (const auto& channel : channels)
        pointers.push_back(channel.data());
    return encoder->write(pointers.data(), qint64(channels.front().size()), nullptr) && encoder->finish(nullptr);
}

std::shared_ptr<FileEntity> fileEntityWithAudio(const QString& path, const std::vector<std::vector<float>>& channels,
                                                double sampleRate) {
    if (!writeFloatWav(path, channels, sampleRate))
        return nullptr;
    return FileEntity::initWithURL(URL::fileURLWithPath(path));
}

std::shared_ptr<AddFilesFileProcess> addToCatalog(const QStringList& paths, const std::shared_ptr<GroupEntity>& group) {
    EntityController::sharedInstance();
    auto command = std::make_shared<AddFilesFileProcessCommand>();
    QVariantList items;
    for (const QString& path : paths)
        items.append(QVariant::fromValue(URL::fileURLWithPath(path)));
    command->setItems(items);
    command->setGroup(group);
    auto process = std::dynamic_pointer_cast<AddFilesFileProcess>(
        Variant::object(Variant::fromObject(FileProcessController::sharedInstance()->executeFileProcessCommand(command))));
    if (!process)
        return nullptr;
    spinUntil([&] { return !process->isProcessing(); }, 60000);
    // The entities go into the tree on the main queue, posted before the
    // process ended: run what the main queue holds.
    QCoreApplication::processEvents();
    spinFor(20);
    return process;
}

void restartCatalog() {
    EntityController::resetSharedInstance();
    FileProcessController::resetSharedInstance();
    LogController::sharedInstance()->write();
}

QVariant catalogValue(const QString& sql) {
    QVariant value;
    EntityController::sharedInstance()->executeStatement(sql, nullptr, [&](VMKDatabaseQuery& query) {
        if (query.evaluateNextRow())
            value = query.valueAtColumn(0);
    });
    return value;
}

namespace {

void startAfresh() {
    EntityController::resetSharedInstance();
    FileProcessController::resetSharedInstance();
    LogController::resetSharedInstance();
    UserDefaults::resetStandardUserDefaults();
}

} // namespace

void CatalogTest::SetUp() {
    startAfresh();
    QDir(m_home.path()).mkpath(QStringLiteral("data"));
}

void CatalogTest::TearDown() {
    // Work still running would outlive the test's folder.
    spinUntil([] { return !FileProcessController::sharedInstance()->isProcessing(); });
    startAfresh();
    // The controllers' timers let go of themselves on the main queue.
    spinFor(20);
}

QString CatalogTest::dataPath(const QString& name) const {
    return name.isEmpty() ? m_home.filePath(QStringLiteral("data")) : m_home.filePath(QStringLiteral("data/") + name);
}

} // namespace ondrel
