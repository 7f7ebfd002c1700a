#include "tests/support/TestSupport.h"
#include "tests/support/engine/EngineTestSupport.h"
#include "tests/support/engine/TestGenerator.h"

#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "render/operation/AudioProcessOperation.h"
#include "render/processors/AudioProcessAudioFileWriterAudioProcessor.h"

#include <QtCore/QDir>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

using Writer = AudioProcessAudioFileWriterAudioProcessor;

QStringList entries(const QString& path) {  // hidden ones too
    return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QString message(const char* key, const QString& a, const QString& b = QString()) {
    const QString text = VMKLocalizedString(QString::fromLatin1(key));
    return b.isNull() ? text.arg(a) : text.arg(a, b);
}

std::vector<QString> logged(unsigned level) {
    auto log = LogController::sharedInstance();
    log->write();
    std::vector<QString> messages;
    log->executeStatement(QStringLiteral("SELECT message FROM Log WHERE level = %1 ORDER BY logID").arg(level),
                          nullptr, [&](VMKDatabaseQuery& query) {
                              while (query.evaluateNextRow())
                                  messages.push_back(query.stringValueAtColumn(0));
                          });
    return messages;
}

const char* const kRenamed = "AudioProcessAudioFileWriterAudioProcessor_log_notice_renamed";

class WriterTest : public ::testing::Test {
protected:
    void SetUp() override {  // messages of earlier tests in this process are gone
        LogController::sharedInstance()->write();
        LogController::sharedInstance()->clear();
    }

    // Renders 400 frames of `function` into a mono WAVE file `stem` in `directory`.
    template <class W = Writer>
    std::shared_ptr<W> render(const QString& directory, const QString& stem, bool succeeds = true,
                              const std::function<void(W&)>& configure = {},
                              TestGenerator::Function function = TestGenerator::ramp) {
        auto writer = std::make_shared<W>();
        writer->setFormat(QStringLiteral("WAVE File"));
        writer->setBaseDirectory(URL::fileURLWithPath(directory));
        writer->setBaseFilename(stem);
        writer->setRange({0.0, 0.05});
        if (configure)
            configure(*writer);
        VMKError error;
        EXPECT_EQ(renderIntoWriter(std::make_shared<TestGenerator>(1, 8000.0, std::move(function)), writer, &error, 64),
                  succeeds)
            << qPrintable(error.localizedDescription());
        lastError = error;
        return writer;
    }

    TestFolder folder;
    VMKError lastError;
};

struct NamingCase {
    const char* fault;
    QStringList existing;
    QString source;  // the first source, in the folder; without one the folder is the base folder
    QString stem, extension;
    bool replaceOriginal;
    QString expected, renamedFrom;  // no log line without renamedFrom
};
void PrintTo(const NamingCase& c, std::ostream* os) { *os << c.fault; }

class WriterNamingTest : public WriterTest, public ::testing::WithParamInterface<NamingCase> {};

TEST_P(WriterNamingTest, NamesTheResult) {
    const NamingCase& c = GetParam();
    for (const QString& name : c.existing)
        writeFile(folder.path(name));
    Writer writer;
    if (c.source.isEmpty())
        writer.setBaseDirectory(folder.url(QString()));
    else
        writer.setSourceURLs({folder.url(c.source)});
    writer.setBaseFilename(c.stem);
    writer.setReplaceOriginal(c.replaceOriginal);
    EXPECT_EQ(writer.createResultURLWithExtension(c.extension), folder.url(c.expected));
    EXPECT_EQ(logged(LogController::Notice), c.renamedFrom.isEmpty() ? std::vector<QString>()
                                                                      : std::vector{message(kRenamed, c.renamedFrom, c.expected)});
}

INSTANTIATE_TEST_SUITE_P(
    Names, WriterNamingTest,
    ::testing::Values(
        NamingCase{"a taken name gets the first free number", {"take.wav", "take 1.wav"}, {}, "take", "wav", false,
                   "take 2.wav", "take.wav"},
        NamingCase{"the number goes before a channel suffix", {"take_L.wav"}, {}, "take_L", "wav", false,
                   "take 1_L.wav", "take_L.wav"},
        NamingCase{"an aiff source rendered as aif keeps aiff, in its folder under its stem", {"song.aiff"},
                   "song.aiff", {}, "aif", false, "song 1.aiff", "song.aiff"},
        NamingCase{"replacing the original takes its name as it is, aiff kept", {"song.aiff"}, "song.aiff", {}, "aif",
                   true, "song.aiff", {}},
        NamingCase{"a percent code in the name is kept as it is when numbered", {"Smith%2C John.wav"}, {},
                   "Smith%2C John", "wav", false, "Smith%2C John 1.wav", "Smith%2C John.wav"},
        NamingCase{"a percent code before a channel suffix is kept as it is when numbered", {"Mix%1_L.wav"}, {},
                   "Mix%1_L", "wav", false, "Mix%1 1_L.wav", "Mix%1_L.wav"}));

TEST_F(WriterTest, TwoRendersOfOneNameAreEachNumberedAgainstWhatExistsThen) {
    writeFile(folder.path("name.wav"));
    EXPECT_EQ(render(folder.path({}), "name")->resultURL(), folder.url("name 1.wav"));
    EXPECT_EQ(render(folder.path({}), "name")->resultURL(), folder.url("name 2.wav"));
    EXPECT_EQ(readFile(folder.path("name 2.wav")).at(0).size(), 400u);
    EXPECT_EQ(entries(folder.path({})), QStringList({"name 1.wav", "name 2.wav", "name.wav"})) << "nothing left over";
}

// Names its result, then lets `between` run before putting the file there.
struct PausingWriter : Writer {
    std::function<void()> between;
    URL createResultURLWithExtension(const QString& extension) override {
        const URL url = Writer::createResultURLWithExtension(extension);
        if (between)
            between();
        return url;
    }
};

// Two renders of one name side by side: the second names its result while
// the first has named its own but not yet moved it in. Each must get its
// own name, or the later move deletes the other's result.
TEST_F(WriterTest, ANameChosenButNotYetFilledIsNotGivenToAnotherRender) {
    std::shared_ptr<Writer> second;
    auto first = render<PausingWriter>(folder.path({}), "name", true, [&](PausingWriter& w) {
        w.between = [&] { second = render(folder.path({}), "name"); };
    });
    ASSERT_TRUE(second);
    EXPECT_EQ(first->resultURL(), folder.url("name.wav"));
    EXPECT_EQ(second->resultURL(), folder.url("name 1.wav"));
    EXPECT_EQ(entries(folder.path({})), QStringList({"name 1.wav", "name.wav"})) << "both results kept";
}

TEST_F(WriterTest, TheTemporaryFileLiesHiddenInTheNewDestinationFolderWhileRendering) {
    const QString destination = folder.path("new/deeper");
    QStringList during;
    auto writer = render<Writer>(destination, "out", true, {}, [&](int64_t frame, uint32_t) {
        if (frame == 0)
            during = entries(destination);
        return 0.25f;
    });
    ASSERT_EQ(during.size(), 1);
    EXPECT_TRUE(during[0].startsWith('.') && during[0].endsWith(".wav")) << qPrintable(during[0]);
    EXPECT_EQ(entries(destination), QStringList{"out.wav"});
}

TEST_F(WriterTest, ARehearsalWritesNothingAndLogsTheNameItWouldHaveTaken) {
    writeFile(folder.path("take.wav"));
    const QStringList temporaryBefore = entries(URL::temporaryDirectory().path());
    auto writer = render<Writer>(folder.path({}), "take", true, [](Writer& w) { w.setRehearse(true); });
    EXPECT_EQ(writer->resultURL(), folder.url("take 1.wav"));
    EXPECT_EQ(logged(LogController::Notice), std::vector{message(kRenamed, "take.wav", "take 1.wav")});
    EXPECT_EQ(entries(folder.path({})), QStringList{"take.wav"});
    EXPECT_EQ(entries(URL::temporaryDirectory().path()), temporaryBefore);
}

// Its result location is a folder with something in it, which no rename replaces.
struct BlockedWriter : Writer {
    URL createResultURLWithExtension(const QString&) override { return URL::fileURLWithPath(baseDirectory().path() + "/out.wav"); }
};

TEST_F(WriterTest, AFailedMoveKeepsTheFinishedFileAndTheErrorNamesIt) {
    ASSERT_TRUE(QDir().mkpath(folder.path("out.wav")));
    writeFile(folder.path("out.wav/inside"));
    auto writer = render<BlockedWriter>(folder.path({}), "out", false);
    const QString kept = writer->temporaryURL().path();
    EXPECT_EQ(readFile(kept).at(0).size(), 400u) << "the only complete copy stays";
    EXPECT_TRUE(lastError.localizedDescription().contains(kept)) << qPrintable(lastError.localizedDescription());
    EXPECT_EQ(logged(LogController::Error),
              std::vector{message("AudioProcessAudioFileWriterAudioProcessor_log_error_notMovable",
                                  lastError.localizedDescription())});
}

TEST_F(WriterTest, CancellingItsOperationStopsTheRenderAndLeavesNothing) {
    auto operation = std::make_shared<AudioProcessOperation>();
    render<Writer>(folder.path({}), "out", false, [&](Writer& w) { w.setOperation(operation); },
                   [&](int64_t frame, uint32_t) {
                       if (frame == 100)
                           operation->cancel();
                       return 0.25f;
                   });
    EXPECT_EQ(entries(folder.path({})), QStringList());
}

} // namespace

} // namespace ondrel
