#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

namespace ondrel {

// The dynamic value of the system is a QVariant:
//   absent                 invalid QVariant
//   null marker            Null (what a database NULL column reads as)
//   number                 bool, int, qint64, double ... (any numeric QMetaType)
//   text, data, date       QString, QByteArray, QDateTime (UTC)
//   list, dictionary       QVariantList, QVariantMap
//   object                 ObjectPtr (std::shared_ptr<Object>)

class Object;
using ObjectPtr = std::shared_ptr<Object>;

struct Null {
    bool operator==(const Null&) const { return true; }
};

} // namespace ondrel

Q_DECLARE_METATYPE(ondrel::Null)
Q_DECLARE_METATYPE(ondrel::ObjectPtr)

namespace ondrel {

namespace Variant {

QVariant null();
bool isNull(const QVariant& value);    // the null marker
bool isAbsent(const QVariant& value);  // no value at all
bool isNullOrAbsent(const QVariant& value);
bool isNumber(const QVariant& value);  // booleans count as numbers
bool isBool(const QVariant& value);
bool isInteger(const QVariant& value);
bool isString(const QVariant& value);
bool isData(const QVariant& value);
bool isDate(const QVariant& value);
bool isList(const QVariant& value);
bool isDictionary(const QVariant& value);
bool isObject(const QVariant& value);

QVariant fromObject(const ObjectPtr& object);
ObjectPtr object(const QVariant& value);
template <class T>
std::shared_ptr<T> object(const QVariant& value) {
    return std::dynamic_pointer_cast<T>(object(value));
}

// Equality as the system means it: numbers by value (1 == 1.0 == true),
// texts exactly, lists and dictionaries element by element, objects by identity.
bool equal(const QVariant& a, const QVariant& b);

// Ordering of two comparable values (numbers, texts, dates); unordered when
// the kinds differ or either is absent.
std::partial_ordering compare(const QVariant& a, const QVariant& b);

// A short human-readable rendering for messages and the command line.
QString describe(const QVariant& value);

} // namespace Variant

// Conversions between C++ field types and the dynamic value, used by the
// property tables of Object subclasses.
template <class T, class = void>
struct VariantTraits {
    static QVariant to(const T& value) { return QVariant::fromValue(value); }
    static T from(const QVariant& value) {
        if (Variant::isNullOrAbsent(value))
            return T{};
        return value.value<T>();
    }
};

template <class T>
struct VariantTraits<std::optional<T>> {
    static QVariant to(const std::optional<T>& value) {
        return value ? VariantTraits<T>::to(*value) : QVariant();
    }
    static std::optional<T> from(const QVariant& value) {
        if (Variant::isNullOrAbsent(value))
            return std::nullopt;
        return VariantTraits<T>::from(value);
    }
};

template <class T>
struct VariantTraits<std::shared_ptr<T>, std::enable_if_t<std::is_base_of_v<Object, T>>> {
    static QVariant to(const std::shared_ptr<T>& value) {
        return Variant::fromObject(std::static_pointer_cast<Object>(value));
    }
    static std::shared_ptr<T> from(const QVariant& value) { return Variant::object<T>(value); }
};

template <class T>
struct VariantTraits<std::vector<T>> {
    static QVariant to(const std::vector<T>& values) {
        QVariantList list;
        list.reserve(qsizetype(values.size()));
        for (const auto& v : values)
            list.append(VariantTraits<T>::to(v));
        return list;
    }
    static std::vector<T> from(const QVariant& value) {
        std::vector<T> out;
        const QVariantList list = value.toList();
        out.reserve(size_t(list.size()));
        for (const auto& v : list)
            out.push_back(VariantTraits<T>::from(v));
        return out;
    }
};

template <class T>
QVariant toVariant(const T& value) { return VariantTraits<std::decay_t<T>>::to(value); }
template <class T>
T fromVariant(const QVariant& value) { return VariantTraits<T>::from(value); }

} // namespace ondrel
