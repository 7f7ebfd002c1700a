#pragma once

#include "core/files/URL.h"
#include "core/text/VMKError.h"

#include <functional>

namespace ondrel {

// Something that follows a folder on disk and everything beneath it. It is
// registered with FileCoordinator, which tells it, on the main thread, what
// happened to the folder and to the items inside it.
//
// Items whose name begins with "." are hidden and never reported.
class FilePresenter {
public:
    virtual ~FilePresenter();

    // The folder presented. Read once, when the presenter is added; from
    // then on the coordinator follows the folder itself.
    virtual URL presentedItemURL() const = 0;

    // The presented folder itself was moved or renamed to `url`.
    virtual void presentedItemDidMoveToURL(const URL& url) = 0;
    // The presented folder itself was deleted. The handler may be left
    // uncalled: nothing waits for it.
    virtual void accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)> completionHandler) = 0;
    // An item beneath the folder was created, written, touched or removed:
    // whether it still exists tells which.
    virtual void presentedSubitemDidChangeAtURL(const URL& url) = 0;
    // An item beneath the folder was moved or renamed from `oldURL` to
    // `newURL`, both beneath a presented folder.
    virtual void presentedSubitemAtURL(const URL& oldURL, const URL& newURL) = 0;
    // An item beneath the folder is gone. As above, the handler may be left
    // uncalled.
    virtual void accommodatePresentedSubitemDeletionAtURL(const URL& url,
                                                          std::function<void(VMKError*)> completionHandler) = 0;
};

} // namespace ondrel
