#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"
#include "process/instructions/AudioProcessCommand.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "process/interfaces/AudioProcessCommandGroupExecutor.h"
#include "process/instructions/AudioProcessCommandSourceInstructionsGroup.h"
#include "process/workflow/SelectionCommands.h"
#include "tests/support/process/InstalledInterfaces.h"
#include "tests/support/process/TestAddFilesCommand.h"
#include "tests/support/process/TestFileEntity.h"
#include "tests/support/TestSupport.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

class RecordingExecutor : public AudioProcessCommandGroupExecutor {
public:
    void executeAudioProcessCommandGroup(const std::shared_ptr<AudioProcessCommandGroup>& group) override {
        groups.push_back(group);
    }
    std::vector<std::shared_ptr<AudioProcessCommandGroup>> groups;
};

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
    std::shared_ptr<FileEntity> file = std::make_shared<FileEntity>(10.0);
};

TEST_F(SelectionCommandsTest, CropKeepsTheSelectionInTheChosenFile) {
    const URL chosen = URL::fileURLWithPath(home.filePath(QStringLiteral("out/Take 2.wav")));
    const auto command = handedOn(SelectionCommands::crop(file, {2.5, 3.0}, chosen), "Controller_crop");
    ASSERT_TRUE(command);
    EXPECT_EQ(command->destination(), URL::fileURLWithPath(home.filePath(QStringLiteral("out"))));
    EXPECT_EQ(command->filename(), QStringLiteral("Take 2"));
    EXPECT_FALSE(command->replaceOriginal());
    const auto sources = sourcesOf(command);
    ASSERT_EQ(sources.size(), 1u);
    EXPECT_EQ(sources[0]->sourceStart(), 2.5);
    EXPECT_EQ(sources[0]->length(), 3.0);
    EXPECT_FALSE(sources[0]->location());
}

TEST_F(SelectionCommandsTest, CropInPlaceReplacesTheOriginal) {
    const auto command = handedOn(SelectionCommands::cropInPlace(file, {1.0, 4.0}), "Controller_cropInPlace");
    ASSERT_TRUE(command);
    EXPECT_TRUE(command->replaceOriginal());
    EXPECT_TRUE(command->destination().isEmpty());
    EXPECT_FALSE(command->filename());
    const auto sources = sourcesOf(command);
    ASSERT_EQ(sources.size(), 1u);
    EXPECT_EQ(sources[0]->sourceStart(), 1.0);
    EXPECT_EQ(sources[0]->length(), 4.0);
    EXPECT_FALSE(sources[0]->location());
    // Output spans just the selection.
    EXPECT_EQ(command->sourceInstructionsGroup()->range(), (DoubleRange{0.0, 4.0}));
}

TEST_F(SelectionCommandsTest, SnipInPlaceClosesTheGapWithTwoSources) {
    const auto command = handedOn(SelectionCommands::snipInPlace(file, {2.0, 3.0}), "Controller_snipInPlace");
    ASSERT_TRUE(command);
    EXPECT_TRUE(command->replaceOriginal());
    const auto sources = sourcesOf(command);
    ASSERT_EQ(sources.size(), 2u);
    // Before the selection: only a length.
    EXPECT_EQ(sources[0]->length(), 2.0);
    EXPECT_FALSE(sources[0]->sourceStart());
    EXPECT_FALSE(sources[0]->location());
    // After it, moved up to where the selection began.
    EXPECT_EQ(sources[1]->location(), 2.0);
    EXPECT_EQ(sources[1]->sourceStart(), 5.0);
    EXPECT_EQ(sources[1]->length(), 5.0);
    // Nothing else set on either.
    for (const auto& source : sources) {
        EXPECT_FALSE(source->reverse());
        EXPECT_FALSE(source->gain());
        EXPECT_FALSE(source->fadeInLength());
        EXPECT_FALSE(source->fadeOutLength());
    }
    EXPECT_EQ(command->sourceInstructionsGroup()->range(), (DoubleRange{0.0, 7.0}));
}

TEST_F(SelectionCommandsTest, SnipTakesTheRestFromTheFilesLength) {
    file->setLength(60.0);
    const auto command = handedOn(SelectionCommands::snipInPlace(file, {0.5, 0.25}), "Controller_snipInPlace");
    const auto sources = sourcesOf(command);
    ASSERT_EQ(sources.size(), 2u);
    EXPECT_EQ(sources[0]->length(), 0.5);
    EXPECT_EQ(sources[1]->sourceStart(), 0.75);
    EXPECT_EQ(sources[1]->length(), 59.25);
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
