#include "core/storage/PropertyList.h"
#include "core/storage/UserDefaults.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ondrel {

namespace {

// Each test starts from its own ONDREL_HOME and a freshly read shared instance.
class UserDefaultsTest : public ::testing::Test {
protected:
    void SetUp() override { UserDefaults::resetStandardUserDefaults(); }
    void TearDown() override { UserDefaults::resetStandardUserDefaults(); }

    static std::shared_ptr<UserDefaults> restart() {
        UserDefaults::resetStandardUserDefaults();
        return UserDefaults::standardUserDefaults();
    }

    TemporaryHome home;
};

} // namespace

TEST_F(UserDefaultsTest, StoredValuesSurviveARestart) {
    auto defaults = UserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults, UserDefaults::standardUserDefaults());
    EXPECT_EQ(defaults->filePath(), home.filePath("Defaults.plist"));

    const QDateTime when(QDate(2024, 3, 1), QTime(12, 0, 0, 250), Qt::UTC);
    defaults->setBoolForKey(true, "waveformWindowVisible");
    defaults->setIntegerForKey(13, "timeFormat");
    defaults->setDoubleForKey(0.5, "StreamVolume");
    defaults->setObjectForKey("LUFS", "loudnessFormat");
    defaults->setObjectForKey(QByteArray("\x00\xff", 2), "entitiesPredicate");
    defaults->setObjectForKey(when, "lastRun");
    defaults->setObjectForKey(QVariantMap{{"router", QVariantList{0, 1}}}, "StreamOutputDeviceRouter_1");
    defaults->setObjectForKey("gone", "removed");
    defaults->removeObjectForKey("removed");

    const auto again = restart();
    EXPECT_NE(again, defaults);
    EXPECT_TRUE(again->boolForKey("waveformWindowVisible"));
    EXPECT_EQ(again->integerForKey("timeFormat"), 13);
    EXPECT_EQ(again->doubleForKey("StreamVolume"), 0.5);
    EXPECT_EQ(again->stringForKey("loudnessFormat"), "LUFS");
    EXPECT_EQ(again->dataForKey("entitiesPredicate"), QByteArray("\x00\xff", 2));
    EXPECT_EQ(again->objectForKey("lastRun").toDateTime(), when);
    EXPECT_EQ(again->dictionaryForKey("StreamOutputDeviceRouter_1").value("router").toList().size(), 2);
    EXPECT_FALSE(again->objectForKey("removed").isValid());

    // The file is a plain property list of the stored values.
    const QVariantMap onDisk = PropertyList::readFromFile(home.filePath("Defaults.plist")).toMap();
    EXPECT_TRUE(Variant::equal(onDisk, again->persistentDomain()));
    EXPECT_EQ(onDisk.size(), 7);
}

TEST_F(UserDefaultsTest, RegisteredValuesNeverHideOrOverwriteStoredOnes) {
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->setObjectForKey("peak", "levelFormat");
    defaults->registerDefaults({{"levelFormat", "decibel"}, {"confirmRunWorkflow", true}, {"MIDIChannel", 0}});
    EXPECT_EQ(defaults->stringForKey("levelFormat"), "peak");
    EXPECT_TRUE(defaults->boolForKey("confirmRunWorkflow"));

    // Registering again merges: new keys join, a key registered again takes the new value.
    defaults->registerDefaults({{"MIDIChannel", 3}, {"frequencyFormat", "hz"}});
    EXPECT_TRUE(defaults->boolForKey("confirmRunWorkflow"));
    EXPECT_EQ(defaults->integerForKey("MIDIChannel"), 3);
    EXPECT_EQ(defaults->stringForKey("frequencyFormat"), "hz");

    const QVariantMap all = defaults->dictionaryRepresentation();
    EXPECT_EQ(all.value("levelFormat").toString(), "peak");
    EXPECT_EQ(all.size(), 4);
    EXPECT_EQ(defaults->persistentDomain().size(), 1);  // registered values are never written

    // After a restart the stored value still wins over a registration.
    defaults = restart();
    defaults->registerDefaults({{"levelFormat", "decibel"}});
    EXPECT_EQ(defaults->stringForKey("levelFormat"), "peak");
    EXPECT_FALSE(defaults->objectForKey("MIDIChannel").isValid());
    // Removing the stored value uncovers the registered one.
    defaults->removeObjectForKey("levelFormat");
    EXPECT_EQ(defaults->stringForKey("levelFormat"), "decibel");
    EXPECT_TRUE(restart()->persistentDomain().isEmpty());
}

TEST_F(UserDefaultsTest, ObserversOfOneKeyAreToldOfItsSetsAndRemovesOnly) {
    auto defaults = UserDefaults::standardUserDefaults();
    std::vector<KeyValueChangeInfo> changes;
    QVariant seenInside;
    const auto handle = defaults->observe("StreamVolume", KeyValueObservingOptionNew | KeyValueObservingOptionOld,
                                          [&](const KeyValueChangeInfo& change) {
                                              changes.push_back(change);
                                              // No lock is held here: reading and writing is fine.
                                              seenInside = defaults->objectForKey("StreamVolume");
                                              defaults->setIntegerForKey(qint64(changes.size()), "observerCalls");
                                          });

    defaults->setDoubleForKey(0.25, "StreamVolume");
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].kind, KeyValueChange::Setting);
    EXPECT_FALSE(changes[0].oldValue.isValid());
    EXPECT_EQ(changes[0].newValue.toDouble(), 0.25);
    EXPECT_EQ(seenInside.toDouble(), 0.25);

    defaults->setObjectForKey("x", "StreamRepeat");
    defaults->removeObjectForKey("StreamRepeat");
    EXPECT_EQ(changes.size(), 1u);

    defaults->setValueForKey(0.75, "StreamVolume");  // key-value coding sets the default
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1].oldValue.toDouble(), 0.25);
    EXPECT_EQ(defaults->valueForKey("StreamVolume").toDouble(), 0.75);

    defaults->removeObjectForKey("StreamVolume");
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(changes[2].oldValue.toDouble(), 0.75);
    EXPECT_FALSE(changes[2].newValue.isValid());

    // A registration that changes what the key answers is a change too.
    defaults->registerDefaults({{"StreamVolume", 1.0}});
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_EQ(changes[3].newValue.toDouble(), 1.0);
    defaults->registerDefaults({{"StreamVolume", 1.0}, {"StreamPreview", false}});
    EXPECT_EQ(changes.size(), 4u);

    EXPECT_EQ(restart()->integerForKey("observerCalls"), 4);
}

TEST_F(UserDefaultsTest, ConcurrentSetsAreAllPersisted) {
    auto defaults = UserDefaults::standardUserDefaults();
    std::atomic<int> told{0};
    const auto handle =
        defaults->observe("shared", KeyValueObservingOptionNew, [&](const KeyValueChangeInfo&) { ++told; });

    constexpr int kThreads = 6;
    constexpr int kKeysPerThread = 25;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([defaults, t] {
            for (int k = 0; k < kKeysPerThread; ++k) {
                defaults->setIntegerForKey(t * 1000 + k, QString("thread%1_key%2").arg(t).arg(k));
                defaults->setIntegerForKey(t, "shared");
                (void)defaults->dictionaryRepresentation();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(told.load(), kThreads * kKeysPerThread);

    const auto again = restart();
    for (int t = 0; t < kThreads; ++t)
        for (int k = 0; k < kKeysPerThread; ++k)
            EXPECT_EQ(again->integerForKey(QString("thread%1_key%2").arg(t).arg(k)), t * 1000 + k);
    EXPECT_EQ(again->persistentDomain().size(), kThreads * kKeysPerThread + 1);
}

// Run in a child process by the test below: changes the shared defaults and
// lets the process end without synchronizing.
TEST(UserDefaultsAtExit, ChildChangesAndExits) {
    if (qEnvironmentVariableIsEmpty("ONDREL_DEFAULTS_EXIT_CHILD"))
        GTEST_SKIP() << "runs only as the child of ChangesMadeJustBeforeExitAreKept";
    qputenv("ONDREL_HOME", qgetenv("ONDREL_DEFAULTS_EXIT_CHILD"));  // the test main made its own
    const auto defaults = UserDefaults::standardUserDefaults();
    for (int i = 0; i < 200; ++i)
        defaults->setIntegerForKey(i, QString("key%1").arg(i));
}

TEST_F(UserDefaultsTest, ChangesMadeJustBeforeExitAreKept) {
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("ONDREL_DEFAULTS_EXIT_CHILD", home.path());
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {"--gtest_filter=UserDefaultsAtExit.*"});
    ASSERT_TRUE(child.waitForFinished(60000));
    ASSERT_EQ(child.exitStatus(), QProcess::NormalExit);
    ASSERT_EQ(child.exitCode(), 0) << child.readAll().toStdString();

    const auto defaults = restart();
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(defaults->integerForKey(QString("key%1").arg(i)), i);
}

TEST_F(UserDefaultsTest, PrivateInstanceWritesWhatIsLeftWhenItGoesAway) {
    const QString path = home.filePath("private.plist");
    auto own = std::make_shared<UserDefaults>(path);
    for (int i = 0; i < 50; ++i)
        own->setIntegerForKey(i, QString("own%1").arg(i));
    own.reset();
    EXPECT_EQ(PropertyList::readFromFile(path).toMap().size(), 50);
}

TEST_F(UserDefaultsTest, DamagedFileIsReportedOnceAndKeptAside) {
    const QString path = home.filePath("Defaults.plist");
    const QByteArray damaged("<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict>\n<key>half");
    writeFile(path, damaged);

    WarningCollector warnings;
    auto defaults = restart();
    EXPECT_EQ(warnings.count(), 1);
    EXPECT_TRUE(defaults->persistentDomain().isEmpty());
    const QStringList aside = QDir(home.path()).entryList({"Defaults-corrupt-*.plist"}, QDir::Files);
    ASSERT_EQ(aside.size(), 1);
    QFile kept(home.filePath(aside[0]));
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), damaged);

    defaults->setBoolForKey(true, "fresh");
    EXPECT_TRUE(restart()->boolForKey("fresh"));
    EXPECT_EQ(warnings.count(), 1);

    // A well formed list whose root is not a dictionary is damaged too; a
    // second damaged file goes aside beside the first.
    writeFile(path, PropertyList::dataWithPropertyList(QVariantList{1, 2}));
    defaults = restart();
    EXPECT_EQ(warnings.count(), 2);
    EXPECT_FALSE(defaults->objectForKey("fresh").isValid());
    EXPECT_EQ(QDir(home.path()).entryList({"Defaults-corrupt-*.plist"}, QDir::Files).size(), 2);
}

TEST_F(UserDefaultsTest, ValuesWithoutAPropertyListFormAreRefused) {
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->setIntegerForKey(4, "kept");
    WarningCollector warnings;
    defaults->setObjectForKey(Variant::null(), "kept");
    defaults->setObjectForKey(QVariantList{Variant::null()}, "other");
    EXPECT_EQ(warnings.count(), 2);
    EXPECT_EQ(defaults->integerForKey("kept"), 4);
    EXPECT_FALSE(defaults->objectForKey("other").isValid());
    defaults->setObjectForKey(QVariant(), "kept");  // absent removes
    EXPECT_FALSE(restart()->objectForKey("kept").isValid());
}

TEST_F(UserDefaultsTest, AValueTheFileCantHoldIsRefusedAndNeverBlocksLaterWrites) {
    auto defaults = UserDefaults::standardUserDefaults();
    WarningCollector warnings;
    defaults->setObjectForKey(QDateTime(QDate(12000, 1, 1), QTime(0, 0), Qt::UTC), "far");
    EXPECT_EQ(warnings.count(), 1);
    EXPECT_FALSE(defaults->objectForKey("far").isValid());
    defaults->setIntegerForKey(7, "later");
    VMKError error;
    EXPECT_TRUE(defaults->synchronize(&error)) << error.reason().toStdString();
    EXPECT_EQ(restart()->integerForKey("later"), 7);
}

TEST_F(UserDefaultsTest, TypedReadersConvert) {
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->registerDefaults({
        {"yesText", "YES"}, {"trueText", "true"}, {"oneText", " 1 "}, {"noText", "no"}, {"real", 2.9},
        {"negativeReal", -2.9}, {"numberText", "42"}, {"realText", "1.5"}, {"integer", 7}, {"flag", true},
        {"list", QVariantList{"a", "b"}}, {"mixedList", QVariantList{"a", 1}}, {"map", QVariantMap{{"k", 1}}},
    });
    for (const char* key : {"yesText", "trueText", "oneText", "real"})
        EXPECT_TRUE(defaults->boolForKey(key)) << key;
    for (const char* key : {"noText", "missing", "list"})
        EXPECT_FALSE(defaults->boolForKey(key)) << key;
    const std::pair<const char*, qint64> integers[] = {{"real", 2},     {"negativeReal", -2}, {"numberText", 42},
                                                       {"realText", 1}, {"flag", 1},          {"noText", 0}};
    for (const auto& [key, expected] : integers)
        EXPECT_EQ(defaults->integerForKey(key), expected) << key;
    EXPECT_EQ(defaults->doubleForKey("realText"), 1.5);
    EXPECT_EQ(defaults->doubleForKey("integer"), 7.0);

    EXPECT_EQ(defaults->stringForKey("integer"), "7");
    EXPECT_TRUE(defaults->stringForKey("list").isNull());
    EXPECT_TRUE(defaults->stringForKey("missing").isNull());
    EXPECT_EQ(defaults->stringArrayForKey("list"), QStringList({"a", "b"}));
    EXPECT_TRUE(defaults->stringArrayForKey("mixedList").isEmpty());
    EXPECT_EQ(defaults->arrayForKey("mixedList").size(), 2);
    EXPECT_TRUE(defaults->arrayForKey("map").isEmpty());
    EXPECT_EQ(defaults->dictionaryForKey("map").value("k").toInt(), 1);
    EXPECT_TRUE(defaults->dataForKey("yesText").isEmpty());
}

TEST_F(UserDefaultsTest, FileFollowsTheEnvironment) {
    const QString first = UserDefaults::defaultsFilePath();
    EXPECT_EQ(first, home.filePath("Defaults.plist"));
    UserDefaults::standardUserDefaults()->setIntegerForKey(1, "where");

    {
        TemporaryHome other;
        auto defaults = restart();
        EXPECT_EQ(defaults->filePath(), other.filePath("Defaults.plist"));
        EXPECT_FALSE(defaults->objectForKey("where").isValid());
        defaults->setIntegerForKey(2, "where");
        UserDefaults::resetStandardUserDefaults();
    }
    EXPECT_EQ(restart()->integerForKey("where"), 1);

    // Without ONDREL_HOME the file lives in the configuration folder, made on first write.
    ScopedEnvironment noHome("ONDREL_HOME", QString());
    ScopedEnvironment config("XDG_CONFIG_HOME", home.filePath("config"));
    const QString configPath = home.filePath("config/ondrel/Defaults.plist");
    EXPECT_EQ(UserDefaults::defaultsFilePath(), configPath);
    auto defaults = restart();
    defaults->setIntegerForKey(3, "where");
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_TRUE(QFile::exists(configPath));
    ScopedEnvironment emptyConfig("XDG_CONFIG_HOME", "");
    EXPECT_EQ(UserDefaults::defaultsFilePath(), QDir::home().filePath(".config/ondrel/Defaults.plist"));
}

TEST_F(UserDefaultsTest, UnwritableFileIsReportedOnceAndSynchronizeSaysSo) {
    // The folder of the file is taken by a plain file: nothing can be written there.
    const QString blocker = home.filePath("blocker");
    writeFile(blocker, "not a folder");
    UserDefaults defaults(blocker + "/Defaults.plist");
    WarningCollector warnings;
    defaults.setIntegerForKey(1, "a");
    defaults.setIntegerForKey(2, "b");
    VMKError error;
    EXPECT_FALSE(defaults.synchronize(&error));
    EXPECT_TRUE(error.isError());
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_EQ(warnings.count(), 1);             // once, not at every attempt
    EXPECT_EQ(defaults.integerForKey("b"), 2);  // the values still hold in memory

    ASSERT_TRUE(QFile::remove(blocker));
    EXPECT_TRUE(defaults.synchronize(&error));
    EXPECT_EQ(UserDefaults(defaults.filePath()).integerForKey("a"), 1);
}

} // namespace ondrel
