#include "actions/compiler/AudioProcessCommandGroupCompiler.h"
#include "actions/save/SaveAction.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/entities/FileEntity.h"
#include "core/files/Bookmark.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/instructions/AudioProcessCommandPropertyInstructions.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace ondrel;

namespace {

// An action that writes down each hook it gets and answers as told.
class ProbeAction : public Action {
public:
    ProbeAction(QString tag, std::vector<QString>* log) : m_tag(std::move(tag)), m_log(log) {}
    qsizetype processes = 1;
    std::optional<QString> filename;
    QVariantList propertyValues;  // appended as "artist" property records
    ObjectPtr command;

    ObjectPtr fileProcessCommand() override {
        note("fileProcessCommand");
        return command;
    }
    void willBeginConstructingProcessForFileEntity(const std::shared_ptr<FileEntity>& f,
                                                   const std::vector<std::shared_ptr<FileEntity>>&) override {
        note("willBegin " + f->name());
    }
    qsizetype numberOfProcessesForFileEntity(const std::shared_ptr<FileEntity>&) override {
        note("count");
        return processes;
    }
    void compileSourceInstructions(const std::shared_ptr<AudioProcessCommandSourceInstructionsGroup>&, qsizetype p) override {
        note(QStringLiteral("sources %1").arg(p));
    }
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>&, qsizetype p) override {
        note(QStringLiteral("instructions %1").arg(p));
        for (const QVariant& value : propertyValues) {
            auto property = std::make_shared<AudioProcessCommandPropertyInstructions>();
            property->setKey(QStringLiteral("Artist"));
            property->setValue(value);
            instructions->insertObjectInPropertyInstructionsAtIndex(property, instructions->countOfPropertyInstructions());
        }
    }
    std::optional<QString> filenameForProposedFilename(const QString& proposed, const std::shared_ptr<FileEntity>&,
                                                       qsizetype p) override {
        note(QStringLiteral("filename %1").arg(p));
        if (!filename || filename->isEmpty())
            return filename;
        return filename->arg(proposed).arg(p);
    }
    void didEndConstructingProcess() override { note("didEnd"); }

private:
    void note(const QString& what) {
        if (m_log)
            m_log->push_back(m_tag + QLatin1Char(' ') + what);
    }
    QString m_tag;
    std::vector<QString>* m_log;
};

class CompilerTest : public CatalogTest {
protected:
    // A real file at a path below the test's data folder.
    std::shared_ptr<FileEntity> entityAt(const QString& relativePath) {
        const QString path = dataPath(relativePath);
        QDir().mkpath(QFileInfo(path).path());
        EXPECT_TRUE(writeTestWav(path, 1, 100));
        auto entity = FileEntity::initWithURL(URL::fileURLWithPath(path));
        EXPECT_TRUE(entity) << qPrintable(path);
        return entity;
    }
    std::vector<std::shared_ptr<FileEntity>> entities(int count) {
        std::vector<std::shared_ptr<FileEntity>> list;
        for (int i = 0; i < count; ++i)
            list.push_back(entityAt(QStringLiteral("many/f%1.wav").arg(i)));
        return list;
    }
    std::shared_ptr<AudioProcessCommandGroup> compile(const std::vector<std::shared_ptr<FileEntity>>& files,
                                                      const std::vector<std::shared_ptr<Action>>& actions = {}) {
        return AudioProcessCommandGroupCompiler().initWithEntities(files, actions, save);
    }
    static QStringList filenames(const std::shared_ptr<AudioProcessCommandGroup>& group) {
        QStringList names;
        for (const auto& command : group->audioProcessCommands())
            names << command->filename().value_or(QStringLiteral("(absent)"));
        return names;
    }

    std::shared_ptr<SaveAction> save = std::make_shared<SaveAction>();
};

// The counter: its width from the number of files (log10 of 9 is below 1,
// of 10 exactly 1, of 100 exactly 2), fixed widths, a descending step, and
// one number per output running on across files and processes.
TEST_F(CompilerTest, CounterWidthsAndRunningOn) {
    struct Row {
        int files;
        int processes;
        QString component;
        QStringList expected;  // empty: only the first and last are checked
        QString first, last;
    };
    const Row rows[] = {
        {8, 1, "[C]1:1", {}, "1", "8"},
        {9, 1, "[C]1:1", {}, "01", "09"},
        {99, 1, "[C]1:1", {}, "001", "099"},
        {3, 1, "[C]5:-1:3", {"005", "004", "003"}, {}, {}},
        {2, 2, "[C]1:1", {"1", "2", "3", "4"}, {}, {}},  // width from 2 files, numbers past it
        {2, 1, "[C]", {"0", "1"}, {}, {}},               // no fields: start 0, step 1
        {9, 1, "[C]1:1:4", {}, "0001", "0009"},          // a fixed width ignores the count
    };
    const auto all = entities(99);
    for (const Row& row : rows) {
        save->setFilenameComponents({row.component});
        auto probe = std::make_shared<ProbeAction>(QString(), nullptr);
        probe->processes = row.processes;
        const auto names = filenames(compile({all.begin(), all.begin() + row.files}, {probe}));
        ASSERT_EQ(names.size(), row.files * row.processes) << qPrintable(row.component);
        if (!row.expected.isEmpty())
            EXPECT_EQ(names, row.expected) << qPrintable(row.component);
        else
            EXPECT_TRUE(names.first() == row.first && names.last() == row.last)
                << qPrintable(row.component) << " " << qPrintable(names.join(','));
    }
}

// Names from components: text with a slash and control characters, a names
// file shorter than the outputs (blank lines dropped), the file's own name,
// components that match nothing, and filename hooks that replace the name
// (an empty answer keeps it).
TEST_F(CompilerTest, NamesFromComponentsAndHooks) {
    QFile namesFile(dataPath(QStringLiteral("names.txt")));
    ASSERT_TRUE(namesFile.open(QIODevice::WriteOnly));
    namesFile.write("Kick\n\nSnare\r\n");
    namesFile.close();
    const QByteArray bookmark = Bookmark::bookmarkData(URL::fileURLWithPath(namesFile.fileName()));
    const QString names = QStringLiteral("[N]") + QString::fromLatin1(bookmark.toBase64());

    struct Row {
        QStringList components;
        std::optional<QString> hook;
        QStringList expected;
    };
    const Row rows[] = {
        {{"[T]a/b\tc\u200Bd", "[F]"}, {}, {"a-bcdf0", "a-bcdf1", "a-bcdf2"}},
        {{names, "[T]_", "[F]"}, {}, {"Kick_f0", "Snare_f1", "_f2"}},
        {{"[X]ignored", "[F]"}, {}, {"f0", "f1", "f2"}},
        {{}, QStringLiteral("%1 v%2"), {"f0 v0", "f1 v0", "f2 v0"}},
        {{"[F]"}, QString(), {"f0", "f1", "f2"}},
        {{"[T]x/"}, QStringLiteral("%1/%2"), {"x--0", "x--0", "x--0"}},
        // Measures through their formatters; an unmeasured true peak, an
        // empty key and a key without a value add nothing.
        {{"[A]peak", "[A]truePeak", "[A]", "[A]noSuchKey"}, {}, {"-6.02 dB", "0.00 dB", "-∞ dB"}},
    };
    const auto files = entities(3);
    files[0]->setPeak(-6.0206f);
    files[2]->setPeak(-std::numeric_limits<float>::infinity());
    files[1]->setTruePeak(FileEntity::TruePeakNotMeasured);
    for (const Row& row : rows) {
        save->setFilenameComponents(row.components);
        auto probe = std::make_shared<ProbeAction>(QString(), nullptr);
        probe->filename = row.hook;
        EXPECT_EQ(filenames(compile(files, {probe})), row.expected) << qPrintable(row.components.join(' '));
    }
}

// "[P]" finds the key by the item's title and takes the last property record
// of the output with it; without one, the file's own metadata.
TEST_F(CompilerTest, PropertyComponentTakesTheLastMatchingRecord) {
    save->setFilenameComponents({QStringLiteral("[P]Artist"), QStringLiteral("[P]No Such Title"), QStringLiteral("[F]")});
    auto first = std::make_shared<ProbeAction>(QString(), nullptr);
    first->propertyValues = {QStringLiteral("A"), QVariantList{QStringLiteral("B"), QStringLiteral("C")}};
    auto second = std::make_shared<ProbeAction>(QString(), nullptr);
    second->propertyValues = {QStringLiteral("D")};
    const auto files = entities(1);
    EXPECT_EQ(filenames(compile(files, {first})), QStringList{"Bf0"});
    EXPECT_EQ(filenames(compile(files, {first, second})), QStringList{"Df0"});
    EXPECT_EQ(filenames(compile(files, {})), QStringList{"f0"});
}

// A real value (a tempo read from a tag) is written as its shortest plain
// text, "120.1", not with the noise of its last binary digits.
TEST_F(CompilerTest, PropertyComponentWritesARealValueWithoutBinaryNoise) {
    save->setFilenameComponents({QStringLiteral("[P]Tempo"), QStringLiteral("[T] bpm")});
    const auto files = entities(1);
    files[0]->setMetadata({{QStringLiteral("tempo"), 120.1}});
    EXPECT_EQ(filenames(compile(files)), QStringList{"120.1 bpm"});
}

// Folders: the destination, with the subfolders below the entities' common
// path when the hierarchy is kept (a lone entity gets none), or no folder
// when the destination is empty.
TEST_F(CompilerTest, CommonPathAndHierarchy) {
    const QString out = dataPath(QStringLiteral("out"));
    QDir().mkpath(out);
    save->setDestinationBookmark(Bookmark::bookmarkData(URL::fileURLWithPath(out)));
    const auto x = entityAt(QStringLiteral("a/b/x.wav"));
    const auto y = entityAt(QStringLiteral("a/b/c/y.wav"));
    const auto z = entityAt(QStringLiteral("a/d/e/z.wav"));
    struct Row {
        std::vector<std::shared_ptr<FileEntity>> files;
        bool preserve;
        QStringList folders;
    };
    const Row rows[] = {
        {{x, y}, true, {out, out + "/c"}},
        {{y, x}, true, {out + "/c", out}},
        {{x, y, z}, true, {out + "/b", out + "/b/c", out + "/d/e"}},
        {{y}, true, {out}},
        {{x, y}, false, {out, out}},
    };
    for (const Row& row : rows) {
        save->setPreserveHierarchy(row.preserve);
        QStringList folders;
        const auto group = compile(row.files);
        for (const auto& command : group->audioProcessCommands())
            folders << command->destination().path();
        EXPECT_EQ(folders, row.folders);
    }
    save->setDestinationBookmark(QByteArray());
    save->setPreserveHierarchy(true);
    EXPECT_TRUE(compile({x, y})->audioProcessCommands()[1]->destination().isEmpty());
}

// The group's name comes from the audio steps alone, joined with the
// conjunction; a step that answers a file process command is left out of it
// but still runs its hooks; add-results stands first.
TEST_F(CompilerTest, GroupNameAndFileProcessCommands) {
    auto named = [](const QString& name, bool withCommand = false) {
        auto action = std::make_shared<ProbeAction>(QString(), nullptr);
        action->setName(name);
        if (withCommand)
            action->command = std::make_shared<AddFilesFileProcessCommand>();
        return std::static_pointer_cast<Action>(action);
    };
    struct Row {
        std::vector<std::shared_ptr<Action>> actions;
        QString name;
    };
    const Row rows[] = {
        {{}, "Save"},
        {{named("Trim")}, "Trim"},
        {{named("Trim"), named("Fade")}, "Trim and Fade"},
        {{named("Trim"), named("Send", true), named("Fade"), named("Gain")}, "Trim, Fade and Gain"},
    };
    const auto files = entities(1);
    for (const Row& row : rows)
        EXPECT_EQ(compile(files, row.actions)->name(), row.name);

    save->setAddResults(true);
    auto sender = named("Send", true);
    const auto group = compile(files, {sender});
    ASSERT_EQ(group->countOfFileProcessCommands(), 2);
    EXPECT_NE(group->fileProcessCommands()[0], std::static_pointer_cast<ProbeAction>(sender)->command);
    EXPECT_EQ(group->fileProcessCommands()[1], std::static_pointer_cast<ProbeAction>(sender)->command);
    EXPECT_EQ(group->countOfAudioProcessCommands(), 1);
}

// Every hook in its order, for two files and two actions where X asks for
// two processes of the first file only.
TEST_F(CompilerTest, HookOrder) {
    std::vector<QString> log;
    auto y = std::make_shared<ProbeAction>(QStringLiteral("Y"), &log);
    const auto a = entityAt(QStringLiteral("order/A.wav"));
    const auto b = entityAt(QStringLiteral("order/B.wav"));
    // X asks for two processes of A only.
    class OnlyA : public ProbeAction {
    public:
        using ProbeAction::ProbeAction;
        qsizetype numberOfProcessesForFileEntity(const std::shared_ptr<FileEntity>& f) override {
            ProbeAction::numberOfProcessesForFileEntity(f);
            return f->name() == QLatin1String("A.wav") ? 2 : 0;
        }
    };
    auto onlyA = std::make_shared<OnlyA>(QStringLiteral("X"), &log);
    compile({a, b}, {onlyA, y});
    std::vector<QString> expected = {"X fileProcessCommand", "Y fileProcessCommand"};
    auto file = [&](const QString& name, int processes) {
        for (const char* tag : {"X", "Y"})
            expected.push_back(QStringLiteral("%1 willBegin %2").arg(tag, name));
        for (const char* tag : {"X", "Y"})
            expected.push_back(QStringLiteral("%1 count").arg(tag));
        for (int p = 0; p < processes; ++p)
            for (const char* hook : {"sources", "instructions", "filename"})
                for (const char* tag : {"X", "Y"})
                    expected.push_back(QStringLiteral("%1 %2 %3").arg(tag, hook).arg(p));
        for (const char* tag : {"X", "Y"})
            expected.push_back(QStringLiteral("%1 didEnd").arg(tag));
    };
    file(QStringLiteral("A.wav"), 2);
    file(QStringLiteral("B.wav"), 1);  // an answer of 0 doesn't suppress the file
    EXPECT_EQ(log, expected);
}

} // namespace

namespace {

// A split file comes out split again, with its delimiter, when the FIRST
// entity is split and no action deals with channels itself; the caller's
// list of actions is left as it was.
TEST_F(CompilerTest, ImplicitChannelExtraction) {
    ASSERT_TRUE(writeTestWav(dataPath(QStringLiteral("Take-L.wav"))) && writeTestWav(dataPath(QStringLiteral("Take-R.wav"))));
    const auto split = FileEntity::initWithURLs({URL::fileURLWithPath(dataPath(QStringLiteral("Take-L.wav"))),
                                                 URL::fileURLWithPath(dataPath(QStringLiteral("Take-R.wav")))});
    ASSERT_TRUE(split);
    ASSERT_EQ(split->channelSuffixDelimiter(), QStringLiteral("-"));
    const auto plain = entityAt(QStringLiteral("Plain.wav"));
    auto action = [](const char* className) {
        return std::dynamic_pointer_cast<Action>(ClassRegistry::create(QString::fromLatin1(className)));
    };
    struct Row {
        std::vector<std::shared_ptr<FileEntity>> files;
        std::vector<std::shared_ptr<Action>> actions;
        QStringList expected;
    };
    const Row rows[] = {
        {{split, plain}, {}, {"Take-L", "Take-R", "Plain-C"}},
        {{plain, split}, {}, {"Plain", "Take"}},
        {{split}, {action("ChangeToFLACAction")}, {"Take"}},
        {{split}, {action("ChangeToWAVEAction")}, {"Take-L", "Take-R"}},
    };
    for (const Row& row : rows) {
        const auto callers = row.actions;
        EXPECT_EQ(filenames(compile(row.files, row.actions)), row.expected);
        EXPECT_EQ(row.actions.size(), callers.size());
    }
}

} // namespace
