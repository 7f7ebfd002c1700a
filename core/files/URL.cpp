#include "core/files/URL.h"

#include "core/files/DirectoryStream.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSet>
#include <QtCore/QStandardPaths>

#include <algorithm>
#include <cstring>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ondrel {

namespace {

const QString kFilenameKey = QStringLiteral("filename");
const QString kDelimiterKey = QStringLiteral("channelSuffixDelimiter");
const QString kSuffixKey = QStringLiteral("channelSuffix");

QString actionCreatingFolder() { return QStringLiteral("Creating the folder"); }
QString actionDeletingItem() { return QStringLiteral("Deleting the item"); }
QString actionReadingFolder() { return QStringLiteral("Reading the folder"); }

QByteArray nativePath(const QString& path) { return QFile::encodeName(path); }

// The channel suffixes of split files, in lower case.
const QSet<QString>& channelSuffixes() {
    static const QSet<QString> table = {
        QStringLiteral("lfe"), QStringLiteral("lsb"), QStringLiteral("rsb"), QStringLiteral("rl"),
        QStringLiteral("rr"),  QStringLiteral("lc"),  QStringLiteral("rc"),  QStringLiteral("lw"),
        QStringLiteral("rw"),  QStringLiteral("lh"),  QStringLiteral("rh"),  QStringLiteral("ls"),
        QStringLiteral("rs"),  QStringLiteral("cs"),  QStringLiteral("lf"),  QStringLiteral("l"),
        QStringLiteral("r"),   QStringLiteral("c"),
    };
    return table;
}

// Takes a file name (without extension) apart into name, delimiter and
// channel suffix. The longest suffix wins; it needs at least two characters
// in front of it, the nearer of which is a delimiter that is not alphanumeric:
// neither a letter, a mark (a combining accent belongs to its letter) nor a
// number.
QVariantMap componentsOfFilename(const QString& name) {
    QVariantMap components;
    const qsizetype length = name.size();
    if (length >= 3) {
        for (qsizetype suffixLength = 3; suffixLength >= 1; --suffixLength) {
            const qsizetype start = length - suffixLength;
            if (start < 2)
                continue;
            const QString candidate = name.mid(start);
            if (!channelSuffixes().contains(candidate.toLower()))
                continue;
            // The delimiter is one character; outside the basic plane that is
            // a surrogate pair, and the name in front must still keep one.
            qsizetype delimiterStart = start - 1;
            char32_t delimiter = name.at(delimiterStart).unicode();
            if (name.at(delimiterStart).isLowSurrogate() && delimiterStart >= 1 &&
                name.at(delimiterStart - 1).isHighSurrogate()) {
                --delimiterStart;
                delimiter = QChar::surrogateToUcs4(name.at(delimiterStart), name.at(delimiterStart + 1));
                if (delimiterStart < 1)
                    continue;
            }
            if (QChar::isLetterOrNumber(delimiter) || QChar::isMark(delimiter))
                continue;
            components.insert(kFilenameKey, name.left(delimiterStart));
            components.insert(kDelimiterKey, name.mid(delimiterStart, start - delimiterStart));
            components.insert(kSuffixKey, candidate);
            return components;
        }
    }
    components.insert(kFilenameKey, name);
    return components;
}

// Deletes everything in the open folder `dir`. Symbolic links are removed,
// never followed.
bool emptyDirectory(DirectoryStream& dir, const QString& path, VMKError* error) {
    if (!dir.isOpen()) {
        VMKError::set(error, VMKError::errorWithErrno(errno, actionDeletingItem(), path));
        return false;
    }
    while (true) {
        errno = 0;
        const dirent* entry = dir.next();
        if (!entry) {
            if (errno != 0) {
                VMKError::set(error, VMKError::errorWithErrno(errno, actionDeletingItem(), path));
                return false;
            }
            return true;
        }
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
            continue;
        const QString childPath = path + QLatin1Char('/') + QFile::decodeName(name);
        bool isDirectory = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat info;
            if (fstatat(dir.fd(), name, &info, AT_SYMLINK_NOFOLLOW) == 0)
                isDirectory = S_ISDIR(info.st_mode);
        }
        if (isDirectory) {
            DirectoryStream child(dir.fd(), QByteArray(name), O_RDONLY | O_NOFOLLOW);
            if (!child.isOpen()) {
                VMKError::set(error, VMKError::errorWithErrno(errno, actionDeletingItem(), childPath));
                return false;
            }
            if (!emptyDirectory(child, childPath, error))
                return false;
        }
        if (unlinkat(dir.fd(), name, isDirectory ? AT_REMOVEDIR : 0) != 0) {
            VMKError::set(error, VMKError::errorWithErrno(errno, actionDeletingItem(), childPath));
            return false;
        }
    }
}

// $ONDREL_HOME, made absolute against the current folder; "" when unset.
QString ondrelHome() {
    const QString value = qEnvironmentVariable("ONDREL_HOME");
    return value.isEmpty() ? value : URL::fileURLWithPath(value).path();
}

URL ensureDirectory(const URL& url, VMKError* error) {
    if (!url.createDirectory(error))
        return URL();
    return url;
}

}  // namespace

URL URL::fileURLWithPath(const QString& path) {
    URL url;
    if (path.isEmpty())
        return url;
    url.m_path = QDir::cleanPath(QDir::isAbsolutePath(path) ? path : QDir::current().absoluteFilePath(path));
    return url;
}

QString URL::lastPathComponent() const {
    if (m_path.isEmpty() || m_path == QLatin1String("/"))
        return m_path;
    return m_path.mid(m_path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString URL::pathExtension() const {
    const QString name = lastPathComponent();
    // A leading dot marks a hidden name, not an extension; a trailing dot
    // has nothing behind it.
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1)
        return QString();
    return name.mid(dot + 1);
}

QStringList URL::pathComponents() const {
    QStringList components;
    if (m_path.isEmpty())
        return components;
    components.append(QStringLiteral("/"));
    for (const QString& part : m_path.split(QLatin1Char('/'), Qt::SkipEmptyParts))
        components.append(part);
    return components;
}

QString URL::filename() const {
    const QString name = lastPathComponent();
    const QString extension = pathExtension();
    if (extension.isEmpty())
        return name;
    return name.left(name.size() - extension.size() - 1);
}

URL URL::URLByAppendingPathComponent(const QString& component) const {
    if (m_path.isEmpty() || component.isEmpty())
        return *this;
    return fileURLWithPath(m_path + QLatin1Char('/') + component);
}

URL URL::URLByAppendingPathExtension(const QString& extension) const {
    if (m_path.isEmpty() || extension.isEmpty() || m_path == QLatin1String("/"))
        return *this;
    URL url;
    url.m_path = m_path + QLatin1Char('.') + extension;
    return url;
}

URL URL::URLByDeletingLastPathComponent() const {
    if (m_path.isEmpty() || m_path == QLatin1String("/"))
        return *this;
    const qsizetype slash = m_path.lastIndexOf(QLatin1Char('/'));
    URL url;
    url.m_path = slash <= 0 ? QStringLiteral("/") : m_path.left(slash);
    return url;
}

URL URL::URLByDeletingPathExtension() const {
    const QString extension = pathExtension();
    if (extension.isEmpty())
        return *this;
    URL url;
    url.m_path = m_path.left(m_path.size() - extension.size() - 1);
    return url;
}

bool URL::exists() const {
    struct stat info;
    return !m_path.isEmpty() && ::stat(nativePath(m_path).constData(), &info) == 0;
}

bool URL::existsAsFile() const {
    struct stat info;
    return !m_path.isEmpty() && ::stat(nativePath(m_path).constData(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool URL::existsAsDirectory() const {
    struct stat info;
    return !m_path.isEmpty() && ::stat(nativePath(m_path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool URL::createDirectory(VMKError* error) const {
    if (m_path.isEmpty()) {
        VMKError::set(error, VMKError::errorWithErrno(EINVAL, actionCreatingFolder()));
        return false;
    }
    if (existsAsDirectory())
        return true;
    // Walk down from the root, making each missing folder.
    QString current;
    for (const QString& part : m_path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        current += QLatin1Char('/') + part;
        const QByteArray native = nativePath(current);
        if (::mkdir(native.constData(), 0777) == 0)
            continue;
        const int code = errno;
        struct stat info;
        if (code == EEXIST && ::stat(native.constData(), &info) == 0) {
            if (S_ISDIR(info.st_mode))
                continue;
            VMKError::set(error, VMKError::errorWithErrno(ENOTDIR, actionCreatingFolder(), current));
            return false;
        }
        VMKError::set(error, VMKError::errorWithErrno(code, actionCreatingFolder(), current));
        return false;
    }
    return true;
}

bool URL::deleteItem(VMKError* error) const {
    if (m_path.isEmpty() || m_path == QLatin1String("/")) {
        VMKError::set(error, VMKError::errorWithErrno(EPERM, actionDeletingItem(), m_path));
        return false;
    }
    const QByteArray native = nativePath(m_path);
    struct stat info;
    if (::lstat(native.constData(), &info) != 0) {
        VMKError::set(error, VMKError::errorWithErrno(errno, actionDeletingItem(), m_path));
        return false;
    }
    if (!S_ISDIR(info.st_mode)) {
        if (::unlink(native.constData()) != 0) {
            VMKError::set(error, VMKError::errorWithErrno(errno, actionDeletingItem(), m_path));
            return false;
        }
        return true;
    }
    {
        DirectoryStream dir(AT_FDCWD, native, O_RDONLY | O_NOFOLLOW);
        if (!emptyDirectory(dir, m_path, error))
            return false;
    }
    if (::rmdir(native.constData()) != 0) {
        VMKError::set(error, VMKError::errorWithErrno(errno, actionDeletingItem(), m_path));
        return false;
    }
    return true;
}

std::vector<URL> URL::contentsOfDirectory(VMKError* error) const {
    std::vector<URL> contents;
    if (m_path.isEmpty()) {
        VMKError::set(error, VMKError::errorWithErrno(EINVAL, actionReadingFolder()));
        return contents;
    }
    DirectoryStream dir(AT_FDCWD, nativePath(m_path), O_RDONLY);
    if (!dir.isOpen()) {
        VMKError::set(error, VMKError::errorWithErrno(errno, actionReadingFolder(), m_path));
        return contents;
    }
    const QString prefix = m_path == QLatin1String("/") ? m_path : m_path + QLatin1Char('/');
    while (true) {
        errno = 0;
        const dirent* entry = dir.next();
        if (!entry) {
            if (errno != 0) {
                VMKError::set(error, VMKError::errorWithErrno(errno, actionReadingFolder(), m_path));
                contents.clear();
            }
            break;
        }
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        URL child;
        child.m_path = prefix + QFile::decodeName(entry->d_name);
        contents.push_back(std::move(child));
    }
    std::sort(contents.begin(), contents.end());
    return contents;
}

URL URL::supportDirectory(VMKError* error) {
    const QString home = ondrelHome();
    if (!home.isEmpty())
        return ensureDirectory(fileURLWithPath(home), error);
    // Relative XDG paths are invalid and ignored.
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (!QDir::isAbsolutePath(data))
        data = QDir::homePath() + QStringLiteral("/.local/share");
    return ensureDirectory(fileURLWithPath(data).URLByAppendingPathComponent(QStringLiteral("ondrel")), error);
}

// Temporary files live in the support folder rather than in /tmp: that folder
// holds the catalog, so a finished temporary file is renamed into place
// atomically instead of copied across file systems (often a RAM disk), and it
// is private to the user.
URL URL::temporaryDirectory(VMKError* error) {
    const URL support = supportDirectory(error);
    if (support.isEmpty())
        return URL();
    return ensureDirectory(support.URLByAppendingPathComponent(QStringLiteral("Temporary")), error);
}

URL URL::ondrelDirectory() {
    const QString home = ondrelHome();
    if (!home.isEmpty())
        return fileURLWithPath(home + QStringLiteral("/Music/Ondrel"));
    QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    if (!QDir::isAbsolutePath(music))
        music = QDir::homePath() + QStringLiteral("/Music");
    return fileURLWithPath(music).URLByAppendingPathComponent(QStringLiteral("Ondrel"));
}

QVariantMap URL::audioFilenameComponents() const { return componentsOfFilename(filename()); }

QString URL::audioFilename() const { return audioFilenameComponents().value(kFilenameKey).toString(); }

QString URL::audioChannelSuffixDelimiter() const {
    const QVariantMap components = audioFilenameComponents();
    const auto it = components.constFind(kDelimiterKey);
    return it == components.constEnd() ? QString() : it->toString();
}

QString URL::audioChannelSuffix() const {
    const QVariantMap components = audioFilenameComponents();
    const auto it = components.constFind(kSuffixKey);
    return it == components.constEnd() ? QString() : it->toString();
}

} // namespace ondrel
