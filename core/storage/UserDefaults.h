#pragma once

#include "core/objects/Object.h"
#include "core/text/VMKError.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace ondrel {

// The settings of the program: values the user stored, over a table of
// registered values that their owners register in memory at start. Reading a
// key answers the stored value, else the registered one; registering never
// hides or overwrites a stored value.
//
// Stored values are kept in an XML property list, rewritten atomically after
// each change by a writer thread of the instance (changes that come while it
// writes go into the next write); destroying the instance, which the shared
// one is at exit, and synchronize() write what is left. A file that can't be
// read as a property list is reported once and kept aside beside it (renamed
// "Defaults-corrupt-<time>.plist"), and the program starts from the
// registered values.
//
// Each key is observable: observe(key, ...) is told of every set and remove
// of that key (and of a registration that changes what it answers), on the
// thread that made the change. All members are safe to call from any thread;
// no lock is held while observers run.
class UserDefaults : public Object {
    ONDREL_OBJECT(UserDefaults, Object)

public:
    // The shared instance, over defaultsFilePath().
    static std::shared_ptr<UserDefaults> standardUserDefaults();
    // Drops the shared instance; the next standardUserDefaults() reads the
    // file again (as after a restart), at the path of the environment then.
    static void resetStandardUserDefaults();
    // $ONDREL_HOME/Defaults.plist when ONDREL_HOME is set, else
    // $XDG_CONFIG_HOME/ondrel/Defaults.plist (~/.config when that is unset).
    static QString defaultsFilePath();

    // Defaults kept in the given file (read now when it exists).
    explicit UserDefaults(const QString& filePath);
    ~UserDefaults() override;

    QString filePath() const { return m_filePath; }

    // Merges the table into the registered values.
    void registerDefaults(const QVariantMap& registrationDictionary);

    QVariant objectForKey(const QString& key) const;  // absent when neither stored nor registered
    // Stores a property list value (an absent one removes the key); a value
    // without a property list form is refused with a warning.
    void setObjectForKey(const QVariant& value, const QString& key);
    void removeObjectForKey(const QString& key);

    // Typed readers: numbers and texts convert ("YES", "true", "1" are true);
    // a missing or unconvertible value answers false, 0, empty.
    bool boolForKey(const QString& key) const;
    qint64 integerForKey(const QString& key) const;
    double doubleForKey(const QString& key) const;
    QString stringForKey(const QString& key) const;  // numbers answer their text
    QByteArray dataForKey(const QString& key) const;
    QVariantList arrayForKey(const QString& key) const;
    QStringList stringArrayForKey(const QString& key) const;  // empty unless every element is a text
    QVariantMap dictionaryForKey(const QString& key) const;

    void setBoolForKey(bool value, const QString& key);
    void setIntegerForKey(qint64 value, const QString& key);
    void setDoubleForKey(double value, const QString& key);

    // Stored values merged over the registered ones.
    QVariantMap dictionaryRepresentation() const;
    // The stored values alone.
    QVariantMap persistentDomain() const;

    // Writes the stored values now if the file is behind; false (with the
    // error) when the file can't be written.
    bool synchronize(VMKError* error = nullptr);

    // Key-value coding: every key not of the class is a default.
    QVariant valueForUndefinedKey(const QString& key) const override;
    void setValueForUndefinedKey(const QVariant& value, const QString& key) override;

private:
    void load();
    void change(const QString& key, const QVariant& value);  // absent removes
    void scheduleWrite();
    void writerLoop();

    const QString m_filePath;

    mutable std::mutex m_mutex;  // guards the values, the generations and the writer's state
    QVariantMap m_registered;
    QVariantMap m_stored;
    quint64 m_generation = 0;           // counts changes of m_stored
    quint64 m_attemptedGeneration = 0;  // the last generation a write was tried for
    quint64 m_writtenGeneration = 0;    // the generation the file holds
    std::condition_variable m_wake;
    std::thread m_writer;  // started at the first change
    bool m_stopping = false;

    std::mutex m_writeMutex;  // one write of the file at a time; taken before m_mutex
    bool m_warnedWriteFailure = false;
    bool m_writeBlocked = false;  // the file exists but could not be read: never overwrite it
};

} // namespace ondrel
