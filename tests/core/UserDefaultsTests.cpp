#include "core/PropertyList.h"
#include "core/UserDefaults.h"

#include "tests/support/TestSupport.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

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

// Counts warnings while alive.
class WarningCounter {
public:
    WarningCounter() {
        s_count = 0;
        m_previous = qInstallMessageHandler(&WarningCounter::handle);
    }
    ~WarningCounter() { qInstallMessageHandler(m_previous); }
    int count() const { return s_count.load(); }

private:
    static void handle(QtMsgType type, const QMessageLogContext&, const QString&) {
        if (type == QtWarningMsg)
            ++s_count;
    }
    static inline std::atomic<int> s_count{0};
    QtMessageHandler m_previous;
};

void writeFile(const QString& path, const QByteArray& data) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(data);
}

} // namespace

TEST_F(UserDefaultsTest, StoredValuesSurviveARestart) {
    auto defaults = UserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults, UserDefaults::standardUserDefaults());
    EXPECT_EQ(defaults->filePath(), home.filePath(QStringLiteral("Defaults.plist")));

    const QDateTime when(QDate(2024, 3, 1), QTime(12, 0, 0, 250), Qt::UTC);
    defaults->setBoolForKey(true, QStringLiteral("waveformWindowVisible"));
    defaults->setIntegerForKey(13, QStringLiteral("timeFormat"));
    defaults->setDoubleForKey(0.5, QStringLiteral("StreamVolume"));
    defaults->setObjectForKey(QStringLiteral("LUFS"), QStringLiteral("loudnessFormat"));
    defaults->setObjectForKey(QByteArray("\x00\xff", 2), QStringLiteral("entitiesPredicate"));
    defaults->setObjectForKey(when, QStringLiteral("lastRun"));
    defaults->setObjectForKey(QVariantMap{{QStringLiteral("router"), QVariantList{0, 1}}},
                              QStringLiteral("StreamOutputDeviceRouter_1"));
    defaults->setObjectForKey(QStringLiteral("gone"), QStringLiteral("removed"));
    defaults->removeObjectForKey(QStringLiteral("removed"));

    const auto again = restart();
    EXPECT_NE(again, defaults);
    EXPECT_TRUE(again->boolForKey(QStringLiteral("waveformWindowVisible")));
    EXPECT_EQ(again->integerForKey(QStringLiteral("timeFormat")), 13);
    EXPECT_EQ(again->doubleForKey(QStringLiteral("StreamVolume")), 0.5);
    EXPECT_EQ(again->stringForKey(QStringLiteral("loudnessFormat")), QStringLiteral("LUFS"));
    EXPECT_EQ(again->dataForKey(QStringLiteral("entitiesPredicate")), QByteArray("\x00\xff", 2));
    EXPECT_EQ(again->objectForKey(QStringLiteral("lastRun")).toDateTime(), when);
    EXPECT_EQ(again->dictionaryForKey(QStringLiteral("StreamOutputDeviceRouter_1"))
                  .value(QStringLiteral("router"))
                  .toList()
                  .size(),
              2);
    EXPECT_FALSE(again->objectForKey(QStringLiteral("removed")).isValid());

    // The file is a plain property list of the stored values.
    const QVariantMap onDisk = PropertyList::readFromFile(home.filePath(QStringLiteral("Defaults.plist"))).toMap();
    EXPECT_TRUE(Variant::equal(onDisk, again->persistentDomain()));
    EXPECT_EQ(onDisk.size(), 7);
}

TEST_F(UserDefaultsTest, RegisteredValuesNeverHideOrOverwriteStoredOnes) {
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->setObjectForKey(QStringLiteral("peak"), QStringLiteral("levelFormat"));
    defaults->registerDefaults({{QStringLiteral("levelFormat"), QStringLiteral("decibel")},
                                {QStringLiteral("confirmRunWorkflow"), true},
                                {QStringLiteral("MIDIChannel"), 0}});
    EXPECT_EQ(defaults->stringForKey(QStringLiteral("levelFormat")), QStringLiteral("peak"));
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("confirmRunWorkflow")));

    // Registering again merges: new keys join, a key registered again takes the new value.
    defaults->registerDefaults({{QStringLiteral("MIDIChannel"), 3}, {QStringLiteral("frequencyFormat"), QStringLiteral("hz")}});
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("confirmRunWorkflow")));
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("MIDIChannel")), 3);
    EXPECT_EQ(defaults->stringForKey(QStringLiteral("frequencyFormat")), QStringLiteral("hz"));

    const QVariantMap all = defaults->dictionaryRepresentation();
    EXPECT_EQ(all.value(QStringLiteral("levelFormat")).toString(), QStringLiteral("peak"));
    EXPECT_EQ(all.size(), 4);
    EXPECT_EQ(defaults->persistentDomain().size(), 1);  // registered values are never written

    // After a restart the stored value still wins over a registration.
    defaults = restart();
    defaults->registerDefaults({{QStringLiteral("levelFormat"), QStringLiteral("decibel")}});
    EXPECT_EQ(defaults->stringForKey(QStringLiteral("levelFormat")), QStringLiteral("peak"));
    EXPECT_FALSE(defaults->objectForKey(QStringLiteral("MIDIChannel")).isValid());
    // Removing the stored value uncovers the registered one.
    defaults->removeObjectForKey(QStringLiteral("levelFormat"));
    EXPECT_EQ(defaults->stringForKey(QStringLiteral("levelFormat")), QStringLiteral("decibel"));
    EXPECT_TRUE(restart()->persistentDomain().isEmpty());
}

TEST_F(UserDefaultsTest, ObserversOfOneKeyAreToldOfItsSetsAndRemovesOnly) {
    auto defaults = UserDefaults::standardUserDefaults();
    std::vector<KeyValueChangeInfo> changes;
    QVariant seenInside;
    const auto handle = defaults->observe(QStringLiteral("StreamVolume"),
                                          KeyValueObservingOptionNew | KeyValueObservingOptionOld,
                                          [&](const KeyValueChangeInfo& change) {
                                              changes.push_back(change);
                                              // No lock is held here: reading and writing is fine.
                                              seenInside = defaults->objectForKey(QStringLiteral("StreamVolume"));
                                              defaults->setIntegerForKey(qint64(changes.size()),
                                                                         QStringLiteral("observerCalls"));
                                          });

    defaults->setDoubleForKey(0.25, QStringLiteral("StreamVolume"));
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].kind, KeyValueChange::Setting);
    EXPECT_FALSE(changes[0].oldValue.isValid());
    EXPECT_EQ(changes[0].newValue.toDouble(), 0.25);
    EXPECT_EQ(seenInside.toDouble(), 0.25);

    defaults->setObjectForKey(QStringLiteral("x"), QStringLiteral("StreamRepeat"));
    defaults->removeObjectForKey(QStringLiteral("StreamRepeat"));
    EXPECT_EQ(changes.size(), 1u);

    defaults->setValueForKey(0.75, QStringLiteral("StreamVolume"));  // key-value coding sets the default
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1].oldValue.toDouble(), 0.25);
    EXPECT_EQ(defaults->valueForKey(QStringLiteral("StreamVolume")).toDouble(), 0.75);

    defaults->removeObjectForKey(QStringLiteral("StreamVolume"));
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(changes[2].oldValue.toDouble(), 0.75);
    EXPECT_FALSE(changes[2].newValue.isValid());

    // A registration that changes what the key answers is a change too.
    defaults->registerDefaults({{QStringLiteral("StreamVolume"), 1.0}});
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_EQ(changes[3].newValue.toDouble(), 1.0);
    defaults->registerDefaults({{QStringLiteral("StreamVolume"), 1.0}, {QStringLiteral("StreamPreview"), false}});
    EXPECT_EQ(changes.size(), 4u);

    EXPECT_EQ(restart()->integerForKey(QStringLiteral("observerCalls")), 4);
}

TEST_F(UserDefaultsTest, ConcurrentSetsAreAllPersisted) {
    auto defaults = UserDefaults::standardUserDefaults();
    std::atomic<int> told{0};
    const auto handle =
        defaults->observe(QStringLiteral("shared"), KeyValueObservingOptionNew, [&](const KeyValueChangeInfo&) { ++told; });

    constexpr int kThreads = 6;
    constexpr int kKeysPerThread = 25;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([defaults, t] {
            for (int k = 0; k < kKeysPerThread; ++k) {
                defaults->setIntegerForKey(t * 1000 + k, QStringLiteral("thread%1_key%2").arg(t).arg(k));
                defaults->setIntegerForKey(t, QStringLiteral("shared"));
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
            EXPECT_EQ(again->integerForKey(QStringLiteral("thread%1_key%2").arg(t).arg(k)), t * 1000 + k);
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
        defaults->setIntegerForKey(i, QStringLiteral("key%1").arg(i));
}

TEST_F(UserDefaultsTest, ChangesMadeJustBeforeExitAreKept) {
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ONDREL_DEFAULTS_EXIT_CHILD"), home.path());
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--gtest_filter=UserDefaultsAtExit.*")});
    ASSERT_TRUE(child.waitForFinished(60000));
    ASSERT_EQ(child.exitStatus(), QProcess::NormalExit);
    ASSERT_EQ(child.exitCode(), 0) << child.readAll().toStdString();

    const auto defaults = restart();
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(defaults->integerForKey(QStringLiteral("key%1").arg(i)), i);
}

TEST_F(UserDefaultsTest, PrivateInstanceWritesWhatIsLeftWhenItGoesAway) {
    const QString path = home.filePath(QStringLiteral("private.plist"));
    auto own = std::make_shared<UserDefaults>(path);
    for (int i = 0; i < 50; ++i)
        own->setIntegerForKey(i, QStringLiteral("own%1").arg(i));
    own.reset();
    EXPECT_EQ(PropertyList::readFromFile(path).toMap().size(), 50);
}

TEST_F(UserDefaultsTest, DamagedFileIsReportedOnceAndKeptAside) {
    const QString path = home.filePath(QStringLiteral("Defaults.plist"));
    const QByteArray damaged("<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict>\n<key>half");
    writeFile(path, damaged);

    WarningCounter warnings;
    auto defaults = restart();
    EXPECT_EQ(warnings.count(), 1);
    EXPECT_TRUE(defaults->persistentDomain().isEmpty());
    const QStringList aside =
        QDir(home.path()).entryList({QStringLiteral("Defaults-corrupt-*.plist")}, QDir::Files);
    ASSERT_EQ(aside.size(), 1);
    QFile kept(home.filePath(aside[0]));
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), damaged);

    defaults->setBoolForKey(true, QStringLiteral("fresh"));
    EXPECT_TRUE(restart()->boolForKey(QStringLiteral("fresh")));
    EXPECT_EQ(warnings.count(), 1);

    // A well formed list whose root is not a dictionary is damaged too; a
    // second damaged file goes aside beside the first.
    writeFile(path, PropertyList::dataWithPropertyList(QVariantList{1, 2}));
    defaults = restart();
    EXPECT_EQ(warnings.count(), 2);
    EXPECT_FALSE(defaults->objectForKey(QStringLiteral("fresh")).isValid());
    EXPECT_EQ(QDir(home.path()).entryList({QStringLiteral("Defaults-corrupt-*.plist")}, QDir::Files).size(), 2);
}

TEST_F(UserDefaultsTest, ValuesWithoutAPropertyListFormAreRefused) {
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->setIntegerForKey(4, QStringLiteral("kept"));
    WarningCounter warnings;
    defaults->setObjectForKey(Variant::null(), QStringLiteral("kept"));
    defaults->setObjectForKey(QVariantList{Variant::null()}, QStringLiteral("other"));
    EXPECT_EQ(warnings.count(), 2);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("kept")), 4);
    EXPECT_FALSE(defaults->objectForKey(QStringLiteral("other")).isValid());
    defaults->setObjectForKey(QVariant(), QStringLiteral("kept"));  // absent removes
    EXPECT_FALSE(restart()->objectForKey(QStringLiteral("kept")).isValid());
}

TEST_F(UserDefaultsTest, TypedReadersConvert) {
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->registerDefaults({
        {QStringLiteral("yesText"), QStringLiteral("YES")},
        {QStringLiteral("trueText"), QStringLiteral("true")},
        {QStringLiteral("oneText"), QStringLiteral(" 1 ")},
        {QStringLiteral("noText"), QStringLiteral("no")},
        {QStringLiteral("real"), 2.9},
        {QStringLiteral("negativeReal"), -2.9},
        {QStringLiteral("numberText"), QStringLiteral("42")},
        {QStringLiteral("realText"), QStringLiteral("1.5")},
        {QStringLiteral("integer"), 7},
        {QStringLiteral("flag"), true},
        {QStringLiteral("list"), QVariantList{QStringLiteral("a"), QStringLiteral("b")}},
        {QStringLiteral("mixedList"), QVariantList{QStringLiteral("a"), 1}},
        {QStringLiteral("map"), QVariantMap{{QStringLiteral("k"), 1}}},
    });
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("yesText")));
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("trueText")));
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("oneText")));
    EXPECT_FALSE(defaults->boolForKey(QStringLiteral("noText")));
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("real")));
    EXPECT_FALSE(defaults->boolForKey(QStringLiteral("missing")));
    EXPECT_FALSE(defaults->boolForKey(QStringLiteral("list")));

    EXPECT_EQ(defaults->integerForKey(QStringLiteral("real")), 2);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("negativeReal")), -2);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("numberText")), 42);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("realText")), 1);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("flag")), 1);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("noText")), 0);
    EXPECT_EQ(defaults->doubleForKey(QStringLiteral("realText")), 1.5);
    EXPECT_EQ(defaults->doubleForKey(QStringLiteral("integer")), 7.0);

    EXPECT_EQ(defaults->stringForKey(QStringLiteral("integer")), QStringLiteral("7"));
    EXPECT_TRUE(defaults->stringForKey(QStringLiteral("list")).isNull());
    EXPECT_TRUE(defaults->stringForKey(QStringLiteral("missing")).isNull());
    EXPECT_EQ(defaults->stringArrayForKey(QStringLiteral("list")), QStringList({QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_TRUE(defaults->stringArrayForKey(QStringLiteral("mixedList")).isEmpty());
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("mixedList")).size(), 2);
    EXPECT_TRUE(defaults->arrayForKey(QStringLiteral("map")).isEmpty());
    EXPECT_EQ(defaults->dictionaryForKey(QStringLiteral("map")).value(QStringLiteral("k")).toInt(), 1);
    EXPECT_TRUE(defaults->dataForKey(QStringLiteral("yesText")).isEmpty());
}

TEST_F(UserDefaultsTest, FileFollowsTheEnvironment) {
    const QString first = UserDefaults::defaultsFilePath();
    EXPECT_EQ(first, home.filePath(QStringLiteral("Defaults.plist")));
    UserDefaults::standardUserDefaults()->setIntegerForKey(1, QStringLiteral("where"));

    {
        TemporaryHome other;
        auto defaults = restart();
        EXPECT_EQ(defaults->filePath(), other.filePath(QStringLiteral("Defaults.plist")));
        EXPECT_FALSE(defaults->objectForKey(QStringLiteral("where")).isValid());
        defaults->setIntegerForKey(2, QStringLiteral("where"));
        UserDefaults::resetStandardUserDefaults();
    }
    EXPECT_EQ(restart()->integerForKey(QStringLiteral("where")), 1);

    // Without ONDREL_HOME the file lives in the configuration folder, made on first write.
    const QByteArray savedHome = qgetenv("ONDREL_HOME");
    const QByteArray savedConfig = qgetenv("XDG_CONFIG_HOME");
    qunsetenv("ONDREL_HOME");
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
    const QString configPath = home.filePath(QStringLiteral("config/ondrel/Defaults.plist"));
    EXPECT_EQ(UserDefaults::defaultsFilePath(), configPath);
    auto defaults = restart();
    defaults->setIntegerForKey(3, QStringLiteral("where"));
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_TRUE(QFile::exists(configPath));
    qputenv("XDG_CONFIG_HOME", "");
    EXPECT_EQ(UserDefaults::defaultsFilePath(), QDir::home().filePath(QStringLiteral(".config/ondrel/Defaults.plist")));
    qputenv("ONDREL_HOME", savedHome);
    qputenv("XDG_CONFIG_HOME", savedConfig);
}

TEST_F(UserDefaultsTest, UnwritableFileIsReportedOnceAndSynchronizeSaysSo) {
    // The folder of the file is taken by a plain file: nothing can be written there.
    const QString blocker = home.filePath(QStringLiteral("blocker"));
    writeFile(blocker, "not a folder");
    UserDefaults defaults(blocker + QStringLiteral("/Defaults.plist"));
    WarningCounter warnings;
    defaults.setIntegerForKey(1, QStringLiteral("a"));
    defaults.setIntegerForKey(2, QStringLiteral("b"));
    VMKError error;
    EXPECT_FALSE(defaults.synchronize(&error));
    EXPECT_TRUE(error.isError());
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_EQ(warnings.count(), 1);                             // once, not at every attempt
    EXPECT_EQ(defaults.integerForKey(QStringLiteral("b")), 2);  // the values still hold in memory

    ASSERT_TRUE(QFile::remove(blocker));
    EXPECT_TRUE(defaults.synchronize(&error));
    EXPECT_EQ(UserDefaults(defaults.filePath()).integerForKey(QStringLiteral("a")), 1);
}
