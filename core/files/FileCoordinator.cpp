#include "core/files/FileCoordinator.h"

#include "core/dispatch/DispatchQueue.h"
#include "core/files/DirectoryStream.h"
#include "core/files/FilePresenter.h"

#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSet>

#include <chrono>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ondrel {

namespace {

using Clock = std::chrono::steady_clock;

// How long the first half of a rename waits for its second half before the
// item counts as moved out of every watched folder.
constexpr auto kMovePairingWindow = std::chrono::milliseconds(50);
// Events are handed over once none came for this long (so that the touch of
// a file, an attribute change and a close, is one change), or at the latest
// this long after the oldest waiting one.
constexpr auto kQuietPeriod = std::chrono::milliseconds(20);
constexpr auto kLongestWait = std::chrono::milliseconds(200);
// The least time between two reads of the event queue.
constexpr auto kReadPause = std::chrono::milliseconds(10);

constexpr uint32_t kWatchMask = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;

bool isHidden(const QString& name) { return name.startsWith(QLatin1Char('.')); }

// True when `path` is `folder` or lies beneath it.
bool isAtOrBeneath(const QString& path, const QString& folder) {
    return path == folder || (path.size() > folder.size() && path.startsWith(folder) && path[folder.size()] == QLatin1Char('/'));
}

bool isBeneath(const QString& path, const QString& folder) { return path != folder && isAtOrBeneath(path, folder); }

QString rebased(const QString& path, const QString& from, const QString& to) { return to + path.mid(from.size()); }

struct FdCloser {
    void operator()(int* fd) const {
        if (*fd >= 0)
            ::close(*fd);
        delete fd;
    }
};
using UniqueFd = std::unique_ptr<int, FdCloser>;

UniqueFd makeFd(int fd) { return UniqueFd(new int(fd)); }

enum class EventKind { ItemMoved, ItemDeleted, SubitemChanged, SubitemMoved };

struct Delivery {
    quint64 presenterID;
    EventKind kind;
    URL url;
    URL newURL;
};

// One event of the kernel's in the order it came, turned into deliveries.
// The first half of a rename stays unresolved until its second half comes
// or its window closes; nothing after it is handed over before that.
struct Slot {
    bool resolved = true;
    uint32_t cookie = 0;
    QString fromPath;
    bool isDirectory = false;
    Clock::time_point deadline;
    QString changedPath;  // set for a plain change, to fold repeats
    std::vector<Delivery> deliveries;
};

struct PresenterEntry {
    quint64 ID;
    std::weak_ptr<FilePresenter> presenter;
    const FilePresenter* address;
    QString root;  // followed when the folder moves
    // Find the folder after it moved by itself. (A descriptor kept open on
    // it would tell where it went at once, but would hold back the news of
    // its deletion until closed.)
    dev_t rootDevice = 0;
    ino_t rootInode = 0;
    bool rootLost = false;  // not where it was, and not found near there
};

class Monitor {
public:
    static Monitor& shared() {
        // Made after the main queue, so that it stops before that goes.
        DispatchQueue::main();
        static Monitor monitor;
        return monitor;
    }

    ~Monitor() { stop(); }

    void add(const std::shared_ptr<FilePresenter>& presenter) {
        Q_ASSERT(presenter);
        const QString root = presenter->presentedItemURL().path();
        std::lock_guard lock(m_mutex);
        for (const PresenterEntry& entry : m_presenters)
            if (entry.address == presenter.get())
                return;
        if (!startLocked())
            return;
        PresenterEntry entry{++m_lastID, presenter, presenter.get(), root};
        struct stat info {};
        if (::stat(QFile::encodeName(root).constData(), &info) == 0) {
            entry.rootDevice = info.st_dev;
            entry.rootInode = info.st_ino;
        }
        m_presenters.push_back(std::move(entry));
        addWatchesLocked(root, true);
    }

    void remove(const FilePresenter* presenter) {
        std::thread thread;
        int wakeFd = -1;
        UniqueFd inotifyFd;
        UniqueFd ownWakeFd;
        {
            std::lock_guard lock(m_mutex);
            std::erase_if(m_presenters, [&](const PresenterEntry& entry) { return entry.address == presenter; });
            if (!m_presenters.empty()) {
                removeUnneededWatchesLocked();
                return;
            }
            // The last one: the thread stops, and the watches go with the
            // inotify descriptor.
            m_watches.clear();
            m_slots.clear();
            m_written.clear();
            thread = std::move(m_thread);
            inotifyFd = std::move(m_inotifyFd);
            ownWakeFd = std::move(m_wakeFd);
            wakeFd = ownWakeFd ? *ownWakeFd : -1;
        }
        stopThread(thread, wakeFd);
    }

    std::vector<std::shared_ptr<FilePresenter>> presenters() const {
        std::lock_guard lock(m_mutex);
        std::vector<std::shared_ptr<FilePresenter>> out;
        for (const PresenterEntry& entry : m_presenters)
            if (auto presenter = entry.presenter.lock())
                out.push_back(std::move(presenter));
        return out;
    }

    // Main thread: hands the events over to presenters still registered.
    void deliver(const std::vector<Delivery>& deliveries) {
        for (const Delivery& delivery : deliveries) {
            std::shared_ptr<FilePresenter> presenter;
            {
                std::lock_guard lock(m_mutex);
                for (const PresenterEntry& entry : m_presenters)
                    if (entry.ID == delivery.presenterID)
                        presenter = entry.presenter.lock();
            }
            if (!presenter)
                continue;
            switch (delivery.kind) {
            case EventKind::ItemMoved: presenter->presentedItemDidMoveToURL(delivery.url); break;
            case EventKind::ItemDeleted: presenter->accommodatePresentedItemDeletionWithCompletionHandler([](VMKError*) {}); break;
            case EventKind::SubitemChanged: presenter->presentedSubitemDidChangeAtURL(delivery.url); break;
            case EventKind::SubitemMoved: presenter->presentedSubitemAtURL(delivery.url, delivery.newURL); break;
            }
        }
    }

private:
    Monitor() = default;

    void stop() {
        std::thread thread;
        UniqueFd wakeFd;
        UniqueFd inotifyFd;  // closed once the thread no longer waits on it
        {
            std::lock_guard lock(m_mutex);
            thread = std::move(m_thread);
            wakeFd = std::move(m_wakeFd);
            inotifyFd = std::move(m_inotifyFd);
        }
        stopThread(thread, wakeFd ? *wakeFd : -1);
    }

    static void stopThread(std::thread& thread, int wakeFd) {
        if (!thread.joinable())
            return;
        const uint64_t one = 1;
        if (::write(wakeFd, &one, sizeof one) < 0)
            qWarning() << "FileCoordinator: could not wake the file event thread:" << strerror(errno);
        thread.join();
    }

    bool startLocked() {
        if (m_inotifyFd)
            return true;
        const int inotifyFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        const int wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (inotifyFd < 0 || wakeFd < 0) {
            qWarning() << "FileCoordinator: file events are not available:" << strerror(errno);
            if (inotifyFd >= 0)
                ::close(inotifyFd);
            if (wakeFd >= 0)
                ::close(wakeFd);
            return false;
        }
        m_inotifyFd = makeFd(inotifyFd);
        m_wakeFd = makeFd(wakeFd);
        m_thread = std::thread([this, inotifyFd, wakeFd] { run(inotifyFd, wakeFd); });
        return true;
    }

    // Watches the folder and every folder beneath it but hidden ones and
    // symbolic links. A presented folder may itself be reached through a
    // link (`throughLink`): the folder it leads to is watched.
    void addWatchesLocked(const QString& folder, bool throughLink = false) {
        if (!m_inotifyFd)
            return;
        const QByteArray encoded = QFile::encodeName(folder);
        const int wd = ::inotify_add_watch(*m_inotifyFd, encoded.constData(), kWatchMask | (throughLink ? 0 : IN_DONT_FOLLOW));
        if (wd < 0) {
            if (errno == ENOSPC) {
                static std::once_flag once;
                std::call_once(once, [] {
                    qWarning() << "FileCoordinator: the system's limit of watched folders is reached"
                                  " (fs.inotify.max_user_watches); some folders are not followed";
                });
            }
            return;
        }
        if (const auto known = m_watches.find(wd);
            known != m_watches.end() && known->second != folder && !namesSameFolder(known->second, folder)) {
            // The kernel knows this folder already: it was watched at another
            // place (a presented folder moved in from where nothing was
            // watched), and what was watched there follows it here.
            const QString from = known->second;
            appendLocked({}, followFolderLocked(from, folder));
        }
        m_watches[wd] = folder;
        DirectoryStream stream(AT_FDCWD, encoded, O_RDONLY | (throughLink ? 0 : O_NOFOLLOW));
        if (!stream.isOpen())
            return;
        while (const dirent* entry = stream.next()) {
            const QString name = QFile::decodeName(entry->d_name);
            if (isHidden(name) || entry->d_type != DT_DIR)
                continue;
            addWatchesLocked(folder + QLatin1Char('/') + name);
        }
    }

    void removeWatchesBeneathLocked(const QString& folder) {
        for (auto it = m_watches.begin(); it != m_watches.end();) {
            if (isAtOrBeneath(it->second, folder)) {
                if (m_inotifyFd)
                    ::inotify_rm_watch(*m_inotifyFd, it->first);
                it = m_watches.erase(it);
            } else {
                ++it;
            }
        }
    }

    void removeUnneededWatchesLocked() {
        for (auto it = m_watches.begin(); it != m_watches.end();) {
            bool needed = false;
            for (const PresenterEntry& entry : m_presenters)
                needed = needed || isAtOrBeneath(it->second, entry.root);
            if (!needed) {
                if (m_inotifyFd)
                    ::inotify_rm_watch(*m_inotifyFd, it->first);
                it = m_watches.erase(it);
            } else {
                ++it;
            }
        }
    }

    void rebaseWatchesLocked(const QString& from, const QString& to) {
        for (auto& [wd, path] : m_watches)
            if (isAtOrBeneath(path, from))
                path = rebased(path, from, to);
        // A file being written there is closed at the new place.
        QSet<QString> written;
        for (const QString& path : std::as_const(m_written))
            written.insert(isBeneath(path, from) ? rebased(path, from, to) : path);
        m_written = std::move(written);
    }

    // MARK: The thread

    void run(int inotifyFd, int wakeFd) {
        alignas(inotify_event) char buffer[64 * 1024];
        Clock::time_point lastEvent;
        Clock::time_point oldestWaiting;
        bool waiting = false;
        for (;;) {
            int timeout = -1;
            if (waiting) {
                const auto now = Clock::now();
                auto due = std::min(lastEvent + kQuietPeriod, oldestWaiting + kLongestWait);
                {
                    // Nothing goes before the first half of a rename at the
                    // front is settled, at its deadline at the latest.
                    std::lock_guard lock(m_mutex);
                    if (!m_slots.empty() && !m_slots.front().resolved)
                        due = std::max(due, m_slots.front().deadline);
                }
                timeout = due <= now ? 0
                                     : int(std::chrono::duration_cast<std::chrono::milliseconds>(due - now).count()) + 1;
            }
            pollfd fds[2] = {{inotifyFd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
            const int ready = ::poll(fds, 2, timeout);
            if (ready < 0 && errno != EINTR) {
                qWarning() << "FileCoordinator: waiting for file events failed:" << strerror(errno);
                return;
            }
            if (fds[1].revents & POLLIN)
                return;
            if (fds[0].revents & POLLIN) {
                for (;;) {
                    const ssize_t length = ::read(inotifyFd, buffer, sizeof buffer);
                    if (length <= 0)
                        break;
                    std::lock_guard lock(m_mutex);
                    followCarriedRootsLocked();
                    for (ssize_t offset = 0; offset < length;) {
                        const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
                        handleLocked(*event);
                        offset += ssize_t(sizeof(inotify_event) + event->len);
                    }
                }
                const auto now = Clock::now();
                if (!waiting)
                    oldestWaiting = now;
                lastEvent = now;
                waiting = true;
                // Reading again at once would wake this thread for every
                // write of a file being written (a render into a watched
                // folder writes thousands of times a second); events left a
                // moment in the queue are merged by the kernel when they repeat.
                pollfd wake{wakeFd, POLLIN, 0};
                if (::poll(&wake, 1, int(kReadPause.count())) > 0)
                    return;
            }
            if (!waiting)
                continue;
            const auto now = Clock::now();
            std::vector<Delivery> deliveries;
            {
                std::lock_guard lock(m_mutex);
                resolveExpiredMovesLocked(now);
                if (now < lastEvent + kQuietPeriod && now < oldestWaiting + kLongestWait)
                    continue;
                while (!m_slots.empty() && m_slots.front().resolved) {
                    auto& slotDeliveries = m_slots.front().deliveries;
                    deliveries.insert(deliveries.end(), slotDeliveries.begin(), slotDeliveries.end());
                    m_slots.pop_front();
                }
                waiting = !m_slots.empty();
                if (waiting)
                    oldestWaiting = now;
            }
            if (!deliveries.empty())
                dispatchMain([this, deliveries = std::move(deliveries)] { deliver(deliveries); });
        }
    }

    void handleLocked(const inotify_event& event) {
        if (event.mask & IN_Q_OVERFLOW) {
            qWarning() << "FileCoordinator: too many file events at once; some changes on disk were not followed";
            return;
        }
        const auto watch = m_watches.find(event.wd);
        if (watch == m_watches.end())
            return;
        if (event.mask & IN_IGNORED) {
            m_watches.erase(watch);
            return;
        }
        const QString folder = watch->second;
        if (event.mask & IN_MOVE_SELF) {
            followMovedRootsLocked(folder);
            return;
        }
        if (event.mask & IN_DELETE_SELF) {
            for (const PresenterEntry& entry : m_presenters)
                if (entry.root == folder)
                    appendLocked({}, {{entry.ID, EventKind::ItemDeleted, URL::fileURLWithPath(folder), {}}});
            return;
        }
        if (event.len == 0)
            return;
        const QString name = QFile::decodeName(event.name);
        const bool isDirectory = event.mask & IN_ISDIR;
        const QString path = folder + QLatin1Char('/') + name;
        if (isHidden(name)) {
            // A rename to a hidden name takes the item out of sight.
            if (event.mask & IN_MOVED_TO)
                if (Slot* slot = pendingMoveLocked(event.cookie))
                    resolveAsGoneLocked(*slot);
            return;
        }
        if (event.mask & IN_MOVED_FROM) {
            Slot slot;
            slot.resolved = false;
            slot.cookie = event.cookie;
            slot.fromPath = path;
            slot.isDirectory = isDirectory;
            slot.deadline = Clock::now() + kMovePairingWindow;
            m_slots.push_back(std::move(slot));
            return;
        }
        if (event.mask & IN_MOVED_TO) {
            if (Slot* slot = pendingMoveLocked(event.cookie)) {
                resolveAsMoveLocked(*slot, path);
                return;
            }
            if (isDirectory)
                addWatchesLocked(path);
            appendChangeLocked(path);
            return;
        }
        if (event.mask & IN_CREATE) {
            // A new file is reported when it is closed after writing.
            if (isDirectory) {
                addWatchesLocked(path);
                appendChangeLocked(path);
            } else {
                m_written.insert(path);
            }
            return;
        }
        if (event.mask & IN_MODIFY) {
            m_written.insert(path);
            return;
        }
        if (event.mask & IN_CLOSE_WRITE) {
            // Readers that open files for writing and write nothing (tag
            // libraries do) change nothing: reporting them would read the
            // file again after every such reading.
            if (m_written.remove(path))
                appendChangeLocked(path);
            return;
        }
        if (event.mask & IN_DELETE)
            m_written.remove(path);
        if ((event.mask & IN_DELETE) || ((event.mask & IN_ATTRIB) && !isDirectory))
            appendChangeLocked(path);
    }

    Slot* pendingMoveLocked(uint32_t cookie) {
        for (Slot& slot : m_slots)
            if (!slot.resolved && slot.cookie == cookie)
                return &slot;
        return nullptr;
    }

    void appendLocked(const QString& changedPath, std::vector<Delivery> deliveries) {
        if (deliveries.empty())
            return;
        Slot slot;
        slot.changedPath = changedPath;
        slot.deliveries = std::move(deliveries);
        m_slots.push_back(std::move(slot));
    }

    void appendChangeLocked(const QString& path) {
        // A change right after another of the same item, with nothing else
        // about it between, is the same change.
        for (auto it = m_slots.rbegin(); it != m_slots.rend(); ++it) {
            if (it->changedPath.isEmpty())
                break;  // a move or a presented folder's own event: the order around it counts
            if (it->changedPath == path)
                return;
        }
        std::vector<Delivery> deliveries;
        for (const PresenterEntry& entry : m_presenters)
            if (isBeneath(path, entry.root))
                deliveries.push_back({entry.ID, EventKind::SubitemChanged, URL::fileURLWithPath(path), {}});
        appendLocked(path, std::move(deliveries));
    }

    void resolveAsMoveLocked(Slot& slot, const QString& to) {
        const QString from = slot.fromPath;
        slot.resolved = true;
        for (const PresenterEntry& entry : m_presenters) {
            if (isBeneath(from, entry.root))
                slot.deliveries.push_back(
                    {entry.ID, EventKind::SubitemMoved, URL::fileURLWithPath(from), URL::fileURLWithPath(to)});
            else if (isBeneath(to, entry.root))
                slot.deliveries.push_back({entry.ID, EventKind::SubitemChanged, URL::fileURLWithPath(to), {}});
        }
        if (!slot.isDirectory)
            return;
        std::vector<Delivery> moved = followFolderLocked(from, to);
        slot.deliveries.insert(slot.deliveries.end(), moved.begin(), moved.end());
    }

    // The watches beneath a folder that moved follow it, and so do presented
    // folders inside it, which are told so.
    std::vector<Delivery> followFolderLocked(const QString& from, const QString& to) {
        rebaseWatchesLocked(from, to);
        std::vector<Delivery> deliveries;
        for (PresenterEntry& entry : m_presenters) {
            if (!isAtOrBeneath(entry.root, from))
                continue;
            entry.root = rebased(entry.root, from, to);
            deliveries.push_back({entry.ID, EventKind::ItemMoved, URL::fileURLWithPath(entry.root), {}});
        }
        return deliveries;
    }

    // True when both paths lead to one folder (a folder mounted twice).
    static bool namesSameFolder(const QString& first, const QString& second) {
        struct stat a {};
        struct stat b {};
        return ::stat(QFile::encodeName(first).constData(), &a) == 0 &&
               ::stat(QFile::encodeName(second).constData(), &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
    }

    // The item left every watched folder: to the presenters it is gone.
    void resolveAsGoneLocked(Slot& slot) {
        slot.resolved = true;
        slot.changedPath = slot.fromPath;
        for (const PresenterEntry& entry : m_presenters)
            if (isBeneath(slot.fromPath, entry.root))
                slot.deliveries.push_back({entry.ID, EventKind::SubitemChanged, URL::fileURLWithPath(slot.fromPath), {}});
        if (slot.isDirectory) {
            // A presented folder inside follows by itself (its own move event).
            bool holdsRoot = false;
            for (const PresenterEntry& entry : m_presenters)
                holdsRoot = holdsRoot || isAtOrBeneath(entry.root, slot.fromPath);
            if (!holdsRoot)
                removeWatchesBeneathLocked(slot.fromPath);
        }
    }

    void resolveExpiredMovesLocked(Clock::time_point now) {
        for (Slot& slot : m_slots)
            if (!slot.resolved && slot.deadline <= now)
                resolveAsGoneLocked(slot);
    }

    // A presented folder moved by itself (not seen as a rename inside a
    // watched folder): it is looked for near its old place. Not found, it
    // counts as deleted, and is no longer watched.
    void followMovedRootsLocked(const QString& folder) {
        for (PresenterEntry& entry : m_presenters) {
            if (entry.root != folder)
                continue;
            const QString now = entry.rootInode ? findFolder(entry.root, entry.rootDevice, entry.rootInode) : QString();
            if (now == entry.root)
                continue;
            if (now.isEmpty()) {
                removeWatchesBeneathLocked(entry.root);
                appendLocked({}, {{entry.ID, EventKind::ItemDeleted, URL::fileURLWithPath(entry.root), {}}});
                continue;
            }
            rebaseWatchesLocked(entry.root, now);
            entry.root = now;
            appendLocked({}, {{entry.ID, EventKind::ItemMoved, URL::fileURLWithPath(now), {}}});
        }
    }

    // A rename above a presented folder carries it along without a word
    // from the kernel, and the paths of its watches go stale: before events
    // are read as paths, each presented folder is looked at, and one found
    // elsewhere is followed. One not found is left to its own events (a
    // deletion reports itself); it is looked for again only if it turns up
    // where it was.
    void followCarriedRootsLocked() {
        for (PresenterEntry& entry : m_presenters) {
            if (!entry.rootInode)
                continue;
            struct stat info {};
            const bool inPlace = ::stat(QFile::encodeName(entry.root).constData(), &info) == 0 &&
                                 info.st_dev == entry.rootDevice && info.st_ino == entry.rootInode;
            if (inPlace || entry.rootLost) {
                entry.rootLost = !inPlace;
                continue;
            }
            const QString now = findFolder(entry.root, entry.rootDevice, entry.rootInode);
            if (now.isEmpty()) {
                entry.rootLost = true;
                continue;
            }
            const QString from = entry.root;
            appendLocked({}, followFolderLocked(from, now));
        }
    }

    // The folder with this device and inode, looked for beside its old
    // place first, then beneath the next two ancestors, a few levels deep
    // and a bounded number of entries in all; empty when not found.
    static QString findFolder(const QString& oldPath, dev_t device, ino_t inode) {
        constexpr int kDepth = 3;
        qint64 budget = 20000;
        QString searchRoot = QFileInfo(oldPath).path();
        QString searched;
        for (int level = 0; level < 3; ++level) {
            std::deque<std::pair<QString, int>> queue{{searchRoot, 0}};
            while (!queue.empty() && budget > 0) {
                const auto [folder, depth] = queue.front();
                queue.pop_front();
                if (folder == searched)
                    continue;
                DirectoryStream stream(AT_FDCWD, QFile::encodeName(folder), O_RDONLY | O_NOFOLLOW);
                if (!stream.isOpen())
                    continue;
                while (const dirent* entry = stream.next()) {
                    if (--budget <= 0)
                        break;
                    const QByteArray name(entry->d_name);
                    if (entry->d_type != DT_DIR || name == "." || name == "..")
                        continue;
                    const QString path = (folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/')) +
                                         QFile::decodeName(name);
                    struct stat info {};
                    if (entry->d_ino == inode && ::lstat(QFile::encodeName(path).constData(), &info) == 0 &&
                        info.st_dev == device && info.st_ino == inode)
                        return path;
                    if (depth < kDepth)
                        queue.emplace_back(path, depth + 1);
                }
            }
            if (searchRoot == QLatin1String("/"))
                break;
            searched = searchRoot;
            searchRoot = QFileInfo(searchRoot).path();
        }
        return {};
    }

    mutable std::mutex m_mutex;  // guards everything below
    std::vector<PresenterEntry> m_presenters;
    quint64 m_lastID = 0;
    std::unordered_map<int, QString> m_watches;  // watch descriptor -> folder path
    QSet<QString> m_written;  // files written since they were last reported
    std::deque<Slot> m_slots;
    UniqueFd m_inotifyFd;
    UniqueFd m_wakeFd;
    std::thread m_thread;
};

} // namespace

void FileCoordinator::addFilePresenter(const std::shared_ptr<FilePresenter>& presenter) {
    Q_ASSERT(presenter);
    Monitor::shared().add(presenter);
}

void FileCoordinator::removeFilePresenter(const std::shared_ptr<FilePresenter>& presenter) {
    if (presenter)
        Monitor::shared().remove(presenter.get());
}

std::vector<std::shared_ptr<FilePresenter>> FileCoordinator::filePresenters() { return Monitor::shared().presenters(); }

} // namespace ondrel
