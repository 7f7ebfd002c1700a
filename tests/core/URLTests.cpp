#include "core/URL.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <unistd.h>

namespace {

// Sets (or unsets, with a null value) an environment variable for one scope.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const QString& value)
        : m_name(name), m_previous(qgetenv(name)), m_hadPrevious(qEnvironmentVariableIsSet(name)) {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value.toUtf8());
    }
    ~ScopedEnvironment() {
        if (m_hadPrevious)
            qputenv(m_name, m_previous);
        else
            qunsetenv(m_name);
    }

private:
    const char* m_name;
    QByteArray m_previous;
    bool m_hadPrevious;
};

void writeFile(const QString& path, const QByteArray& contents = "data") {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(contents);
}

struct Parsed {
    QString filename;
    QString delimiter;
    QString suffix;
};

Parsed parse(const QString& name) {
    // Every name gets an extension, so that a name such as Cal.l is not taken
    // for a name with the extension "l".
    const URL url = URL::fileURLWithPath(QStringLiteral("/audio/") + name + QStringLiteral(".wav"));
    return {url.audioFilename(), url.audioChannelSuffixDelimiter(), url.audioChannelSuffix()};
}

void expectSuffix(const QString& name, const QString& filename, const QString& delimiter, const QString& suffix) {
    SCOPED_TRACE(name.toStdString());
    const Parsed parsed = parse(name);
    EXPECT_EQ(parsed.filename, filename);
    EXPECT_EQ(parsed.delimiter, delimiter);
    EXPECT_EQ(parsed.suffix, suffix);
}

void expectNoSuffix(const QString& name) {
    SCOPED_TRACE(name.toStdString());
    const Parsed parsed = parse(name);
    EXPECT_EQ(parsed.filename, name);
    EXPECT_TRUE(parsed.delimiter.isNull());
    EXPECT_TRUE(parsed.suffix.isNull());
    const QVariantMap components =
        URL::fileURLWithPath(QStringLiteral("/audio/") + name + QStringLiteral(".wav")).audioFilenameComponents();
    EXPECT_EQ(components.keys(), QStringList{QStringLiteral("filename")});
}

}  // namespace

TEST(URLChannelSuffix, ShortAndLongNames) {
    expectSuffix(QStringLiteral("a.L"), QStringLiteral("a"), QStringLiteral("."), QStringLiteral("L"));
    expectSuffix(QStringLiteral("A.L"), QStringLiteral("A"), QStringLiteral("."), QStringLiteral("L"));
    expectNoSuffix(QStringLiteral(".L"));
    expectNoSuffix(QStringLiteral("L"));
    expectNoSuffix(QStringLiteral("-lf"));
    expectSuffix(QStringLiteral("x-lf"), QStringLiteral("x"), QStringLiteral("-"), QStringLiteral("lf"));
    expectSuffix(QStringLiteral("drums.L"), QStringLiteral("drums"), QStringLiteral("."), QStringLiteral("L"));
}

TEST(URLChannelSuffix, DelimiterMustNotBeAlphanumeric) {
    expectNoSuffix(QStringLiteral("ab1L"));
    expectNoSuffix(QStringLiteral("TakeL"));
    expectNoSuffix(QStringLiteral("Call"));
    expectSuffix(QStringLiteral("Cal.l"), QStringLiteral("Cal"), QStringLiteral("."), QStringLiteral("l"));
    expectSuffix(QStringLiteral("Take-L"), QStringLiteral("Take"), QStringLiteral("-"), QStringLiteral("L"));
    expectSuffix(QStringLiteral("Take L"), QStringLiteral("Take"), QStringLiteral(" "), QStringLiteral("L"));
    expectSuffix(QStringLiteral("Take_R"), QStringLiteral("Take"), QStringLiteral("_"), QStringLiteral("R"));
    // Letters and digits of any script count as alphanumeric.
    expectNoSuffix(QStringLiteral("abé") + QStringLiteral("L"));
    expectNoSuffix(QStringLiteral("ab\u0663L"));  // ARABIC-INDIC DIGIT THREE
    expectSuffix(QStringLiteral("ab\u2014L"), QStringLiteral("ab"), QStringLiteral("\u2014"), QStringLiteral("L"));
}

TEST(URLChannelSuffix, LongestSuffixWinsAndCaseIsKept) {
    expectSuffix(QStringLiteral("abc-rsb"), QStringLiteral("abc"), QStringLiteral("-"), QStringLiteral("rsb"));
    expectSuffix(QStringLiteral("drums_Lfe"), QStringLiteral("drums"), QStringLiteral("_"), QStringLiteral("Lfe"));
    expectSuffix(QStringLiteral("Mix.Lfe"), QStringLiteral("Mix"), QStringLiteral("."), QStringLiteral("Lfe"));
    expectSuffix(QStringLiteral("Mix.LFE"), QStringLiteral("Mix"), QStringLiteral("."), QStringLiteral("LFE"));
    expectSuffix(QStringLiteral("Mix.Lf"), QStringLiteral("Mix"), QStringLiteral("."), QStringLiteral("Lf"));
    expectSuffix(QStringLiteral("a.b.c"), QStringLiteral("a.b"), QStringLiteral("."), QStringLiteral("c"));
    // Unknown endings, and known ones glued to letters, are no suffix.
    expectNoSuffix(QStringLiteral("Mix.lx"));
    expectNoSuffix(QStringLiteral("Mix.xrl"));
    expectNoSuffix(QStringLiteral("Mix1lfe"));
}

TEST(URLChannelSuffix, EveryTableEntryInAnyCase) {
    const QStringList table = {"lfe", "lsb", "rsb", "rl", "rr", "lc", "rc", "lw", "rw",
                               "lh",  "rh",  "ls",  "rs", "cs", "lf", "l",  "r",  "c"};
    for (const QString& suffix : table) {
        expectSuffix(QStringLiteral("Take.") + suffix, QStringLiteral("Take"), QStringLiteral("."), suffix);
        expectSuffix(QStringLiteral("Take ") + suffix.toUpper(), QStringLiteral("Take"), QStringLiteral(" "),
                     suffix.toUpper());
    }
    expectNoSuffix(QStringLiteral("Take.sb"));
    expectNoSuffix(QStringLiteral("Take.fe"));
    expectNoSuffix(QStringLiteral("Take.s"));
}

TEST(URLChannelSuffix, CharactersOutsideTheBasicPlane) {
    const QString grin = QString::fromUcs4(U"\U0001F600");
    const QString boldA = QString::fromUcs4(U"\U0001D400");  // a letter
    expectSuffix(QStringLiteral("ab") + grin + QStringLiteral("L"), QStringLiteral("ab"), grin, QStringLiteral("L"));
    expectSuffix(QStringLiteral("a") + grin + QStringLiteral("L"), QStringLiteral("a"), grin, QStringLiteral("L"));
    // Nothing would be left in front of the delimiter.
    expectNoSuffix(grin + QStringLiteral("L"));
    expectNoSuffix(QStringLiteral("ab") + boldA + QStringLiteral("L"));
}

TEST(URLChannelSuffix, WorksOnTheNameWithoutExtensionOrFolder) {
    const URL url = URL::fileURLWithPath(QStringLiteral("/music/Mix.L/Take.R.wav"));
    const QVariantMap components = url.audioFilenameComponents();
    EXPECT_EQ(components.value(QStringLiteral("filename")).toString(), QStringLiteral("Take"));
    EXPECT_EQ(components.value(QStringLiteral("channelSuffixDelimiter")).toString(), QStringLiteral("."));
    EXPECT_EQ(components.value(QStringLiteral("channelSuffix")).toString(), QStringLiteral("R"));
    EXPECT_EQ(components.size(), 3);
    // Without an extension the last dot starts one.
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/music/Take.L")).audioFilename(), QStringLiteral("Take"));
    EXPECT_TRUE(URL::fileURLWithPath(QStringLiteral("/music/Take.L")).audioChannelSuffix().isNull());
}

TEST(URLPath, MadeAbsoluteAndCleaned) {
    EXPECT_TRUE(URL::fileURLWithPath(QString()).isEmpty());
    EXPECT_TRUE(URL().isEmpty());
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/a/b/../c/./d.wav")).path(), QStringLiteral("/a/c/d.wav"));
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/a//b/")).path(), QStringLiteral("/a/b"));
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/")).path(), QStringLiteral("/"));
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("x/y.wav")).path(), QDir::currentPath() + QStringLiteral("/x/y.wav"));
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/a/b")), URL::fileURLWithPath(QStringLiteral("/a/./b/")));
}

TEST(URLPath, Components) {
    const URL url = URL::fileURLWithPath(QStringLiteral("/music/Take.L.wav"));
    EXPECT_EQ(url.lastPathComponent(), QStringLiteral("Take.L.wav"));
    EXPECT_EQ(url.pathExtension(), QStringLiteral("wav"));
    EXPECT_EQ(url.filename(), QStringLiteral("Take.L"));
    EXPECT_EQ(url.pathComponents(), (QStringList{"/", "music", "Take.L.wav"}));

    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/music/Take")).pathExtension(), QString());
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/home/.profile")).pathExtension(), QString());
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/home/.profile")).filename(), QStringLiteral(".profile"));
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/music/Take.")).pathExtension(), QString());
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/a.b/Take")).pathExtension(), QString());
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/a/x.tar.gz")).pathExtension(), QStringLiteral("gz"));
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/")).lastPathComponent(), QStringLiteral("/"));
    EXPECT_EQ(URL::fileURLWithPath(QStringLiteral("/")).pathComponents(), QStringList{"/"});
    EXPECT_TRUE(URL().pathComponents().isEmpty());
}

TEST(URLPath, DerivedURLs) {
    const URL folder = URL::fileURLWithPath(QStringLiteral("/music"));
    const URL file = folder.URLByAppendingPathComponent(QStringLiteral("Take")).URLByAppendingPathExtension("wav");
    EXPECT_EQ(file.path(), QStringLiteral("/music/Take.wav"));
    EXPECT_EQ(folder.URLByAppendingPathComponent(QStringLiteral("a/../b/")).path(), QStringLiteral("/music/b"));
    EXPECT_EQ(file.URLByDeletingPathExtension().path(), QStringLiteral("/music/Take"));
    EXPECT_EQ(file.URLByDeletingPathExtension().URLByDeletingPathExtension().path(), QStringLiteral("/music/Take"));
    EXPECT_EQ(file.URLByDeletingLastPathComponent(), folder);
    EXPECT_EQ(folder.URLByDeletingLastPathComponent().path(), QStringLiteral("/"));
    EXPECT_EQ(URL::fileURLWithPath("/").URLByDeletingLastPathComponent().path(), QStringLiteral("/"));
    EXPECT_EQ(URL::fileURLWithPath("/").URLByAppendingPathComponent("x").path(), QStringLiteral("/x"));
    EXPECT_TRUE(URL().URLByAppendingPathComponent(QStringLiteral("x")).isEmpty());
    EXPECT_EQ(folder.URLByAppendingPathExtension(QString()), folder);
}

class URLFolders : public ::testing::Test {
protected:
    QTemporaryDir dir;
    URL at(const QString& relative) const { return URL::fileURLWithPath(dir.filePath(relative)); }
};

TEST_F(URLFolders, CreateWithParents) {
    const URL deep = at(QStringLiteral("a/b/c"));
    EXPECT_FALSE(deep.exists());
    VMKError error;
    ASSERT_TRUE(deep.createDirectory(&error)) << error.localizedDescription().toStdString();
    EXPECT_TRUE(deep.existsAsDirectory());
    EXPECT_FALSE(deep.existsAsFile());
    EXPECT_TRUE(deep.createDirectory(&error));  // already there
    EXPECT_FALSE(error.isError());
}

TEST_F(URLFolders, CreateUnderAFileFails) {
    writeFile(dir.filePath(QStringLiteral("plain")));
    EXPECT_TRUE(at(QStringLiteral("plain")).existsAsFile());
    VMKError error;
    EXPECT_FALSE(at(QStringLiteral("plain/sub/deeper")).createDirectory(&error));
    ASSERT_TRUE(error.isError());
    EXPECT_EQ(error.action(), QStringLiteral("Creating the folder"));
    EXPECT_EQ(error.code(), ENOTDIR);
    EXPECT_FALSE(error.reason().isEmpty());

    error = VMKError();
    EXPECT_FALSE(at(QStringLiteral("plain")).createDirectory(&error));
    EXPECT_EQ(error.code(), ENOTDIR);
    EXPECT_TRUE(at(QStringLiteral("plain")).existsAsFile());
    EXPECT_FALSE(URL().createDirectory(nullptr));
}

TEST_F(URLFolders, ContentsAreSortedAndIncludeHiddenOnes) {
    writeFile(dir.filePath(QStringLiteral("b.wav")));
    writeFile(dir.filePath(QStringLiteral(".hidden")));
    writeFile(dir.filePath(QStringLiteral("a.wav")));
    ASSERT_TRUE(at(QStringLiteral("c")).createDirectory());
    VMKError error;
    const std::vector<URL> contents = URL::fileURLWithPath(dir.path()).contentsOfDirectory(&error);
    EXPECT_FALSE(error.isError());
    const std::vector<URL> expected = {at(".hidden"), at("a.wav"), at("b.wav"), at("c")};
    EXPECT_EQ(contents, expected);
    EXPECT_TRUE(at(QStringLiteral("c")).contentsOfDirectory(&error).empty());
    EXPECT_FALSE(error.isError());
}

TEST_F(URLFolders, ReadingAMissingFolderOrAFileFails) {
    VMKError error;
    EXPECT_TRUE(at(QStringLiteral("missing")).contentsOfDirectory(&error).empty());
    EXPECT_EQ(error.action(), QStringLiteral("Reading the folder"));
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_TRUE(error.reason().contains(QStringLiteral("missing")));

    writeFile(dir.filePath(QStringLiteral("plain")));
    error = VMKError();
    EXPECT_TRUE(at(QStringLiteral("plain")).contentsOfDirectory(&error).empty());
    EXPECT_EQ(error.code(), ENOTDIR);
}

TEST_F(URLFolders, DeleteFilesAndFoldersRecursively) {
    writeFile(dir.filePath(QStringLiteral("one.wav")));
    VMKError error;
    EXPECT_TRUE(at(QStringLiteral("one.wav")).deleteItem(&error));
    EXPECT_FALSE(at(QStringLiteral("one.wav")).exists());

    // A tree with a link to a folder outside of it: the link goes, the
    // folder it points to stays whole.
    ASSERT_TRUE(at(QStringLiteral("keep")).createDirectory());
    writeFile(dir.filePath(QStringLiteral("keep/precious.wav")));
    ASSERT_TRUE(at(QStringLiteral("tree/a/b")).createDirectory());
    ASSERT_TRUE(at(QStringLiteral("tree/empty")).createDirectory());
    writeFile(dir.filePath(QStringLiteral("tree/top.wav")));
    writeFile(dir.filePath(QStringLiteral("tree/a/b/.deep")));
    ASSERT_EQ(::symlink(QFile::encodeName(dir.filePath("keep")).constData(),
                        QFile::encodeName(dir.filePath("tree/a/link")).constData()),
              0);
    EXPECT_TRUE(at(QStringLiteral("tree")).deleteItem(&error)) << error.localizedDescription().toStdString();
    EXPECT_FALSE(at(QStringLiteral("tree")).exists());
    EXPECT_TRUE(at(QStringLiteral("keep/precious.wav")).existsAsFile());
}

TEST_F(URLFolders, DeleteRefusesMissingEmptyAndRoot) {
    VMKError error;
    EXPECT_FALSE(at(QStringLiteral("missing")).deleteItem(&error));
    EXPECT_EQ(error.action(), QStringLiteral("Deleting the item"));
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_FALSE(error.localizedDescription().isEmpty());

    error = VMKError();
    EXPECT_FALSE(URL().deleteItem(&error));
    EXPECT_TRUE(error.isError());
    error = VMKError();
    EXPECT_FALSE(URL::fileURLWithPath(QStringLiteral("/")).deleteItem(&error));
    EXPECT_EQ(error.action(), QStringLiteral("Deleting the item"));
    EXPECT_TRUE(URL::fileURLWithPath(QStringLiteral("/")).existsAsDirectory());
}

TEST_F(URLFolders, DeleteReportsAFolderItCannotEmpty) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not bind the super-user";
    ASSERT_TRUE(at(QStringLiteral("locked/inner")).createDirectory());
    writeFile(dir.filePath(QStringLiteral("locked/inner/file.wav")));
    ASSERT_TRUE(QFile::setPermissions(dir.filePath("locked/inner"), QFile::ReadOwner | QFile::ExeOwner));
    VMKError error;
    EXPECT_FALSE(at(QStringLiteral("locked")).deleteItem(&error));
    EXPECT_EQ(error.action(), QStringLiteral("Deleting the item"));
    EXPECT_EQ(error.code(), EACCES);
    EXPECT_TRUE(at(QStringLiteral("locked/inner/file.wav")).existsAsFile());
    QFile::setPermissions(dir.filePath("locked/inner"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_TRUE(at(QStringLiteral("locked")).deleteItem(&error));
}

TEST(URLDirectories, FollowOndrelHome) {
    TemporaryHome home;
    const URL root = URL::fileURLWithPath(home.path());
    VMKError error;
    EXPECT_EQ(URL::supportDirectory(&error), root);
    EXPECT_EQ(URL::ondrelDirectory(), root.URLByAppendingPathComponent(QStringLiteral("Music/Ondrel")));
    EXPECT_FALSE(URL::ondrelDirectory().exists());  // made by its users, not here
    const URL temporary = URL::temporaryDirectory(&error);
    EXPECT_FALSE(error.isError());
    EXPECT_EQ(temporary.URLByDeletingLastPathComponent(), root);
    EXPECT_TRUE(temporary.existsAsDirectory());
}

TEST(URLDirectories, SupportIsCreatedOnDemand) {
    QTemporaryDir parent;
    const QString path = parent.filePath(QStringLiteral("not/yet"));
    ScopedEnvironment home("ONDREL_HOME", path);
    EXPECT_EQ(URL::supportDirectory().path(), path);
    EXPECT_TRUE(URL::fileURLWithPath(path).existsAsDirectory());
}

TEST(URLDirectories, XdgFoldersWithoutOndrelHome) {
    QTemporaryDir xdg;
    ScopedEnvironment home("ONDREL_HOME", QString());
    ScopedEnvironment data("XDG_DATA_HOME", xdg.filePath(QStringLiteral("data")));
    ScopedEnvironment config("XDG_CONFIG_HOME", xdg.filePath(QStringLiteral("config")));
    ASSERT_TRUE(QDir().mkpath(xdg.filePath(QStringLiteral("config"))));
    writeFile(xdg.filePath(QStringLiteral("config/user-dirs.dirs")),
              "XDG_MUSIC_DIR=\"" + QFile::encodeName(xdg.filePath(QStringLiteral("Tunes"))) + "\"\n");

    VMKError error;
    const URL support = URL::supportDirectory(&error);
    EXPECT_EQ(support.path(), xdg.filePath(QStringLiteral("data/ondrel")));
    EXPECT_TRUE(support.existsAsDirectory());
    EXPECT_EQ(URL::temporaryDirectory().URLByDeletingLastPathComponent(), support);
    EXPECT_EQ(URL::ondrelDirectory().path(), xdg.filePath(QStringLiteral("Tunes/Ondrel")));
}

TEST(URLDirectories, UnwritableSupportFolderIsAnError) {
    QTemporaryDir parent;
    writeFile(parent.filePath(QStringLiteral("file")));
    ScopedEnvironment home("ONDREL_HOME", parent.filePath(QStringLiteral("file/home")));
    VMKError error;
    EXPECT_TRUE(URL::supportDirectory(&error).isEmpty());
    EXPECT_EQ(error.action(), QStringLiteral("Creating the folder"));
    error = VMKError();
    EXPECT_TRUE(URL::temporaryDirectory(&error).isEmpty());
    EXPECT_TRUE(error.isError());
}
