#include "core/storage/UserDefaults.h"

#include "core/storage/PropertyList.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QtDebug>

#include <cmath>
#include <limits>
#include <mutex>

namespace ondrel {

namespace {

std::mutex& sharedMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<UserDefaults>& sharedInstance() {
    static std::shared_ptr<UserDefaults> instance;
    return instance;
}

// Moves an unreadable defaults file aside; answers its new path.
QString keepAside(const QString& path) {
    const QFileInfo info(path);
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString target = info.dir().filePath(QStringLiteral("%1-corrupt-%2.plist").arg(info.completeBaseName(), stamp));
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = info.dir().filePath(QStringLiteral("%1-corrupt-%2-%3.plist").arg(info.completeBaseName(), stamp).arg(n));
    return QFile::rename(path, target) ? target : QString();
}

qint64 truncatedInteger(double value) {
    if (!std::isfinite(value))
        return 0;
    if (value >= 9.2233720368547758e18)
        return std::numeric_limits<qint64>::max();
    if (value <= -9.2233720368547758e18)
        return std::numeric_limits<qint64>::min();
    return qint64(value);
}

} // namespace

const ClassInfo& UserDefaults::staticClassInfo() {
    // Only the standard instance, over its own file, exists: never made by name.
    static const ClassInfo& info =
        ClassInfo::define<UserDefaults, Object>(QStringLiteral("UserDefaults")).setAbstract();
    return info;
}

// MARK: - The shared instance

std::shared_ptr<UserDefaults> UserDefaults::standardUserDefaults() {
    // The shared instance writes what is left, and its writer thread ends,
    // while the application object is still there: left to the end of the
    // process, a last write would run among Qt's own statics being torn down
    // (and after a test's home is gone), and a failure's message, which
    // reads Qt's locale, crashed.
    static std::once_flag atQuit;
    std::call_once(atQuit, [] { qAddPostRoutine(&UserDefaults::resetStandardUserDefaults); });
    std::lock_guard lock(sharedMutex());
    std::shared_ptr<UserDefaults>& instance = sharedInstance();
    if (!instance)
        instance = std::make_shared<UserDefaults>(defaultsFilePath());
    return instance;
}

void UserDefaults::resetStandardUserDefaults() {
    std::shared_ptr<UserDefaults> old;
    {
        std::lock_guard lock(sharedMutex());
        old.swap(sharedInstance());
    }
    if (old)
        old->synchronize();
}

QString UserDefaults::defaultsFilePath() {
    const QString home = qEnvironmentVariable("ONDREL_HOME");
    if (!home.isEmpty())
        return QDir(home).filePath(QStringLiteral("Defaults.plist"));
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || QDir::isRelativePath(config))
        config = QDir::home().filePath(QStringLiteral(".config"));
    return QDir(config).filePath(QStringLiteral("ondrel/Defaults.plist"));
}

// MARK: - Life

UserDefaults::UserDefaults(const QString& filePath) : m_filePath(filePath) { load(); }

UserDefaults::~UserDefaults() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_writer.joinable())
        m_writer.join();  // the writer writes what is left before it ends
}

void UserDefaults::scheduleWrite() {
    {
        std::lock_guard lock(m_mutex);
        if (m_generation == m_attemptedGeneration || m_stopping)
            return;
        if (!m_writer.joinable())
            m_writer = std::thread([this] { writerLoop(); });
    }
    m_wake.notify_one();
}

void UserDefaults::writerLoop() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || m_generation != m_attemptedGeneration; });
        if (m_generation == m_attemptedGeneration)
            return;  // stopping, and nothing left to write
        lock.unlock();
        synchronize();
        lock.lock();
    }
}

void UserDefaults::load() {
    if (!QFileInfo::exists(m_filePath))
        return;
    VMKError error;
    const QVariant root = PropertyList::readFromFile(m_filePath, &error);
    if (!error && Variant::isDictionary(root)) {
        m_stored = root.toMap();
        return;
    }
    if (error.code() == PropertyList::FileReadError) {
        // There but unreadable (permissions): leave it alone, and never write over it.
        m_writeBlocked = true;
        qWarning().noquote() << QStringLiteral("The defaults file %1 can't be read (%2); changes to the defaults "
                                               "will not be saved.")
                                    .arg(m_filePath, error.reason());
        return;
    }
    const QString reason = error ? error.reason() : QStringLiteral("its root is not a dictionary");
    const QString aside = keepAside(m_filePath);
    if (aside.isEmpty()) {
        m_writeBlocked = true;
        qWarning().noquote() << QStringLiteral("The defaults file %1 is damaged (%2) and can't be moved aside; "
                                               "changes to the defaults will not be saved.")
                                    .arg(m_filePath, reason);
        return;
    }
    qWarning().noquote() << QStringLiteral("The defaults file %1 is damaged (%2); it was kept as %3 and the "
                                           "defaults start afresh.")
                                .arg(m_filePath, reason, aside);
}

// MARK: - Values

void UserDefaults::registerDefaults(const QVariantMap& registrationDictionary) {
    QStringList changed;
    if (hasObservers()) {
        std::lock_guard lock(m_mutex);
        for (auto it = registrationDictionary.cbegin(); it != registrationDictionary.cend(); ++it)
            if (!m_stored.contains(it.key()) && !Variant::equal(m_registered.value(it.key()), it.value()))
                changed << it.key();
    }
    for (const QString& key : std::as_const(changed))
        willChangeValueForKey(key);
    {
        std::lock_guard lock(m_mutex);
        for (auto it = registrationDictionary.cbegin(); it != registrationDictionary.cend(); ++it)
            m_registered.insert(it.key(), it.value());
    }
    for (auto it = changed.crbegin(); it != changed.crend(); ++it)
        didChangeValueForKey(*it);
}

QVariant UserDefaults::objectForKey(const QString& key) const {
    std::lock_guard lock(m_mutex);
    auto stored = m_stored.constFind(key);
    if (stored != m_stored.cend())
        return stored.value();
    return m_registered.value(key);
}

void UserDefaults::setObjectForKey(const QVariant& value, const QString& key) {
    if (!Variant::isAbsent(value) && !PropertyList::isPropertyList(value)) {
        qWarning().noquote() << QStringLiteral("The default \"%1\" can't be set to %2: only property list values "
                                               "can be stored.")
                                    .arg(key, Variant::describe(value).left(80));
        return;
    }
    change(key, value);
}

void UserDefaults::removeObjectForKey(const QString& key) { change(key, QVariant()); }

void UserDefaults::change(const QString& key, const QVariant& value) {
    willChangeValueForKey(key);
    {
        std::lock_guard lock(m_mutex);
        if (Variant::isAbsent(value)) {
            if (m_stored.remove(key))
                ++m_generation;
        } else {
            auto it = m_stored.find(key);
            if (it == m_stored.end() || it.value().metaType() != value.metaType() || !Variant::equal(it.value(), value)) {
                m_stored.insert(key, value);
                ++m_generation;
            }
        }
    }
    didChangeValueForKey(key);
    scheduleWrite();
}

bool UserDefaults::boolForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (Variant::isNumber(value))
        return value.toDouble() != 0.0;
    if (Variant::isString(value)) {
        const QString text = value.toString().trimmed();
        if (text.compare(QLatin1String("YES"), Qt::CaseInsensitive) == 0 ||
            text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return true;
        bool ok = false;
        const double number = text.toDouble(&ok);
        return ok && number != 0.0;
    }
    return false;
}

qint64 UserDefaults::integerForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (Variant::isInteger(value))
        return value.toLongLong();
    if (Variant::isNumber(value))
        return truncatedInteger(value.toDouble());
    if (Variant::isString(value)) {
        const QString text = value.toString().trimmed();
        bool ok = false;
        const qint64 integer = text.toLongLong(&ok);
        if (ok)
            return integer;
        const double number = text.toDouble(&ok);
        return ok ? truncatedInteger(number) : 0;
    }
    return 0;
}

double UserDefaults::doubleForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (Variant::isNumber(value))
        return value.toDouble();
    if (Variant::isString(value)) {
        bool ok = false;
        const double number = value.toString().trimmed().toDouble(&ok);
        return ok ? number : 0.0;
    }
    return 0.0;
}

QString UserDefaults::stringForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (Variant::isString(value))
        return value.toString();
    if (Variant::isNumber(value) && !Variant::isBool(value))
        return Variant::describe(value);
    return QString();
}

QByteArray UserDefaults::dataForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    return Variant::isData(value) ? value.toByteArray() : QByteArray();
}

QVariantList UserDefaults::arrayForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    return Variant::isList(value) ? value.toList() : QVariantList();
}

QStringList UserDefaults::stringArrayForKey(const QString& key) const {
    QStringList strings;
    for (const QVariant& element : arrayForKey(key)) {
        if (!Variant::isString(element))
            return QStringList();
        strings << element.toString();
    }
    return strings;
}

QVariantMap UserDefaults::dictionaryForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    return Variant::isDictionary(value) ? value.toMap() : QVariantMap();
}

void UserDefaults::setBoolForKey(bool value, const QString& key) { change(key, value); }
void UserDefaults::setIntegerForKey(qint64 value, const QString& key) { change(key, QVariant::fromValue(value)); }
void UserDefaults::setDoubleForKey(double value, const QString& key) { change(key, value); }

QVariantMap UserDefaults::dictionaryRepresentation() const {
    std::lock_guard lock(m_mutex);
    QVariantMap merged = m_registered;
    for (auto it = m_stored.cbegin(); it != m_stored.cend(); ++it)
        merged.insert(it.key(), it.value());
    return merged;
}

QVariantMap UserDefaults::persistentDomain() const {
    std::lock_guard lock(m_mutex);
    return m_stored;
}

// MARK: - The file

bool UserDefaults::synchronize(VMKError* error) {
    std::lock_guard writeLock(m_writeMutex);
    QVariantMap snapshot;
    quint64 generation;
    {
        std::lock_guard lock(m_mutex);
        if (m_generation == m_writtenGeneration) {
            m_attemptedGeneration = m_generation;
            return true;
        }
        snapshot = m_stored;
        generation = m_generation;
        m_attemptedGeneration = generation;
    }
    VMKError failure;
    if (m_writeBlocked) {
        failure = VMKError::errorWithCode(PropertyList::FileWriteError, QStringLiteral("Saving the defaults"),
                                          QStringLiteral("%1 could not be read and is left untouched").arg(m_filePath));
    } else {
        QDir().mkpath(QFileInfo(m_filePath).absolutePath());
        PropertyList::writeToFile(snapshot, m_filePath, &failure);
    }
    if (failure) {
        if (!m_warnedWriteFailure && !m_writeBlocked)
            qWarning().noquote() << failure.localizedDescription();
        m_warnedWriteFailure = true;
        VMKError::set(error, failure);
        return false;
    }
    m_warnedWriteFailure = false;
    std::lock_guard lock(m_mutex);
    m_writtenGeneration = generation;
    return true;
}

// MARK: - Key-value coding

QVariant UserDefaults::valueForUndefinedKey(const QString& key) const { return objectForKey(key); }

void UserDefaults::setValueForUndefinedKey(const QVariant& value, const QString& key) { setObjectForKey(value, key); }

} // namespace ondrel
