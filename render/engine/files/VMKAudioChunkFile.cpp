#include "render/engine/files/VMKAudioChunkFile.h"

#include "render/engine/files/VMKAudioFileFormat.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

#include <algorithm>

namespace ondrel {

namespace {

constexpr int maximumChunks = 100000;

QString writingAction(const QString& path) {
    return QStringLiteral("Writing labels into “%1”").arg(path.section(QLatin1Char('/'), -1));
}

} // namespace

VMKAudioChunkFile VMKAudioChunkFile::chunkFileWithPath(const QString& path) {
    VMKAudioChunkFile result;
    result.m_path = path;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return result;
    result.m_fileSize = file.size();
    const QByteArray head = file.read(40);
    if (head.size() < 12)
        return result;
    static const char wave64[16] = {'r', 'i', 'f', 'f', '\x2E', '\x91', '\xCF', '\x11',
                                    '\xA5', '\xD6', '\x28', '\xDB', '\x04', '\xC1', '\x00', '\x00'};
    qint64 at = 0;
    qint64 end = result.m_fileSize;
    if (head.startsWith("RIFF") || head.startsWith("RIFX") || head.startsWith("FORM")) {
        result.m_container = head.startsWith("RIFF") ? Container::RIFF
                             : head.startsWith("RIFX") ? Container::RIFX
                                                       : Container::FORM;
        const quint32 declared = result.isBigEndian() ? qFromBigEndian<quint32>(head.constData() + 4)
                                                      : qFromLittleEndian<quint32>(head.constData() + 4);
        end = std::min<qint64>(end, 8 + qint64(declared));
        at = 12;
    } else if (head.startsWith("caff")) {
        result.m_container = Container::CAF;
        at = 8;
    } else if (head.size() == 40 && head.startsWith(QByteArray(wave64, 16))) {
        result.m_container = Container::W64;
        const quint64 declared = qFromLittleEndian<quint64>(head.constData() + 16);
        if (declared < quint64(end))
            end = qint64(declared);
        at = 40;
    } else {
        return result;
    }
    const bool caf = result.m_container == Container::CAF;
    const bool w64 = result.m_container == Container::W64;
    const int headerSize = caf ? 12 : w64 ? 24 : 8;
    while (at + headerSize <= end && int(result.m_chunks.size()) < maximumChunks) {
        if (!file.seek(at))
            break;
        const QByteArray header = file.read(headerSize);
        if (header.size() < headerSize)
            break;
        Chunk chunk;
        chunk.id = header.left(4);
        chunk.headerOffset = at;
        chunk.offset = at + headerSize;
        qint64 declared;
        if (caf)
            declared = qFromBigEndian<qint64>(header.constData() + 4);
        else if (w64)  // the size counts the 24 bytes of the header
            declared = qint64(qFromLittleEndian<quint64>(header.constData() + 16) - 24);
        else if (result.isBigEndian())
            declared = qFromBigEndian<quint32>(header.constData() + 4);
        else
            declared = qFromLittleEndian<quint32>(header.constData() + 4);
        const qint64 available = result.m_fileSize - chunk.offset;
        // -1 is the Core Audio data chunk of unknown length: up to the end.
        if (declared < 0 || declared > available) {
            chunk.size = available;
            chunk.isTruncated = !(caf && declared == -1);
        } else {
            chunk.size = declared;
        }
        if (!caf && !w64 && (chunk.size & 1) && chunk.offset + chunk.size < end) {
            // Some writers leave the pad byte out: a chunk id right at the
            // end of the data (where a pad byte is zero) means there is none.
            file.seek(chunk.offset + chunk.size);
            const QByteArray next = file.read(4);
            const bool isID = next.size() == 4 && next[0] != '\0' &&
                              std::all_of(next.begin(), next.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
            chunk.isPadded = !isID;
        }
        result.m_chunks.push_back(chunk);
        if (declared < 0 || declared > available)
            break;
        at = chunk.offset + chunk.size + (w64 ? (8 - chunk.size % 8) % 8 : chunk.isPadded ? 1 : 0);
    }
    return result;
}

const VMKAudioChunkFile::Chunk* VMKAudioChunkFile::chunk(const char* id) const {
    for (const auto& c : m_chunks)
        if (c.id == id)
            return &c;
    return nullptr;
}

std::vector<const VMKAudioChunkFile::Chunk*> VMKAudioChunkFile::chunksWithID(const char* id) const {
    std::vector<const Chunk*> found;
    for (const auto& c : m_chunks)
        if (c.id == id)
            found.push_back(&c);
    return found;
}

QByteArray VMKAudioChunkFile::readChunk(const Chunk& chunk, qint64 limit) const {
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(chunk.offset))
        return {};
    return file.read(std::min(chunk.size, limit));
}

bool VMKAudioChunkFile::replaceChunks(const QString& path, const std::vector<QByteArray>& removeIDs,
                                      const std::vector<std::pair<QByteArray, QByteArray>>& append, VMKError* error) {
    const VMKAudioChunkFile chunkFile = chunkFileWithPath(path);
    const QString action = writingAction(path);
    auto fail = [&](const QString& reason) {
        VMKError::set(error, VMKError::errorWithCode(VMKAudioFileErrorTags, action, reason));
        return false;
    };
    if (chunkFile.m_container == Container::None || chunkFile.m_container == Container::W64)
        return fail(QStringLiteral("the file has no chunks that can be replaced"));
    for (const auto& c : chunkFile.m_chunks)
        if (c.isTruncated)
            return fail(QStringLiteral("the file is truncated"));
    const bool caf = chunkFile.m_container == Container::CAF;
    const bool big = chunkFile.isBigEndian();
    const QByteArray dataID = caf ? "data" : chunkFile.m_container == Container::FORM ? "SSND" : "data";
    const Chunk* data = chunkFile.chunk(dataID.constData());
    if (!data)
        return fail(QStringLiteral("the file has no audio data"));

    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return fail(file.errorString());
    auto remove = [&](const Chunk& c) {
        return std::find(removeIDs.begin(), removeIDs.end(), c.id) != removeIDs.end();
    };
    // The file is cut behind the last chunk that stays; removed chunks before
    // that point become padding of the same size.
    auto chunkEnd = [](const Chunk& c) { return c.offset + c.size + (c.isPadded ? 1 : 0); };
    qint64 keepEnd = 12;
    for (const auto& c : chunkFile.m_chunks)
        if (!remove(c) || c.offset <= data->offset)
            keepEnd = std::max(keepEnd, chunkEnd(c));
    for (const auto& c : chunkFile.m_chunks) {
        if (!remove(c) || c.offset >= keepEnd)
            continue;
        file.seek(c.headerOffset);
        file.write(caf ? "free" : chunkFile.m_container == Container::FORM ? "FLLR" : "JUNK", 4);
        file.seek(c.offset);
        file.write(QByteArray(qsizetype(c.size), '\0'));
    }
    if (caf && keepEnd == data->offset + data->size) {
        // Make the data size explicit before anything follows it.
        file.seek(data->headerOffset + 4);
        const qint64 size = qToBigEndian<qint64>(data->size);
        file.write(reinterpret_cast<const char*>(&size), 8);
    }
    keepEnd = std::min(keepEnd, chunkFile.m_fileSize);
    if (!file.resize(keepEnd))
        return fail(file.errorString());
    file.seek(keepEnd);
    // Chunks start at even offsets: give a last chunk of odd size the pad
    // byte it lacks.
    if (!caf && (keepEnd & 1) && !append.empty())
        file.write("\0", 1);
    for (const auto& [id, bytes] : append) {
        QByteArray header = id.left(4);
        if (caf) {
            const qint64 size = qToBigEndian<qint64>(bytes.size());
            header.append(reinterpret_cast<const char*>(&size), 8);
        } else {
            const quint32 size = big ? qToBigEndian<quint32>(quint32(bytes.size()))
                                     : qToLittleEndian<quint32>(quint32(bytes.size()));
            header.append(reinterpret_cast<const char*>(&size), 4);
        }
        file.write(header);
        file.write(bytes);
        if (!caf && (bytes.size() & 1))
            file.write("\0", 1);
    }
    if (!caf) {
        const quint32 total = quint32(file.size() - 8);
        const quint32 field = big ? qToBigEndian(total) : qToLittleEndian(total);
        file.seek(4);
        file.write(reinterpret_cast<const char*>(&field), 4);
    }
    if (!file.flush())
        return fail(file.errorString());
    return true;
}

bool VMKAudioChunkFile::patchChunk(const QString& path, const char* id, qint64 offset, const QByteArray& bytes) {
    const VMKAudioChunkFile chunkFile = chunkFileWithPath(path);
    const Chunk* c = chunkFile.chunk(id);
    if (!c || offset < 0 || offset + bytes.size() > c->size)
        return false;
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.seek(c->offset + offset) && file.write(bytes) == bytes.size();
}

bool VMKAudioChunkFile::patchChunkSize(const QString& path, const char* id, quint32 size) {
    const VMKAudioChunkFile chunkFile = chunkFileWithPath(path);
    const Chunk* c = chunkFile.chunk(id);
    if (!c || chunkFile.m_container == Container::CAF)
        return false;
    const quint32 field = chunkFile.isBigEndian() ? qToBigEndian(size) : qToLittleEndian(size);
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.seek(c->headerOffset + 4) &&
           file.write(reinterpret_cast<const char*>(&field), 4) == 4;
}

} // namespace ondrel
