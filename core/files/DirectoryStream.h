#pragma once

#include <QtCore/QByteArray>

#include <memory>

#include <dirent.h>

namespace ondrel {

// An open folder whose entries are read one by one; closed when it goes.
class DirectoryStream {
public:
    // Opens the folder `path`, relative to the open folder `folderFd` (or to
    // the current folder with AT_FDCWD), with open(2)'s `flags` and
    // O_DIRECTORY | O_CLOEXEC added. On failure the stream is closed and errno
    // tells why.
    DirectoryStream(int folderFd, const QByteArray& path, int flags);

    bool isOpen() const { return bool(m_dir); }
    // The folder's descriptor, for the *at() calls; valid while open.
    int fd() const;
    // The next entry ("." and ".." included), or null at the end or on a
    // failure, which leaves errno set (the caller clears errno first to tell
    // them apart). Valid until the next call.
    const dirent* next();

private:
    struct Closer {
        void operator()(DIR* dir) const;
    };
    std::unique_ptr<DIR, Closer> m_dir;
};

} // namespace ondrel
