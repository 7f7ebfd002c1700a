#pragma once

#include <QtCore/QtGlobal>

#include <algorithm>
#include <memory>
#include <vector>

namespace ondrel {

// Index rules shared by the list accessors of the instruction records: bad
// indexes never crash and never lose an object.
namespace RecordLists {

template <class T>
bool isValidIndex(const std::vector<T>& list, qsizetype index) {
    return index >= 0 && index < qsizetype(list.size());
}

// Null when the index is out of range.
template <class T>
std::shared_ptr<T> objectAtIndex(const std::vector<std::shared_ptr<T>>& list, qsizetype index) {
    return isValidIndex(list, index) ? list[size_t(index)] : nullptr;
}

// An index past the end appends; a negative one prepends.
template <class T>
qsizetype insertionIndex(const std::vector<T>& list, qsizetype index) {
    return std::clamp<qsizetype>(index, 0, qsizetype(list.size()));
}

template <class T>
std::vector<std::shared_ptr<T>> withoutNulls(const std::vector<std::shared_ptr<T>>& list) {
    std::vector<std::shared_ptr<T>> out;
    out.reserve(list.size());
    for (const auto& object : list)
        if (object)
            out.push_back(object);
    return out;
}

}  // namespace RecordLists

} // namespace ondrel
