#pragma once

#include "core/files/FilePresenter.h"
#include "core/files/URL.h"

#include <QtCore/QString>

#include <mutex>

namespace ondrel {

// A watched folder of the catalog, shared by every entity in or below it and
// counted: the catalog keeps few watchers, and one on a folder swallows those
// on its subfolders. It presents its folder to FileCoordinator and turns the
// folder's events into calls on the entities concerned. Events come on the
// main thread.
class Watcher : public FilePresenter {
public:
    explicit Watcher(const URL& url);
    ~Watcher() override;

    // The folder as it is now (it follows a move).
    URL url() const;
    // The path at creation; it stays when the folder moves.
    const QString& path() const { return m_path; }
    // How many entities rely on it. Changed under the owner's lock.
    quint64 counter() const { return m_counter; }
    void setCounter(quint64 counter) { m_counter = counter; }

    // True when the URL's path is longer than this watcher's and begins with
    // it (a plain text prefix: "/a/bc" counts as inside "/a/b").
    bool containsURL(const URL& url) const { return url.path().size() > m_path.size() && url.path().startsWith(m_path); }
    // True when the folder is the watcher's, or inside it, by the path at
    // creation or by where the folder is now: after a move, the entities
    // that followed it are counted on the same watcher, and no second one
    // watches the same folder.
    bool coversURL(const URL& directory) const;
    // True when this watcher's path is longer than the URL's and begins with it.
    bool isContainedByURL(const URL& url) const {
        return m_path.size() > url.path().size() && m_path.startsWith(url.path());
    }

    // MARK: FilePresenter
    URL presentedItemURL() const override { return url(); }
    // The folder moved: handled as a move of the item at the old place, then
    // the new place is kept.
    void presentedItemDidMoveToURL(const URL& url) override;
    // The folder is gone: so is the entity that owns it, if any.
    void accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler) override;
    // The entity owning the item at `url` leaves its group; the handler is
    // passed on to it, and never called when there is no such entity.
    void accommodatePresentedSubitemDeletionAtURL(const URL& url,
                                                  std::function<void(VMKError*)> completionHandler) override;
    // An item gone is a deletion; an item of the catalog is read again; a
    // new item in the folder of a bound group is added to that group. A new
    // item anywhere else is ignored, and so are hidden items.
    void presentedSubitemDidChangeAtURL(const URL& url) override;
    // The entity follows: in a bound group the group decides whether it
    // stays (renamed in its folder) or leaves (moved out); in a free group it
    // follows its file anywhere. An item that the catalog didn't hold at the
    // old place counts as new at the new one.
    void presentedSubitemAtURL(const URL& oldURL, const URL& newURL) override;

private:
    // The move of an item beneath; `recount` moves the count of what
    // followed to the watcher of its new folder (not for this folder's own
    // move, which this watcher still covers).
    void followMove(const URL& oldURL, const URL& newURL, bool recount);

    mutable std::mutex m_URLMutex;  // guards m_URL
    URL m_URL;
    const QString m_path;
    quint64 m_counter = 0;
};

} // namespace ondrel
