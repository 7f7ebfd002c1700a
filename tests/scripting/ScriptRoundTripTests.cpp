#include "catalog/adding/AddFilesFileProcessCommand.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "process/instructions/AudioProcessCommandGroup.h"
#include "scripting/ScriptRunReader.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QDir>

using namespace ondrel;

namespace {

using Effect = AudioProcessCommandEffectInstructions;
using Tie = AudioProcessCommandSourceTieInstructions;
using Source = AudioProcessCommandSourceInstructions;
using Instructions = AudioProcessCommandInstructions;

EntityPtr entityWithID(const QString& ID) { return EntityController::sharedInstance()->rootGroup()->entityWithID(ID); }

// Compares two record trees field by field, by key; file entities by identity.
void expectSameRecords(const QVariant& a, const QVariant& b, const QString& path) {
    const ObjectPtr x = Variant::object(a);
    const ObjectPtr y = Variant::object(b);
    if (x && y && x->className().startsWith(QLatin1String("AudioProcessCommand"))) {
        ASSERT_EQ(x->className(), y->className()) << qPrintable(path);
        for (const QString& key : x->classInfo().propertyKeys())
            if (key != QLatin1String("range"))
                expectSameRecords(x->valueForKey(key), y->valueForKey(key), path + QLatin1Char('.') + key);
    } else if (Variant::isList(a) && Variant::isList(b) && !a.toList().isEmpty()) {
        ASSERT_EQ(a.toList().size(), b.toList().size()) << qPrintable(path);
        for (qsizetype i = 0; i < a.toList().size(); ++i)
            expectSameRecords(a.toList()[i], b.toList()[i], path + QStringLiteral("[%1]").arg(i));
    } else {
        EXPECT_TRUE(Variant::equal(a, b) || (x && x == y))
            << qPrintable(path) << ": " << qPrintable(Variant::describe(a)) << " vs " << qPrintable(Variant::describe(b));
    }
}

std::shared_ptr<Effect> effect(const QString& className, const QVariantMap& parameters) {
    auto e = std::make_shared<Effect>();
    if (className.isEmpty()) {
        e->setType(0x61756678);          // "aufx"
        e->setSubtype(0x6C706173);       // "lpas"
        e->setManufacturer(0x61706C20);  // "apl "
    }
    e->setProcessorClassName(className);
    e->setParameters(parameters);
    e->setComponentClassInfo(QVariantMap{{QStringLiteral("data"), 1}});  // never written
    return e;
}

std::shared_ptr<Tie> tie(quint64 in, quint64 out, float gain, bool invert) {
    auto t = std::make_shared<Tie>();
    t->setInputChannelIndex(in);
    t->setOutputChannelIndex(out);
    t->setGain(gain);
    t->setInvert(invert);
    return t;
}

// Variant 0 leaves every optional field absent, 1 sets them all, 2 sets them
// to the other booleans and values.
std::shared_ptr<AudioProcessCommand> command(int variant, const std::shared_ptr<FileEntity>& file) {
    auto source = std::make_shared<Source>();
    source->setFileEntity(file);
    auto instructions = std::make_shared<Instructions>();
    if (variant == 0) {
        source->setIncludeLabels(std::nullopt);
        source->setIncludeProperties(std::nullopt);
    } else {
        const bool on = variant == 1;
        source->setLocation(on ? 0.1 : 1e21);
        source->setLength(on ? 1.0 / 3.0 : 48000.0);
        source->setSourceStart(on ? 2.5e-7 : -6.02e23);
        source->setReverse(on);
        source->setGain(on ? -3.25 : 0.0);
        source->setFadeInLength(0.5);
        source->setFadeOutLength(on ? 7.0 : 123456789.125);
        source->setFadeInCurve(QStringLiteral("ease in"));
        source->setFadeOutCurve(QStringLiteral("cpow"));
        source->setIncludeLabels(!on);
        source->setIncludeProperties(on);
        source->setEffectInstructions({effect(QStringLiteral("APLTimePitchAudioProcessor"),
                                              {{QStringLiteral("Rate"), 1.5}, {QStringLiteral("Mode"), QStringLiteral("x")}}),
                                       effect(QString(), {{QStringLiteral("cutoff"), 440}})});
        source->setSourceTieInstructions({tie(0, 1, 0.0f, false), tie(1, 0, on ? -0.1f : 6.0f, on)});

        instructions->setFormat(QStringLiteral("FLAC Audio File"));
        instructions->setEncoding(QStringLiteral("PCM"));
        instructions->setNumberOfChannels(on ? 2 : 1);
        instructions->setBitDepth(24);
        instructions->setFloatingPoint(on);
        instructions->setBitrate(320000);  // has no key in the text: lost
        instructions->setResample(!on);
        instructions->setSampleRate(on ? 44100.0 : 22050.5);
        instructions->setConverterName(QStringLiteral("Apple Standard"));
        instructions->setConverterQuality(0.25196850393700787);
        instructions->setLength(12.75);
        instructions->setRetainTail(on);
        instructions->setMaximumTailLength(10.0);
        instructions->setGain(on ? -1.5 : 0.0);
        instructions->setFadeInLength(0.01);
        instructions->setFadeOutLength(2.0);
        instructions->setFadeInCurve(QStringLiteral("power"));
        instructions->setFadeOutCurve(QStringLiteral("ease in and out"));
        const std::pair<const char*, QVariant> properties[] = {
            {"album", QStringLiteral("Live")},
            {"date", QDateTime(QDate(2026, 3, 14), QTime(21, 26, 53), Qt::UTC)},
            {"genre", QStringList{QStringLiteral("Jazz"), QStringLiteral("Folk")}},
            {"track", 7},
            {"compilation", on}};
        std::vector<std::shared_ptr<AudioProcessCommandPropertyInstructions>> list;
        for (const auto& [key, value] : properties) {
            list.push_back(std::make_shared<AudioProcessCommandPropertyInstructions>());
            list.back()->setKey(QString::fromLatin1(key));
            list.back()->setValue(value);
        }
        // The properties record reads back in key order.
        std::sort(list.begin(), list.end(), [](auto& p, auto& q) { return p->key() < q->key(); });
        instructions->setPropertyInstructions(list);
        instructions->addArgumentValue(QStringLiteral("VBR"), QStringLiteral("bit rate method"));
        instructions->addArgumentValue(on ? 5 : 0, QStringLiteral("QLP precision"));
        instructions->addArgumentValue(0.75, QStringLiteral("quality"));
    }
    auto command = std::make_shared<AudioProcessCommand>();
    command->setSourceInstructionsGroup(std::make_shared<AudioProcessCommandSourceInstructionsGroup>());
    command->sourceInstructionsGroup()->setSourceInstructions({source});
    command->setProcessInstructions(instructions);
    if (variant != 2)
        command->setDestination(URL::fileURLWithPath(QStringLiteral("/tmp/Out Folder")));
    command->setFilename(variant == 0 ? std::optional<QString>() : QStringLiteral("take %1").arg(variant));
    command->setReplaceOriginal(variant == 2);
    return command;
}

// What the text can't carry: the effect's class info, the bit rate, and an
// absent "include labels" or "include properties", which reads as the default.
void dropWhatTheTextLoses(const AudioProcessCommand& command) {
    for (const auto& source : command.sourceInstructionsGroup()->sourceInstructions()) {
        for (const auto& e : source->effectInstructions())
            e->setComponentClassInfo(std::nullopt);
        source->setIncludeLabels(source->includeLabels().value_or(true));
        source->setIncludeProperties(source->includeProperties().value_or(true));
    }
    command.processInstructions()->setBitrate(std::nullopt);
}

class ScriptRoundTripTest : public CatalogTest {
protected:
    void SetUp() override {
        CatalogTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(dataPath(QStringLiteral("Album"))));
        ASSERT_TRUE(writeTestWav(dataPath(QStringLiteral("Album/a.wav")), 2));
        addToCatalog({dataPath(QStringLiteral("Album"))});
        m_file = std::dynamic_pointer_cast<FileEntity>(
            EntityController::sharedInstance()->entityNamed(dataPath(QStringLiteral("Album/a.wav"))));
        ASSERT_TRUE(m_file);
    }
    void TearDown() override {
        m_file.reset();
        CatalogTest::TearDown();
    }
    std::shared_ptr<FileEntity> m_file;
};

} // namespace

// Every record written by the group's text reads back into the same fields:
// a field written under the wrong key, in a form that reads back otherwise
// (a double cut short, a float gain), or left out shows up here.
TEST_F(ScriptRoundTripTest, RecordsReadBackFieldByField) {
    ASSERT_EQ(m_file->scriptDescription(), QStringLiteral("entity id \"%1\" of entity id \"%2\"")
                                                .arg(m_file->ID(), m_file->parent()->ID()));
    auto group = std::make_shared<AudioProcessCommandGroup>();
    group->setName(QStringLiteral("Run 1"));
    group->setRehearse(true);
    for (int variant = 0; variant < 3; ++variant)
        group->insertObjectInAudioProcessCommandsAtIndex(command(variant, m_file), variant);
    // A file process with no script form drops out of the text.
    group->insertObjectInFileProcessCommandsAtIndex(std::make_shared<AddFilesFileProcessCommand>(), 0);
    const QString text = group->scriptDescription();

    VMKError error;
    auto read = ScriptRunReader::groupWithScriptText(text, entityWithID, &error);
    ASSERT_TRUE(read) << qPrintable(error.localizedDescription()) << "\n" << qPrintable(text);
    for (const auto& c : group->audioProcessCommands())
        dropWhatTheTextLoses(*c);
    group->setFileProcessCommands({});
    expectSameRecords(Variant::fromObject(group), Variant::fromObject(read), QStringLiteral("group"));
    EXPECT_EQ(read->scriptDescription().toStdString(), group->scriptDescription().toStdString());
}

// The output effects and labels are written but, as the reader hands the
// record's keys to their readers, don't read: the run fails with an error
// naming the command's line, where a plain dereference would crash.
TEST_F(ScriptRoundTripTest, OutputEffectsAndLabelsDontReadBack) {
    for (int which = 0; which < 2; ++which) {
        auto group = std::make_shared<AudioProcessCommandGroup>();
        group->setName(QStringLiteral("Effects"));
        auto c = command(0, m_file);
        if (which == 0)
            c->processInstructions()->setEffectInstructions({effect(QStringLiteral("VMKRemoveDCAudioProcessor"), {})});
        else
            c->processInstructions()->setLabelInstructions({std::make_shared<AudioProcessCommandLabelInstructions>()});
        group->insertObjectInAudioProcessCommandsAtIndex(c, 0);
        VMKError error;
        EXPECT_FALSE(ScriptRunReader::groupWithScriptText(group->scriptDescription(), entityWithID, &error));
        EXPECT_EQ(error.code(), 2);
        EXPECT_EQ(error.userInfo().value(QStringLiteral("line")).toInt(), 5) << qPrintable(error.localizedDescription());
    }
    // The label record itself reads back: only the instructions reader fails it.
    auto label = std::make_shared<AudioProcessCommandLabelInstructions>();
    label->setType(QStringLiteral("region"));
    label->setLocation(2.5);
    label->setLength(1e-3);
    auto back = AudioProcessCommandLabelInstructions::initWithScriptArguments(
        ScriptValueReader::valueWithText(label->scriptDescription()));
    ASSERT_TRUE(back);
    expectSameRecords(Variant::fromObject(label), Variant::fromObject(back), QStringLiteral("label"));
}

// An entity specifier must name the entity in its own groups; a group where
// a file belongs fails the source instead of reaching the render.
TEST_F(ScriptRoundTripTest, EntitySpecifiersAreCheckedAgainstTheCatalog) {
    const QString album = m_file->parent()->ID();
    const QString cases[] = {
        QStringLiteral("entity id \"%1\"").arg(m_file->ID()),                       // outside its group
        QStringLiteral("entity id \"%1\" of entity id \"%1\"").arg(album),          // the wrong group
        QStringLiteral("entity id \"NO-SUCH-ID\""),                                 // unknown
        QStringLiteral("entity id \"%1\"").arg(album),                              // a group, not a file
    };
    for (const QString& entity : cases) {
        const QString text = QStringLiteral("begin processing with name \"x\"\nprocess sources {{|entity|:%1}} "
                                            "with instructions {}\nend processing\n").arg(entity);
        VMKError error;
        EXPECT_FALSE(ScriptRunReader::groupWithScriptText(text, entityWithID, &error)) << qPrintable(entity);
        EXPECT_EQ(error.userInfo().value(QStringLiteral("line")).toInt(), 2) << qPrintable(error.localizedDescription());
    }
}
