#pragma once

#include "core/text/VMKError.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <vector>

namespace ondrel {

// The chunk structure of WAVE (RIFF, RIFX), AIFF (FORM), Core Audio (caff)
// and Wave64 files: listing, reading and replacing chunks in place (Wave64
// chunks, named by the first four bytes of their GUID, are only listed,
// read and patched). Sizes that run past
// the end of the file are clamped and end the walk, so a truncated or lying
// header never makes a read leave the file.
class VMKAudioChunkFile {
public:
    enum class Container { None, RIFF, RIFX, FORM, CAF, W64 };

    struct Chunk {
        QByteArray id;            // four bytes
        qint64 headerOffset = 0;  // where the chunk's header starts
        qint64 offset = 0;        // where its data starts
        qint64 size = 0;          // bytes of data that are really in the file
        bool isTruncated = false; // the declared size ran past the end
        bool isPadded = false;    // a pad byte follows (odd size in RIFF and FORM files)
    };

    // Lists the chunks of the file at `path`; an empty list and Container::None
    // for a file of none of the containers.
    static VMKAudioChunkFile chunkFileWithPath(const QString& path);

    Container container() const { return m_container; }
    const std::vector<Chunk>& chunks() const { return m_chunks; }
    const Chunk* chunk(const char* id) const;  // the first of that id
    std::vector<const Chunk*> chunksWithID(const char* id) const;
    bool isBigEndian() const { return m_container != Container::RIFF && m_container != Container::W64; }

    // The data of a chunk, at most `limit` bytes.
    QByteArray readChunk(const Chunk& chunk, qint64 limit = 64 << 20) const;

    // Removes every chunk whose id is in `removeIDs` (those after the audio
    // data are cut off, those before it become padding) and appends `append`
    // (pairs of id and data), fixing the container's size field. Chunks of
    // Core Audio files are appended behind the audio data, whose size is made
    // explicit first.
    static bool replaceChunks(const QString& path, const std::vector<QByteArray>& removeIDs,
                              const std::vector<std::pair<QByteArray, QByteArray>>& append, VMKError* error);

    // Overwrites bytes inside the first chunk of `id`, at `offset` from its
    // data, or (with `header` true) its size field; false when it isn't there.
    static bool patchChunk(const QString& path, const char* id, qint64 offset, const QByteArray& bytes);
    static bool patchChunkSize(const QString& path, const char* id, quint32 size);

private:
    QString m_path;
    Container m_container = Container::None;
    std::vector<Chunk> m_chunks;
    qint64 m_fileSize = 0;
};

} // namespace ondrel
