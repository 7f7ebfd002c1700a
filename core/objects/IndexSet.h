#pragma once

#include <QtCore/QtGlobal>

#include <initializer_list>
#include <vector>

namespace ondrel {

// An ordered set of unique indexes, as collection changes report them.
class IndexSet {
public:
    IndexSet() = default;
    IndexSet(qsizetype index) { m_indexes.push_back(index); }
    IndexSet(std::initializer_list<qsizetype> indexes);
    static IndexSet range(qsizetype location, qsizetype length);

    void add(qsizetype index);
    void addRange(qsizetype location, qsizetype length);
    void remove(qsizetype index);
    bool contains(qsizetype index) const;

    qsizetype count() const { return qsizetype(m_indexes.size()); }
    bool isEmpty() const { return m_indexes.empty(); }
    qsizetype first() const { return m_indexes.empty() ? -1 : m_indexes.front(); }
    qsizetype last() const { return m_indexes.empty() ? -1 : m_indexes.back(); }
    const std::vector<qsizetype>& indexes() const { return m_indexes; }

    auto begin() const { return m_indexes.begin(); }
    auto end() const { return m_indexes.end(); }

    bool operator==(const IndexSet& other) const { return m_indexes == other.m_indexes; }

private:
    std::vector<qsizetype> m_indexes;  // ascending, unique
};

} // namespace ondrel
