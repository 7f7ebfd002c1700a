#include "core/storage/KeyedArchiver.h"

#include "core/objects/Object.h"
#include "core/storage/PropertyList.h"

#include <algorithm>

namespace ondrel {

namespace {

const QString kAction = QStringLiteral("Writing the keyed archive");
constexpr qint64 kInvalidValueError = 4866;

QString escapedKey(const QString& key) {
    return key.startsWith(QLatin1Char('$')) ? QLatin1Char('$') + key : key;
}

QString describePath(const QStringList& path) {
    return path.isEmpty() ? QStringLiteral("the root") : QStringLiteral("\"%1\"").arg(path.join(QLatin1Char('/')));
}

} // namespace

KeyedArchiver::KeyedArchiver() = default;

QByteArray KeyedArchiver::archivedDataWithRootObject(const QVariant& root, VMKError* error) {
    KeyedArchiver archiver;
    if (Variant::isAbsent(root))
        archiver.fail(QStringLiteral("there is no root value"));
    const QVariant tree = archiver.m_error ? QVariant() : archiver.encodeValue(root);
    if (archiver.m_error) {
        VMKError::set(error, archiver.m_error);
        return QByteArray();
    }
    const QVariantMap document{
        {QStringLiteral("$archiver"), QStringLiteral("OndrelKeyedArchiver")},
        {QStringLiteral("$version"), 1},
        {QStringLiteral("$top"), QVariantMap{{QStringLiteral("root"), tree}}},
    };
    VMKError plistError;
    QByteArray data = PropertyList::dataWithPropertyList(document, &plistError);
    if (plistError) {
        VMKError::set(error, VMKError::errorWithUnderlying(plistError, kAction));
        return QByteArray();
    }
    return data;
}

void KeyedArchiver::fail(const QString& reason) {
    if (!m_error)
        m_error = VMKError::errorWithCode(kInvalidValueError, kAction, reason);
}

void KeyedArchiver::store(const QString& key, const QVariant& value) { m_current.insert(key, value); }

void KeyedArchiver::encodeObject(const QVariant& value, const QString& key) {
    if (Variant::isAbsent(value))
        return;  // an absent value is no key at all
    m_keyPath.append(key);
    const QVariant encoded = encodeValue(value);
    m_keyPath.removeLast();
    store(key, encoded);
}

void KeyedArchiver::encodeBool(bool value, const QString& key) { store(key, value); }
void KeyedArchiver::encodeInt64(qint64 value, const QString& key) { store(key, QVariant::fromValue(value)); }
void KeyedArchiver::encodeDouble(double value, const QString& key) { store(key, value); }
void KeyedArchiver::encodeString(const QString& value, const QString& key) {
    store(key, value.isNull() ? QString(QLatin1String("")) : value);
}
void KeyedArchiver::encodeData(const QByteArray& value, const QString& key) {
    store(key, value.isNull() ? QByteArray("") : value);
}

QVariant KeyedArchiver::encodeValue(const QVariant& value) {
    if (m_error)
        return QVariant();
    if (Variant::isObject(value)) {
        const ObjectPtr object = Variant::object(value);
        if (!object) {
            fail(QStringLiteral("the empty object reference at %1 can't be archived").arg(describePath(m_keyPath)));
            return QVariant();
        }
        if (!object->isArchivable()) {
            fail(QStringLiteral("objects of class %1 at %2 can't be archived")
                     .arg(object->className(), describePath(m_keyPath)));
            return QVariant();
        }
        if (std::find(m_encoding.begin(), m_encoding.end(), object.get()) != m_encoding.end()) {
            fail(QStringLiteral("the object of class %1 at %2 contains itself")
                     .arg(object->className(), describePath(m_keyPath)));
            return QVariant();
        }
        QVariantMap outer;
        outer.swap(m_current);
        m_encoding.push_back(object.get());
        object->encodeWithCoder(*this);
        m_encoding.pop_back();
        QVariantMap fields;
        fields.swap(m_current);
        m_current.swap(outer);

        QVariantMap encoded;
        for (auto it = fields.cbegin(); it != fields.cend(); ++it)
            encoded.insert(escapedKey(it.key()), it.value());
        encoded.insert(QStringLiteral("$class"), object->className());
        return encoded;
    }
    if (Variant::isDictionary(value)) {
        const QVariantMap map = value.toMap();
        QVariantMap encoded;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            m_keyPath.append(it.key());
            encoded.insert(escapedKey(it.key()), encodeValue(it.value()));
            m_keyPath.removeLast();
        }
        return encoded;
    }
    if (Variant::isList(value)) {
        const QVariantList list = value.toList();
        QVariantList encoded;
        encoded.reserve(list.size());
        for (qsizetype i = 0; i < list.size(); ++i) {
            m_keyPath.append(QString::number(i));
            encoded.append(encodeValue(list[i]));
            m_keyPath.removeLast();
        }
        return encoded;
    }
    if (Variant::isNull(value)) {
        fail(QStringLiteral("the null marker at %1 can't be archived").arg(describePath(m_keyPath)));
        return QVariant();
    }
    if (Variant::isAbsent(value)) {
        fail(QStringLiteral("the absent value at %1 can't be archived").arg(describePath(m_keyPath)));
        return QVariant();
    }
    if (!PropertyList::isPropertyList(value)) {
        fail(QStringLiteral("the value %1 at %2 (%3) can't be archived")
                 .arg(Variant::describe(value).left(60), describePath(m_keyPath), QString::fromLatin1(value.typeName())));
        return QVariant();
    }
    return value;
}

} // namespace ondrel
