#pragma once

#include <memory>
#include <vector>

namespace ondrel {

class FilePresenter;

// Tells file presenters what happens in their folders. One thread reads the
// kernel's file events (inotify) for every presented folder and every folder
// beneath it, and hands them to the presenters on the main queue:
//
//  - a rename or move between watched folders (the two halves paired by
//    their cookie): subitem moved, to the presenter holding the old place,
//    or subitem changed at the new place to one that holds only that;
//  - a file written and closed, touched, moved in from outside, or deleted,
//    a folder created, an item moved out of every watched folder: subitem
//    changed (whether the item still exists tells a presenter which);
//  - the presented folder itself moved or deleted: item moved, item deleted.
//
// A file is reported when it is closed after writing, never while it is
// half written. Hidden items (names beginning with ".") are never reported.
// The thread runs while there is a presenter, and stops with the last one or
// when the program ends.
class FileCoordinator {
public:
    // Starts watching the presenter's folder (presentedItemURL) and the
    // folders beneath it. The presenter is held weakly: its owner removes
    // it, and one that is destroyed gets nothing more. Adding one twice does
    // nothing. Any thread.
    static void addFilePresenter(const std::shared_ptr<FilePresenter>& presenter);
    // Stops watching for the presenter. It gets no further event, not even
    // one already on its way to the main queue. Any thread.
    static void removeFilePresenter(const std::shared_ptr<FilePresenter>& presenter);
    // The presenters registered now, in the order they were added.
    static std::vector<std::shared_ptr<FilePresenter>> filePresenters();
};

} // namespace ondrel
