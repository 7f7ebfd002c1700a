#include "core/storage/PropertyList.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "catalog/entities/FileEntity.h"
#include "tests/support/process/TestFileEntities.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

template <class T>
std::shared_ptr<T> make() {
    return std::make_shared<T>();
}

// Every change of one key path, as observers are told of it.
struct ChangeLog {
    std::vector<KeyValueChangeInfo> changes;
    ObservationHandle handle;
    ChangeLog(Object& object, const QString& keyPath) {
        handle = object.observe(keyPath, KeyValueObservingOptionNew | KeyValueObservingOptionOld,
                                [this](const KeyValueChangeInfo& change) { changes.push_back(change); });
    }
};

// MARK: - Absent is not 0

TEST(InstructionRecords, ZeroFalseAndEmptyArePresentValues) {
    auto instructions = make<AudioProcessCommandInstructions>();
    instructions->setNumberOfChannels(0);
    instructions->setGain(0.0);
    instructions->setResample(false);
    instructions->setFormat(QString());
    for (const char* key : {"numberOfChannels", "resample", "gain", "format"})
        EXPECT_FALSE(Variant::isAbsent(instructions->valueForKey(key))) << key;
    auto command = make<AudioProcessCommand>();
    command->setFilename(QString());
    EXPECT_FALSE(Variant::isAbsent(command->valueForKey("filename")));

    // Setting nothing by key makes a field absent again; the null marker does too.
    instructions->setValueForKey(QVariant(), "numberOfChannels");
    instructions->setValueForKey(Variant::null(), "resample");
    instructions->setValueForKey(QVariant(), "format");
    EXPECT_FALSE(instructions->numberOfChannels().has_value());
    EXPECT_FALSE(instructions->resample().has_value());
    EXPECT_FALSE(instructions->format().has_value());
}

// A value set by key takes the field's type: a fraction stored in an integer
// field (as converterQuality once was) reads back as 0, the lowest quality.
TEST(InstructionRecords, ValuesSetByKeyTakeTheFieldsType) {
    const std::tuple<const char*, QVariant, QVariant> rows[] = {
        {"sampleRate", 96000, 96000.0},     {"bitDepth", 24.0, qint64(24)},
        {"retainTail", true, true},         {"gain", -6.5, -6.5},
        {"converterQuality", 0.251953125, 0.251953125},
    };
    auto instructions = make<AudioProcessCommandInstructions>();
    for (const auto& [key, value, expected] : rows) {
        instructions->setValueForKey(value, key);
        const QVariant read = instructions->valueForKey(key);
        EXPECT_EQ(read.typeId(), expected.typeId()) << key;
        EXPECT_EQ(read, expected) << key;
    }
    EXPECT_EQ(instructions->converterQuality(), std::optional<double>(0.251953125));

    // Copied by key through a stored property list into another record.
    const QByteArray stored =
        PropertyList::dataWithPropertyList(instructions->dictionaryWithValuesForKeys({"converterQuality"}));
    auto copy = make<AudioProcessCommandInstructions>();
    copy->setValueForKey(PropertyList::propertyListWithData(stored).toMap().value("converterQuality"),
                         "converterQuality");
    EXPECT_EQ(copy->converterQuality(), std::optional<double>(0.251953125));

    auto tie = make<AudioProcessCommandSourceTieInstructions>();
    tie->setValueForKey(qint64(5), "outputChannelIndex");
    tie->setValueForKey(-3.0, "gain");
    EXPECT_EQ(tie->outputChannelIndex(), 5u);
    EXPECT_EQ(tie->gain(), -3.0f);
}

// MARK: - Effects

TEST(InstructionRecords, EffectKeysClassNameAndClassInfoAreFields) {
    auto effect = make<AudioProcessCommandEffectInstructions>();
    EXPECT_EQ(effect->valueForKey("className").toString(), QString());
    effect->setValueForKey("APLTimePitchAudioProcessor", "className");
    EXPECT_EQ(effect->processorClassName(), "APLTimePitchAudioProcessor");
    EXPECT_EQ(effect->valueForKey("className").toString(), "APLTimePitchAudioProcessor");
    EXPECT_EQ(effect->className(), "AudioProcessCommandEffectInstructions");
    effect->setComponentClassInfo(QVariantMap());
    EXPECT_FALSE(Variant::isAbsent(effect->valueForKey("classInfo")));
}

// MARK: - Normalising setters

TEST(InstructionRecords, PropertyKeyIsStoredInLowerCase) {
    auto property = make<AudioProcessCommandPropertyInstructions>();
    property->setKey("TrackNumber");
    EXPECT_EQ(property->key(), "tracknumber");
    property->setValueForKey("ÄLBUM Artist", "key");
    EXPECT_EQ(property->key(), "älbum artist");
    property->setKey(QString());
    EXPECT_TRUE(property->key().isEmpty());
}

TEST(InstructionRecords, PropertyValueIsNeverAbsent) {
    auto property = make<AudioProcessCommandPropertyInstructions>();
    property->setValue(QVariant());
    EXPECT_TRUE(Variant::isString(property->value()));
    EXPECT_EQ(property->value().toString(), QString());

    property->setValue(7);
    property->setValueForKey(QVariant(), "value");
    EXPECT_TRUE(Variant::isString(property->valueForKey("value")));

    // Only absence is replaced: the null marker and empty values pass through.
    property->setValueForKey(Variant::null(), "value");
    EXPECT_TRUE(Variant::isNull(property->value()));
    property->setValue(QVariantList());
    EXPECT_TRUE(Variant::isList(property->value()));
}

// MARK: - Additional arguments

TEST(InstructionRecords, KeysThatAreNoFieldAnswerFromAdditionalArguments) {
    auto instructions = make<AudioProcessCommandInstructions>();
    instructions->addArgumentValue(8, "QLP precision");
    instructions->addArgumentValue("VBR", "bit rate method");
    EXPECT_EQ(instructions->valueForKey("QLP precision").toInt(), 8);
    EXPECT_EQ(instructions->valueForKey("bit rate method").toString(), "VBR");
    EXPECT_EQ(instructions->additionalArguments().size(), 2);

    // Neither a field nor an argument: absent, without raising.
    EXPECT_TRUE(Variant::isAbsent(instructions->valueForKey("max order")));

    // A field answers as a field even when an argument has its name.
    instructions->addArgumentValue("MP3 Audio File", "format");
    EXPECT_TRUE(Variant::isAbsent(instructions->valueForKey("format")));

    // Storing nothing removes the argument.
    instructions->addArgumentValue(QVariant(), "QLP precision");
    EXPECT_TRUE(Variant::isAbsent(instructions->valueForKey("QLP precision")));
    EXPECT_FALSE(instructions->additionalArguments().contains("QLP precision"));
}

TEST(InstructionRecords, AddingAnArgumentIsObservableByItsKeyAndByTheDictionary) {
    auto instructions = make<AudioProcessCommandInstructions>();
    ChangeLog byKey(*instructions, "target bit rate");
    ChangeLog byDictionary(*instructions, "additionalArguments");
    instructions->addArgumentValue(192000, "target bit rate");
    ASSERT_EQ(byKey.changes.size(), 1u);
    EXPECT_TRUE(Variant::isAbsent(byKey.changes[0].oldValue));
    EXPECT_EQ(byKey.changes[0].newValue.toInt(), 192000);
    ASSERT_EQ(byDictionary.changes.size(), 1u);
    EXPECT_EQ(byDictionary.changes[0].newValue.toMap().value("target bit rate").toInt(), 192000);
}

// MARK: - Observation

TEST(InstructionRecords, SeveralTiesAreRemovedAsOneChange) {
    auto source = make<AudioProcessCommandSourceInstructions>();
    std::vector<std::shared_ptr<AudioProcessCommandSourceTieInstructions>> ties;
    for (quint64 i = 0; i < 4; ++i) {
        ties.push_back(make<AudioProcessCommandSourceTieInstructions>());
        ties.back()->setInputChannelIndex(i);
        source->insertObjectInSourceTieInstructionsAtIndex(ties.back(), qsizetype(i));
    }
    ChangeLog log(*source, "sourceTieInstructions");
    source->removeSourceTieInstructionsAtIndexes(IndexSet{0, 2, 9});
    ASSERT_EQ(log.changes.size(), 1u);
    EXPECT_EQ(log.changes[0].kind, KeyValueChange::Removal);
    EXPECT_EQ(log.changes[0].indexes, (IndexSet{0, 2}));
    ASSERT_EQ(source->countOfSourceTieInstructions(), 2);
    EXPECT_EQ(source->objectInSourceTieInstructionsAtIndex(0), ties[1]);
    EXPECT_EQ(source->objectInSourceTieInstructionsAtIndex(1), ties[3]);

    source->removeSourceTieInstructionsAtIndexes(IndexSet{5});
    EXPECT_EQ(log.changes.size(), 1u);
}

// MARK: - Lists forgive bad indexes

TEST(InstructionRecords, BadIndexesNeitherCrashNorLoseObjects) {
    auto group = make<AudioProcessCommandGroup>();
    auto a = make<AudioProcessCommand>();
    auto b = make<AudioProcessCommand>();
    group->insertObjectInAudioProcessCommandsAtIndex(a, 7);   // appends
    group->insertObjectInAudioProcessCommandsAtIndex(b, -1);  // prepends
    group->insertObjectInAudioProcessCommandsAtIndex(nullptr, 0);
    ASSERT_EQ(group->countOfAudioProcessCommands(), 2);
    EXPECT_EQ(group->objectInAudioProcessCommandsAtIndex(0), b);
    EXPECT_EQ(group->objectInAudioProcessCommandsAtIndex(1), a);
    EXPECT_EQ(group->objectInAudioProcessCommandsAtIndex(2), nullptr);
    EXPECT_EQ(group->objectInAudioProcessCommandsAtIndex(-1), nullptr);
    group->removeObjectFromAudioProcessCommandsAtIndex(2);
    group->removeObjectFromAudioProcessCommandsAtIndex(-1);
    EXPECT_EQ(group->countOfAudioProcessCommands(), 2);

    auto enumerated = group->enumeratorOfAudioProcessCommands();
    group->removeObjectFromAudioProcessCommandsAtIndex(0);
    EXPECT_EQ(enumerated.size(), 2u);  // a snapshot, untouched by later changes
}

// MARK: - Ownership

TEST(InstructionRecords, DroppingTheGroupReleasesTheWholeTreeAndTheFile) {
    auto file = testFileEntity(1.0);
    std::weak_ptr<AudioProcessCommandGroup> weakGroup;
    std::weak_ptr<AudioProcessCommand> weakCommand;
    std::weak_ptr<AudioProcessCommandSourceInstructions> weakSource;
    std::weak_ptr<AudioProcessCommandInstructions> weakInstructions;
    {
        auto group = make<AudioProcessCommandGroup>();
        auto command = make<AudioProcessCommand>();
        auto sources = make<AudioProcessCommandSourceInstructionsGroup>();
        auto source = make<AudioProcessCommandSourceInstructions>();
        auto instructions = make<AudioProcessCommandInstructions>();
        source->setFileEntity(file);
        source->insertObjectInEffectInstructionsAtIndex(make<AudioProcessCommandEffectInstructions>(), 0);
        sources->insertObjectInSourceInstructionsAtIndex(source, 0);
        instructions->insertObjectInPropertyInstructionsAtIndex(make<AudioProcessCommandPropertyInstructions>(), 0);
        command->setSourceInstructionsGroup(sources);
        command->setProcessInstructions(instructions);
        group->insertObjectInAudioProcessCommandsAtIndex(command, 0);
        weakGroup = group;
        weakCommand = command;
        weakSource = source;
        weakInstructions = instructions;
        EXPECT_GT(file.use_count(), 1);  // the source holds it strongly
    }
    EXPECT_TRUE(weakGroup.expired());
    EXPECT_TRUE(weakCommand.expired());
    EXPECT_TRUE(weakSource.expired());
    EXPECT_TRUE(weakInstructions.expired());
    EXPECT_EQ(file.use_count(), 1);
}

} // namespace

} // namespace ondrel
