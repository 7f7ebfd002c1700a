#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommand.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "process/workflow/SelectionCommands.h"
#include "tests/support/process/InstalledInterfaces.h"
#include "tests/support/process/RecordingExecutor.h"
#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/entities/FileEntity.h"
#include "tests/support/process/TestFileEntities.h"
#include "tests/support/TestSupport.h"

#include <QtCore/QFile>

#include <array>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

using Source = AudioProcessCommandSourceInstructions;

class SelectionCommandsTest : public ::testing::Test {
protected:
    void SetUp() override {
        AddFilesFileProcessCommand::staticClassInfo();
        FileEntity::staticClassInfo();
        LogController::resetSharedInstance();
        ProcessInterfaces::setAudioProcessCommandGroupExecutor(executor);
    }

    void TearDown() override { LogController::resetSharedInstance(); }

    // The one command of a group handed on, checked for what all four share.
    std::shared_ptr<AudioProcessCommand> handedOn(const std::shared_ptr<AudioProcessCommandGroup>& group,
                                                  const char* nameKey) {
        EXPECT_TRUE(group);
        if (!group)
            return nullptr;
        EXPECT_EQ(executor->groups.size(), 1u);
        EXPECT_EQ(executor->groups.empty() ? nullptr : executor->groups[0], group);
        EXPECT_EQ(group->name(), VMKLocalizedString(QString::fromLatin1(nameKey)));
        EXPECT_FALSE(group->rehearse());
        EXPECT_EQ(group->countOfFileProcessCommands(), 1);
        const ObjectPtr addFiles = group->objectInFileProcessCommandsAtIndex(0);
        EXPECT_TRUE(addFiles && addFiles->className() == "AddFilesFileProcessCommand");
        EXPECT_EQ(group->countOfAudioProcessCommands(), 1);
        const auto command = group->objectInAudioProcessCommandsAtIndex(0);
        EXPECT_TRUE(command);
        if (command) {
            EXPECT_FALSE(command->processInstructions());
            EXPECT_TRUE(command->sourceInstructionsGroup());
            for (const auto& source : command->sourceInstructionsGroup()->sourceInstructions()) {
                EXPECT_EQ(source->fileEntity(), file);
                EXPECT_EQ(source->countOfEffectInstructions(), 0);
                EXPECT_EQ(source->countOfSourceTieInstructions(), 0);
            }
        }
        return command;
    }

    static std::vector<std::shared_ptr<Source>> sourcesOf(const std::shared_ptr<AudioProcessCommand>& command) {
        return command ? command->sourceInstructionsGroup()->sourceInstructions() : std::vector<std::shared_ptr<Source>>();
    }

    TemporaryHome home;
    InstalledInterfaces interfaces;
    std::shared_ptr<RecordingExecutor> executor = std::make_shared<RecordingExecutor>();
    std::shared_ptr<FileEntity> file = testFileEntity(10.0);
};

// What each command takes from the file: the selection alone, or the parts
// around it with the second moved up to where the selection began.
TEST_F(SelectionCommandsTest, SourcesTakeTheSelectionOrThePartsAroundIt) {
    using Part = std::array<std::optional<double>, 3>;  // location, source start, length
    struct Row {
        const char* nameKey;
        std::function<std::shared_ptr<AudioProcessCommandGroup>()> perform;
        double fileLength;
        std::vector<Part> parts;
        bool replaceOriginal;
        DoubleRange range;
    };
    const URL chosen = URL::fileURLWithPath(home.filePath(QStringLiteral("out/Take 2.wav")));
    const Row rows[] = {
        {"Controller_crop", [&] { return SelectionCommands::crop(file, {2.5, 3.0}, chosen); }, 10.0,
         {{std::nullopt, 2.5, 3.0}}, false, {0.0, 3.0}},
        {"Controller_cropInPlace", [&] { return SelectionCommands::cropInPlace(file, {1.0, 4.0}); }, 10.0,
         {{std::nullopt, 1.0, 4.0}}, true, {0.0, 4.0}},
        {"Controller_snipInPlace", [&] { return SelectionCommands::snipInPlace(file, {2.0, 3.0}); }, 10.0,
         {{std::nullopt, std::nullopt, 2.0}, {2.0, 5.0, 5.0}}, true, {0.0, 7.0}},
        {"Controller_snipInPlace", [&] { return SelectionCommands::snipInPlace(file, {0.5, 0.25}); }, 60.0,
         {{std::nullopt, std::nullopt, 0.5}, {0.5, 0.75, 59.25}}, true, {0.0, 59.75}},
    };
    std::shared_ptr<AudioProcessCommand> crop;  // the first row's
    for (const Row& row : rows) {
        executor->groups.clear();
        file = testFileEntity(row.fileLength);
        const auto command = handedOn(row.perform(), row.nameKey);
        ASSERT_TRUE(command) << row.nameKey;
        if (!crop)
            crop = command;
        EXPECT_EQ(command->replaceOriginal(), row.replaceOriginal) << row.nameKey;
        if (row.replaceOriginal) {
            EXPECT_TRUE(command->destination().isEmpty() && !command->filename()) << row.nameKey;
        }
        const auto sources = sourcesOf(command);
        ASSERT_EQ(sources.size(), row.parts.size()) << row.nameKey;
        for (size_t i = 0; i < sources.size(); ++i) {
            EXPECT_EQ(sources[i]->location(), row.parts[i][0]) << row.nameKey << " part " << i;
            EXPECT_EQ(sources[i]->sourceStart(), row.parts[i][1]) << row.nameKey << " part " << i;
            EXPECT_EQ(sources[i]->length(), row.parts[i][2]) << row.nameKey << " part " << i;
            EXPECT_FALSE(sources[i]->reverse() || sources[i]->gain() || sources[i]->fadeInLength() ||
                         sources[i]->fadeOutLength());
        }
        EXPECT_EQ(command->sourceInstructionsGroup()->range(), row.range) << row.nameKey;
    }
    // The chosen file names the output of a crop.
    EXPECT_EQ(crop->destination(), URL::fileURLWithPath(home.filePath(QStringLiteral("out"))));
    EXPECT_EQ(crop->filename(), QStringLiteral("Take 2"));
}

TEST_F(SelectionCommandsTest, SnipReplacesTheChosenFileOnlyWhenItExists) {
    const URL fresh = URL::fileURLWithPath(home.filePath(QStringLiteral("Cut.wav")));
    const auto command = handedOn(SelectionCommands::snip(file, {2.0, 3.0}, fresh), "Controller_snip");
    ASSERT_TRUE(command);
    EXPECT_FALSE(command->replaceOriginal());
    EXPECT_EQ(command->destination(), URL::fileURLWithPath(home.path()));
    EXPECT_EQ(command->filename(), QStringLiteral("Cut"));
    EXPECT_EQ(sourcesOf(command).size(), 2u);

    QFile existing(home.filePath(QStringLiteral("Old.wav")));
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
    existing.close();
    executor->groups.clear();
    const auto again = handedOn(SelectionCommands::snip(file, {2.0, 3.0}, URL::fileURLWithPath(existing.fileName())),
                                "Controller_snip");
    ASSERT_TRUE(again);
    EXPECT_TRUE(again->replaceOriginal());
    EXPECT_EQ(again->filename(), QStringLiteral("Old"));
}

TEST_F(SelectionCommandsTest, EmptySelectionOrCancelledPanelDoesNothing) {
    const URL chosen = URL::fileURLWithPath(home.filePath(QStringLiteral("x.wav")));
    EXPECT_FALSE(SelectionCommands::crop(file, {2.0, 0.0}, chosen));
    EXPECT_FALSE(SelectionCommands::cropInPlace(file, {2.0, -1.0}));
    EXPECT_FALSE(SelectionCommands::snipInPlace(file, {0.0, 0.0}));
    EXPECT_FALSE(SelectionCommands::snip(file, {1.0, 2.0}, URL()));
    EXPECT_FALSE(SelectionCommands::crop(file, {1.0, 2.0}, URL()));
    EXPECT_FALSE(SelectionCommands::cropInPlace(std::shared_ptr<FileEntity>(), {1.0, 2.0}));
    EXPECT_TRUE(executor->groups.empty());
}

TEST_F(SelectionCommandsTest, WithoutAnExecutorTheGroupIsLoggedNotLost) {
    ProcessInterfaces::setAudioProcessCommandGroupExecutor(nullptr);
    const auto group = SelectionCommands::cropInPlace(file, {1.0, 1.0});
    ASSERT_TRUE(group);
    EXPECT_TRUE(executor->groups.empty());
    EXPECT_TRUE(spinUntil([] { return LogController::sharedInstance()->errorCount() > 0; }, 2000));
}

} // namespace

} // namespace ondrel
