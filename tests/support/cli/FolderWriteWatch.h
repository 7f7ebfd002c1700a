#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>

namespace ondrel {

// Watches one folder (Linux inotify) from construction on and tells how each
// of its files was written since: in place (closed after being opened for
// writing) or replaced (another file renamed over its name, as an atomic
// write does). Events of other processes count too.
class FolderWriteWatch {
public:
    struct Writes {
        int inPlace = 0;
        int replaced = 0;
    };

    explicit FolderWriteWatch(const QString& folder);
    ~FolderWriteWatch();
    FolderWriteWatch(const FolderWriteWatch&) = delete;
    FolderWriteWatch& operator=(const FolderWriteWatch&) = delete;

    bool isWatching() const { return m_fd >= 0; }
    // The writes of the file `name` so far.
    Writes writesOf(const QString& name);

private:
    int m_fd = -1;
    QHash<QString, Writes> m_writes;
};

} // namespace ondrel
