#include "core/objects/IndexSet.h"

#include <algorithm>

namespace ondrel {

IndexSet::IndexSet(std::initializer_list<qsizetype> indexes) {
    for (qsizetype i : indexes)
        add(i);
}

IndexSet IndexSet::range(qsizetype location, qsizetype length) {
    IndexSet set;
    set.addRange(location, length);
    return set;
}

void IndexSet::add(qsizetype index) {
    auto it = std::lower_bound(m_indexes.begin(), m_indexes.end(), index);
    if (it == m_indexes.end() || *it != index)
        m_indexes.insert(it, index);
}

void IndexSet::addRange(qsizetype location, qsizetype length) {
    for (qsizetype i = 0; i < length; ++i)
        add(location + i);
}

void IndexSet::remove(qsizetype index) {
    auto it = std::lower_bound(m_indexes.begin(), m_indexes.end(), index);
    if (it != m_indexes.end() && *it == index)
        m_indexes.erase(it);
}

bool IndexSet::contains(qsizetype index) const {
    return std::binary_search(m_indexes.begin(), m_indexes.end(), index);
}

} // namespace ondrel
