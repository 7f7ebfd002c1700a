#pragma once

#include "core/files/URL.h"
#include "core/text/VMKError.h"

#include <QtCore/QByteArray>

namespace ondrel {

// A lasting reference to a file or folder that follows it when it is renamed
// or moved nearby. The data is a property list of the item's path, device,
// inode, size and modification time.
//
// Resolving tries the stored path first: the same device and inode there is
// the item itself (fresh); another item at that path is taken as its
// replacement (the path, reported stale). Otherwise the inode is looked for
// near the old place: below the nearest existing ancestor folder of the old
// path and below two further ancestors, breadth first, bounded in depth and
// in entries visited. An item found there must keep its old name or its old
// size and modification time, so that a reused inode number is not taken
// for the lost item. Found elsewhere: its path, reported stale. Stale data
// should be replaced by new bookmark data of the returned URL.
class Bookmark {
public:
    // Options of the platform's bookmarks; accepted and recorded, they change
    // nothing here (no sandbox restricts access on this system).
    enum Options {
        WithSecurityScope = 0x800,
        SecurityScopeAllowOnlyReadAccess = 0x1000,
    };

    enum ErrorCode : qint64 {
        InvalidDataError = 1,  // the data is not bookmark data
    };

    // The bookmark data of an existing file or folder; null data (with the
    // error) when it doesn't exist.
    static QByteArray bookmarkData(const URL& url, int options = 0, VMKError* error = nullptr);

    // The URL the data refers to now, or the empty URL (with the error) when
    // the item can't be found or the data is not bookmark data. `isStale` (may
    // be null) tells whether the data should be made anew.
    static URL URLByResolvingBookmarkData(const QByteArray& data, bool* isStale, VMKError* error = nullptr);

    // Bounds of the search for a lost item.
    static constexpr int kSearchDepth = 6;              // folder levels below each search root
    static constexpr int kSearchAncestors = 3;          // search roots, nearest first
    static constexpr qint64 kSearchEntryLimit = 20000;  // entries looked at in all
};

} // namespace ondrel
