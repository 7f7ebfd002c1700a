#include "core/files/Bookmark.h"

#include "core/files/DirectoryStream.h"

#include "core/storage/PropertyList.h"
#include "core/objects/Variant.h"

#include <QtCore/QFile>
#include <QtCore/QUtf8StringView>

#include <cerrno>
#include <cstring>
#include <deque>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ondrel {

namespace {

const QString kPathKey = QStringLiteral("path");
const QString kDeviceKey = QStringLiteral("device");
const QString kInodeKey = QStringLiteral("inode");
const QString kSizeKey = QStringLiteral("size");
const QString kModificationTimeKey = QStringLiteral("modificationTime");
const QString kDirectoryKey = QStringLiteral("directory");
const QString kOptionsKey = QStringLiteral("options");

QString actionCreating() { return QStringLiteral("Creating bookmark data"); }
QString actionResolving() { return QStringLiteral("Resolving bookmark data"); }

// What identifies the item, and what tells a moved item from a stranger
// that got its inode number.
struct Identity {
    QString path;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modificationTime = 0;  // nanoseconds since 1970
    bool isDirectory = false;
};

qint64 modificationTimeOf(const struct stat& info) {
    return qint64(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
}

bool isSameItem(const struct stat& info, const Identity& identity) {
    return quint64(info.st_dev) == identity.device && quint64(info.st_ino) == identity.inode;
}

bool statPath(const QString& path, struct stat* info) { return ::stat(QFile::encodeName(path).constData(), info) == 0; }

QString parentPath(const QString& path) { return URL::fileURLWithPath(path).URLByDeletingLastPathComponent().path(); }

QString joinPath(const QString& folder, const char* name) {
    return (folder == QLatin1String("/") ? folder : folder + QLatin1Char('/')) + QFile::decodeName(name);
}

bool readIdentity(const QVariant& plist, Identity* identity) {
    if (!Variant::isDictionary(plist))
        return false;
    const QVariantMap map = plist.toMap();
    const QVariant path = map.value(kPathKey);
    const QVariant device = map.value(kDeviceKey);
    const QVariant inode = map.value(kInodeKey);
    if (!Variant::isString(path) || !Variant::isInteger(device) || !Variant::isInteger(inode))
        return false;
    identity->path = path.toString();
    if (!identity->path.startsWith(QLatin1Char('/')) || identity->path.contains(QChar(0)))
        return false;
    identity->path = URL::fileURLWithPath(identity->path).path();
    identity->device = device.toULongLong();
    identity->inode = inode.toULongLong();
    identity->size = map.value(kSizeKey).toLongLong();
    identity->modificationTime = map.value(kModificationTimeKey).toLongLong();
    identity->isDirectory = map.value(kDirectoryKey).toBool();
    return true;
}

// Bookmark data is written and read very often (once per cataloged file at
// every start), so this class writes its property list itself, without the
// document type line and the indentation, and reads back a flat dictionary
// of plain values by scanning it. Anything else (a list, a numeric character
// reference, an unknown element) is left to the general property list code.

void appendEscaped(QByteArray& out, const QByteArray& text) {
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        default: out += c; break;
        }
    }
}

// Null when the path holds characters an XML text can't (controls other
// than tab and line breaks): the general writer decides what to do then.
QByteArray compactBookmark(const Identity& identity, int options) {
    const QByteArray path = identity.path.toUtf8();
    for (char c : path)
        if (uchar(c) < 0x20 && c != '\t' && c != '\n' && c != '\r')
            return QByteArray();
    QByteArray out;
    out.reserve(200 + path.size());
    out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>";
    auto integer = [&](const char* key, qint64 value) {
        out += "<key>";
        out += key;
        out += "</key><integer>";
        out += QByteArray::number(value);
        out += "</integer>";
    };
    integer("device", qint64(identity.device));
    out += identity.isDirectory ? "<key>directory</key><true/>" : "<key>directory</key><false/>";
    integer("inode", qint64(identity.inode));
    integer("modificationTime", identity.modificationTime);
    integer("options", options);
    out += "<key>path</key><string>";
    appendEscaped(out, path);
    out += "</string>";
    integer("size", identity.size);
    out += "</dict></plist>\n";
    return out;
}

// Replaces the five predefined entities; false for any other reference.
bool unescape(QByteArray* text) {
    static const std::pair<const char*, char> entities[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    QByteArray out;
    out.reserve(text->size());
    for (qsizetype i = 0; i < text->size();) {
        if (text->at(i) != '&') {
            out += text->at(i++);
            continue;
        }
        bool known = false;
        for (const auto& [entity, character] : entities) {
            const qsizetype length = qsizetype(std::strlen(entity));
            if (text->mid(i, length) == entity) {
                out += character;
                i += length;
                known = true;
                break;
            }
        }
        if (!known)
            return false;
    }
    *text = out;
    return true;
}

// Reads the flat dictionary of bookmark data; false for anything it doesn't
// know, which the general reader then takes.
bool scanBookmark(const QByteArray& data, QVariantMap* map) {
    const char* p = data.constData();
    const char* const end = p + data.size();
    auto skipSpace = [&] {
        while (p < end && (*p == ' ' || *p == '\n' || *p == '\t' || *p == '\r'))
            ++p;
    };
    auto take = [&](const char* literal) {
        const size_t length = std::strlen(literal);
        if (size_t(end - p) < length || std::memcmp(p, literal, length) != 0)
            return false;
        p += length;
        return true;
    };
    auto textUntil = [&](const char* closing, QByteArray* text) {
        const char* stop = static_cast<const char*>(memmem(p, size_t(end - p), closing, std::strlen(closing)));
        if (!stop)
            return false;
        *text = QByteArray(p, stop - p);
        p = stop + std::strlen(closing);
        return true;
    };
    const char* dict = static_cast<const char*>(memmem(p, size_t(end - p), "<dict>", 6));
    if (!dict)
        return false;
    p = dict + 6;
    while (true) {
        skipSpace();
        if (take("</dict>"))
            return true;
        QByteArray key;
        if (!take("<key>") || !textUntil("</key>", &key) || key.contains('&') || key.contains('<'))
            return false;
        skipSpace();
        QByteArray text;
        if (take("<integer>")) {
            bool ok = false;
            if (!textUntil("</integer>", &text))
                return false;
            const qint64 value = text.toLongLong(&ok);
            if (!ok) {
                const quint64 large = text.toULongLong(&ok);
                if (!ok)
                    return false;
                map->insert(QString::fromUtf8(key), large);
            } else {
                map->insert(QString::fromUtf8(key), value);
            }
        } else if (take("<string>")) {
            if (!textUntil("</string>", &text) || text.contains('<'))
                return false;
            if (text.contains('&') && !unescape(&text))
                return false;
            // Text that is not UTF-8 is not a property list.
            if (!QUtf8StringView(text).isValidUtf8())
                return false;
            map->insert(QString::fromUtf8(key), QString::fromUtf8(text));
        } else if (take("<true/>")) {
            map->insert(QString::fromUtf8(key), true);
        } else if (take("<false/>")) {
            map->insert(QString::fromUtf8(key), false);
        } else {
            return false;
        }
    }
}

// A breadth-first search for the item below `root`, skipping the subtree
// `skip` (already searched) and other file systems. Links are not followed.
class Search {
public:
    explicit Search(const Identity& identity)
        : m_identity(identity), m_oldName(URL::fileURLWithPath(identity.path).lastPathComponent()) {}

    bool isExhausted() const { return m_entriesLeft <= 0; }

    QString findBelow(const QString& root, const QString& skip) {
        struct stat rootInfo;
        if (!statPath(root, &rootInfo) || !S_ISDIR(rootInfo.st_mode))
            return QString();
        m_rootDevice = quint64(rootInfo.st_dev);
        std::deque<std::pair<QString, int>> pending;
        pending.emplace_back(root, 0);
        while (!pending.empty() && !isExhausted()) {
            const auto [folder, depth] = pending.front();
            pending.pop_front();
            const QString found = scan(folder, depth, skip, pending);
            if (!found.isEmpty())
                return found;
        }
        return QString();
    }

private:
    bool matches(const struct stat& info, const QString& name) const {
        if (quint64(info.st_ino) != m_identity.inode)
            return false;
        if (quint64(info.st_dev) != m_identity.device && quint64(info.st_dev) != m_rootDevice)
            return false;  // the device number may change when a volume is mounted again
        if (bool(S_ISDIR(info.st_mode)) != m_identity.isDirectory)
            return false;
        return name == m_oldName ||
               (qint64(info.st_size) == m_identity.size && modificationTimeOf(info) == m_identity.modificationTime);
    }

    QString scan(const QString& folder, int depth, const QString& skip, std::deque<std::pair<QString, int>>& pending) {
        DirectoryStream dir(AT_FDCWD, QFile::encodeName(folder), O_RDONLY);
        if (!dir.isOpen())
            return QString();
        QString found;
        while (const dirent* entry = dir.next()) {
            const char* name = entry->d_name;
            if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
                continue;
            if (--m_entriesLeft < 0)
                break;
            struct stat info;
            if (::fstatat(dir.fd(), name, &info, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            const QString path = joinPath(folder, name);
            if (matches(info, QFile::decodeName(name))) {
                found = path;
                break;
            }
            if (S_ISDIR(info.st_mode) && depth + 1 < Bookmark::kSearchDepth &&
                quint64(info.st_dev) == m_rootDevice && path != skip)
                pending.emplace_back(path, depth + 1);
        }
        return found;
    }

    const Identity& m_identity;
    const QString m_oldName;
    quint64 m_rootDevice = 0;
    qint64 m_entriesLeft = Bookmark::kSearchEntryLimit;
};

QString searchNear(const Identity& identity) {
    QString root = parentPath(identity.path);
    struct stat info;
    while (root != QLatin1String("/") && !(statPath(root, &info) && S_ISDIR(info.st_mode)))
        root = parentPath(root);
    Search search(identity);
    QString skip;
    for (int level = 0; level < Bookmark::kSearchAncestors && !search.isExhausted(); ++level) {
        const QString found = search.findBelow(root, skip);
        if (!found.isEmpty())
            return found;
        if (root == QLatin1String("/"))
            break;
        skip = root;
        root = parentPath(root);
    }
    return QString();
}

}  // namespace

QByteArray Bookmark::bookmarkData(const URL& url, int options, VMKError* error) {
    struct stat info;
    if (url.isEmpty()) {
        VMKError::set(error, VMKError::errorWithErrno(ENOENT, actionCreating()));
        return QByteArray();
    }
    if (!statPath(url.path(), &info)) {
        VMKError::set(error, VMKError::errorWithErrno(errno, actionCreating(), url.path()));
        return QByteArray();
    }
    Identity identity;
    identity.path = url.path();
    identity.device = quint64(info.st_dev);
    identity.inode = quint64(info.st_ino);
    identity.size = qint64(info.st_size);
    identity.modificationTime = modificationTimeOf(info);
    identity.isDirectory = S_ISDIR(info.st_mode);
    if (QByteArray compact = compactBookmark(identity, options); !compact.isNull())
        return compact;
    QVariantMap map;
    map.insert(kPathKey, url.path());
    map.insert(kDeviceKey, quint64(info.st_dev));
    map.insert(kInodeKey, quint64(info.st_ino));
    map.insert(kSizeKey, qint64(info.st_size));
    map.insert(kModificationTimeKey, modificationTimeOf(info));
    map.insert(kDirectoryKey, bool(S_ISDIR(info.st_mode)));
    map.insert(kOptionsKey, options);
    VMKError plistError;
    const QByteArray data = PropertyList::dataWithPropertyList(map, &plistError);
    if (data.isNull())
        VMKError::set(error, VMKError::errorWithUnderlying(plistError, actionCreating()));
    return data;
}

URL Bookmark::URLByResolvingBookmarkData(const QByteArray& data, bool* isStale, VMKError* error) {
    if (isStale)
        *isStale = false;
    Identity identity;
    VMKError plistError;
    QVariantMap scanned;
    const QVariant plist = data.isEmpty()                  ? QVariant()
                           : scanBookmark(data, &scanned) ? QVariant(scanned)
                                                          : PropertyList::propertyListWithData(data, &plistError);
    if (!readIdentity(plist, &identity)) {
        VMKError invalid = VMKError::errorWithCode(InvalidDataError, actionResolving(),
                                                   QStringLiteral("The data is not bookmark data."));
        VMKError::set(error, plistError ? VMKError::errorWithUnderlying(plistError, actionResolving()) : invalid);
        return URL();
    }

    struct stat info;
    if (statPath(identity.path, &info)) {
        if (isStale)
            *isStale = !isSameItem(info, identity);
        return URL::fileURLWithPath(identity.path);
    }
    const int pathErrno = errno;

    const QString found = searchNear(identity);
    if (found.isEmpty()) {
        VMKError::set(error, VMKError::errorWithErrno(pathErrno, actionResolving(), identity.path));
        return URL();
    }
    if (isStale)
        *isStale = true;
    return URL::fileURLWithPath(found);
}

} // namespace ondrel
