#include "core/files/URL.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <ostream>

#include <cerrno>
#include <unistd.h>

namespace ondrel {

namespace {

// Every name gets an extension, so that a name such as Cal.l is not taken for
// a name with the extension "l". Without a suffix only the whole name comes back.
void expectComponents(const QString& name, const char* filename, const char* delimiter, const char* suffix) {
    SCOPED_TRACE(name.toStdString());
    const URL url = URL::fileURLWithPath(QStringLiteral("/audio/") + name + ".wav");
    QVariantMap expected{{"filename", filename ? QString::fromUtf8(filename) : name}};
    if (filename)
        expected.insert({{"channelSuffixDelimiter", QString::fromUtf8(delimiter)}, {"channelSuffix", suffix}});
    EXPECT_EQ(url.audioFilenameComponents(), expected);
    EXPECT_EQ(url.audioFilename(), expected.value("filename").toString());
    EXPECT_EQ(url.audioChannelSuffixDelimiter(), expected.value("channelSuffixDelimiter").toString());
    EXPECT_EQ(url.audioChannelSuffix(), expected.value("channelSuffix").toString());
}

} // namespace

TEST(URLChannelSuffix, NamesAndTheirSuffixes) {
    // Rows: a name, and its filename, delimiter and suffix; a row without a filename has no suffix.
    const char* const rows[][4] = {
        // Short and long names.
        {"a.L", "a", ".", "L"}, {"A.L", "A", ".", "L"}, {".L"}, {"L"}, {"-lf"}, {"x-lf", "x", "-", "lf"},
        {"drums.L", "drums", ".", "L"},
        // The delimiter must not be alphanumeric, in any script.
        {"ab1L"}, {"TakeL"}, {"Call"}, {"Cal.l", "Cal", ".", "l"}, {"Take-L", "Take", "-", "L"},
        {"Take L", "Take", " ", "L"}, {"Take_R", "Take", "_", "R"}, {"ab\u00e9L"}, {"ab\u0663L"},  // ARABIC-INDIC THREE
        {"ab\u2014L", "ab", "\u2014", "L"},
        // Marks count as alphanumeric: e with a combining acute (Mn), a spacing
        // mark (Mc) and an enclosing circle (Me) are no delimiter.
        {"Cafe\u0301L"}, {"ab\u0903L"}, {"ab\u20ddL"}, {"Cafe\u0301.L", "Cafe\u0301", ".", "L"},
        // The longest suffix wins and its case is kept.
        {"abc-rsb", "abc", "-", "rsb"}, {"drums_Lfe", "drums", "_", "Lfe"}, {"Mix.Lfe", "Mix", ".", "Lfe"},
        {"Mix.LFE", "Mix", ".", "LFE"}, {"Mix.Lf", "Mix", ".", "Lf"}, {"a.b.c", "a.b", ".", "c"},
        // Unknown endings, and known ones glued to letters, are no suffix.
        {"Mix.lx"}, {"Mix.xrl"}, {"Mix1lfe"}, {"Take.sb"}, {"Take.fe"}, {"Take.s"},
        // Outside the basic plane the delimiter is a surrogate pair, and one
        // character must still stand in front of it.
        {"ab\U0001F600L", "ab", "\U0001F600", "L"}, {"a\U0001F600L", "a", "\U0001F600", "L"}, {"\U0001F600L"},
        {"ab\U0001D400L"},  // MATHEMATICAL BOLD CAPITAL A
    };
    for (const auto& row : rows)
        expectComponents(QString::fromUtf8(row[0]), row[1], row[2], row[3]);
}

TEST(URLChannelSuffix, WorksOnTheNameWithoutExtensionOrFolder) {
    const URL url = URL::fileURLWithPath("/music/Mix.L/Take.R.wav");
    const QVariantMap components = url.audioFilenameComponents();
    EXPECT_EQ(components.value("filename").toString(), "Take");
    EXPECT_EQ(components.value("channelSuffixDelimiter").toString(), ".");
    EXPECT_EQ(components.value("channelSuffix").toString(), "R");
    EXPECT_EQ(components.size(), 3);
    // Without an extension the last dot starts one.
    EXPECT_EQ(URL::fileURLWithPath("/music/Take.L").audioFilename(), "Take");
    EXPECT_TRUE(URL::fileURLWithPath("/music/Take.L").audioChannelSuffix().isNull());
}

TEST(URLPath, CleanedAndTakenApart) {
    struct Row {
        QString given, path, lastComponent, extension, filename;
    };
    const Row rows[] = {
        {"/a/b/../c/./d.wav", "/a/c/d.wav", "d.wav", "wav", "d"}, {"/a//b/", "/a/b", "b", "", "b"},
        {"x/y.wav", QDir::currentPath() + "/x/y.wav", "y.wav", "wav", "y"},
        {"/music/Take.L.wav", "/music/Take.L.wav", "Take.L.wav", "wav", "Take.L"},
        {"/home/.profile", "/home/.profile", ".profile", "", ".profile"},
        {"/music/Take.", "/music/Take.", "Take.", "", "Take."}, {"/a.b/Take", "/a.b/Take", "Take", "", "Take"},
        {"/a/x.tar.gz", "/a/x.tar.gz", "x.tar.gz", "gz", "x.tar"}, {"/", "/", "/", "", "/"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.given.toStdString());
        const URL url = URL::fileURLWithPath(row.given);
        EXPECT_EQ(url.path(), row.path);
        EXPECT_EQ(url.lastPathComponent(), row.lastComponent);
        EXPECT_EQ(url.pathExtension(), row.extension);
        EXPECT_EQ(url.filename(), row.filename);
    }
    EXPECT_TRUE(URL::fileURLWithPath(QString()).isEmpty());
    EXPECT_EQ(URL::fileURLWithPath("/music/Take.L.wav").pathComponents(), (QStringList{"/", "music", "Take.L.wav"}));
    EXPECT_EQ(URL::fileURLWithPath("/").pathComponents(), QStringList{"/"});
    EXPECT_TRUE(URL().pathComponents().isEmpty());
}

TEST(URLPath, DerivedURLs) {
    const URL folder = URL::fileURLWithPath("/music");
    const URL file = folder.URLByAppendingPathComponent("Take").URLByAppendingPathExtension("wav");
    EXPECT_EQ(file.path(), "/music/Take.wav");
    EXPECT_EQ(folder.URLByAppendingPathComponent("a/../b/").path(), "/music/b");
    EXPECT_EQ(file.URLByDeletingPathExtension().URLByDeletingPathExtension().path(), "/music/Take");
    EXPECT_EQ(file.URLByDeletingLastPathComponent(), folder);
    EXPECT_EQ(URL::fileURLWithPath("/").URLByDeletingLastPathComponent().path(), "/");
    EXPECT_EQ(URL::fileURLWithPath("/").URLByAppendingPathComponent("x").path(), "/x");
    EXPECT_TRUE(URL().URLByAppendingPathComponent("x").isEmpty());
    EXPECT_EQ(folder.URLByAppendingPathExtension(QString()), folder);
}

class URLFolders : public ::testing::Test {
protected:
    QTemporaryDir dir;
    URL at(const QString& relative) const { return URL::fileURLWithPath(dir.filePath(relative)); }
};

TEST_F(URLFolders, CreateWithParents) {
    const URL deep = at("a/b/c");
    EXPECT_FALSE(deep.exists());
    VMKError error;
    ASSERT_TRUE(deep.createDirectory(&error)) << error.localizedDescription().toStdString();
    EXPECT_TRUE(deep.existsAsDirectory());
    EXPECT_FALSE(deep.existsAsFile());
    EXPECT_TRUE(deep.createDirectory(&error));  // already there
    EXPECT_FALSE(error.isError());
}

TEST_F(URLFolders, CreateUnderAFileFails) {
    writeFile(dir.filePath("plain"));
    EXPECT_TRUE(at("plain").existsAsFile());
    VMKError error;
    EXPECT_FALSE(at("plain/sub/deeper").createDirectory(&error));
    ASSERT_TRUE(error.isError());
    EXPECT_EQ(error.action(), "Creating the folder");
    EXPECT_EQ(error.code(), ENOTDIR);
    EXPECT_FALSE(error.reason().isEmpty());

    error = VMKError();
    EXPECT_FALSE(at("plain").createDirectory(&error));
    EXPECT_EQ(error.code(), ENOTDIR);
    EXPECT_TRUE(at("plain").existsAsFile());
    EXPECT_FALSE(URL().createDirectory(nullptr));
}

TEST_F(URLFolders, ContentsAreSortedAndIncludeHiddenOnes) {
    writeFile(dir.filePath("b.wav"));
    writeFile(dir.filePath(".hidden"));
    writeFile(dir.filePath("a.wav"));
    ASSERT_TRUE(at("c").createDirectory());
    VMKError error;
    const std::vector<URL> contents = URL::fileURLWithPath(dir.path()).contentsOfDirectory(&error);
    EXPECT_FALSE(error.isError());
    const std::vector<URL> expected = {at(".hidden"), at("a.wav"), at("b.wav"), at("c")};
    EXPECT_EQ(contents, expected);
    EXPECT_TRUE(at("c").contentsOfDirectory(&error).empty());
    EXPECT_FALSE(error.isError());
}

TEST_F(URLFolders, ReadingAMissingFolderOrAFileFails) {
    VMKError error;
    EXPECT_TRUE(at("missing").contentsOfDirectory(&error).empty());
    EXPECT_EQ(error.action(), "Reading the folder");
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_TRUE(error.reason().contains("missing"));

    writeFile(dir.filePath("plain"));
    error = VMKError();
    EXPECT_TRUE(at("plain").contentsOfDirectory(&error).empty());
    EXPECT_EQ(error.code(), ENOTDIR);
}

TEST_F(URLFolders, DeleteFilesAndFoldersRecursively) {
    writeFile(dir.filePath("one.wav"));
    VMKError error;
    EXPECT_TRUE(at("one.wav").deleteItem(&error));
    EXPECT_FALSE(at("one.wav").exists());

    // A tree with a link to a folder outside of it: the link goes, the
    // folder it points to stays whole.
    ASSERT_TRUE(at("keep").createDirectory());
    writeFile(dir.filePath("keep/precious.wav"));
    ASSERT_TRUE(at("tree/a/b").createDirectory());
    ASSERT_TRUE(at("tree/empty").createDirectory());
    writeFile(dir.filePath("tree/top.wav"));
    writeFile(dir.filePath("tree/a/b/.deep"));
    ASSERT_EQ(::symlink(QFile::encodeName(dir.filePath("keep")).constData(),
                        QFile::encodeName(dir.filePath("tree/a/link")).constData()),
              0);
    EXPECT_TRUE(at("tree").deleteItem(&error)) << error.localizedDescription().toStdString();
    EXPECT_FALSE(at("tree").exists());
    EXPECT_TRUE(at("keep/precious.wav").existsAsFile());
}

TEST_F(URLFolders, DeleteRefusesMissingEmptyAndRoot) {
    VMKError error;
    EXPECT_FALSE(at("missing").deleteItem(&error));
    EXPECT_EQ(error.action(), "Deleting the item");
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_FALSE(error.localizedDescription().isEmpty());

    error = VMKError();
    EXPECT_FALSE(URL().deleteItem(&error));
    EXPECT_TRUE(error.isError());
    error = VMKError();
    EXPECT_FALSE(URL::fileURLWithPath("/").deleteItem(&error));
    EXPECT_EQ(error.action(), "Deleting the item");
    EXPECT_TRUE(URL::fileURLWithPath("/").existsAsDirectory());
}

TEST_F(URLFolders, DeleteReportsAFolderItCannotEmpty) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not bind the super-user";
    ASSERT_TRUE(at("locked/inner").createDirectory());
    writeFile(dir.filePath("locked/inner/file.wav"));
    ASSERT_TRUE(QFile::setPermissions(dir.filePath("locked/inner"), QFile::ReadOwner | QFile::ExeOwner));
    VMKError error;
    EXPECT_FALSE(at("locked").deleteItem(&error));
    EXPECT_EQ(error.action(), "Deleting the item");
    EXPECT_EQ(error.code(), EACCES);
    EXPECT_TRUE(at("locked/inner/file.wav").existsAsFile());
    QFile::setPermissions(dir.filePath("locked/inner"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_TRUE(at("locked").deleteItem(&error));
}

TEST(URLDirectories, FollowOndrelHome) {
    TemporaryHome home;
    const URL root = URL::fileURLWithPath(home.path());
    VMKError error;
    EXPECT_EQ(URL::supportDirectory(&error), root);
    EXPECT_EQ(URL::ondrelDirectory(), root.URLByAppendingPathComponent("Music/Ondrel"));
    EXPECT_FALSE(URL::ondrelDirectory().exists());  // made by its users, not here
    const URL temporary = URL::temporaryDirectory(&error);
    EXPECT_FALSE(error.isError());
    EXPECT_EQ(temporary.URLByDeletingLastPathComponent(), root);
    EXPECT_TRUE(temporary.existsAsDirectory());
}

TEST(URLDirectories, SupportIsCreatedOnDemand) {
    QTemporaryDir parent;
    const QString path = parent.filePath("not/yet");
    ScopedEnvironment home("ONDREL_HOME", path);
    EXPECT_EQ(URL::supportDirectory().path(), path);
    EXPECT_TRUE(URL::fileURLWithPath(path).existsAsDirectory());
}

TEST(URLDirectories, XdgFoldersWithoutOndrelHome) {
    QTemporaryDir xdg;
    ScopedEnvironment home("ONDREL_HOME", QString());
    ScopedEnvironment data("XDG_DATA_HOME", xdg.filePath("data"));
    ScopedEnvironment config("XDG_CONFIG_HOME", xdg.filePath("config"));
    ASSERT_TRUE(QDir().mkpath(xdg.filePath("config")));
    writeFile(xdg.filePath("config/user-dirs.dirs"),
              "XDG_MUSIC_DIR=\"" + QFile::encodeName(xdg.filePath("Tunes")) + "\"\n");

    VMKError error;
    const URL support = URL::supportDirectory(&error);
    EXPECT_EQ(support.path(), xdg.filePath("data/ondrel"));
    EXPECT_TRUE(support.existsAsDirectory());
    EXPECT_EQ(URL::temporaryDirectory().URLByDeletingLastPathComponent(), support);
    EXPECT_EQ(URL::ondrelDirectory().path(), xdg.filePath("Tunes/Ondrel"));
}

TEST(URLDirectories, UnwritableSupportFolderIsAnError) {
    QTemporaryDir parent;
    writeFile(parent.filePath("file"));
    ScopedEnvironment home("ONDREL_HOME", parent.filePath("file/home"));
    VMKError error;
    EXPECT_TRUE(URL::supportDirectory(&error).isEmpty());
    EXPECT_EQ(error.action(), "Creating the folder");
    error = VMKError();
    EXPECT_TRUE(URL::temporaryDirectory(&error).isEmpty());
    EXPECT_TRUE(error.isError());
}

} // namespace ondrel
