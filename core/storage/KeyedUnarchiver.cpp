#include "core/storage/KeyedUnarchiver.h"

#include "core/objects/CoreClasses.h"

#include "core/objects/ClassInfo.h"
#include "core/objects/Object.h"
#include "core/storage/PropertyList.h"

namespace ondrel {

namespace {

const QString kAction = QStringLiteral("Reading the keyed archive");
constexpr qint64 kReadCorruptError = 4864;
constexpr qint64 kArchiveVersion = 1;
const QString kClassKey = QStringLiteral("$class");

QString unescapedKey(const QString& key) { return key.startsWith(QLatin1Char('$')) ? key.mid(1) : key; }

} // namespace

KeyedUnarchiver::KeyedUnarchiver() = default;

QVariant KeyedUnarchiver::unarchiveObjectWithData(const QByteArray& data, VMKError* error) {
    registerCoreClasses();
    VMKError plistError;
    const QVariant document = PropertyList::propertyListWithData(data, &plistError);
    if (plistError) {
        VMKError::set(error, VMKError::errorWithUnderlying(plistError, kAction));
        return QVariant();
    }
    KeyedUnarchiver unarchiver;
    const QVariantMap map = document.toMap();
    const QVariant top = map.value(QStringLiteral("$top"));
    const QVariant version = map.value(QStringLiteral("$version"));
    if (!Variant::isDictionary(document) ||
        map.value(QStringLiteral("$archiver")).toString() != QLatin1String("OndrelKeyedArchiver"))
        unarchiver.fail(QStringLiteral("the data is a property list but not a keyed archive"));
    else if (!Variant::isInteger(version) || version.toLongLong() < 1)
        unarchiver.fail(QStringLiteral("the archive has no valid version"));
    else if (version.toLongLong() > kArchiveVersion)
        unarchiver.fail(QStringLiteral("the archive has version %1, newer than this program reads (%2)")
                            .arg(version.toLongLong())
                            .arg(kArchiveVersion));
    else if (!Variant::isDictionary(top) || !top.toMap().contains(QStringLiteral("root")))
        unarchiver.fail(QStringLiteral("the archive has no root value"));

    QVariant root;
    if (!unarchiver.m_error)
        root = unarchiver.decodeValue(top.toMap().value(QStringLiteral("root")));
    if (unarchiver.m_error) {
        VMKError::set(error, unarchiver.m_error);
        return QVariant();
    }
    return root;
}

void KeyedUnarchiver::fail(const QString& reason) const {
    if (!m_error)
        m_error = VMKError::errorWithCode(kReadCorruptError, kAction, reason);
}

QVariant KeyedUnarchiver::decodeValue(const QVariant& value) const {
    if (m_error)
        return QVariant();
    if (Variant::isList(value)) {
        const QVariantList list = value.toList();
        QVariantList decoded;
        decoded.reserve(list.size());
        for (const QVariant& element : list)
            decoded.append(decodeValue(element));
        return decoded;
    }
    if (!Variant::isDictionary(value))
        return value;

    const QVariantMap map = value.toMap();
    const auto classEntry = map.constFind(kClassKey);
    if (classEntry == map.cend()) {
        QVariantMap decoded;
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            decoded.insert(unescapedKey(it.key()), decodeValue(it.value()));
        return decoded;
    }

    if (!Variant::isString(classEntry.value())) {
        fail(QStringLiteral("an archived object has no class name"));
        return QVariant();
    }
    const QString className = classEntry.value().toString();
    const ClassInfo* info = ClassRegistry::classNamed(className);
    if (!info) {
        fail(QStringLiteral("the archive holds an object of the unknown class %1").arg(className));
        return QVariant();
    }
    const ObjectPtr object = info->create();
    if (!object) {
        fail(QStringLiteral("objects of class %1 can't be made from an archive").arg(className));
        return QVariant();
    }
    if (!object->isArchivable()) {
        fail(QStringLiteral("class %1 is not archivable").arg(className));
        return QVariant();
    }

    KeyedUnarchiver fields;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        if (it.key() != kClassKey)
            fields.m_current.insert(unescapedKey(it.key()), it.value());
    object->initWithCoder(fields);
    if (fields.m_error) {
        m_error = fields.m_error;
        return QVariant();
    }
    const ObjectPtr awake = object->awakeAfterUsingCoder();
    if (!awake) {
        fail(QStringLiteral("the archived object of class %1 could not be rebuilt").arg(className));
        return QVariant();
    }
    return Variant::fromObject(awake);
}

bool KeyedUnarchiver::containsValueForKey(const QString& key) const { return m_current.contains(key); }

QVariant KeyedUnarchiver::decodeObjectForKey(const QString& key) const { return decodeValue(m_current.value(key)); }

bool KeyedUnarchiver::decodeBoolForKey(const QString& key) const {
    const QVariant value = m_current.value(key);
    return Variant::isNumber(value) && value.toBool();
}

qint64 KeyedUnarchiver::decodeInt64ForKey(const QString& key) const {
    const QVariant value = m_current.value(key);
    return Variant::isNumber(value) ? value.toLongLong() : 0;
}

double KeyedUnarchiver::decodeDoubleForKey(const QString& key) const {
    const QVariant value = m_current.value(key);
    return Variant::isNumber(value) ? value.toDouble() : 0.0;
}

QString KeyedUnarchiver::decodeStringForKey(const QString& key) const {
    const QVariant value = m_current.value(key);
    return Variant::isString(value) ? value.toString() : QString();
}

QByteArray KeyedUnarchiver::decodeDataForKey(const QString& key) const {
    const QVariant value = m_current.value(key);
    return Variant::isData(value) ? value.toByteArray() : QByteArray();
}

} // namespace ondrel
