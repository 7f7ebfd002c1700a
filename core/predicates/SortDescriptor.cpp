#include "core/predicates/SortDescriptor.h"

#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/text/StringCompare.h"

#include <algorithm>
#include <numeric>

namespace ondrel {

namespace {

// The order of kinds when two values of different kinds meet.
int kindRank(const QVariant& value) {
    if (Variant::isNullOrAbsent(value))
        return 0;
    if (Variant::isNumber(value))
        return 1;
    if (Variant::isString(value))
        return 2;
    if (Variant::isDate(value))
        return 3;
    if (Variant::isData(value))
        return 4;
    return 5;
}

int sign(std::partial_ordering order) {
    if (order < 0)
        return -1;
    if (order > 0)
        return 1;
    return 0;
}

} // namespace

const ClassInfo& SortDescriptor::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<SortDescriptor, Object>(QStringLiteral("SortDescriptor"))
                                       .property(QStringLiteral("key"), &SortDescriptor::key)
                                       .property(QStringLiteral("ascending"), &SortDescriptor::isAscending)
                                       .property(QStringLiteral("selector"), &SortDescriptor::selector);
    return info;
}

SortDescriptor::SortDescriptor() = default;

SortDescriptor::SortDescriptor(const QString& key, bool ascending, const QString& selector)
    : m_key(key), m_ascending(ascending), m_selector(selector.isEmpty() ? QStringLiteral("compare:") : selector) {}

std::shared_ptr<SortDescriptor> SortDescriptor::sortDescriptorWithKey(const QString& key, bool ascending,
                                                                      const QString& selector) {
    return std::make_shared<SortDescriptor>(key, ascending, selector);
}

std::shared_ptr<SortDescriptor> SortDescriptor::reversedSortDescriptor() const {
    return std::make_shared<SortDescriptor>(m_key, !m_ascending, m_selector);
}

QVariant SortDescriptor::sortValue(const QVariant& object) const {
    return m_key.isEmpty() ? object : Object::valueForKeyPath(object, m_key);
}

int SortDescriptor::compareValues(const QVariant& a, const QVariant& b) const {
    const int rankA = kindRank(a), rankB = kindRank(b);
    int result = 0;
    if (rankA != rankB)
        result = rankA < rankB ? -1 : 1;
    else if (rankA == 2)
        result = StringCompare::compareWithSelector(m_selector, a.toString(), b.toString());
    else if (rankA != 0)
        result = sign(Variant::compare(a, b));
    return m_ascending ? result : -result;
}

int SortDescriptor::compareObjects(const QVariant& a, const QVariant& b) const {
    return compareValues(sortValue(a), sortValue(b));
}

QVariantList SortDescriptor::sortedArray(const QVariantList& array,
                                         const std::vector<std::shared_ptr<SortDescriptor>>& sortDescriptors) {
    const size_t count = size_t(array.size());
    std::vector<const SortDescriptor*> descriptors;
    for (const auto& d : sortDescriptors)
        if (d)
            descriptors.push_back(d.get());
    if (descriptors.empty() || count < 2)
        return array;

    // Each key path is read once per element, not once per comparison.
    std::vector<QVariant> values(count * descriptors.size());
    for (size_t i = 0; i < count; ++i)
        for (size_t d = 0; d < descriptors.size(); ++d)
            values[i * descriptors.size() + d] = descriptors[d]->sortValue(array[qsizetype(i)]);

    std::vector<size_t> order(count);
    std::iota(order.begin(), order.end(), size_t(0));
    std::stable_sort(order.begin(), order.end(), [&](size_t x, size_t y) {
        for (size_t d = 0; d < descriptors.size(); ++d) {
            const int c =
                descriptors[d]->compareValues(values[x * descriptors.size() + d], values[y * descriptors.size() + d]);
            if (c)
                return c < 0;
        }
        return false;
    });
    QVariantList sorted;
    sorted.reserve(array.size());
    for (size_t i : order)
        sorted << array[qsizetype(i)];
    return sorted;
}

QString SortDescriptor::description() const {
    return QStringLiteral("(%1, %2, %3)")
        .arg(m_key, m_ascending ? QStringLiteral("ascending") : QStringLiteral("descending"), m_selector);
}

bool SortDescriptor::isEqual(const Object& other) const {
    const auto* d = dynamic_cast<const SortDescriptor*>(&other);
    return d && d->m_key == m_key && d->m_ascending == m_ascending && d->m_selector == m_selector;
}

void SortDescriptor::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeString(m_key, QStringLiteral("key"));
    coder.encodeBool(m_ascending, QStringLiteral("ascending"));
    coder.encodeString(m_selector, QStringLiteral("selector"));
}

void SortDescriptor::initWithCoder(const KeyedUnarchiver& coder) {
    m_key = coder.decodeStringForKey(QStringLiteral("key"));
    m_ascending = coder.decodeBoolForKey(QStringLiteral("ascending"));
    const QString selector = coder.decodeStringForKey(QStringLiteral("selector"));
    m_selector = selector.isEmpty() ? QStringLiteral("compare:") : selector;
}

} // namespace ondrel
