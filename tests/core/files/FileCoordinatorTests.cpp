#include "core/files/FileCoordinator.h"

#include "core/files/FilePresenter.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

namespace ondrel {

namespace {

// Writes down what it is told, paths relative to `base`.
class RecordingPresenter : public FilePresenter {
public:
    RecordingPresenter(const QString& root, const QString& base) : m_root(URL::fileURLWithPath(root)), m_base(base) {}

    URL presentedItemURL() const override { return m_root; }
    void presentedItemDidMoveToURL(const URL& url) override { record("item moved " + relative(url)); }
    void accommodatePresentedItemDeletionWithCompletionHandler(std::function<void(VMKError*)>) override {
        record("item deleted");
    }
    void presentedSubitemDidChangeAtURL(const URL& url) override { record("changed " + relative(url)); }
    void presentedSubitemAtURL(const URL& oldURL, const URL& newURL) override {
        record("moved " + relative(oldURL) + " " + relative(newURL));
    }
    void accommodatePresentedSubitemDeletionAtURL(const URL& url, std::function<void(VMKError*)>) override {
        record("deleted " + relative(url));
    }

    QStringList events;
    std::function<void()> onEvent;

private:
    QString relative(const URL& url) const { return QDir(m_base).relativeFilePath(url.path()); }
    void record(const QString& event) {
        events << event;
        if (onEvent)
            onEvent();
    }

    URL m_root;
    QString m_base;
};

void renamePath(const QString& from, const QString& to) { ASSERT_EQ(::rename(qPrintable(from), qPrintable(to)), 0) << qPrintable(from); }

struct Case {
    const char* name;
    std::function<void(const QString& base)> before;  // run before the presenter is added
    std::function<void(const QString& base, const QStringList& events)> action;
    QStringList expected;  // without the closing "changed w/end"
};

} // namespace

// The kernel's events become the presenter's five events: a rename is one
// move (never a deletion and a new file), a file is reported once when it is
// closed after writing (not while half written, nor twice for a touch, nor
// when opened for writing by a reader that wrote nothing),
// hidden items never, new and renamed folders are followed beneath, and
// the presented folder's own move and deletion reach it. Each case ends by
// writing "w/end": everything before it must have arrived when it does.
TEST(FileCoordinatorTest, DiskChangesArriveAsPresenterEvents) {
    QFile halfWritten;
    const std::vector<Case> cases = {
        {"rename", [](const QString& b) { writeFile(b + "/w/a.wav"); },
         [](const QString& b, auto&) { renamePath(b + "/w/a.wav", b + "/w/b.wav"); }, {"moved w/a.wav w/b.wav"}},
        {"written, half written, hidden", nullptr,
         [&](const QString& b, auto&) {
             writeFile(b + "/w/new.wav");
             writeFile(b + "/w/.render.tmp");
             halfWritten.setFileName(b + "/w/open.wav");
             ASSERT_TRUE(halfWritten.open(QIODevice::WriteOnly));
             halfWritten.write("half");
             halfWritten.flush();
         },
         {"changed w/new.wav"}},
        {"touch is one change", [](const QString& b) { writeFile(b + "/w/a.wav"); },
         [](const QString& b, auto&) {
             QFile file(b + "/w/a.wav");
             ASSERT_TRUE(file.open(QIODevice::ReadWrite));
             file.setFileTime(QDateTime::currentDateTime().addSecs(5), QFileDevice::FileModificationTime);
         },
         {"changed w/a.wav"}},
        {"opened to write, nothing written", [](const QString& b) { writeFile(b + "/w/a.wav"); },
         [](const QString& b, auto&) { ASSERT_TRUE(QFile(b + "/w/a.wav").open(QIODevice::ReadWrite)); }, {}},
        {"deleted", [](const QString& b) { writeFile(b + "/w/a.wav"); },
         [](const QString& b, auto&) { QFile::remove(b + "/w/a.wav"); }, {"changed w/a.wav"}},
        {"moved out and in", [](const QString& b) { writeFile(b + "/w/a.wav"); writeFile(b + "/out/b.wav"); },
         [](const QString& b, auto&) {
             renamePath(b + "/w/a.wav", b + "/out/a.wav");
             renamePath(b + "/out/b.wav", b + "/w/b.wav");
         },
         {"changed w/a.wav", "changed w/b.wav"}},
        {"renamed to a hidden name", [](const QString& b) { writeFile(b + "/w/a.wav"); },
         [](const QString& b, auto&) { renamePath(b + "/w/a.wav", b + "/w/.a.wav"); }, {"changed w/a.wav"}},
        {"new folder followed", nullptr,
         [](const QString& b, const QStringList& events) {
             QDir(b).mkpath("w/sub");
             // Its watch is in place once its own event has come.
             ASSERT_TRUE(spinUntil([&] { return events.contains("changed w/sub"); }));
             writeFile(b + "/w/sub/a.wav");
         },
         {"changed w/sub", "changed w/sub/a.wav"}},
        {"renamed folder followed", [](const QString& b) { QDir(b).mkpath("w/sub"); },
         [](const QString& b, auto&) {
             renamePath(b + "/w/sub", b + "/w/sub2");
             writeFile(b + "/w/sub2/a.wav");
         },
         {"moved w/sub w/sub2", "changed w/sub2/a.wav"}},
        {"presented through a symbolic link",
         [](const QString& b) {
             ASSERT_TRUE(QDir(b).rmdir("w"));
             QDir(b).mkpath("real");
             ASSERT_TRUE(QFile::link(b + "/real", b + "/w"));
         },
         [](const QString& b, auto&) { writeFile(b + "/w/a.wav"); }, {"changed w/a.wav"}},
        {"folder renamed while a file in it is written", [](const QString& b) { QDir(b).mkpath("w/sub"); },
         [&](const QString& b, auto&) {
             halfWritten.setFileName(b + "/w/sub/a.wav");
             ASSERT_TRUE(halfWritten.open(QIODevice::WriteOnly));
             halfWritten.write("half");
             halfWritten.flush();
             renamePath(b + "/w/sub", b + "/w/sub2");
             halfWritten.close();
         },
         {"moved w/sub w/sub2", "changed w/sub2/a.wav"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir dir;
        QDir(dir.path()).mkpath("w");
        QDir(dir.path()).mkpath("out");
        if (c.before)
            c.before(dir.path());
        auto presenter = std::make_shared<RecordingPresenter>(dir.filePath("w"), dir.path());
        FileCoordinator::addFilePresenter(presenter);
        c.action(dir.path(), presenter->events);
        writeFile(dir.filePath("w/end"));
        EXPECT_TRUE(spinUntil([&] { return presenter->events.contains("changed w/end"); }));
        presenter->events.removeAll("changed w/end");
        EXPECT_EQ(presenter->events, c.expected);
        FileCoordinator::removeFilePresenter(presenter);
        halfWritten.close();
    }
    EXPECT_TRUE(FileCoordinator::filePresenters().empty());
}

// The presented folder itself: renamed, it is followed (and so is what
// happens inside it afterwards); deleted, its presenter hears so.
TEST(FileCoordinatorTest, PresentedFolderMovedThenDeleted) {
    QTemporaryDir dir;
    QDir(dir.path()).mkpath("w");
    auto presenter = std::make_shared<RecordingPresenter>(dir.filePath("w"), dir.path());
    FileCoordinator::addFilePresenter(presenter);
    renamePath(dir.filePath("w"), dir.filePath("v"));
    writeFile(dir.filePath("v/a.wav"));
    ASSERT_TRUE(spinUntil([&] { return presenter->events.size() == 2; }));
    EXPECT_EQ(presenter->events, (QStringList{"item moved v", "changed v/a.wav"}));
    ASSERT_TRUE(QDir(dir.filePath("v")).removeRecursively());
    ASSERT_TRUE(spinUntil([&] { return presenter->events.contains("item deleted"); }));
    FileCoordinator::removeFilePresenter(presenter);
}

// A presented folder moved where its own watch can't tell: moved in from
// an unwatched place into another presenter's folder (the kernel names it
// through the other one's watch), or carried along by the rename of a
// folder above it (the kernel says nothing). It must still follow its
// folder: events at a stale place read as deletions.
TEST(FileCoordinatorTest, PresentedFolderFollowedWhenMovedFromOutside) {
    struct Row {
        const char* name;
        const char* root;
        const char* from;
        const char* to;
        const char* movedRoot;
    };
    for (const Row& row : {Row{"into another presenter's folder", "out/x", "out/x", "w/x", "w/x"},
                           Row{"folder above renamed", "out/p/x", "out/p", "out/q", "out/q/x"}}) {
        SCOPED_TRACE(row.name);
        QTemporaryDir dir;
        QDir(dir.path()).mkpath("w");
        QDir(dir.path()).mkpath(row.root);
        auto outer = std::make_shared<RecordingPresenter>(dir.filePath("w"), dir.path());
        auto moved = std::make_shared<RecordingPresenter>(dir.filePath(row.root), dir.path());
        FileCoordinator::addFilePresenter(outer);
        FileCoordinator::addFilePresenter(moved);
        renamePath(dir.filePath(row.from), dir.filePath(row.to));
        writeFile(dir.filePath(row.movedRoot) + "/a.wav");
        writeFile(dir.filePath("w/end"));
        EXPECT_TRUE(spinUntil([&] { return outer->events.contains("changed w/end"); }));
        EXPECT_EQ(moved->events, (QStringList{QString("item moved ") + row.movedRoot,
                                              QString("changed ") + row.movedRoot + "/a.wav"}));
        FileCoordinator::removeFilePresenter(moved);
        FileCoordinator::removeFilePresenter(outer);
    }
}

// A presenter removed while events for it are already on the main queue
// hears none of them: here the first presenter removes the second in the
// middle of one hand-over.
TEST(FileCoordinatorTest, RemovedPresenterHearsNoQueuedEvent) {
    QTemporaryDir dir;
    auto first = std::make_shared<RecordingPresenter>(dir.path(), dir.path());
    auto second = std::make_shared<RecordingPresenter>(dir.path(), dir.path());
    FileCoordinator::addFilePresenter(first);
    FileCoordinator::addFilePresenter(second);
    first->onEvent = [&] { FileCoordinator::removeFilePresenter(second); };
    writeFile(dir.filePath("a.wav"));
    ASSERT_TRUE(spinUntil([&] { return !first->events.isEmpty(); }));
    EXPECT_TRUE(second->events.isEmpty());
    FileCoordinator::removeFilePresenter(first);
}

} // namespace ondrel
