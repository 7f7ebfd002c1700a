#pragma once

#include "core/text/VMKError.h"

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include <vector>

namespace ondrel {

// A location on the local file system: an absolute, cleaned path. The empty
// URL is "no location".
class URL {
public:
    URL() = default;
    // Relative paths are made absolute against the current directory.
    static URL fileURLWithPath(const QString& path);

    bool isEmpty() const { return m_path.isEmpty(); }
    const QString& path() const { return m_path; }
    QString lastPathComponent() const;
    QString pathExtension() const;  // without the dot; "" when there is none
    QStringList pathComponents() const;
    // The last path component without its extension.
    QString filename() const;

    URL URLByAppendingPathComponent(const QString& component) const;
    URL URLByAppendingPathExtension(const QString& extension) const;
    URL URLByDeletingLastPathComponent() const;
    URL URLByDeletingPathExtension() const;

    bool exists() const;
    bool existsAsFile() const;
    bool existsAsDirectory() const;
    // Creates the folder and any missing parents; true when it exists afterwards.
    bool createDirectory(VMKError* error = nullptr) const;
    // Deletes a file, or a folder with everything in it (the engine's `delete:`).
    // Symbolic links are removed, never followed. The empty URL and "/" are refused.
    bool deleteItem(VMKError* error = nullptr) const;
    // The entries of a folder (not recursive, hidden ones included, sorted by name).
    std::vector<URL> contentsOfDirectory(VMKError* error = nullptr) const;

    // The private folder of all databases and of the current workflow:
    // $ONDREL_HOME when set, else $XDG_DATA_HOME/ondrel. Created on demand.
    static URL supportDirectory(VMKError* error = nullptr);
    // A folder for temporary files of this user, created on demand:
    // "Temporary" in the support folder, so that finished files move into
    // the catalog's file system by an atomic rename.
    static URL temporaryDirectory(VMKError* error = nullptr);
    // The default destination of output: $ONDREL_HOME/Music/Ondrel when
    // ONDREL_HOME is set, else the XDG music folder plus "Ondrel".
    static URL ondrelDirectory();

    // Channel suffixes of split files (Take.L.wav, Take-R.wav ...), parsed
    // from `filename`.
    // Keys "filename" always; "channelSuffixDelimiter" and "channelSuffix"
    // when a suffix is found.
    QVariantMap audioFilenameComponents() const;
    QString audioFilename() const;
    QString audioChannelSuffixDelimiter() const;  // null QString when absent
    QString audioChannelSuffix() const;           // null QString when absent

    bool operator==(const URL& other) const { return m_path == other.m_path; }
    bool operator!=(const URL& other) const { return m_path != other.m_path; }
    bool operator<(const URL& other) const { return m_path < other.m_path; }

private:
    QString m_path;
};

inline size_t qHash(const URL& url, size_t seed = 0) { return qHash(url.path(), seed); }

} // namespace ondrel

Q_DECLARE_METATYPE(ondrel::URL)
