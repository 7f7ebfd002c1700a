#include "core/files/DirectoryStream.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace ondrel {

void DirectoryStream::Closer::operator()(DIR* dir) const { ::closedir(dir); }

DirectoryStream::DirectoryStream(int folderFd, const QByteArray& path, int flags) {
    const int fd = ::openat(folderFd, path.constData(), flags | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    m_dir.reset(::fdopendir(fd));
    if (!m_dir) {
        const int failure = errno;
        ::close(fd);
        errno = failure;
    }
}

int DirectoryStream::fd() const { return ::dirfd(m_dir.get()); }

const dirent* DirectoryStream::next() { return ::readdir(m_dir.get()); }

} // namespace ondrel
