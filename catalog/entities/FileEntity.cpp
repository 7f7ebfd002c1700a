#include "catalog/entities/FileEntity.h"

#include "catalog/access/BeatDetector.h"
#include "catalog/access/CrossingFinder.h"
#include "catalog/access/WaveformDrawer.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/CatalogLog.h"
#include "catalog/entities/ChannelDetails.h"
#include "catalog/entities/FileEntityError.h"
#include "catalog/entities/GroupEntity.h"
#include "catalog/entities/Label.h"
#include "core/dispatch/DispatchQueue.h"
#include "core/dispatch/Operation.h"
#include "core/files/Bookmark.h"
#include "core/predicates/Predicate.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKLocalizedString.h"
#include "core/values/Date.h"
#include "render/engine/files/VMKAudioFileInfo.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/waveforms/VMKMinMaxWaveform.h"

#include <QtCore/QFile>

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include <sys/stat.h>
#include <unistd.h>

namespace ondrel {

namespace {

// The columns of a FileEntity row that initWithID reads, found by name.
const QStringList& storedColumns() {
    static const QStringList columns = {
        QStringLiteral("dateAdded"),      QStringLiteral("dateModified"),     QStringLiteral("format"),
        QStringLiteral("encoding"),       QStringLiteral("channelSuffixDelimiter"), QStringLiteral("fileSize"),
        QStringLiteral("channels"),       QStringLiteral("frames"),           QStringLiteral("bitDepth"),
        QStringLiteral("floatingPoint"),  QStringLiteral("bitrate"),          QStringLiteral("sampleRate"),
        QStringLiteral("countOfMarkers"), QStringLiteral("countOfSlices"),    QStringLiteral("countOfRegions"),
        QStringLiteral("countOfLoops"),   QStringLiteral("difference"),       QStringLiteral("detectedSemitone"),
        QStringLiteral("LU"),             QStringLiteral("midPeak"),          QStringLiteral("sidePeak"),
        QStringLiteral("truePeak"),       QStringLiteral("loudnessRange")};
    return columns;
}

// Format and encoding names repeat across a whole catalog: every entity
// shares one copy of each text instead of holding its own.
QString shared(const QString& text) {
    static std::mutex mutex;
    static QSet<QString> texts;
    if (text.isEmpty())
        return text;
    std::lock_guard lock(mutex);
    auto it = texts.constFind(text);
    if (it == texts.constEnd())
        it = texts.insert(text);
    return *it;
}

// The content modification date of a file, read afresh, to the millisecond.
// Made in UTC straight from the file's time: a local time converted to UTC
// consults the time zone on every call, which at start-up is paid once a file.
QDateTime modificationDate(const URL& url) {
    struct stat info {};
    if (url.isEmpty() || ::stat(QFile::encodeName(url.path()).constData(), &info) != 0)
        return QDateTime();
    const qint64 msecs = qint64(info.st_mtim.tv_sec) * 1000 + qint64(info.st_mtim.tv_nsec) / 1000000;
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

// Dates in the catalog are seconds since 2001: equal to the millisecond.
bool sameDate(const QDateTime& a, const QDateTime& b) {
    if (!a.isValid() || !b.isValid())
        return a.isValid() == b.isValid();
    return std::llabs(a.msecsTo(b)) < 1;
}

QVariant dateValue(const QDateTime& date) {
    return date.isValid() ? QVariant(Date::timeIntervalSinceReferenceDate(date)) : QVariant();
}

// A bookmark of a file for the catalog; a file the user can't write is
// still cataloged, with a warning.
QByteArray fileBookmark(const URL& url, VMKError* error) {
    VMKError bookmarkError;
    QByteArray data = Bookmark::bookmarkData(url, Bookmark::WithSecurityScope, &bookmarkError);
    if (data.isNull()) {
        VMKError::set(error, VMKError::errorWithUnderlying(
                                 bookmarkError, QStringLiteral("Creating a bookmark for %1").arg(url.lastPathComponent())));
        return {};
    }
    if (::access(QFile::encodeName(url.path()).constData(), W_OK) != 0)
        catalogLog(LogLevel::Warning, QStringLiteral("FileEntity_log_warning_readOnly"), {url.lastPathComponent()});
    return data;
}

} // namespace

const ClassInfo& FileEntity::staticClassInfo() {
    using C = FileEntity;
    static const ClassInfo& info =
        ClassInfo::define<C, Entity>(QStringLiteral("FileEntity"))
            .property(QStringLiteral("dateAdded"), &C::dateAdded)
            .property(QStringLiteral("dateModified"), &C::dateModified)
            .property(QStringLiteral("format"), &C::format)
            .property(QStringLiteral("encoding"), &C::encoding)
            .property(QStringLiteral("channelSuffixDelimiter"), &C::channelSuffixDelimiter)
            .property(QStringLiteral("fileSize"), &C::fileSize)
            .property(QStringLiteral("frames"), &C::frames)
            .property(QStringLiteral("channels"), &C::channels)
            .property(QStringLiteral("bitDepth"), &C::bitDepth)
            .property(QStringLiteral("floatingPoint"), &C::isFloatingPoint)
            .property(QStringLiteral("bitrate"), &C::bitrate)
            .property(QStringLiteral("sampleRate"), &C::sampleRate)
            .property(QStringLiteral("length"), &C::length)
            .property(QStringLiteral("countOfMarkers"), &C::countOfMarkers, &C::setCountOfMarkers)
            .property(QStringLiteral("countOfSlices"), &C::countOfSlices, &C::setCountOfSlices)
            .property(QStringLiteral("countOfRegions"), &C::countOfRegions, &C::setCountOfRegions)
            .property(QStringLiteral("countOfLoops"), &C::countOfLoops, &C::setCountOfLoops)
            .property(QStringLiteral("difference"), &C::difference, &C::setDifference)
            .property(QStringLiteral("detectedSemitone"), &C::detectedSemitone, &C::setDetectedSemitone)
            .property(QStringLiteral("programLoudness"), &C::programLoudness, &C::setProgramLoudness)
            .property(QStringLiteral("midPeak"), &C::midPeak, &C::setMidPeak)
            .property(QStringLiteral("sidePeak"), &C::sidePeak, &C::setSidePeak)
            .property(QStringLiteral("loudnessRange"), &C::loudnessRange, &C::setLoudnessRange)
            .property(QStringLiteral("truePeak"), &C::truePeak, &C::setTruePeak)
            .property(QStringLiteral("peak"), &C::peak, &C::setPeak)
            .property(QStringLiteral("positiveMaximum"), &C::positiveMaximum, &C::setPositiveMaximum)
            .property(QStringLiteral("negativeMaximum"), &C::negativeMaximum, &C::setNegativeMaximum)
            .property(QStringLiteral("peakToPeak"), &C::peakToPeak, &C::setPeakToPeak)
            .property(QStringLiteral("RMS"), &C::RMS, &C::setRMS)
            .property(QStringLiteral("average"), &C::average, &C::setAverage)
            .property(QStringLiteral("DCOffset"), &C::DCOffset, &C::setDCOffset)
            .property(QStringLiteral("formFactor"), &C::formFactor, &C::setFormFactor)
            .property(QStringLiteral("crestFactor"), &C::crestFactor, &C::setCrestFactor)
            .property(QStringLiteral("countOfClipEvents"), &C::countOfClipEvents, &C::setCountOfClipEvents)
            .property(QStringLiteral("metadata"), &C::metadata, &C::setMetadata)
            .property(QStringLiteral("channelDetails"), &C::channelDetails)
            .property(QStringLiteral("labels"), &C::labels)
            .property(QStringLiteral("isLoaded"), &C::isLoaded)
            .property(QStringLiteral("loadCount"), &C::loadCount)
            .property(QStringLiteral("displayRange"), &C::displayRange, &C::setDisplayRange)
            .property(QStringLiteral("selectionRange"), &C::selectionRange, &C::setSelectionRange)
            .property(QStringLiteral("displayScalar"), &C::displayScalar, &C::setDisplayScalar)
            .property(QStringLiteral("displayZeroOffset"), &C::displayZeroOffset, &C::setDisplayZeroOffset);
    return info;
}

FileEntity::FileEntity() = default;

FileEntity::~FileEntity() {
    detachAnalysisOperation(nullptr);
    const QString ID = Entity::ID();
    if (ID.isEmpty())
        return;
    if (EntityController::queueEntityForRemoval(QStringLiteral("FileEntity"), ID))
        catalogLog(LogLevel::Notice, QStringLiteral("FileEntity_log_notice_removed"), {name()});
}

// MARK: Creation

std::shared_ptr<FileEntity> FileEntity::initWithURL(const URL& url, VMKError* error) {
    auto info = VMKAudioFileInfo::initWithURL(url, error);
    if (!info)
        return nullptr;
    auto entity = std::make_shared<FileEntity>();
    const QByteArray bookmark = fileBookmark(url, error);
    if (bookmark.isNull())
        return nullptr;
    // A bookmark made a moment ago from this path resolves to this path and
    // is not stale: the locations are stored as they are, without resolving
    // it (which reads the data back and asks the disk again, a fifth of the
    // cost of adding a file).
    entity->setLocations({bookmark}, {url}, url.lastPathComponent());
    entity->m_dateAdded = Date::now();
    entity->setFacts(*info, info->fileSize(), info->numberOfChannels(), QString());
    entity->m_displayRange = {0.0, entity->length()};
    entity->setID(newID());
    entity->insertRows(false);
    return entity;
}

std::shared_ptr<FileEntity> FileEntity::initWithURLs(const std::vector<URL>& urls, VMKError* error) {
    Q_ASSERT(!urls.empty());
    const QString action = QStringLiteral("Loading the split file");
    std::vector<std::shared_ptr<VMKAudioFileInfo>> infos;
    quint64 fileSize = 0;
    for (const URL& url : urls) {
        if (!url.existsAsFile())
            return nullptr;
        auto info = VMKAudioFileInfo::initWithURL(url, error);
        if (!info)
            return nullptr;
        if (info->numberOfChannels() != 1) {
            VMKError::set(error, FileEntityError::errorWithCode(
                                     1, action, QStringLiteral("%1 has %2 channels, not one").arg(url.path()).arg(info->numberOfChannels())));
            return nullptr;
        }
        if (info->format() != QLatin1String("AIFF File") && info->format() != QLatin1String("WAVE File")) {
            VMKError::set(error, FileEntityError::errorWithCode(
                                     2, action, QStringLiteral("%1 is a %2, not a WAVE or AIFF file").arg(url.path(), info->format())));
            return nullptr;
        }
        fileSize += info->fileSize();
        infos.push_back(std::move(info));
    }
    const VMKAudioFileInfo& first = *infos.front();
    for (size_t i = 1; i < infos.size(); ++i) {
        const VMKAudioFileInfo& other = *infos[i];
        const QString path = urls[i].path();
        auto fail = [&](qint64 code, const QString& what) {
            VMKError::set(error, FileEntityError::errorWithCode(
                                     code, action, QStringLiteral("%1 differs from the first file in its %2").arg(path, what)));
            return nullptr;
        };
        if (other.format() != first.format())
            return fail(3, QStringLiteral("format"));
        if (other.frames() != first.frames())
            return fail(4, QStringLiteral("length"));
        if (other.bitDepth() != first.bitDepth())
            return fail(5, QStringLiteral("bit depth"));
        if (other.sampleRate() != first.sampleRate() || other.encoding() != first.encoding())
            return fail(6, QStringLiteral("sample rate or encoding"));
    }

    auto entity = std::make_shared<FileEntity>();
    QList<QByteArray> bookmarks;
    for (const URL& url : urls) {
        const QByteArray bookmark = fileBookmark(url, error);
        if (bookmark.isNull())
            return nullptr;
        bookmarks.append(bookmark);
    }
    if (!entity->setBookmarks(bookmarks, error))
        return nullptr;
    entity->m_dateAdded = Date::now();
    entity->setFacts(first, fileSize, quint64(urls.size()), urls.front().audioChannelSuffixDelimiter());
    entity->m_displayRange = {0.0, entity->length()};
    entity->setID(newID());
    entity->insertRows(true);
    return entity;
}

void FileEntity::setFacts(const VMKAudioFileInfo& info, quint64 fileSize, quint64 channels, const QString& delimiter) {
    const QDateTime modified = modificationDate(firstURL());
    const QString encodingText = encodingName(info.encoding());
    set(QStringLiteral("format"), m_format, info.format());
    if (!encodingText.isEmpty())
        set(QStringLiteral("encoding"), m_encoding, encodingText);
    set(QStringLiteral("channelSuffixDelimiter"), m_channelSuffixDelimiter, delimiter);
    set(QStringLiteral("fileSize"), m_fileSize, fileSize);
    willChangeValueForKey(QStringLiteral("length"));
    set(QStringLiteral("frames"), m_frames, info.frames());
    set(QStringLiteral("sampleRate"), m_sampleRate, info.sampleRate());
    didChangeValueForKey(QStringLiteral("length"));
    set(QStringLiteral("channels"), m_channels, channels);
    set(QStringLiteral("bitDepth"), m_bitDepth, info.bitDepth());
    set(QStringLiteral("floatingPoint"), m_floatingPoint, info.isFloatingPoint());
    set(QStringLiteral("bitrate"), m_bitrate, info.bitrate());
    set(QStringLiteral("dateModified"), m_dateModified, modified);
}

void FileEntity::insertRows(bool split) {
    auto database = EntityController::database();
    if (!database)
        return;
    const QString ID = Entity::ID();
    // The two statements differ only in the split file's delimiter column.
    const QString sql =
        split ? QStringLiteral("INSERT INTO FileEntity (fileEntityID, dateAdded, dateModified, format, encoding, "
                               "channelSuffixDelimiter, fileSize, frames, channels, bitDepth, floatingPoint, bitrate, "
                               "sampleRate) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
              : QStringLiteral("INSERT INTO FileEntity (fileEntityID, dateAdded, dateModified, format, encoding, "
                               "fileSize, frames, channels, bitDepth, floatingPoint, bitrate, sampleRate) VALUES (?, ?, "
                               "?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    {
        // The values are locked inside the database's lock, as everywhere.
        database->executeStatement(sql, nullptr, [&](VMKDatabaseQuery& query) {
            std::lock_guard lock(m_valuesMutex);
            int argument = 0;
            query.setStringValue(ID, argument++);
            query.setValue(dateValue(m_dateAdded), argument++);
            query.setValue(dateValue(m_dateModified), argument++);
            query.setStringValue(m_format, argument++);
            query.setStringValue(m_encoding, argument++);
            if (split)
                query.setStringValue(m_channelSuffixDelimiter, argument++);
            query.setLongLongValue(qint64(m_fileSize), argument++);
            query.setLongLongValue(qint64(m_frames), argument++);
            query.setLongLongValue(qint64(m_channels), argument++);
            query.setLongLongValue(qint64(m_bitDepth), argument++);
            query.setIntValue(m_floatingPoint ? 1 : 0, argument++);
            query.setLongLongValue(qint64(m_bitrate), argument++);
            query.setDoubleValue(m_sampleRate, argument++);
            query.execute();
        });
    }
    const QList<QByteArray> bookmarks = Entity::bookmarks();
    if (!split) {
        database->executeStatement(
            QStringLiteral("INSERT INTO FileBookmark (fileEntityID, ordinal, bookmarkData) VALUES (?, 0, ?)"), nullptr,
            [&](VMKDatabaseQuery& query) {
                query.setStringValue(ID, 0);
                query.setDataValue(bookmarks.value(0), 1);
                query.execute();
            });
        return;
    }
    database->executeStatement(
        QStringLiteral("INSERT INTO FileBookmark (fileEntityID, ordinal, bookmarkData) VALUES (?, ?, ?)"), nullptr,
        [&](VMKDatabaseQuery& query) {
            for (qsizetype ordinal = 0; ordinal < bookmarks.size(); ++ordinal) {
                query.setStringValue(ID, 0);
                query.setLongLongValue(ordinal, 1);
                query.setDataValue(bookmarks[ordinal], 2);
                query.execute();
                query.reset();
            }
        });
}

// MARK: Rebuilding from rows

std::shared_ptr<FileEntity> FileEntity::initWithID(const QString& ID, VMKError* error) {
    auto entity = std::make_shared<FileEntity>();
    entity->setID(ID);
    entity->readStoredRow();
    entity->m_displayRange = {0.0, entity->length()};
    if (!entity->readBookmarkRows(error))
        return nullptr;
    entity->readPropertyRows();
    entity->readAnalysisRows();
    if (!sameDate(modificationDate(entity->firstURL()), entity->dateModified()) && !entity->update(error))
        return nullptr;
    return entity;
}

void FileEntity::readStoredRow() {
    auto database = EntityController::database();
    if (!database)
        return;
    const QStringList& columns = storedColumns();
    static const QString sql =
        QStringLiteral("SELECT %1 FROM FileEntity WHERE fileEntityID = ?").arg(columns.join(QStringLiteral(", ")));
    database->executeStatement(sql, nullptr, [&](VMKDatabaseQuery& query) {
        query.setStringValue(ID(), 0);
        if (!query.evaluateNextRow())
            return;
        // The index of each name is looked up once (per thread) and kept by
        // the name's literal: this runs once per file at every start.
        auto column = [&](const char* name) {
            static thread_local std::unordered_map<const char*, int> found;
            auto it = found.find(name);
            if (it == found.end())
                it = found.emplace(name, int(columns.indexOf(QLatin1String(name)))).first;
            return it->second;
        };
        auto date = [&](const char* name) {
            const QVariant value = query.valueAtColumn(column(name));
            return Variant::isNullOrAbsent(value) ? QDateTime() : Date::dateWithTimeIntervalSinceReferenceDate(value.toDouble());
        };
        std::lock_guard lock(m_valuesMutex);
        m_dateAdded = date("dateAdded");
        m_dateModified = date("dateModified");
        m_format = shared(query.stringValueAtColumn(column("format")));
        m_encoding = shared(query.stringValueAtColumn(column("encoding")));
        m_channelSuffixDelimiter = shared(query.stringValueAtColumn(column("channelSuffixDelimiter")));
        m_fileSize = quint64(query.longLongValueAtColumn(column("fileSize")));
        m_channels = quint64(query.longLongValueAtColumn(column("channels")));
        m_frames = quint64(query.longLongValueAtColumn(column("frames")));
        m_bitDepth = quint64(query.longLongValueAtColumn(column("bitDepth")));
        m_floatingPoint = query.intValueAtColumn(column("floatingPoint")) != 0;
        m_bitrate = quint64(query.longLongValueAtColumn(column("bitrate")));
        m_sampleRate = query.doubleValueAtColumn(column("sampleRate"));
        m_countOfMarkers = quint64(query.longLongValueAtColumn(column("countOfMarkers")));
        m_countOfSlices = quint64(query.longLongValueAtColumn(column("countOfSlices")));
        m_countOfRegions = quint64(query.longLongValueAtColumn(column("countOfRegions")));
        m_countOfLoops = quint64(query.longLongValueAtColumn(column("countOfLoops")));
        m_difference = float(query.doubleValueAtColumn(column("difference")));
        m_detectedSemitone = quint64(query.longLongValueAtColumn(column("detectedSemitone")));
        m_programLoudness = float(query.doubleValueAtColumn(column("LU")));
        m_midPeak = float(query.doubleValueAtColumn(column("midPeak")));
        m_sidePeak = float(query.doubleValueAtColumn(column("sidePeak")));
        const QVariant truePeak = query.valueAtColumn(column("truePeak"));
        m_truePeak = Variant::isNullOrAbsent(truePeak) ? TruePeakNotMeasured : float(truePeak.toDouble());
        m_loudnessRange = float(query.doubleValueAtColumn(column("loudnessRange")));
    });
}

bool FileEntity::readBookmarkRows(VMKError* error) {
    QList<QByteArray> bookmarks;
    if (auto database = EntityController::database())
        database->executeStatement(
            QStringLiteral("SELECT bookmarkData FROM FileBookmark WHERE fileEntityID = ? ORDER BY ordinal"), nullptr,
            [&](VMKDatabaseQuery& query) {
                query.setStringValue(ID(), 0);
                while (query.evaluateNextRow())
                    bookmarks.append(query.dataValueAtColumn(0));
            });
    if (bookmarks.isEmpty()) {
        VMKError::set(error, FileEntityError::errorWithCode(0, QStringLiteral("Resolving bookmark data"),
                                                            QStringLiteral("the catalog holds no location for it")));
        return false;
    }
    return setBookmarks(bookmarks, error);
}

void FileEntity::readPropertyRows() {
    QVariantMap metadata;
    if (auto database = EntityController::database())
        database->executeStatement(QStringLiteral("SELECT key, value FROM FileProperty WHERE fileEntityID = ?"), nullptr,
                                   [&](VMKDatabaseQuery& query) {
                                       query.setStringValue(ID(), 0);
                                       while (query.evaluateNextRow()) {
                                           const QVariant value =
                                               KeyedUnarchiver::unarchiveObjectWithData(query.dataValueAtColumn(1));
                                           if (value.isValid())
                                               metadata.insert(query.stringValueAtColumn(0), value);
                                       }
                                   });
    std::lock_guard lock(m_valuesMutex);
    m_metadata = metadata;
}

void FileEntity::readAnalysisRows() {
    auto database = EntityController::database();
    if (!database)
        return;
    std::vector<std::shared_ptr<ChannelDetails>> details;
    database->executeStatement(
        QStringLiteral("SELECT channelIndex, DCOffset, average, crestFactor, formFactor, negativeMaximum, peak, "
                       "peakToPeak, positiveMaximum, RMS, countOfClipEvents FROM FileAnalysis WHERE fileEntityID = ? "
                       "ORDER BY channelIndex"),
        nullptr, [&](VMKDatabaseQuery& query) {
            query.setStringValue(ID(), 0);
            while (query.evaluateNextRow()) {
                auto value = [&](int column) { return float(query.doubleValueAtColumn(column)); };
                if (query.longLongValueAtColumn(0) == 0) {
                    std::lock_guard lock(m_valuesMutex);
                    m_DCOffset = value(1);
                    m_average = value(2);
                    m_crestFactor = value(3);
                    m_formFactor = value(4);
                    m_negativeMaximum = value(5);
                    m_peak = value(6);
                    m_peakToPeak = value(7);
                    m_positiveMaximum = value(8);
                    m_RMS = value(9);
                    m_countOfClipEvents = quint64(query.longLongValueAtColumn(10));
                    continue;
                }
                auto channel = std::make_shared<ChannelDetails>();
                channel->setDCOffset(value(1));
                channel->setAverage(value(2));
                channel->setCrestFactor(value(3));
                channel->setFormFactor(value(4));
                channel->setNegativeMaximum(value(5));
                channel->setPeak(value(6));
                channel->setPeakToPeak(value(7));
                channel->setPositiveMaximum(value(8));
                channel->setRMS(value(9));
                channel->setCountOfClipEvents(quint64(query.longLongValueAtColumn(10)));
                details.push_back(std::move(channel));
            }
        });
    for (auto& channel : details)
        insertObjectInChannelDetailsAtIndex(channel, countOfChannelDetails());
}

// MARK: Locations

bool FileEntity::setBookmarks(const QList<QByteArray>& bookmarks, VMKError* error) {
    std::vector<URL> urls;
    urls.reserve(size_t(bookmarks.size()));
    for (const QByteArray& data : bookmarks) {
        bool stale = false;
        VMKError resolveError;
        const URL url = Bookmark::URLByResolvingBookmarkData(data, &stale, &resolveError);
        if (url.isEmpty()) {
            VMKError::set(error, VMKError::errorWithUnderlying(resolveError, QStringLiteral("Resolving bookmark data")));
            return false;
        }
        if (stale) {
            VMKError freshError;
            const QByteArray fresh = Bookmark::bookmarkData(url, 2048, &freshError);
            if (fresh.isNull()) {
                VMKError::set(error, VMKError::errorWithUnderlying(freshError, QStringLiteral("Recreating bookmark data")));
                return false;
            }
            // Without an ordinal: every bookmark row of the entity takes the
            // fresh data, and the next start resolves them all to this file.
            if (auto database = EntityController::database(); database && !ID().isEmpty())
                database->executeStatement(QStringLiteral("UPDATE FileBookmark SET bookmarkData = ? WHERE fileEntityID = ?"),
                                           nullptr, [&](VMKDatabaseQuery& query) {
                                               query.setDataValue(fresh, 0);
                                               query.setStringValue(ID(), 1);
                                               query.execute();
                                           });
            catalogLog(LogLevel::Notice, QStringLiteral("FileEntity_log_notice_updatedLocation"),
                       {url.lastPathComponent(), url.path()});
        }
        urls.push_back(url);
    }
    const QString name = urls.size() == 1 ? urls.front().lastPathComponent()
                                          : urls.front().audioFilename() + QLatin1Char('.') + urls.front().pathExtension();
    setLocations(bookmarks, urls, name);
    return true;
}

// MARK: Re-reading

bool FileEntity::update(VMKError* error) {
    const std::vector<URL> urls = URLs();
    if (urls.empty())
        return false;
    std::vector<std::shared_ptr<VMKAudioFileInfo>> infos;
    quint64 fileSize = 0;
    for (const URL& url : urls) {
        if (!url.existsAsFile())
            return false;
        auto info = VMKAudioFileInfo::initWithURL(url, error);
        if (!info)
            return false;
        fileSize += info->fileSize();
        infos.push_back(std::move(info));
    }
    const VMKAudioFileInfo& first = *infos.front();
    for (size_t i = 1; i < infos.size(); ++i) {
        const VMKAudioFileInfo& other = *infos[i];
        if (other.format() != first.format() || other.frames() != first.frames() || other.bitDepth() != first.bitDepth() ||
            other.sampleRate() != first.sampleRate() || other.encoding() != first.encoding())
            return false;
    }
    setFacts(first, fileSize, urls.size() > 1 ? quint64(urls.size()) : first.numberOfChannels(),
             urls.front().audioChannelSuffixDelimiter());
    setDisplayRange({0.0, length()});
    set(QStringLiteral("selectionRange"), m_selectionRange, DoubleRange{});

    const QString ID = Entity::ID();
    if (auto database = EntityController::database()) {
        database->executeStatement(
            QStringLiteral("UPDATE FileEntity SET dateModified = ?, format = ?, encoding = ?, channelSuffixDelimiter = ?, "
                           "fileSize = ?, frames = ?, channels = ?, bitDepth = ?, floatingPoint = ?, bitrate = ?, "
                           "sampleRate = ? WHERE fileEntityID = ?"),
            nullptr, [&](VMKDatabaseQuery& query) {
                std::lock_guard lock(m_valuesMutex);
                query.setValue(dateValue(m_dateModified), 0);
                query.setStringValue(m_format, 1);
                query.setStringValue(m_encoding, 2);
                query.setStringValue(m_channelSuffixDelimiter, 3);
                query.setLongLongValue(qint64(m_fileSize), 4);
                query.setLongLongValue(qint64(m_frames), 5);
                query.setLongLongValue(qint64(m_channels), 6);
                query.setLongLongValue(qint64(m_bitDepth), 7);
                query.setIntValue(m_floatingPoint ? 1 : 0, 8);
                query.setLongLongValue(qint64(m_bitrate), 9);
                query.setDoubleValue(m_sampleRate, 10);
                query.setStringValue(ID, 11);
                query.execute();
            });
        writeBookmarkRows(*database, ID, Entity::bookmarks());
    }
    for (const URL& url : urls)
        catalogLog(LogLevel::Notice, QStringLiteral("FileEntity_log_notice_updated"), {url.path()});
    if (isLoaded())
        openReaders();
    queueAnalysis();
    return true;
}

void FileEntity::writeBookmarkRows(VMKDatabaseController& database, const QString& ID,
                                   const QList<QByteArray>& bookmarks) {
    database.executeStatement(
        QStringLiteral("UPDATE FileBookmark SET bookmarkData = ? WHERE fileEntityID = ? AND ordinal = ?"), nullptr,
        [&](VMKDatabaseQuery& query) {
            for (qsizetype ordinal = 0; ordinal < bookmarks.size(); ++ordinal) {
                query.setDataValue(bookmarks[ordinal], 0);
                query.setStringValue(ID, 1);
                query.setLongLongValue(ordinal, 2);
                query.execute();
                query.reset();
            }
        });
}

void FileEntity::queueAnalysis() { EntityController::analyzeFileEntities({std::static_pointer_cast<FileEntity>(self())}); }

// MARK: Storing analysis

std::shared_ptr<Operation> FileEntity::analysisOperation() const {
    std::lock_guard lock(m_analysisMutex);
    return m_analysisOperation.lock();
}

void FileEntity::setAnalysisOperation(const std::shared_ptr<Operation>& operation) {
    std::vector<ObservationHandle> previous;
    {
        std::lock_guard lock(m_analysisMutex);
        previous.swap(m_analysisObservations);
        m_analysisOperation = operation;
    }
    // Ending an observation waits for its calls on other threads: never
    // under the lock, which those calls take.
    previous.clear();
    if (!operation)
        return;
    const std::weak_ptr<FileEntity> weak = std::static_pointer_cast<FileEntity>(self());
    const Operation* observed = operation.get();
    std::vector<ObservationHandle> observations;
    observations.push_back(operation->observe(QStringLiteral("isCompleted"), 0, [weak, observed](const KeyValueChangeInfo&) {
        // Runs on the operation's thread. An entity on its way out stores nothing.
        const auto entity = weak.lock();
        if (entity && !observed->isCancelled() && observed->valueForKey(QStringLiteral("isCompleted")).toBool())
            entity->storeAnalysis(*observed);
    }));
    observations.push_back(operation->observe(QStringLiteral("isFinished"), 0, [weak, observed](const KeyValueChangeInfo&) {
        if (const auto entity = weak.lock(); entity && observed->isFinished())
            entity->detachAnalysisOperation(observed);
    }));
    {
        std::lock_guard lock(m_analysisMutex);
        // Another operation may have been attached meanwhile: it keeps its place.
        if (m_analysisOperation.lock().get() == observed)
            m_analysisObservations.swap(observations);
    }
}

// Lets go of `operation` if it is still the one attached (of any, for null).
void FileEntity::detachAnalysisOperation(const Operation* operation) {
    std::vector<ObservationHandle> observations;
    {
        std::lock_guard lock(m_analysisMutex);
        if (operation && m_analysisOperation.lock().get() != operation)
            return;
        m_analysisOperation.reset();
        observations.swap(m_analysisObservations);
    }
    observations.clear();
}

void FileEntity::storeAnalysis(const Operation& operation) {
    const QVariantMap properties = operation.valueForKey(QStringLiteral("entityProperties")).toMap();
    const QVariantList channelProperties = operation.valueForKey(QStringLiteral("entityChannelProperties")).toList();
    const QVariantList labels = operation.valueForKey(QStringLiteral("entityLabels")).toList();
    const QString ID = Entity::ID();

    // A missing value (a mono file has no "difference") is written as NULL.
    auto bind = [](VMKDatabaseQuery& query, const QVariant& value, int index) {
        if (value.isValid())
            query.setValue(value, index);
        else
            query.setNullValueToArgumentAtIndex(index);
    };
    auto bindMeasures = [&](VMKDatabaseQuery& query, const QVariantMap& measures, qint64 channelIndex) {
        static const char* const keys[] = {"DCOffset", "average", "crestFactor", "formFactor", "negativeMaximum",
                                           "peak", "peakToPeak", "positiveMaximum", "RMS", "countOfClipEvents"};
        query.setStringValue(ID, 0);
        query.setLongLongValue(channelIndex, 1);
        int index = 2;
        for (const char* key : keys)
            bind(query, measures.value(QLatin1String(key)), index++);
    };

    auto database = EntityController::database();
    if (database && !ID.isEmpty()) {
        database->executeStatement(QStringLiteral("BEGIN TRANSACTION"));
        database->executeStatement(
            QStringLiteral("UPDATE FileEntity SET countOfMarkers = ?, countOfSlices = ?, countOfRegions = ?, "
                           "countOfLoops = ?, difference = ?, detectedSemitone = ?, LU = ?, midPeak = ?, sidePeak = ?, "
                           "truePeak = ?, loudnessRange = ? WHERE fileEntityID = ?"),
            nullptr, [&](VMKDatabaseQuery& query) {
                static const char* const keys[] = {"countOfMarkers", "countOfSlices",  "countOfRegions",
                                                   "countOfLoops",   "difference",     "detectedSemitone",
                                                   "programLoudness", "midPeak",       "sidePeak",
                                                   "truePeak",       "loudnessRange"};
                int index = 0;
                for (const char* key : keys)
                    bind(query, properties.value(QLatin1String(key)), index++);
                query.setStringValue(ID, index);
                query.execute();
            });
        database->executeStatement(QStringLiteral("DELETE FROM FileProperty WHERE fileEntityID = ?"), nullptr,
                                   [&](VMKDatabaseQuery& query) {
                                       query.setStringValue(ID, 0);
                                       query.execute();
                                   });
        const QVariantMap metadata = properties.value(QStringLiteral("metadata")).toMap();
        if (!metadata.isEmpty())
            database->executeStatement(
                QStringLiteral("INSERT INTO FileProperty (fileEntityID, key, value) VALUES (?, ?, ?)"), nullptr,
                [&](VMKDatabaseQuery& query) {
                    for (auto it = metadata.constBegin(); it != metadata.constEnd(); ++it) {
                        query.setStringValue(ID, 0);
                        query.setStringValue(it.key(), 1);
                        query.setDataValue(KeyedArchiver::archivedDataWithRootObject(it.value()), 2);
                        query.execute();
                        query.reset();
                    }
                });
        database->executeStatement(QStringLiteral("DELETE FROM FileLabel WHERE fileEntityID = ?"), nullptr,
                                   [&](VMKDatabaseQuery& query) {
                                       query.setStringValue(ID, 0);
                                       query.execute();
                                   });
        if (!labels.isEmpty())
            database->executeStatement(
                QStringLiteral("INSERT INTO FileLabel (fileEntityID, type, location, length, name) VALUES (?, ?, ?, ?, ?)"),
                nullptr, [&](VMKDatabaseQuery& query) {
                    for (const QVariant& item : labels) {
                        const auto label = Variant::object<VMKAudioLabel>(item);
                        if (!label)
                            continue;
                        query.setStringValue(ID, 0);
                        query.setStringValue(label->type(), 1);
                        query.setDoubleValue(label->location(), 2);
                        query.setDoubleValue(label->length(), 3);
                        query.setStringValue(label->name(), 4);
                        query.execute();
                        query.reset();
                    }
                });
        database->executeStatement(QStringLiteral("DELETE FROM FileAnalysis WHERE fileEntityID = ?"), nullptr,
                                   [&](VMKDatabaseQuery& query) {
                                       query.setStringValue(ID, 0);
                                       query.execute();
                                   });
        database->executeStatement(
            QStringLiteral("INSERT INTO FileAnalysis (fileEntityID, channelIndex, DCOffset, average, crestFactor, "
                           "formFactor, negativeMaximum, peak, peakToPeak, positiveMaximum, RMS, countOfClipEvents, "
                           "wavetable) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
            nullptr, [&](VMKDatabaseQuery& query) {
                bindMeasures(query, properties, 0);
                query.setNullValueToArgumentAtIndex(12);
                query.execute();
                for (qsizetype i = 0; i < channelProperties.size(); ++i) {
                    query.reset();
                    const QVariantMap measures = channelProperties[i].toMap();
                    bindMeasures(query, measures, i + 1);
                    // The overview's bytes as they are: no archive, no header.
                    const auto waveform = Variant::object<VMKMinMaxWaveform>(measures.value(QStringLiteral("waveform")));
                    query.setDataValue(waveform ? waveform->table() : QByteArray(), 12);
                    query.execute();
                }
            });
        database->executeStatement(QStringLiteral("END TRANSACTION"));
    }

    for (auto it = properties.constBegin(); it != properties.constEnd(); ++it)
        setValueForKey(it.value(), it.key());
    if (!properties.contains(QStringLiteral("truePeak")))
        setTruePeak(TruePeakNotMeasured);

    removeChannelDetailsAtIndexes(IndexSet::range(0, countOfChannelDetails()));
    for (const QVariant& item : channelProperties) {
        const QVariantMap measures = item.toMap();
        auto details = std::make_shared<ChannelDetails>();
        for (auto it = measures.constBegin(); it != measures.constEnd(); ++it)
            details->setValueForKey(it.value(), it.key());
        insertObjectInChannelDetailsAtIndex(details, countOfChannelDetails());
    }
    dropCachedLabels();
    // Overviews stay in memory only while the file is loaded.
    if (!isLoaded())
        for (const auto& details : channelDetails())
            details->setWaveform(nullptr);
}

// MARK: Loading

void FileEntity::load() {
    if (m_loadCount > 0) {
        ++m_loadCount;
        return;
    }
    if (auto database = EntityController::database()) {
        const auto details = channelDetails();
        database->executeStatement(
            QStringLiteral("SELECT wavetable FROM FileAnalysis WHERE fileEntityID = ? AND channelIndex = ?"), nullptr,
            [&](VMKDatabaseQuery& query) {
                for (size_t i = 0; i < details.size(); ++i) {
                    query.setStringValue(ID(), 0);
                    query.setLongLongValue(qint64(i + 1), 1);
                    auto waveform = VMKMinMaxWaveform::waveform();
                    if (query.evaluateNextRow())
                        waveform->setData(query.dataValueAtColumn(0));
                    details[i]->setWaveform(waveform);
                    query.reset();
                    query.resetArguments();
                }
            });
    }
    openReaders();
    willChangeValueForKey(QStringLiteral("isLoaded"));
    ++m_loadCount;
    didChangeValueForKey(QStringLiteral("isLoaded"));
}

void FileEntity::openReaders() {
    std::vector<std::shared_ptr<VMKAudioFileReader>> readers;
    for (const URL& url : URLs()) {
        VMKError error;
        if (auto reader = VMKAudioFileReader::initWithURL(url, &error))
            readers.push_back(std::move(reader));
        else
            catalogLog(LogLevel::Error, QStringLiteral("FileEntity_log_error_loadFailed"), {error.localizedDescription()});
    }
    auto buffer = VMKAudioBufferList::initWithChannels(uint32_t(channels()), int64_t(sampleRate()));
    std::lock_guard lock(m_getAudioLock);
    m_audioFiles = std::move(readers);
    m_readBuffer = std::move(buffer);
}

void FileEntity::unload() {
    if (m_loadCount == 0)
        return;
    if (m_loadCount > 1) {
        --m_loadCount;
        return;
    }
    willChangeValueForKey(QStringLiteral("isLoaded"));
    m_loadCount = 0;
    didChangeValueForKey(QStringLiteral("isLoaded"));
    {
        std::lock_guard lock(m_getAudioLock);
        m_readBuffer.reset();
        m_audioFiles.clear();
    }
    for (const auto& details : channelDetails())
        details->setWaveform(nullptr);
}

// MARK: Audio access and detectors

bool FileEntity::getAudio(VMKAudioBufferList& bufferList, double location, VMKError* error) {
    const auto frame = qint64(std::llround(sampleRate() * location));
    std::lock_guard lock(m_getAudioLock);
    if (m_audioFiles.empty())
        return false;
    if (m_audioFiles.size() == 1)
        return m_audioFiles.front()->getAudio(bufferList, frame, error);
    // A split file: each member's one channel goes to the channel of its index.
    auto member = VMKAudioBufferList::initWithChannels(1, bufferList.frameCapacity(), error);
    if (!member)
        return false;
    member->setFrames(bufferList.frames());
    bool result = false;
    for (size_t i = 0; i < m_audioFiles.size(); ++i) {
        result = m_audioFiles[i]->getAudio(*member, frame, error);
        bufferList.copyChannel(0, *member, uint32_t(i));
    }
    return result;
}

void FileEntity::getWaveform(VMKWaveformBuffer& buffer, DoubleRange range) { WaveformDrawer(*this).draw(buffer, range); }

float FileEntity::estimatedTempo() const {
    return BeatDetector::estimatedTempo(metadata().value(QStringLiteral("beats")).toLongLong(), length());
}

double FileEntity::locationOfZeroCrossingBefore(double location) {
    return CrossingFinder(*this).locationOfZeroCrossingBefore(location);
}

double FileEntity::locationOfZeroCrossingAfter(double location) {
    return CrossingFinder(*this).locationOfZeroCrossingAfter(location);
}

double FileEntity::locationOfNearestZeroCrossingTo(double location) {
    return CrossingFinder(*this).locationOfNearestZeroCrossingTo(location);
}

double FileEntity::locationOfThresholdCrossingBefore(double location, float threshold) {
    return CrossingFinder(*this).locationOfThresholdCrossingBefore(location, threshold);
}

double FileEntity::locationOfThresholdCrossingAfter(double location, float threshold) {
    return CrossingFinder(*this).locationOfThresholdCrossingAfter(location, threshold);
}

double FileEntity::locationOfNextDetectedBeatUsing(const QString& method, float sensitivity, double location) {
    return BeatDetector(*this).locationOfNextDetectedBeatUsing(method, sensitivity, location);
}

double FileEntity::locationOfNextDetectedBeatUsingMagnitudeWithSensitivity(float sensitivity, double location) {
    return BeatDetector(*this).locationOfNextDetectedBeatUsingMagnitude(sensitivity, location);
}

double FileEntity::locationOfNextDetectedBeatUsingEnergyWithSensitivity(float sensitivity, double location) {
    return BeatDetector(*this).locationOfNextDetectedBeatUsingEnergy(sensitivity, location);
}

double FileEntity::locationOfNextDetectedBeatUsingEnergyBandsWithSensitivity(float sensitivity, double location) {
    return BeatDetector(*this).locationOfNextDetectedBeatUsingEnergyBands(sensitivity, location);
}

DoubleRange FileEntity::rangeOfNextDetectedBeatUsingThresholdsWithAttackThreshold(float attackThreshold,
                                                                                 float releaseThreshold,
                                                                                 double releaseLength,
                                                                                 double location) {
    return BeatDetector(*this).rangeOfNextDetectedBeatUsingThresholds(attackThreshold, releaseThreshold,
                                                                      releaseLength, location);
}

bool FileEntity::isLoaded() const { return m_loadCount != 0; }
quint64 FileEntity::loadCount() const { return m_loadCount; }

std::vector<std::shared_ptr<VMKAudioFileReader>> FileEntity::audioFiles() const {
    std::lock_guard lock(m_getAudioLock);
    return m_audioFiles;
}

// MARK: Stored values

QDateTime FileEntity::dateAdded() const { return get(m_dateAdded); }
QDateTime FileEntity::dateModified() const { return get(m_dateModified); }
QString FileEntity::format() const { return get(m_format); }
QString FileEntity::encoding() const { return get(m_encoding); }
QString FileEntity::channelSuffixDelimiter() const { return get(m_channelSuffixDelimiter); }
quint64 FileEntity::fileSize() const { return get(m_fileSize); }
quint64 FileEntity::frames() const { return get(m_frames); }
quint64 FileEntity::channels() const { return get(m_channels); }
quint64 FileEntity::bitDepth() const { return get(m_bitDepth); }
bool FileEntity::isFloatingPoint() const { return get(m_floatingPoint); }
quint64 FileEntity::bitrate() const { return get(m_bitrate); }
double FileEntity::sampleRate() const { return get(m_sampleRate); }

double FileEntity::length() const {
    std::lock_guard lock(m_valuesMutex);
    return m_sampleRate > 0.0 ? double(m_frames) / m_sampleRate : 0.0;
}

QString FileEntity::encodingName(quint32 code) {
    if (code == 0)
        return {};
    QString text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += QChar(char16_t((code >> shift) & 0xFF));
    return VMKLocalizedString(QStringLiteral("Entity_property_encoding_") + text);
}

// MARK: Channels and labels

std::vector<std::shared_ptr<ChannelDetails>> FileEntity::channelDetails() const { return get(m_channelDetails); }

qsizetype FileEntity::countOfChannelDetails() const {
    std::lock_guard lock(m_valuesMutex);
    return qsizetype(m_channelDetails.size());
}

std::shared_ptr<ChannelDetails> FileEntity::objectInChannelDetailsAtIndex(qsizetype index) const {
    std::lock_guard lock(m_valuesMutex);
    return index >= 0 && size_t(index) < m_channelDetails.size() ? m_channelDetails[size_t(index)] : nullptr;
}

qsizetype FileEntity::indexOfObjectInChannelDetails(const ChannelDetails* details) const {
    std::lock_guard lock(m_valuesMutex);
    for (size_t i = 0; i < m_channelDetails.size(); ++i)
        if (m_channelDetails[i].get() == details)
            return qsizetype(i);
    return -1;
}

void FileEntity::insertObjectInChannelDetailsAtIndex(const std::shared_ptr<ChannelDetails>& details, qsizetype index) {
    Q_ASSERT(details);
    details->setFileEntity(std::static_pointer_cast<FileEntity>(self()));
    index = std::clamp<qsizetype>(index, 0, countOfChannelDetails());
    willChange(KeyValueChange::Insertion, IndexSet(index), QStringLiteral("channelDetails"));
    {
        std::lock_guard lock(m_valuesMutex);
        m_channelDetails.insert(m_channelDetails.begin() + index, details);
    }
    didChange(KeyValueChange::Insertion, IndexSet(index), QStringLiteral("channelDetails"));
}

void FileEntity::removeChannelDetailsAtIndexes(const IndexSet& indexes) {
    IndexSet valid;
    for (qsizetype index : indexes)
        if (index < countOfChannelDetails())
            valid.add(index);
    if (valid.isEmpty())
        return;
    willChange(KeyValueChange::Removal, valid, QStringLiteral("channelDetails"));
    {
        std::lock_guard lock(m_valuesMutex);
        for (auto it = valid.indexes().rbegin(); it != valid.indexes().rend(); ++it) {
            m_channelDetails[size_t(*it)]->setFileEntity(nullptr);
            m_channelDetails.erase(m_channelDetails.begin() + *it);
        }
    }
    didChange(KeyValueChange::Removal, valid, QStringLiteral("channelDetails"));
}

std::vector<std::shared_ptr<Label>> FileEntity::labels() const {
    {
        std::lock_guard lock(m_valuesMutex);
        if (m_hasLabels)
            return m_labels;
    }
    std::vector<std::shared_ptr<Label>> labels;
    if (auto database = EntityController::database())
        database->executeStatement(
            QStringLiteral("SELECT type, location, length, name FROM FileLabel WHERE fileEntityID = ? ORDER BY type, location"),
            nullptr, [&](VMKDatabaseQuery& query) {
                query.setStringValue(ID(), 0);
                while (query.evaluateNextRow()) {
                    auto label = Label::labelOfType(query.stringValueAtColumn(0));
                    label->setLocation(query.doubleValueAtColumn(1));
                    label->setLength(query.doubleValueAtColumn(2));
                    const QString name = query.stringValueAtColumn(3);
                    if (!name.isEmpty())
                        label->setValueForKey(name, QStringLiteral("name"));
                    labels.push_back(std::move(label));
                }
            });
    auto self = std::const_pointer_cast<FileEntity>(std::static_pointer_cast<const FileEntity>(shared_from_this()));
    for (auto& label : labels)
        label->setFileEntity(self);
    std::lock_guard lock(m_valuesMutex);
    if (!m_hasLabels) {
        m_labels = std::move(labels);
        m_hasLabels = true;
    }
    return m_labels;
}

qsizetype FileEntity::countOfLabels() const { return qsizetype(labels().size()); }

std::shared_ptr<Label> FileEntity::objectInLabelsAtIndex(qsizetype index) const {
    const auto all = labels();
    return index >= 0 && size_t(index) < all.size() ? all[size_t(index)] : nullptr;
}

qsizetype FileEntity::indexOfObjectInLabels(const Label* label) const {
    const auto all = labels();
    for (size_t i = 0; i < all.size(); ++i)
        if (all[i].get() == label)
            return qsizetype(i);
    return -1;
}

std::vector<std::shared_ptr<Label>> FileEntity::labelsWithPredicate(const Predicate& predicate) const {
    return Predicate::filteredArray(labels(), predicate);
}

void FileEntity::dropCachedLabels() {
    willChangeValueForKey(QStringLiteral("labels"));
    {
        std::lock_guard lock(m_valuesMutex);
        m_labels.clear();
        m_hasLabels = false;
    }
    didChangeValueForKey(QStringLiteral("labels"));
}

// MARK: Display state

void FileEntity::setDisplayRange(DoubleRange range) {
    if (!(range.length > 0.0))
        return;
    const double total = length();
    range.length = std::min(range.length, total);
    range.location = std::clamp(range.location, 0.0, std::max(0.0, total - range.length));
    set(QStringLiteral("displayRange"), m_displayRange, range);
}

void FileEntity::setSelectionRange(DoubleRange range) {
    const double total = length();
    const double start = std::clamp(range.location, 0.0, total);
    const double end = std::clamp(range.location + std::max(range.length, 0.0), 0.0, total);
    set(QStringLiteral("selectionRange"), m_selectionRange, DoubleRange{start, end - start});
}

void FileEntity::setDisplayScalar(float scalar) {
    set(QStringLiteral("displayScalar"), m_displayScalar, std::isnan(scalar) ? 0.0f : std::max(scalar, 0.0f));
}

void FileEntity::setDisplayZeroOffset(float offset) {
    set(QStringLiteral("displayZeroOffset"), m_displayZeroOffset, std::isnan(offset) ? 0.0f : std::clamp(offset, -1.0f, 1.0f));
}

QVariant FileEntity::valueForUndefinedKey(const QString& key) const {
    std::lock_guard lock(m_valuesMutex);
    return m_metadata.value(key);
}

// MARK: File tracking

void FileEntity::presentedItemDidMoveToURL(const URL& url) {
    Q_ASSERT(isMainThread());
    const auto analysis = analysisOperation();
    if (analysis)
        analysis->cancel();
    // A plain file takes the new place. The members of a split file are
    // followed one by one, so that it keeps all of its channels: a member
    // still in place stays, one found under its name beside the new place
    // moved with it (its folder was renamed), and one found nowhere is the
    // one renamed to `url`.
    std::vector<URL> urls = URLs();
    QList<QByteArray> bookmarks = Entity::bookmarks();
    if (urls.size() <= 1 || qsizetype(urls.size()) != bookmarks.size()) {
        urls = {url};
        bookmarks = {QByteArray()};
    } else {
        bool renamedTaken = false;
        for (size_t i = 0; i < urls.size(); ++i) {
            if (urls[i].exists())
                continue;
            const URL beside = url.URLByDeletingLastPathComponent().URLByAppendingPathComponent(urls[i].lastPathComponent());
            if (beside.exists() && beside != url) {
                urls[i] = beside;
            } else if (!renamedTaken) {
                urls[i] = url;
                renamedTaken = true;
            } else {
                continue;
            }
            bookmarks[qsizetype(i)] = QByteArray();
        }
    }
    bool recorded = true;
    for (size_t i = 0; i < urls.size(); ++i) {
        if (!bookmarks[qsizetype(i)].isNull())
            continue;
        urls[i] = URL::fileURLWithPath(urls[i].path());
        VMKError error;
        bookmarks[qsizetype(i)] = Bookmark::bookmarkData(urls[i], Bookmark::WithSecurityScope, &error);
        if (bookmarks[qsizetype(i)].isNull()) {
            // Gone again already: its deletion comes as an event of its own.
            catalogLog(LogLevel::Warning, QStringLiteral("FileEntity_log_warning_move"),
                       {urls[i].path(), error.localizedDescription()});
            recorded = false;
        }
    }
    if (recorded) {
        const QString name = urls.size() == 1 ? urls.front().lastPathComponent()
                                              : urls.front().audioFilename() + QLatin1Char('.') + urls.front().pathExtension();
        setLocations(bookmarks, urls, name);
        const QString ID = Entity::ID();
        if (auto database = EntityController::database(); database && !ID.isEmpty())
            writeBookmarkRows(*database, ID, bookmarks);
    }
    if (analysis)
        queueAnalysis();
}

void FileEntity::accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler) {
    Q_ASSERT(isMainThread());
    if (const auto analysis = analysisOperation())
        analysis->cancel();
    const ObjectPtr keep = self();  // the parent may hold the last reference
    if (auto group = parent())
        group->removeObjectFromEntitiesAtIndex(group->indexOfObjectInEntities(this));
    if (completionHandler)
        completionHandler(nullptr);
}

void FileEntity::presentedItemDidChange() {
    Q_ASSERT(isMainThread());
    VMKError error;
    if (!update(&error))
        catalogLog(LogLevel::Error, QStringLiteral("FileEntity_log_error_update"), {error.localizedDescription()});
}

} // namespace ondrel
