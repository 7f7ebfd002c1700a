#include "core/files/Bookmark.h"

#include "core/storage/PropertyList.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>

namespace ondrel {

namespace {

class BookmarkTest : public ::testing::Test {
protected:
    QTemporaryDir dir;

    URL at(const QString& relative) const { return URL::fileURLWithPath(dir.filePath(relative)); }

    URL makeFile(const QString& relative, const QByteArray& contents = "RIFF....WAVE") const {
        const URL url = at(relative);
        EXPECT_TRUE(url.URLByDeletingLastPathComponent().createDirectory());
        writeFile(url.path(), contents);
        return url;
    }

    static void move(const URL& from, const URL& to) {
        ASSERT_TRUE(to.URLByDeletingLastPathComponent().createDirectory());
        ASSERT_EQ(std::rename(QFile::encodeName(from.path()).constData(), QFile::encodeName(to.path()).constData()), 0);
    }

    static QByteArray bookmark(const URL& url) {
        VMKError error;
        const QByteArray data = Bookmark::bookmarkData(url, Bookmark::WithSecurityScope, &error);
        EXPECT_FALSE(data.isEmpty()) << error.localizedDescription().toStdString();
        return data;
    }

    // The URL and staleness the data resolves to; fails the test on an error.
    static std::pair<URL, bool> resolve(const QByteArray& data) {
        bool isStale = true;
        VMKError error;
        const URL url = Bookmark::URLByResolvingBookmarkData(data, &isStale, &error);
        EXPECT_FALSE(error.isError()) << error.localizedDescription().toStdString();
        return {url, isStale};
    }

    // The data with some of its fields replaced, as another version of the
    // item would have left them.
    static QByteArray edited(const QByteArray& data, const QVariantMap& changes) {
        QVariantMap map = PropertyList::propertyListWithData(data).toMap();
        for (auto it = changes.begin(); it != changes.end(); ++it)
            map.insert(it.key(), it.value());
        return PropertyList::dataWithPropertyList(map);
    }
};

} // namespace

TEST_F(BookmarkTest, FreshWhenNothingChanged) {
    const URL file = makeFile("Take.L.wav");
    const QByteArray data = bookmark(file);
    const auto [url, isStale] = resolve(data);
    EXPECT_EQ(url, file);
    EXPECT_FALSE(isStale);

    // Writing into the file keeps it the same item.
    QFile handle(file.path());
    ASSERT_TRUE(handle.open(QIODevice::Append));
    handle.write("more samples");
    handle.close();
    EXPECT_EQ(resolve(data), std::make_pair(file, false));

    // The stale flag is optional.
    EXPECT_EQ(Bookmark::URLByResolvingBookmarkData(data, nullptr), file);
}

TEST_F(BookmarkTest, RenamedFileIsFoundAndStale) {
    const URL file = makeFile("session/Take.L.wav");
    makeFile("session/Other.wav");
    const QByteArray data = bookmark(file);
    const URL renamed = at("session/Keeper.L.wav");
    move(file, renamed);
    EXPECT_EQ(resolve(data), std::make_pair(renamed, true));
}

TEST_F(BookmarkTest, FileInMovedFolderIsFoundAndStale) {
    const URL file = makeFile("projects/a/b/Take.wav");
    const QByteArray data = bookmark(file);
    // The old folder's parent is gone too: the search starts above it.
    move(at("projects/a"), at("archive/2024/a"));
    const URL moved = at("archive/2024/a/b/Take.wav");
    ASSERT_TRUE(moved.existsAsFile());
    EXPECT_EQ(resolve(data), std::make_pair(moved, true));
}

TEST_F(BookmarkTest, MovedFolderIsFoundAndStale) {
    const URL folder = at("library/Drums");
    ASSERT_TRUE(folder.createDirectory());
    makeFile("library/Drums/Kick.wav");
    const QByteArray data = bookmark(folder);
    EXPECT_EQ(resolve(data), std::make_pair(folder, false));

    const URL renamed = at("library/Percussion");
    move(folder, renamed);
    EXPECT_EQ(resolve(data), std::make_pair(renamed, true));
}

TEST_F(BookmarkTest, ReplacedFileResolvesToThePathAndIsStale) {
    const URL file = makeFile("Take.wav", "old contents");
    const QByteArray data = bookmark(file);
    // Written beside while the old one still exists, so the inode differs.
    const URL replacement = makeFile(".Take.wav.tmp", "new contents");
    move(replacement, file);
    EXPECT_EQ(resolve(data), std::make_pair(file, true));
}

TEST_F(BookmarkTest, ItemsThatCannotBeFoundFail) {
    const URL file = makeFile("session/Take.wav");
    makeFile("session/Neighbour.wav");
    const QByteArray data = bookmark(file);
    ASSERT_TRUE(file.deleteItem());
    bool isStale = true;
    VMKError error;
    EXPECT_TRUE(Bookmark::URLByResolvingBookmarkData(data, &isStale, &error).isEmpty());
    EXPECT_FALSE(isStale);
    EXPECT_EQ(error.action(), "Resolving bookmark data");
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_TRUE(error.reason().contains(file.path()));

    // A deleted folder, and a file moved too far away to be searched for.
    const URL inFolder = makeFile("gone/deeper/Take.wav"), farAway = makeFile("a/Take.wav");
    const QByteArray inFolderData = bookmark(inFolder), farAwayData = bookmark(farAway);
    ASSERT_TRUE(at("gone").deleteItem());
    move(farAway, at("b/1/2/3/4/5/6/Take.wav"));
    for (const QByteArray& lost : {inFolderData, farAwayData}) {
        error = VMKError();
        EXPECT_TRUE(Bookmark::URLByResolvingBookmarkData(lost, nullptr, &error).isEmpty());
        EXPECT_EQ(error.action(), "Resolving bookmark data");
    }
}

TEST_F(BookmarkTest, AReusedInodeNeedsTheOldNameOrTheOldContents) {
    // Data that points at the inode of an existing file from another path,
    // as a deleted item whose inode number was given to a new file would.
    const URL stranger = makeFile("session/Stranger.wav", "twelve bytes");
    const QByteArray data = bookmark(stranger);
    const QString lostPath = dir.filePath("session/Lost.wav");

    // Same size and modification time: a rename, so it is found.
    EXPECT_EQ(resolve(edited(data, {{"path", lostPath}})), std::make_pair(stranger, true));
    // The old name: a move, found even with other contents.
    EXPECT_EQ(resolve(edited(data, {{"path", dir.filePath("elsewhere/Stranger.wav")}, {"size", 99}})),
              std::make_pair(stranger, true));
    // Another name and other contents: not the lost item.
    VMKError error;
    EXPECT_TRUE(Bookmark::URLByResolvingBookmarkData(edited(data, {{"path", lostPath}, {"size", 99}}), nullptr, &error)
                    .isEmpty());
    EXPECT_EQ(error.action(), "Resolving bookmark data");
    // A folder is not taken for a file.
    EXPECT_TRUE(Bookmark::URLByResolvingBookmarkData(edited(data, {{"path", lostPath}, {"directory", true}}), nullptr)
                    .isEmpty());
}

TEST_F(BookmarkTest, MissingItemHasNoBookmark) {
    VMKError error;
    EXPECT_TRUE(Bookmark::bookmarkData(at("missing.wav"), 0, &error).isEmpty());
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_FALSE(error.action().isEmpty());
    error = VMKError();
    EXPECT_TRUE(Bookmark::bookmarkData(URL(), 0, &error).isEmpty());
    EXPECT_TRUE(error.isError());
}

// Names with the characters XML escapes, line breaks and controls come back
// exactly, whichever writer made their data.
TEST_F(BookmarkTest, NamesThatNeedEscapingComeBackExactly) {
    for (const char* name : {"A&B <1> \"q\" 'a'.wav", "two\nlines.wav", "caf\xc3\xa9 &amp;.wav"}) {
        const URL file = makeFile(QString::fromUtf8(name));
        EXPECT_EQ(resolve(bookmark(file)), std::make_pair(file, false)) << name;
    }
}

TEST_F(BookmarkTest, GarbageIsRejected) {
    const URL file = makeFile("Take.wav");
    const QByteArray good = bookmark(file);
    QByteArray truncated = good.left(good.size() / 2);
    QByteArray noise(4096, '\0');
    for (int i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 7919 + 13) % 251);

    QByteArray badUtf8 = good;
    badUtf8.replace("Take.wav", "Take\xff\xfe.wav");

    const std::vector<QByteArray> garbage = {
        // Not a property list, or cut short.
        QByteArray(), QByteArray("not a property list"), noise, truncated, good.left(good.size() - 10), badUtf8,
        QByteArray(good).replace("<dict>", "<dict><dict>"),
        // A property list, but not bookmark data.
        PropertyList::dataWithPropertyList(QVariantList{1, 2, 3}), PropertyList::dataWithPropertyList("/tmp"),
        PropertyList::dataWithPropertyList(QVariantMap{{"path", file.path()}}),
        QByteArray("<?xml version=\"1.0\"?>\n<plist>") + QByteArray("<array>").repeated(100000),
        // Fields of the wrong type or form.
        edited(good, {{"path", "relative/Take.wav"}}), edited(good, {{"path", ""}}), edited(good, {{"path", 42}}),
        edited(good, {{"path", QVariantList{file.path()}}}),
        edited(good, {{"inode", "many"}}), edited(good, {{"inode", 1.5}}), edited(good, {{"device", QVariantMap{}}}),
    };
    for (const QByteArray& data : garbage) {
        bool isStale = true;
        VMKError error;
        EXPECT_TRUE(Bookmark::URLByResolvingBookmarkData(data, &isStale, &error).isEmpty());
        EXPECT_FALSE(isStale);
        EXPECT_EQ(error.action(), "Resolving bookmark data");
        EXPECT_FALSE(error.localizedDescription().isEmpty());
    }
    EXPECT_EQ(resolve(good), std::make_pair(file, false));
}

} // namespace ondrel
