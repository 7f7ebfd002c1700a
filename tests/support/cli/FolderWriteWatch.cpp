#include "tests/support/cli/FolderWriteWatch.h"

#include <QtCore/QFile>

#include <sys/inotify.h>
#include <unistd.h>

namespace ondrel {

FolderWriteWatch::FolderWriteWatch(const QString& folder) {
    m_fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_fd >= 0 && inotify_add_watch(m_fd, QFile::encodeName(folder).constData(), IN_CLOSE_WRITE | IN_MOVED_TO) < 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

FolderWriteWatch::~FolderWriteWatch() {
    if (m_fd >= 0)
        ::close(m_fd);
}

FolderWriteWatch::Writes FolderWriteWatch::writesOf(const QString& name) {
    alignas(inotify_event) char buffer[16384];
    ssize_t length;
    while (m_fd >= 0 && (length = ::read(m_fd, buffer, sizeof buffer)) > 0) {
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            if (event->len > 0) {
                Writes& writes = m_writes[QFile::decodeName(event->name)];
                if (event->mask & IN_CLOSE_WRITE)
                    ++writes.inPlace;
                if (event->mask & IN_MOVED_TO)
                    ++writes.replaced;
            }
            offset += ssize_t(sizeof(inotify_event)) + event->len;
        }
    }
    return m_writes.value(name);
}

} // namespace ondrel
