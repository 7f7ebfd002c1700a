#pragma once

#include "core/objects/Object.h"

#include <QtCore/QVariantList>

#include <memory>
#include <vector>

namespace ondrel {

// One level of an ordering: the value at a key path, compared by a named
// comparison, ascending or descending. Absent and null values come first in
// ascending order (last in descending). Texts use the named comparison
// ("compare:", "caseInsensitiveCompare:", "localizedStandardCompare:",
// "localizedCaseInsensitiveCompare:"); numbers, dates and data compare by
// value whatever the name. Values of different kinds order by kind.
class SortDescriptor : public Object {
    ONDREL_OBJECT(SortDescriptor, Object)
public:
    SortDescriptor();  // no key (the objects themselves), ascending, "compare:"
    SortDescriptor(const QString& key, bool ascending, const QString& selector = QStringLiteral("compare:"));

    static std::shared_ptr<SortDescriptor> sortDescriptorWithKey(const QString& key, bool ascending,
                                                                 const QString& selector = QStringLiteral("compare:"));

    const QString& key() const { return m_key; }
    bool isAscending() const { return m_ascending; }
    const QString& selector() const { return m_selector; }

    std::shared_ptr<SortDescriptor> reversedSortDescriptor() const;

    // <0 when a sorts before b, 0 when they tie, >0 otherwise.
    int compareObjects(const QVariant& a, const QVariant& b) const;

    // A stable sort of `array` by the descriptors, the first deciding first.
    static QVariantList sortedArray(const QVariantList& array,
                                    const std::vector<std::shared_ptr<SortDescriptor>>& sortDescriptors);

    bool isArchivable() const override { return true; }
    void encodeWithCoder(KeyedArchiver& coder) const override;
    void initWithCoder(const KeyedUnarchiver& coder) override;

    QString description() const override;
    bool isEqual(const Object& other) const override;

private:
    QVariant sortValue(const QVariant& object) const;
    int compareValues(const QVariant& a, const QVariant& b) const;

    QString m_key;
    bool m_ascending = true;
    QString m_selector = QStringLiteral("compare:");
};

} // namespace ondrel
